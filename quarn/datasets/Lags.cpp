#include <quarn/datasets/Dataset.h>
#include <quarn/datasets/Declaration_detail.h>
#include <quarn/datasets/Lags_detail.h>
#include <quarn/datasets/StatusTexts.h>
#include <quarn/datasets/TimeFunctions_detail.h>

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

namespace quarn {
namespace {

using detail::PanelOrder;
using Eigen::Index;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

/// cells(p) = combine(cells(p), cell of p's group whose time is lag periods before that of p, or NaN if there is none).
template <class Combine>
void CombineWithLag(const PanelOrder& order, int lag, VectorXd& cells, Combine combine) {
    const double* const times = order.Times();
    std::vector<double> own;  // the cells of a group before they are overwritten
    for (std::size_t group = 0; group + 1 < order.Starts().size(); ++group) {
        const Index first = order.Starts()[group], n = order.Starts()[group + 1] - first;
        double* const cell = cells.data() + first;
        own.assign(cell, cell + n);
        if (times == nullptr) {
            const Index begin = std::min(std::max(Index{lag}, Index{0}), n);
            const Index end = std::max(std::min(n, n + lag), begin);
            std::fill(cell, cell + begin, NaN);
            for (Index p = begin; p < end; ++p) cell[p] = combine(cell[p], own[static_cast<std::size_t>(p - lag)]);
            std::fill(cell + end, cell + n, NaN);
        } else {
            // Times ascend, and with them those looked for: the candidate, the last place that is not too late, moves
            // forward only. Where there is such a time, wanted is that, without rounding; where a large one was rounded,
            // the distance tells: of whole numbers it is exact up to 2^53, and beyond that larger than any lag.
            const double* const time = times + first;
            Index candidate = -1;
            for (Index p = 0; p < n; ++p) {
                const double wanted = time[p] - lag;
                while (candidate + 1 < n && time[candidate + 1] <= wanted) ++candidate;
                const bool found = candidate >= 0 && time[p] - time[candidate] == lag;
                cell[p] = combine(cell[p], found ? own[static_cast<std::size_t>(candidate)] : NaN);
            }
        }
    }
}

/// The group of each observation: all are of one where the dataset is no panel.
const double* GroupsOf(const Dataset& dataset, VectorXd& storage) {
    if (dataset.DatasetType == detail::PanelType) return detail::GroupCells(dataset);
    storage.setZero(dataset.NumObs);
    return storage.data();
}

}  // namespace

detail::DateOrder::DateOrder(const Dataset& dataset)
    : m_dataset(dataset), m_sample(dataset, {}, {GroupsOf(dataset, m_oneGroup), dataset.NumObs}) {}

VectorXd detail::DateOrder::Spread(int column) const {
    VectorXd selected, cells;
    const double* const values = m_sample.Select(m_dataset.Data.col(column).data(), selected);
    if (m_sample.Order().Spread(values, cells) == values) cells = VectorXd::Map(values, m_sample.Count());
    return cells;
}

VectorXd detail::DateOrder::Collect(VectorXd cells) const {
    return m_sample.SpreadToObservations(m_sample.Order().Collect(std::move(cells)));
}

VectorXd detail::DateOrder::Lags(int column, int lag) const {
    if (lag == 0) return m_dataset.Data.col(column);
    VectorXd cells = Spread(column);
    CombineWithLag(m_sample.Order(), lag, cells, [](double, double earlier) { return earlier; });
    return Collect(std::move(cells));
}

VectorXd detail::DateOrder::Diffs(int column, int order, int lag) const {
    const auto values = m_dataset.Data.col(column);
    if (order < 1) return values;
    if (lag == 0) return 0.0 * values.cwiseAbs();  // x - x: NaN where x is not finite
    VectorXd cells = Spread(column);
    constexpr int BetweenLooks = 8;
    for (int pass = 0; pass < order; ++pass) {
        // Cells that are all NaN stay what they are, however high the order.
        if (pass % BetweenLooks == BetweenLooks - 1 && cells.array().isNaN().all()) break;
        CombineWithLag(m_sample.Order(), lag, cells, [](double own, double earlier) { return own - earlier; });
    }
    return Collect(std::move(cells));
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
    return detail::DateOrder(*this).Diffs(GetVariableIndex(variable), order, lag);
}

}  // namespace quarn
