#include <quarn/numerics/SavedText_detail.h>

#include <algorithm>
#include <limits>
#include <new>

namespace quarn::detail {
namespace {

/// std::getline, but for memory that runs out: that would only leave a failed stream and half a line, as if the text
/// ended there. A stream that is asked for exceptions passes on what has been thrown.
bool GetLine(std::istream& stream, std::string& line) {
    const auto wanted = stream.exceptions();
    if (!stream.good() || (wanted & std::ios::badbit) != 0) return static_cast<bool>(std::getline(stream, line));
    stream.exceptions(wanted | std::ios::badbit);
    bool outOfMemory = false;
    try {
        std::getline(stream, line);
    } catch (const std::bad_alloc&) {
        outOfMemory = true;
    } catch (...) {
        // The source broke off: the stream has failed, and that is what the caller sees.
    }
    stream.exceptions(wanted);
    if (outOfMemory) throw std::bad_alloc();
    return !stream.fail();
}

}  // namespace

bool ReadLine(std::istream& stream, std::string& line) {
    if (GetLine(stream, line)) return true;
    line.clear();
    return false;
}

std::vector<std::string> SplitFields(std::string_view line, std::size_t count) {
    std::vector<std::string> fields(count);
    for (std::string& field : fields) {
        const auto length = std::min(line.find(FieldSeparator), line.size());
        field = line.substr(0, length);
        line.remove_prefix(std::min(length + 1, line.size()));
    }
    return fields;
}

std::vector<std::string> ReadFields(std::istream& stream, std::size_t count) {
    std::string line;
    ReadLine(stream, line);
    return SplitFields(line, count);
}

int ToInt(std::string_view text) {
    const auto isSpace = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    const auto first = std::find_if_not(text.begin(), text.end(), isSpace);
    const bool negative = first != text.end() && *first == '-';
    const bool hasSign = negative || (first != text.end() && *first == '+');
    const std::int64_t limit = std::int64_t{std::numeric_limits<int>::max()} + (negative ? 1 : 0);
    std::int64_t value = 0;
    for (auto at = first + (hasSign ? 1 : 0); at != text.end() && *at >= '0' && *at <= '9'; ++at)
        value = std::min(value * 10 + (*at - '0'), limit);
    return static_cast<int>(negative ? -value : value);
}

std::int64_t BytesLeft(std::istream& stream) {
    // Not by tellg, which fails where a read has met the end.
    std::streambuf& buffer = *stream.rdbuf();
    const auto here = buffer.pubseekoff(0, std::ios::cur, std::ios::in);
    if (here == std::streampos(-1)) return UnknownSize;
    const auto end = buffer.pubseekoff(0, std::ios::end, std::ios::in);
    if (buffer.pubseekpos(here, std::ios::in) == std::streampos(-1) || end < here) return UnknownSize;
    return end - here;
}

void RequireRoom(std::int64_t rows, std::int64_t columns, std::int64_t limit) {
    const std::int64_t most = std::max(limit, CellsAlwaysAllowed);
    if (rows < 0 || columns < 0 || (rows > 0 && columns > most / rows)) throw std::bad_alloc();
}

void RequireText(const std::istream& stream, std::int64_t cells, std::int64_t bytes) {
    const std::int64_t most = CellsPerByte * bytes;
    if (cells > (stream.good() ? most : std::max(most, CellsAlwaysAllowed))) throw std::bad_alloc();
}

bool IsAlwaysAllowed(int rows, int columns) {
    return rows >= 0 && columns >= 0 && columns <= CellsPerByte && std::int64_t{rows} * columns <= CellsAlwaysAllowed;
}

}  // namespace quarn::detail
