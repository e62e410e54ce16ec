// Time series and panels: from the declaration of a time structure to what rests on it. Items are observations. All rows
// are shuffled, so that nothing profits from data that happen to be in order.

#include <quarn/datasets/Dataset.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using Eigen::Index;
using quarn::Dataset;
using quarn::MatrixXd;
using quarn::VectorXi;

constexpr int Variables = 3;

/// Rows of ids, group, period and variables x1 to x3, shuffled: groups of so many consecutive periods.
Dataset Table(Index rows, Index periods) {
    std::mt19937_64 engine(46);
    std::normal_distribution<double> normal;
    std::vector<Index> order(static_cast<std::size_t>(rows));
    for (Index i = 0; i < rows; ++i) order[static_cast<std::size_t>(i)] = i;
    std::shuffle(order.begin(), order.end(), engine);
    wxArrayString names;
    for (const char* name : {"QuarnSystemVar_obsID", "group", "period", "x1", "x2", "x3"}) names.Add(name);
    MatrixXd data(rows, 3 + Variables);
    for (Index i = 0; i < rows; ++i) {
        const Index place = order[static_cast<std::size_t>(i)];
        data.row(i).head<3>() << static_cast<double>(i + 1), static_cast<double>(place / periods),
            static_cast<double>(place % periods);
    }
    for (double& cell : data.rightCols(Variables).reshaped()) cell = normal(engine);
    return Dataset(names, data);
}

/// The same with the periods as text: quarters from 1990 on, or the first 28 days of each month from 1800 on.
Dataset TextTable(Index rows, Index periods, const std::string& format) {
    Dataset dataset = Table(rows, periods);
    constexpr int column = 2;
    std::vector<std::string> values;
    for (const double cell : dataset.Data.col(column)) {
        const int period = static_cast<int>(cell);
        char text[32];
        if (format == "yyyyqx")
            std::snprintf(text, sizeof text, "%dq%d", period / 4 + 1990, period % 4 + 1);
        else
            std::snprintf(text, sizeof text, "%d/%02d/%02d", period / 336 + 1800, period / 28 % 12 + 1,
                          period % 28 + 1);
        values.emplace_back(text);
    }
    dataset.StringVars[column] = {column, "period", std::move(values), false, {}};
    return dataset;
}

void SetItems(benchmark::State& state) {
    state.SetItemsProcessed(static_cast<Index>(state.iterations()) * state.range(0));
}

void Sizes(benchmark::internal::Benchmark* family) { family->Arg(10000)->Arg(1000000)->Unit(benchmark::kMillisecond); }

void Declare(benchmark::State& state, const std::string& format, bool isPanel) {
    const Index rows = state.range(0), periods = isPanel ? 20 : rows;
    Dataset dataset = format == "index" ? Table(rows, periods) : TextTable(rows, periods, format);
    for (auto _ : state) {
        const std::string status =
            isPanel ? dataset.SetPanelData("period", "group", format) : dataset.SetTimeSeries("period", format);
        if (status != "OK") state.SkipWithError(status.c_str());
    }
    SetItems(state);
}
BENCHMARK_CAPTURE(Declare, , "index", false)->Name("declare/time_series/format:index")->Apply(Sizes);
BENCHMARK_CAPTURE(Declare, , "yyyy/mm/dd", false)->Name("declare/time_series/format:yyyymmdd")->Apply(Sizes);
BENCHMARK_CAPTURE(Declare, , "index", true)->Name("declare/panel/format:index")->Apply(Sizes);
BENCHMARK_CAPTURE(Declare, , "yyyyqx", true)->Name("declare/panel/format:yyyyqx")->Apply(Sizes);
BENCHMARK_CAPTURE(Declare, , "yyyy/mm/dd", true)->Name("declare/panel/format:yyyymmdd")->Apply(Sizes);

/// A series with x1 and two of its lags, x2 and a constant; with gaps, one period in 16 has no observation.
void PrepareTimeSeries(benchmark::State& state, bool hasGaps) {
    Dataset dataset = Table(state.range(0), state.range(0));
    if (hasGaps)
        for (double& period : dataset.Data.col(2)) period += static_cast<double>(static_cast<Index>(period) / 15);
    dataset.Data.rightCols<1>().setOnes();
    if (dataset.SetTimeSeries("period", "index") != "OK") return state.SkipWithError("no time series");
    std::vector<std::string> names = {"x1", "x2", "x3"};
    std::vector<VectorXi> lags = {Eigen::Vector3i(0, 1, 2), VectorXi::Zero(1), VectorXi::Zero(1)};
    for (auto _ : state) {
        MatrixXd data, ids;
        quarn::VectorXd time;
        quarn::MatrixXi unused;
        std::vector<std::vector<int>> missing;
        std::vector<std::string> warnings;
        if (dataset.Prepare_TimeSeries(names, lags, 1, data, ids, time, unused, missing, warnings, 2) != "OK")
            state.SkipWithError("no data");
        benchmark::DoNotOptimize(data.data());
        benchmark::ClobberMemory();
    }
    SetItems(state);
}
BENCHMARK_CAPTURE(PrepareTimeSeries, , false)->Name("prepare_time_series/complete")->Apply(Sizes);
BENCHMARK_CAPTURE(PrepareTimeSeries, , true)->Name("prepare_time_series/imputed")->Apply(Sizes);

/// Two lags and a lead of one variable of a panel of 20 periods, by date.
void PrepareTimeSeries2(benchmark::State& state) {
    Dataset dataset = Table(state.range(0), 20);
    if (dataset.SetPanelData("period", "group", "index") != "OK") return state.SkipWithError("no panel");
    std::vector<std::string> names = {"x1"};
    std::vector<VectorXi> lags = {Eigen::Vector3i(1, 2, -1)};
    for (auto _ : state) {
        MatrixXd data, unused;
        quarn::MatrixXi unusedToo;
        if (dataset.Prepare_TimeSeries2(names, lags, data, unused, unusedToo) != "OK") state.SkipWithError("no data");
        benchmark::DoNotOptimize(data.data());
        benchmark::ClobberMemory();
    }
    SetItems(state);
}
BENCHMARK(PrepareTimeSeries2)->Name("prepare_time_series2/panel")->Apply(Sizes);

// ---- What rests on a declared panel: groups of 50 periods ----

/// Rows shuffled or in order; ids close together, or so far apart that they have to be sorted.
struct PanelShape {
    bool isSorted = false;
    bool hasSparseIds = false;
};

Dataset Panel(Index rows, const PanelShape& shape) {
    Dataset dataset = Table(rows, 50);
    if (shape.hasSparseIds) dataset.Data.col(1) *= 100003.0;
    wxArrayString keys;
    for (const char* name : {"group", "period"}) keys.Add(name);
    if (shape.isSorted) dataset.SortData(keys);
    if (dataset.SetPanelData("period", "group", "index") != "OK") std::abort();
    return dataset;
}

void PanelSizes(benchmark::internal::Benchmark* family) {
    family->Arg(10000)->Arg(500000)->Arg(1000000)->Unit(benchmark::kMillisecond);
}

template <class Operation>
void OnPanel(benchmark::State& state, const PanelShape& shape, Operation operation) {
    Dataset dataset = Panel(state.range(0), shape);
    for (auto _ : state) {
        const quarn::VectorXd values = operation(dataset);
        if (values.size() != dataset.NumObs) state.SkipWithError("refused");
        benchmark::DoNotOptimize(values.data());
    }
    SetItems(state);
}

void Lag(benchmark::State& state, const PanelShape& shape) {
    std::string message;
    OnPanel(state, shape, [&](Dataset& dataset) { return dataset.TakeLags("x1", "", 1, message); });
}
BENCHMARK_CAPTURE(Lag, , {})->Name("lag/rows:shuffled")->Apply(PanelSizes);
BENCHMARK_CAPTURE(Lag, , {true})->Name("lag/rows:sorted")->Apply(PanelSizes);
BENCHMARK_CAPTURE(Lag, , {false, true})->Name("lag/rows:shuffled/ids:sparse")->Apply(PanelSizes);

void SecondDifference(benchmark::State& state, const PanelShape& shape) {
    std::string message;
    OnPanel(state, shape, [&](Dataset& dataset) { return dataset.TakeDiffs("x1", "", 2, 1, message); });
}
BENCHMARK_CAPTURE(SecondDifference, , {})->Name("second_difference/rows:shuffled")->Apply(PanelSizes);
BENCHMARK_CAPTURE(SecondDifference, , {true})->Name("second_difference/rows:sorted")->Apply(PanelSizes);

void GroupStatistic(benchmark::State& state, const std::string& statistic, const PanelShape& shape) {
    std::string message;
    OnPanel(state, shape, [&](Dataset& dataset) { return dataset.CalculateGroupStats("x1", "", statistic, message); });
}
BENCHMARK_CAPTURE(GroupStatistic, , "groupmeans", {})->Name("group_mean/rows:shuffled")->Apply(PanelSizes);
BENCHMARK_CAPTURE(GroupStatistic, , "groupmeans", {true})->Name("group_mean/rows:sorted")->Apply(PanelSizes);
BENCHMARK_CAPTURE(GroupStatistic, , "groupmeans", {false, true})
    ->Name("group_mean/rows:shuffled/ids:sparse")
    ->Apply(PanelSizes);
BENCHMARK_CAPTURE(GroupStatistic, , "groupmedians", {})->Name("group_median/rows:shuffled")->Apply(PanelSizes);
BENCHMARK_CAPTURE(GroupStatistic, , "groupmedians", {true})->Name("group_median/rows:sorted")->Apply(PanelSizes);

void PreparePanel(benchmark::State& state, bool isDynamic, const PanelShape& shape) {
    Dataset dataset = Panel(state.range(0), shape);
    std::vector<std::string> names = {"x1", "x2", "x3"};
    const auto prepare = isDynamic ? &Dataset::Prepare_DynamicPanelData : &Dataset::Prepare_PanelData;
    for (auto _ : state) {
        MatrixXd X, ids;
        quarn::VectorXd y;
        quarn::MatrixXi structure;
        if ((dataset.*prepare)(names, X, y, ids, structure, false) != "OK") state.SkipWithError("refused");
        benchmark::DoNotOptimize(X.data());
        benchmark::ClobberMemory();
    }
    SetItems(state);
}
BENCHMARK_CAPTURE(PreparePanel, , false, {})->Name("prepare_panel/static/rows:shuffled")->Apply(PanelSizes);
BENCHMARK_CAPTURE(PreparePanel, , false, {true})->Name("prepare_panel/static/rows:sorted")->Apply(PanelSizes);
BENCHMARK_CAPTURE(PreparePanel, , true, {})->Name("prepare_panel/dynamic/rows:shuffled")->Apply(PanelSizes);

/// The operation changes a copy, which is made while the clock stands.
template <class Operation>
void OnCopy(benchmark::State& state, Operation operation) {
    const Dataset dataset = Table(state.range(0), 50);
    Dataset copy;
    for (auto _ : state) {
        state.PauseTiming();
        copy = dataset;
        state.ResumeTiming();
        operation(copy);
        benchmark::DoNotOptimize(copy.Data.data());
    }
    SetItems(state);
}

void SortRows(benchmark::State& state) {
    wxArrayString keys;
    for (const char* name : {"group", "period"}) keys.Add(name);
    OnCopy(state, [&keys](Dataset& dataset) { dataset.SortData(keys); });
}
BENCHMARK(SortRows)->Name("sort_data/by:group_and_period")->Apply(PanelSizes);

void FilterRows(benchmark::State& state) {
    const VectorXi mask = (Table(state.range(0), 50).Data.col(3).array() > 0.0).cast<int>();
    OnCopy(state, [&mask](Dataset& dataset) { dataset.DropKeep(mask, true); });
}
BENCHMARK(FilterRows)->Name("drop_keep/half")->Apply(PanelSizes);

}  // namespace
