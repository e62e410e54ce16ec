#pragma once

#include <quarn/base/Types.h>

#include <vector>

namespace quarn::detail {

/// The stable order of n rows by key columns, the first being the main key, as SortMatrixVarIndex states it.
/// A column is a pointer to n cells. Requires: n < 2^31. Cost: O(n) for each 33 bits of keys at the most; memory 16
/// bytes a row beside the result.
VectorXi OrderOf(const std::vector<const double*>& columns, Eigen::Index n);
VectorXi OrderOf(const std::vector<const int*>& columns, Eigen::Index n);

}  // namespace quarn::detail
