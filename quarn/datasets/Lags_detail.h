#pragma once

#include <quarn/datasets/Dataset.h>
#include <quarn/datasets/PanelSample_detail.h>

namespace quarn::detail {

/// The rows of a time series or panel by date, found once for any number of variables.
class DateOrder {
 public:
    /// Requires: RefreshDeclaration returned "OK"; the dataset stays as it is while the object lives.
    explicit DateOrder(const Dataset& dataset);

    /// What TakeLags and TakeDiffs return for the variable in this column.
    VectorXd Lags(int column, int lag) const;
    VectorXd Diffs(int column, int order, int lag) const;

 private:
    const Dataset& m_dataset;
    VectorXd m_oneGroup;  // of a time series
    PanelSample
        m_sample;  // without observations that lack a time or a group: nothing is earlier or later than they are

    VectorXd Spread(int column) const;
    VectorXd Collect(VectorXd cells) const;
};

}  // namespace quarn::detail
