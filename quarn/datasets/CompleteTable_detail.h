#pragma once

#include <quarn/datasets/Dataset.h>

#include <vector>

namespace quarn::detail {

/// The observations that are finite in all of the listed columns, as a matrix of their number x columns. False, with
/// data untouched, if there is none.
bool CopyCompleteObservations(const Dataset& dataset, const std::vector<int>& columns, MatrixXd& data);

}  // namespace quarn::detail
