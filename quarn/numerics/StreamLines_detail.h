#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <limits>
#include <string>
#include <string_view>

namespace quarn::detail {

/// The next lines of a stream in blocks, with the readable bytes around them that TokenEnds and the readers of numbers
/// ask for. Takes these lines from the stream and nothing behind them, also where the stream cannot go back.
class StreamLines {
 public:
    static constexpr std::int64_t AllLines = std::numeric_limits<std::int64_t>::max();
    static constexpr std::size_t BlockSize = 1 << 16;
    static constexpr std::size_t Everything = std::string::npos;  ///< a minimum that makes one block of all lines

    /// Requires: lines >= 0. Not tested.
    StreamLines(std::istream& stream, std::int64_t lines);

    /// Whole lines, each ended by a line feed, of together at least minimum bytes while there are as many; nothing at
    /// the end. The last line of a stream gets its line feed where it lacks one. Ends the life of the block before.
    /// Errors: std::bad_alloc.
    std::string_view Next(std::size_t minimum = BlockSize);

 private:
    void ReserveEverything();
    bool ReadMore();

    std::istream& m_stream;
    std::int64_t m_linesLeft;  ///< to be read
    std::string m_text;        ///< padding, whole lines, what has been read of the next line, padding
    std::size_t m_linesEnd;    ///< of the whole lines
    std::size_t m_textEnd;     ///< where the padding begins
    std::string m_line;
};

}  // namespace quarn::detail
