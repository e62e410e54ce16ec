#include <quarn/datasets/Declaration_detail.h>
#include <quarn/datasets/PanelSample_detail.h>

#include <algorithm>
#include <limits>

namespace quarn::detail {
namespace {

/// Keys that are whole numbers are finite.
std::vector<const double*> TestedColumns(const Dataset& dataset, const std::vector<int>& columns,
                                         const KeyColumn& group, const KeyColumn& time) {
    std::vector<const double*> tested;
    tested.reserve(columns.size() + 2);
    for (const int column : columns) tested.push_back(dataset.Data.col(column).data());
    for (const KeyColumn* const key : {&group, &time})
        if (!key->isWhole) tested.push_back(key->cells);
    return tested;
}

/// x - x is 0 for a finite cell and NaN for another. Four sums, for an addition has to wait for the one before it.
bool AllFinite(const double* x, Eigen::Index n) {
    constexpr Eigen::Index Lanes = 4;
    double sums[Lanes] = {};
    Eigen::Index i = 0;
    for (; i + Lanes <= n; i += Lanes)
        for (Eigen::Index lane = 0; lane < Lanes; ++lane) sums[lane] += x[i + lane] - x[i + lane];
    for (; i < n; ++i) sums[0] += x[i] - x[i];
    return (sums[0] + sums[1]) + (sums[2] + sums[3]) == 0.0;
}

}  // namespace

const double* TimeCells(const Dataset& dataset, VectorXd& storage) {
    const int column = dataset.GetVariableIndex(dataset.TimeVariable);
    if (!dataset.GetVariableIsString(column)) return dataset.Data.col(column).data();
    storage = TimeValues(dataset);
    return storage.data();
}

const double* GroupCells(const Dataset& dataset) {
    return dataset.Data.col(dataset.GetVariableIndex(dataset.GroupVariable)).data();
}

PanelSample::PanelSample(const Dataset& dataset, const std::vector<int>& columns)
    : PanelSample(dataset, columns, KeyColumn(GroupCells(dataset), dataset.NumObs)) {}

PanelSample::PanelSample(const Dataset& dataset, const std::vector<int>& columns, const KeyColumn& group)
    : m_observations(dataset.NumObs), m_group(group), m_time(TimeCells(dataset, m_allTimes), dataset.NumObs) {
    const auto tested = TestedColumns(dataset, columns, m_group, m_time);
    const auto isComplete = [this](const double* column) { return AllFinite(column, m_observations); };
    if (!std::all_of(tested.begin(), tested.end(), isComplete)) m_rows.emplace(m_observations, tested);
    m_group.cells = Select(m_group.cells, m_groupCells);
    m_time.cells = Select(m_time.cells, m_timeCells);
    // A cell that is not finite, or a fraction, may have been in a row that was left out.
    if (!m_group.isWhole && !m_group.isCompact) m_group = KeyColumn(m_group.cells, Count());
    if (!m_time.isWhole) m_time = KeyColumn(m_time.cells, Count());
    m_order.emplace(m_group, m_time, Count());
}

const double* PanelSample::Select(const double* column, VectorXd& storage) const {
    if (!m_rows) return column;
    storage.resize(Count());
    m_rows->Copy(column, storage.data());
    return storage.data();
}

VectorXd PanelSample::SpreadToObservations(VectorXd cells) const {
    if (!m_rows) return cells;
    VectorXd spread = VectorXd::Constant(m_observations, std::numeric_limits<double>::quiet_NaN());
    for (Eigen::Index i = 0; i < Count(); ++i) spread[Row(static_cast<int>(i))] = cells[i];
    return spread;
}

}  // namespace quarn::detail
