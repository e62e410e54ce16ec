#include <quarn/datasets/Dataset.h>
#include <quarn/datasets/Declaration_detail.h>
#include <quarn/datasets/PanelOrder_detail.h>
#include <quarn/datasets/PanelSample_detail.h>
#include <quarn/datasets/StatusTexts.h>
#include <quarn/datasets/TimeFunctions_detail.h>
#include <quarn/numerics/MatrixHelpers.h>

#include <algorithm>
#include <limits>

namespace quarn {
namespace {

using detail::PanelOrder;
using Eigen::Index;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

/// Group ids and times as double2int has them: the cells themselves if they are of type int, else storage.
const double* AsIntegers(const double* cells, Index n, VectorXd& storage) {
    constexpr double Rounder = 6755399441055744.0, Limit = 2147483647.0;  // Rounder: 1.5 * 2^52
    bool allInt = true;
    for (Index i = 0; i < n; ++i)
        allInt &= (cells[i] + Rounder) - Rounder == cells[i] && cells[i] <= Limit && cells[i] >= -Limit;
    if (allInt) return cells;
    storage = double2int(VectorXd::Map(cells, n)).cast<double>();
    return storage.data();
}

/// to(p) = combine(from(p), from at the place of p's group whose time is lag periods before that of p, or NaN if there is
/// none). With a lag of 0 each place finds itself. Of several places of one time, which observations without a time or
/// group can have, the last one is found. from and to differ.
template <class Combine>
void CombineWithLag(const PanelOrder& order, int lag, const double* from, double* to, Combine combine) {
    const double* const times = order.Times();
    for (Index group = 0; group < order.Groups(); ++group) {
        const Index first = order.Starts()[static_cast<std::size_t>(group)];
        const Index end = order.Starts()[static_cast<std::size_t>(group) + 1];
        if (lag == 0) {
            for (Index p = first; p < end; ++p) to[p] = combine(from[p], from[p]);
        } else if (times == nullptr) {
            const Index some = std::min(first + std::max(Index{lag}, Index{0}), end);
            const Index none = std::max(end + std::min(Index{lag}, Index{0}), some);
            for (Index p = first; p < some; ++p) to[p] = NaN;
            for (Index p = some; p < none; ++p) to[p] = combine(from[p], from[p - lag]);
            for (Index p = none; p < end; ++p) to[p] = NaN;
        } else {
            // Times ascend, and with them those looked for: the candidate, the last place that is not too late, moves
            // forward only. Whole numbers: the comparisons are exact.
            Index candidate = first - 1;
            for (Index p = first; p < end; ++p) {
                const double wanted = times[p] - lag;
                while (candidate + 1 < end && times[candidate + 1] <= wanted) ++candidate;
                const bool found = candidate >= first && times[candidate] == wanted;
                to[p] = combine(from[p], found ? from[candidate] : NaN);
            }
        }
    }
}

/// The variable by places, worked on there, by rows again.
template <class Work>
VectorXd WorkByDate(const Dataset& dataset, const double* variable, Work work) {
    const Index n = dataset.NumObs;
    VectorXd groups, allTimes, times, values;
    const double* const time = AsIntegers(detail::TimeCells(dataset, allTimes), n, times);
    const double* group = nullptr;
    if (dataset.DatasetType == detail::PanelType) {
        group = AsIntegers(detail::GroupCells(dataset), n, groups);
    } else {
        groups = VectorXd::Zero(n);
        group = groups.data();
    }
    const PanelOrder order(group, time, n);
    return order.Collect(work(order, order.Spread(variable, values)));
}

}  // namespace

VectorXd Dataset::TakeLags(const std::string& variable, const std::string& datasetName, int lag, std::string& message) {
    message = detail::StartTimeFunction(*this, variable, datasetName, "lag");
    if (message != StatusTexts::OK) return {};
    const double* const x = Data.col(GetVariableIndex(variable)).data();
    return WorkByDate(*this, x, [lag](const PanelOrder& order, const double* values) {
        VectorXd lags(order.Places());
        CombineWithLag(order, lag, values, lags.data(), [](double, double earlier) { return earlier; });
        return lags;
    });
}

VectorXd Dataset::TakeDiffs(const std::string& variable, const std::string& datasetName, int order, int lag,
                            std::string& message) {
    message = detail::StartTimeFunction(*this, variable, datasetName, "diff");
    if (message != StatusTexts::OK) return {};
    const double* const x = Data.col(GetVariableIndex(variable)).data();
    if (order < 1) return VectorXd::Map(x, NumObs);
    return WorkByDate(*this, x, [order, lag](const PanelOrder& places, const double* values) {
        VectorXd differences(places.Places()), next;
        const auto subtract = [](double own, double earlier) { return own - earlier; };
        CombineWithLag(places, lag, values, differences.data(), subtract);
        // Differences that are all NaN, and the zeros of a lag of 0, stay what they are, however high the order.
        for (int pass = 1; pass < order && lag != 0 && !differences.array().isNaN().all(); ++pass) {
            next.resize(differences.size());
            CombineWithLag(places, lag, differences.data(), next.data(), subtract);
            differences.swap(next);
        }
        return differences;
    });
}

}  // namespace quarn
