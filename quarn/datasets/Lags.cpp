#include <quarn/datasets/Dataset.h>
#include <quarn/datasets/Declaration_detail.h>
#include <quarn/datasets/Lags_detail.h>
#include <quarn/datasets/PanelSample_detail.h>
#include <quarn/datasets/StatusTexts.h>
#include <quarn/datasets/TimeFunctions_detail.h>
#include <quarn/numerics/MatrixHelpers.h>

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

namespace quarn {
namespace {

using detail::KeyColumn;
using detail::PanelOrder;
using Eigen::Index;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

/// Group ids and times as double2int has them: the cells themselves if they are of type int, else storage.
KeyColumn AsIntegers(const double* cells, Index n, VectorXd& storage) {
    constexpr int Limit = std::numeric_limits<int>::max();
    const KeyColumn column(cells, n);
    if (column.isWhole && column.low >= -Limit && column.high <= Limit) return column;
    storage = double2int(VectorXd::Map(cells, n)).cast<double>();
    return {storage.data(), n};
}

/// cells(p) = combine(cells(p), cell of p's group whose time is lag periods before that of p, or NaN if there is none).
/// With a lag of 0 each place finds itself. Of several places of one time, which observations without a time or group can
/// have, the last one is found.
template <class Combine>
void CombineWithLag(const PanelOrder& order, int lag, VectorXd& cells, Combine combine) {
    const double* const times = order.Times();
    std::vector<double> own;  // the cells of a group before they are overwritten
    for (std::size_t group = 0; group + 1 < order.Starts().size(); ++group) {
        const Index first = order.Starts()[group], n = order.Starts()[group + 1] - first;
        double* const cell = cells.data() + first;
        own.assign(cell, cell + n);
        if (lag == 0) {
            for (Index p = 0; p < n; ++p) cell[p] = combine(cell[p], cell[p]);
        } else if (times == nullptr) {
            const Index begin = std::min(std::max(Index{lag}, Index{0}), n);
            const Index end = std::max(std::min(n, n + lag), begin);
            std::fill(cell, cell + begin, NaN);
            for (Index p = begin; p < end; ++p) cell[p] = combine(cell[p], own[static_cast<std::size_t>(p - lag)]);
            std::fill(cell + end, cell + n, NaN);
        } else {
            // Times ascend, and with them those looked for: the candidate, the last place that is not too late, moves
            // forward only. Whole numbers: the comparisons are exact.
            const double* const time = times + first;
            Index candidate = -1;
            for (Index p = 0; p < n; ++p) {
                const double wanted = time[p] - lag;
                while (candidate + 1 < n && time[candidate + 1] <= wanted) ++candidate;
                const bool found = candidate >= 0 && time[candidate] == wanted;
                cell[p] = combine(cell[p], found ? own[static_cast<std::size_t>(candidate)] : NaN);
            }
        }
    }
}

/// Groups as integers; all rows are of one group where the dataset is no panel.
KeyColumn GroupsOf(const Dataset& dataset, VectorXd& storage) {
    const Index n = dataset.NumObs;
    if (dataset.DatasetType == detail::PanelType) return AsIntegers(detail::GroupCells(dataset), n, storage);
    storage = VectorXd::Zero(n);
    return {storage.data(), n};
}

}  // namespace

detail::DateOrder::DateOrder(const Dataset& dataset)
    : m_dataset(dataset),
      m_order(GroupsOf(dataset, m_groups), AsIntegers(TimeCells(dataset, m_timeCells), dataset.NumObs, m_times),
              dataset.NumObs) {}

VectorXd detail::DateOrder::Spread(int column) const {
    const double* const values = m_dataset.Data.col(column).data();
    VectorXd cells;
    if (m_order.Spread(values, cells) == values) cells = VectorXd::Map(values, m_dataset.NumObs);
    return cells;
}

VectorXd detail::DateOrder::Lags(int column, int lag) const {
    VectorXd cells = Spread(column);
    CombineWithLag(m_order, lag, cells, [](double, double earlier) { return earlier; });
    return m_order.Collect(std::move(cells));
}

VectorXd detail::DateOrder::Diffs(int column, int order, int lag) const {
    VectorXd cells = Spread(column);
    // The zeros of a lag of 0, and cells that are all NaN, stay what they are, however high the order.
    const int passes = lag == 0 ? 1 : order;
    constexpr int BetweenLooks = 8;
    for (int pass = 0; pass < passes; ++pass) {
        if (pass % BetweenLooks == BetweenLooks - 1 && cells.array().isNaN().all()) break;
        CombineWithLag(m_order, lag, cells, [](double own, double earlier) { return own - earlier; });
    }
    return m_order.Collect(std::move(cells));
}

VectorXd Dataset::TakeLags(const std::string& variable, const std::string& datasetName, int lag, std::string& message) {
    message = detail::StartTimeFunction(*this, variable, datasetName, "lag");
    if (message != StatusTexts::OK) return {};
    return detail::DateOrder(*this).Lags(GetVariableIndex(variable), lag);
}

VectorXd Dataset::TakeDiffs(const std::string& variable, const std::string& datasetName, int order, int lag,
                            std::string& message) {
    message = detail::StartTimeFunction(*this, variable, datasetName, "diff");
    if (message != StatusTexts::OK) return {};
    if (order < 1) return Data.col(GetVariableIndex(variable));
    return detail::DateOrder(*this).Diffs(GetVariableIndex(variable), order, lag);
}

}  // namespace quarn
