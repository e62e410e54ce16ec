#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

/// Read-only values that the whole application shares.
namespace quarn {

namespace Quarn_COMP_GLOBALS {
constexpr double log2pi_half = 0.91893853320467274178;  ///< ln(2 pi) / 2
}  // namespace Quarn_COMP_GLOBALS

namespace Quarn_SYSTEM_NAMESPACE {
/// Format of every saved matrix: cells separated by "~", rows by a line feed, nothing else around them, and 17
/// significant digits, with which every double survives a save and a load.
QUARN_EXPORT extern const Eigen::IOFormat GLOBAL_IOFormatWorkspace;
}  // namespace Quarn_SYSTEM_NAMESPACE

}  // namespace quarn
