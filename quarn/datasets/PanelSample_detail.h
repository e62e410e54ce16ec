#pragma once

#include <quarn/datasets/Dataset.h>
#include <quarn/datasets/PanelOrder_detail.h>
#include <quarn/numerics/CompleteRows_detail.h>

#include <optional>
#include <vector>

namespace quarn::detail {

/// The time values of the declared time variable: its column if it is numeric, else storage.
/// Requires: RefreshDeclaration returned "OK".
const double* TimeCells(const Dataset& dataset, VectorXd& storage);
/// The column of the declared group variable. Requires: the same; the dataset is a panel.
const double* GroupCells(const Dataset& dataset);

/// The observations of a panel that are finite in group, time and some variables, and their order by group and time.
class PanelSample {
 public:
    /// group: the group ids by observation, if they are not those of the dataset. The dataset, and group, must outlive
    /// the object. Requires: RefreshDeclaration returned "OK". Cost: that of PanelOrder and a pass over the
    /// variables.
    PanelSample(const Dataset& dataset, const std::vector<int>& columns, const KeyColumn& group);
    PanelSample(const Dataset& dataset, const std::vector<int>& columns);
    PanelSample(const PanelSample&) = delete;
    PanelSample& operator=(const PanelSample&) = delete;

    Eigen::Index Count() const { return m_rows ? m_rows->Count() : m_observations; }
    /// The observation at row i of the sample.
    int Row(int i) const { return m_rows ? m_rows->Rows()[static_cast<std::size_t>(i)] : i; }
    const double* Time() const { return m_time.cells; }   ///< by rows of the sample
    const PanelOrder& Order() const { return *m_order; }  ///< of the rows of the sample

    /// A column of the dataset by rows of the sample: the column itself if no observation is missing, else storage.
    const double* Select(const double* column, VectorXd& storage) const;
    /// The way back: cells by rows of the sample to cells by observations. The others get NaN.
    VectorXd SpreadToObservations(VectorXd cells) const;

 private:
    Eigen::Index m_observations;
    VectorXd m_allTimes, m_groupCells, m_timeCells;
    KeyColumn m_group, m_time;
    std::optional<CompleteRows> m_rows;  // only if some observation is left out
    std::optional<PanelOrder> m_order;
};

}  // namespace quarn::detail
