#pragma once

#include <quarn/datasets/Dataset.h>
#include <quarn/datasets/PanelOrder_detail.h>

namespace quarn::detail {

/// The rows of a time series or panel by date, found once for any number of variables.
class DateOrder {
 public:
    /// Requires: RefreshDeclaration returned "OK"; the dataset stays as it is while the object lives.
    explicit DateOrder(const Dataset& dataset);
    DateOrder(const DateOrder&) = delete;  // the order refers to the cells beside it
    DateOrder& operator=(const DateOrder&) = delete;

    /// What TakeLags and TakeDiffs return for the variable in this column.
    VectorXd Lags(int column, int lag) const;
    VectorXd Diffs(int column, int order, int lag) const;

 private:
    const Dataset& m_dataset;
    VectorXd m_timeCells, m_times, m_groups;  // where the dataset has no such cells of its own
    PanelOrder m_order;

    VectorXd Spread(int column) const;
};

}  // namespace quarn::detail
