#pragma once

/// Doubles to decimal text: the bytes that printf in the "C" locale makes of "%.{precision}g", whatever the locale of
/// the process: "nan", "-nan", "inf" and "-inf" included.
namespace quarn::detail {

/// Room that WriteNumber needs: the longest expansion of a double has 767 significant digits.
inline constexpr int NumberRoom = 800;

inline constexpr int ExactPrecision = 17;  ///< significant digits with which every double can be read back

/// Writes value to text and returns the end of what was written. No NUL is added.
/// Requires: precision >= 1; NumberRoom writable bytes at text. Not tested.
char* WriteNumber(char* text, double value, int precision);

}  // namespace quarn::detail
