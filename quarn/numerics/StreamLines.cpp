#include <quarn/base/LargeTables_detail.h>
#include <quarn/numerics/LineFeeds_detail.h>
#include <quarn/numerics/NumberText_detail.h>
#include <quarn/numerics/SavedText_detail.h>
#include <quarn/numerics/StreamLines_detail.h>
#include <quarn/numerics/TokenEnds_detail.h>

#include <algorithm>

namespace quarn::detail {
namespace {

constexpr std::size_t ReadBehind = NumberReadBehind;
constexpr std::size_t ReadAhead = TokenEnds::ReadAhead;
static_assert(ReadAhead >= NumberReadAhead);

}  // namespace

StreamLines::StreamLines(std::istream& stream, std::int64_t lines)
    : m_stream(stream), m_linesLeft(lines), m_text(ReadBehind, '\n'), m_linesEnd(ReadBehind), m_textEnd(ReadBehind) {}

std::string_view StreamLines::Next(std::size_t minimum) {
    m_text.resize(m_textEnd);
    m_text.erase(ReadBehind, m_linesEnd - ReadBehind);
    m_linesEnd = ReadBehind;
    if (minimum == Everything) ReserveEverything();
    while (m_linesLeft > 0 && m_linesEnd - ReadBehind < minimum) {
        const std::size_t known = m_text.size();
        if (!ReadMore()) {
            m_linesLeft = 0;
            if (m_text.size() != m_linesEnd) m_text += '\n';
            m_linesEnd = m_text.size();
            break;
        }
        const std::size_t lines = CountLineFeeds(m_text.data() + known, m_text.data() + m_text.size());
        m_linesLeft -= static_cast<std::int64_t>(lines);
        if (lines != 0) m_linesEnd = m_text.rfind('\n') + 1;
    }
    m_textEnd = m_text.size();
    m_text.append(ReadAhead, '\n');
    return {m_text.data() + ReadBehind, m_linesEnd - ReadBehind};
}

void StreamLines::ReserveEverything() {
    const std::int64_t bytes = BytesLeft(m_stream);
    if (bytes == UnknownSize) return;
    m_text.reserve(static_cast<std::size_t>(bytes) + BlockSize + ReadBehind + ReadAhead);
    AdviseLargePages(m_text.data(), m_text.capacity());
}

bool StreamLines::ReadMore() {
    constexpr std::int64_t fewLines = 256;
    if (m_linesLeft < fewLines || !m_stream.good()) {
        if (!ReadLine(m_stream, m_line)) return false;
        m_text.append(m_line) += '\n';
        return true;
    }
    // Each line takes a byte at least: as many bytes as there are lines to come never reach behind the last one.
    const auto wanted = std::min(static_cast<std::int64_t>(BlockSize), m_linesLeft);
    const std::size_t size = m_text.size();
    m_text.resize(size + static_cast<std::size_t>(wanted));
    m_stream.read(m_text.data() + size, wanted);
    m_text.resize(size + static_cast<std::size_t>(m_stream.gcount()));
    return true;
}

}  // namespace quarn::detail
