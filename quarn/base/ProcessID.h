#pragma once

#include <quarn/base/Export.h>

#include <string>

namespace quarn {

/// Turns a header token of an imported file, in place, into an identifier of ASCII letters, digits and underscores.
/// White space, quotes and a UTF-8 byte-order mark go at both ends; any other character (a whole UTF-8 sequence, or a
/// malformed byte) that cannot stand in an identifier becomes "_"; a leading digit or an empty token gets a "_" in
/// front. A valid identifier passes unchanged.
QUARN_EXPORT void ProcessID(std::string& token);

}  // namespace quarn
