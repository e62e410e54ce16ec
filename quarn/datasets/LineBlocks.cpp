#include <quarn/datasets/LineBlocks_detail.h>
#include <quarn/numerics/LineFeeds_detail.h>

#include <cstring>
#include <new>
#include <utility>

namespace quarn::detail {
namespace {

constexpr std::size_t Page = 4096;
constexpr std::size_t FirstPrefix = 16 * Page;
constexpr std::size_t FirstBlock = 32 * Page;  // half of a small second-level cache

using Memory = std::unique_ptr<char, decltype(&std::free)>;

Memory AllocatePages(std::size_t size) {
    Memory memory(static_cast<char*>(std::aligned_alloc(Page, (size + LineBlocks::ReadAhead + Page) & ~(Page - 1))),
                  &std::free);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

LineBlocks::LineBlocks(ByteSource& source, std::size_t offset)
    : m_source(source),
      m_offset(offset),
      m_prefix(FirstPrefix),
      m_block(FirstBlock),
      m_memory(AllocatePages(m_prefix + m_block)),
      m_tail(m_memory.get() + m_prefix) {}

std::optional<LineBlock> LineBlocks::Next() {
    for (;;) {
        char* const start = MoveTail();
        const char* const lineStart = start - m_tailSize;
        const auto got = m_source.Read(start, m_block - m_offset % Page, m_offset);
        m_failed = !got.has_value();
        if (m_failed) return std::nullopt;
        char* end = start + *got;
        m_offset += *got;
        if (*got == 0) {
            if (m_tailSize == 0) return std::nullopt;
            *end++ = '\n';
            m_tail = end;
            m_tailSize = 0;
            return LineBlock{lineStart, end};
        }
        const void* const lastLineFeed = memrchr(start, '\n', *got);
        m_tail = lastLineFeed == nullptr ? lineStart : static_cast<const char*>(lastLineFeed) + 1;
        m_tailSize = static_cast<std::size_t>(end - m_tail);
        if (lastLineFeed != nullptr) return LineBlock{lineStart, m_tail};
    }
}

char* LineBlocks::MoveTail() {
    const std::size_t inPage = m_offset % Page;
    if (m_tailSize + ReadBehind <= m_prefix) {
        std::memmove(m_memory.get() + m_prefix + inPage - m_tailSize, m_tail, m_tailSize);
    } else {
        // Both parts grow in proportion to the line, so that a line of any length is moved a few times only.
        const std::size_t prefix = (2 * m_tailSize + Page) & ~(Page - 1);
        Memory larger = AllocatePages(prefix + prefix / 2);
        std::memcpy(larger.get() + prefix + inPage - m_tailSize, m_tail, m_tailSize);
        m_memory = std::move(larger);
        m_prefix = prefix;
        m_block = prefix / 2 & ~(Page - 1);
    }
    return m_memory.get() + m_prefix + inPage;
}

std::optional<std::size_t> CountLines(ByteSource& source, std::size_t offset) {
    const Memory block = AllocatePages(FirstBlock);
    std::size_t lines = 0;
    char last = '\n';
    for (;;) {
        char* const start = block.get() + offset % Page;
        const auto got = source.Read(start, FirstBlock - offset % Page, offset);
        if (!got) return std::nullopt;
        if (*got == 0) return lines + (last == '\n' ? 0 : 1);
        lines += CountLineFeeds(start, start + *got);
        last = start[*got - 1];
        offset += *got;
    }
}

}  // namespace quarn::detail
