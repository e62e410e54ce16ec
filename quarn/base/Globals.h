#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

/// Read-only values that the whole application shares.
namespace quarn {

namespace Quarn_COMP_GLOBALS {
constexpr double log2pi_half = 0.91893853320467274178;  ///< ln(2 pi) / 2

/// Tables of the one-sided truncated normal generator (Chopin2011_lower): N - 1 closed cells of equal area that cover
/// the standard normal density between the first and the last boundary, and the open cell beyond, of the same
/// probability. They are complete before the first dynamic initialisation of any other file, and never change.
/// Bounds from TRUNCN_a_min to TRUNCN_a_max are served by the cells: below, hardly a normal is rejected; above, too few
/// cells are left for them to be quicker than the tail method.
constexpr double TRUNCN_a_min = -3.25;
constexpr double TRUNCN_a_max = 2.375;
constexpr double TRUNCN_h = 0x1p-10;  ///< slot of the grid of bounds: a power of 2 (a/h is exact), at most a cell wide
constexpr int TRUNCN_k_min = -3328;   ///< TRUNCN_a_min / TRUNCN_h

/// For the slot [k h, (k + 1) h) at entry k - TRUNCN_k_min: a cell such that the one before it begins at or below k h,
/// and all behind it lie above the slot.
QUARN_EXPORT extern const VectorXi TRUNCN_Jk;
QUARN_EXPORT extern const VectorXd TRUNCN_x;   ///< N boundaries, ascending; N is odd, the middle one is 0
QUARN_EXPORT extern const VectorXd TRUNCN_yl;  ///< N: lower bound of the density over the cell; 0 for the open cell
QUARN_EXPORT extern const VectorXd TRUNCN_yu;  ///< N: upper bound of it
}  // namespace Quarn_COMP_GLOBALS

namespace Quarn_SYSTEM_NAMESPACE {
/// Format of every saved matrix: cells separated by "~", rows by a line feed, nothing else around them, and 17
/// significant digits, with which every double survives a save and a load.
QUARN_EXPORT extern const Eigen::IOFormat GLOBAL_IOFormatWorkspace;
}  // namespace Quarn_SYSTEM_NAMESPACE

}  // namespace quarn
