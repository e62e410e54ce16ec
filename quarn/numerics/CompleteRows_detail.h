#pragma once

#include <quarn/base/Types.h>

#include <cstdint>
#include <vector>

namespace quarn::detail {

/// The rows in which each of some columns is finite, and copies of columns cut down to these rows.
/// Without columns every row is complete.
class CompleteRows {
 public:
    /// Requires: each column has so many rows. Cost: one pass over the columns, in blocks that fit a cache.
    CompleteRows(Eigen::Index rows, const std::vector<const double*>& columns);

    Eigen::Index Count() const { return m_count; }
    bool Contains(Eigen::Index row) const { return m_complete[static_cast<std::size_t>(row)] != 0; }

    /// Copies the complete rows of source to the Count() cells of target, which may be source itself.
    void Copy(const double* source, double* target) const;

 private:
    void MarkBlock(Eigen::Index from, Eigen::Index rows, const std::vector<const double*>& columns);

    std::vector<std::uint8_t> m_complete;  ///< by row, 1 or 0
    Eigen::Index m_count = 0;
    Eigen::Index m_end = 0;  ///< behind the last complete row
};

}  // namespace quarn::detail
