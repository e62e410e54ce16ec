#pragma once

#include <quarn/datasets/ByteSource_detail.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <optional>

/// A source in blocks of whole lines: a text of any size passes through memory that fits a cache.
namespace quarn::detail {

/// Whole lines in memory, each ended by a line feed, the last one too.
struct LineBlock {
    const char* Begin;
    const char* End;
};

class LineBlocks {
 public:
    /// Readable bytes before the begin of every block, and behind its end.
    static constexpr std::size_t ReadBehind = 64;
    static constexpr std::size_t ReadAhead = 64;

    /// Blocks from offset on, the start of a line.
    explicit LineBlocks(ByteSource& source, std::size_t offset = 0);

    /// The next block, which ends the life of the one before; nothing at the end of the source, or when it failed.
    /// A last line without a line feed gets one.
    /// Errors: std::bad_alloc.
    std::optional<LineBlock> Next();

    /// Whether the end came by a failure of the source.
    bool Failed() const { return m_failed; }

 private:
    /// Moves the unfinished line of the last block to where the next read will continue it, and returns that place.
    char* MoveTail();

    // A read goes to the place in a page that it comes from in the source: copies between other places, from the system's
    // cache, are several times slower on common processors. That is m_prefix bytes or up to a page more behind the start
    // of the memory, and the unfinished line at the end of a block is moved to just before it.
    ByteSource& m_source;
    std::size_t m_offset;           ///< in the source, of the next byte to read
    std::size_t m_prefix, m_block;  ///< sizes of the two parts of the memory; multiples of a page
    std::unique_ptr<char, decltype(&std::free)> m_memory;
    const char* m_tail;  ///< unfinished line of the last block
    std::size_t m_tailSize = 0;
    bool m_failed = false;
};

/// Lines of the source from offset on; the last one needs no line feed. Nothing when the source failed.
std::optional<std::size_t> CountLines(ByteSource& source, std::size_t offset);

}  // namespace quarn::detail
