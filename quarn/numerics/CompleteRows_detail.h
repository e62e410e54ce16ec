#pragma once

#include <quarn/base/Types.h>

#include <vector>

namespace quarn::detail {

/// Copies the listed rows of a column to as many cells of target, which may be source itself or stand anywhere before it.
/// Requires: rows ascending, each once.
void CopyRows(const std::vector<int>& rows, const double* source, double* target);

/// The rows in which each of some columns is finite, and copies of columns cut down to these rows.
/// Without columns every row is complete.
class CompleteRows {
 public:
    /// Requires: each column has so many rows, fewer than 2^31. Cost: one pass over the columns, in blocks that fit a
    /// cache.
    CompleteRows(Eigen::Index rows, const std::vector<const double*>& columns);

    Eigen::Index Count() const { return m_count; }
    const std::vector<int>& Rows() const { return m_rows; }  ///< ascending

    /// Copies the complete rows of source to the Count() cells of target, which may be source itself.
    void Copy(const double* source, double* target) const { CopyRows(m_rows, source, target); }

 private:
    void AppendBlock(Eigen::Index from, Eigen::Index rows, const std::vector<const double*>& columns);

    Eigen::Index m_count = 0;
    std::vector<int> m_rows;
};

}  // namespace quarn::detail
