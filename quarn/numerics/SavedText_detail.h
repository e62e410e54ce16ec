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
/// for a pipe. The position stays, and the state of the stream too. Cost: a file loses what it has read ahead.
inline constexpr std::int64_t UnknownSize = std::numeric_limits<std::int64_t>::max();
std::int64_t BytesLeft(std::istream& stream);

inline constexpr std::int64_t CellsAlwaysAllowed = 65536;  ///< so that a small table which was cut short still loads
inline constexpr std::int64_t CellsPerByte = 64;           ///< of a text, much of which may be lost

/// Throws std::bad_alloc, before anything is allocated, for counts that a damaged passage claims and that cannot be
/// true: negative ones, or more cells than limit, or than CellsAlwaysAllowed where that is more.
void RequireRoom(std::int64_t rows, std::int64_t columns, std::int64_t limit);

/// Throws std::bad_alloc for more cells than the bytes of text that they were read from can have stood for:
/// CellsPerByte for each. Many counts that RequireRoom lets pass could otherwise claim the same bytes. Where the stream
/// has ended, which no count survives, only CellsAlwaysAllowed holds.
void RequireText(const std::istream& stream, std::int64_t cells, std::int64_t bytes);

/// Whether neither of the two can refuse a table of which each row is a line, whatever the stream holds, so that there is
/// no need to ask for its bytes: a stream that has not ended has given the line feed of each row.
bool IsAlwaysAllowed(int rows, int columns);

}  // namespace quarn::detail
