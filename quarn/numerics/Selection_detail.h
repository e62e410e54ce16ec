#pragma once

#include <quarn/base/Types.h>

namespace quarn::detail {

/// Reorders n values so that the one of the given rank, from 0, stands where a sort would put it, none above it before it
/// and none below it behind it. Requires: 0 <= rank < n; no NaN, of which a selection knows nothing. Cost: linear in n as
/// a rule, n log n at the worst.
void SelectRank(double* values, Eigen::Index n, Eigen::Index rank);

/// vectorMedian of n values, which are reordered. Requires: n > 0; no NaN.
double MedianInPlace(double* values, Eigen::Index n);

}  // namespace quarn::detail
