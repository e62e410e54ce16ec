#pragma once

#include <quarn/base/Types.h>

namespace quarn::detail {

/// vectorMedian of n values, which are reordered. Requires: n > 0; no NaN, which a partial selection does not know.
double MedianInPlace(double* values, Eigen::Index n);

}  // namespace quarn::detail
