#pragma once

#include <quarn/base/Types.h>

#include <cstddef>

namespace quarn::detail {

/// Asks the system to back a large block of memory, not yet written to, with large pages: hundreds of megabytes are then
/// first touched in hundreds of page faults instead of hundreds of thousands. A hint, without effect on small blocks and
/// where the system has no such pages.
void AdviseLargePages(const void* block, std::size_t bytes);

/// Sizes a matrix whose cells are all about to be written, on large pages, without preserving or initialising them.
/// Errors: std::bad_alloc, with the matrix empty.
void ResizeUninitialised(MatrixXd& matrix, Eigen::Index rows, Eigen::Index columns);
void ResizeUninitialised(MatrixXi& matrix, Eigen::Index rows, Eigen::Index columns);

}  // namespace quarn::detail
