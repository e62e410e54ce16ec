#include <quarn/base/ProcessID.h>
#include <quarn/base/TextWidth_detail.h>

#include <string_view>

namespace quarn {
namespace {

constexpr std::string_view StrippedAtEnds = " \t\n\v\f\r\"'";
constexpr std::string_view ByteOrderMark = "\xEF\xBB\xBF";

// Written out rather than taken from <cctype>, whose answers depend on the locale.
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsIdentifierCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || IsDigit(c) || c == '_';
}

std::string_view Stripped(std::string_view text) {
    for (;;) {
        if (text.empty()) return text;
        if (text.starts_with(ByteOrderMark)) {
            text.remove_prefix(ByteOrderMark.size());
        } else if (text.ends_with(ByteOrderMark)) {
            text.remove_suffix(ByteOrderMark.size());
        } else if (StrippedAtEnds.find(text.front()) != std::string_view::npos) {
            text.remove_prefix(1);
        } else if (StrippedAtEnds.find(text.back()) != std::string_view::npos) {
            text.remove_suffix(1);
        } else {
            return text;
        }
    }
}

}  // namespace

void ProcessID(std::string& token) {
    const std::string_view text = Stripped(token);
    std::string identifier;
    identifier.reserve(text.size() + 1);
    if (text.empty() || IsDigit(text.front())) identifier += '_';
    for (std::size_t at = 0; at < text.size(); at += detail::CharacterLength(text, at))
        identifier += IsIdentifierCharacter(text[at]) ? text[at] : '_';
    token = std::move(identifier);
}

}  // namespace quarn
