#pragma once

#include <cstdint>
#include <istream>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

/// Lines, fields and counts of the saved text forms.
namespace quarn::detail {

inline constexpr char FieldSeparator = '~';

/// The next line without its line feed. False, and an empty line, behind the end of a stream or after a failure.
/// Errors: std::bad_alloc, with the stream failed.
bool ReadLine(std::istream& stream, std::string& line);

/// The first count fields of a line; those that it lacks are empty, and further ones are left out.
std::vector<std::string> SplitFields(std::string_view line, std::size_t count);

/// The same of the next line.
/// Requires: a count for which there is room (RequireRoom). Not tested.
std::vector<std::string> ReadFields(std::istream& stream, std::size_t count);

/// What atoi of the "C" locale gives: leading white space, a sign, digits; 0 without digits. A number beyond the range
/// of int becomes the nearest int.
int ToInt(std::string_view text);

/// Bytes from the position of the stream to its end, or UnknownSize, which is larger than any, where it cannot tell, as
/// for a pipe. The position stays, and the state of the stream too.
inline constexpr std::int64_t UnknownSize = std::numeric_limits<std::int64_t>::max();
std::int64_t BytesLeft(std::istream& stream);

/// Throws std::bad_alloc, before anything is allocated, for counts that a damaged passage claims and that cannot be
/// true: negative ones, or more cells than limit. 65536 cells are always allowed, so that a small table which was cut
/// short still loads.
void RequireRoom(std::int64_t rows, std::int64_t columns, std::int64_t limit);

/// Throws std::bad_alloc for more cells than the bytes of text that they were read from can have stood for, though much
/// of it be lost: 64 for each byte. Many counts that RequireRoom lets pass could otherwise claim the same bytes. Where
/// the stream has ended, which no count survives, only the limit of RequireRoom holds: 65536 cells.
void RequireText(const std::istream& stream, std::int64_t cells, std::int64_t bytes);

}  // namespace quarn::detail
