#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Columns of UTF-8 text on a terminal, one per character. Malformed bytes count one each.
namespace quarn::detail {

/// Bytes of the character that starts at text[at]: 1 to 4, and 1 where the bytes are no well-formed sequence.
std::size_t CharacterLength(std::string_view text, std::size_t at);

std::size_t TextWidth(std::string_view text);

/// The longest run of whole characters from the start of text that is at most width columns wide.
std::string_view Truncate(std::string_view text, std::size_t width);

/// The line with its tabs replaced by blanks up to the next multiple of 8, and blanks at its end up to width.
std::string ExpandTabsAndPad(std::string_view line, std::size_t width);

}  // namespace quarn::detail
