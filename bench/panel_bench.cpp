// Time series and panels: from the declaration of a time structure to what rests on it. Items are observations. All rows
// are shuffled, so that nothing profits from data that happen to be in order.

#include <quarn/datasets/Dataset.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
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

}  // namespace
