#include <quarn/base/TextWidth_detail.h>

namespace quarn::detail {
namespace {

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

std::size_t LengthByLeadByte(char byte) {
    const auto lead = static_cast<unsigned char>(byte);
    if (lead >= 0xC2 && lead <= 0xDF) return 2;
    if (lead >= 0xE0 && lead <= 0xEF) return 3;
    if (lead >= 0xF0 && lead <= 0xF4) return 4;
    return 1;
}

}  // namespace

std::size_t CharacterLength(std::string_view text, std::size_t at) {
    const std::size_t length = LengthByLeadByte(text[at]);
    if (at + length > text.size()) return 1;
    for (std::size_t i = 1; i < length; ++i)
        if (!IsContinuation(text[at + i])) return 1;
    return length;
}

std::size_t TextWidth(std::string_view text) {
    std::size_t width = 0;
    for (std::size_t at = 0; at < text.size(); at += CharacterLength(text, at)) ++width;
    return width;
}

std::string_view Truncate(std::string_view text, std::size_t width) {
    std::size_t at = 0;
    for (; at < text.size() && width > 0; --width) at += CharacterLength(text, at);
    return text.substr(0, at);
}

std::string ExpandTabsAndPad(std::string_view line, std::size_t width) {
    constexpr std::size_t tabStop = 8;
    std::string result;
    std::size_t column = 0;
    const auto blanks = [&](std::size_t count) {
        result.append(count, ' ');
        column += count;
    };
    for (std::size_t at = 0; at < line.size();) {
        const std::size_t length = CharacterLength(line, at);
        if (line[at] == '\t') {
            blanks(tabStop - column % tabStop);
        } else {
            result.append(line.substr(at, length));
            ++column;
        }
        at += length;
    }
    if (column < width) blanks(width - column);
    return result;
}

}  // namespace quarn::detail
