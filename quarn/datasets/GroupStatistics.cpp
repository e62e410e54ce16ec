#include <quarn/datasets/Dataset.h>
#include <quarn/datasets/PanelOrder_detail.h>
#include <quarn/datasets/PanelSample_detail.h>
#include <quarn/datasets/StatusTexts.h>
#include <quarn/datasets/TimeFunctions_detail.h>
#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/numerics/Reductions_detail.h>
#include <quarn/numerics/Selection_detail.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace quarn {
namespace {

using Eigen::Index;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

struct Statistic {
    const char* name;
    double (*compute)(double* values, Index n);  ///< of n > 0 values, which it may reorder
    double ofNone;                               ///< where a group has no value
};

constexpr Statistic Statistics[] = {
    {"groupmeans", [](double* x, Index n) { return vectorMean(VectorXd::Map(x, n)); }, NaN},
    {"groupvars", [](double* x, Index n) { return vectorVar(VectorXd::Map(x, n)); }, NaN},
    {"groupsds", [](double* x, Index n) { return vectorSd(VectorXd::Map(x, n)); }, NaN},
    {"groupmedians", detail::MedianInPlace, NaN},
    {"groupsums", [](double* x, Index n) { return detail::Sum(VectorXd::Map(x, n)); }, NaN},
    {"groupcounts", [](double*, Index n) { return static_cast<double>(n); }, 0.0},
};

/// The statistic by group id, from the lowest one of the sample on. Ids are whole numbers close together.
struct Table {
    double lowest = 0.0;
    VectorXd values;
};

Table ComputeByGroup(const detail::PanelOrder& order, const double* cells, const Statistic& statistic) {
    Table table;
    if (order.Groups() == 0) return table;
    const std::vector<int>& starts = order.Starts();
    table.lowest = order.GroupId(0);
    table.values.setConstant(static_cast<Index>(order.GroupId(order.Groups() - 1) - table.lowest) + 1,
                             statistic.ofNone);
    std::vector<double> values;
    for (Index group = 0; group < order.Groups(); ++group) {
        const int first = starts[static_cast<std::size_t>(group)], end = starts[static_cast<std::size_t>(group) + 1];
        if (values.size() < static_cast<std::size_t>(end - first)) values.resize(static_cast<std::size_t>(end - first));
        // Without a branch: the NaN of a place without a row is overwritten by the next value.
        Index count = 0;
        for (int place = first; place < end; ++place) {
            values[static_cast<std::size_t>(count)] = cells[place];
            count += cells[place] == cells[place] ? 1 : 0;
        }
        if (count > 0)
            table.values[static_cast<Index>(order.GroupId(group) - table.lowest)] =
                statistic.compute(values.data(), count);
    }
    return table;
}

}  // namespace

VectorXd Dataset::CalculateGroupStats(const std::string& variable, const std::string& datasetName,
                                      const std::string& statistic, std::string& message) {
    message = detail::StartPanelFunction(*this, variable, datasetName, statistic);
    if (message != StatusTexts::OK) return {};
    const auto* const wanted = std::find_if(std::begin(Statistics), std::end(Statistics),
                                            [&](const Statistic& known) { return statistic == known.name; });
    if (wanted == std::end(Statistics)) {
        message = StatusTexts::UnknownStatistic + statistic;
        return {};
    }

    // Text cannot be prepared for an estimator: no sample.
    if (GetVariableIsString(GroupVariable)) return VectorXd::Constant(NumObs, wanted->ofNone);

    VectorXd idStorage, valueStorage, places;
    const detail::KeyColumn groupIds(detail::GroupCells(*this), NumObs);
    const detail::KeyColumn ids = detail::CompactIds(groupIds, NumObs, idStorage);
    const int column = GetVariableIndex(variable);
    const detail::PanelSample sample(*this, {column}, ids);
    const double* const values = sample.Select(Data.col(column).data(), valueStorage);
    const Table table = ComputeByGroup(sample.Order(), sample.Order().Spread(values, places), *wanted);

    // The places have served their purpose: their memory need not be cleared by the system a second time.
    VectorXd result = std::move(places);
    result.conservativeResize(NumObs);
    const auto groups = static_cast<double>(table.values.size());
    for (Index row = 0; row < NumObs; ++row) {
        const double group = ids.cells[row] - table.lowest;
        const bool isInTable = group >= 0.0 && group < groups;  // not if NaN
        result[row] = isInTable ? table.values[static_cast<Index>(group)] : wanted->ofNone;
    }
    return result;
}

}  // namespace quarn
