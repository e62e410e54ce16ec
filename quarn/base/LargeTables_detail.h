#pragma once

#include <quarn/base/Types.h>

namespace quarn::detail {

/// Sizes a matrix whose cells are all about to be written, without preserving or initialising them. Asks the system to
/// back a large one with large pages: a table of hundreds of megabytes is then first touched in hundreds of page faults
/// instead of hundreds of thousands. A hint, without effect where the system has no such pages.
/// Errors: std::bad_alloc.
void ResizeUninitialised(MatrixXd& matrix, Eigen::Index rows, Eigen::Index columns);
void ResizeUninitialised(MatrixXi& matrix, Eigen::Index rows, Eigen::Index columns);

}  // namespace quarn::detail
