#include <quarn/datasets/Declaration_detail.h>
#include <quarn/datasets/PanelSample_detail.h>

namespace quarn::detail {
namespace {

std::vector<const double*> TestedColumns(const Dataset& dataset, const std::vector<int>& columns, const double* group,
                                         const double* time) {
    std::vector<const double*> tested = {group, time};
    for (const int column : columns) tested.push_back(dataset.Data.col(column).data());
    return tested;
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

PanelSample::PanelSample(const Dataset& dataset, const std::vector<int>& columns, const double* group)
    : m_observations(dataset.NumObs),
      m_group(group == nullptr ? GroupCells(dataset) : group),
      m_time(TimeCells(dataset, m_allTimes)),
      m_rows(dataset.NumObs, TestedColumns(dataset, columns, m_group, m_time)) {
    m_group = Select(m_group, m_groupCells);
    m_time = Select(m_time, m_timeCells);
    m_order.emplace(m_group, m_time, Count());
}

const double* PanelSample::Select(const double* column, VectorXd& storage) const {
    if (Count() == m_observations) return column;
    storage.resize(Count());
    m_rows.Copy(column, storage.data());
    return storage.data();
}

}  // namespace quarn::detail
