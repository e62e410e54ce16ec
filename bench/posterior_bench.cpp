// Analysis of chains of draws: AR(1) chains with coefficients 0 to 0.9. Items are draws, those of all columns. The
// direct sum of kernels, as it is usually written, is the peer of the density.

#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/numerics/PosteriorAnalysis.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::VectorXd;

MatrixXd Chains(Index n, Index k) {
    std::mt19937_64 engine(1);
    std::normal_distribution<double> normal;
    MatrixXd X(n, k);
    for (Index j = 0; j < k; ++j) {
        const double rho = 0.1 * static_cast<double>(j % 10);
        double x = normal(engine) / std::sqrt(1.0 - rho * rho);
        for (Index t = 0; t < n; ++t) X(t, j) = static_cast<double>(j) + (x = rho * x + normal(engine));
    }
    return X;
}

void Shapes(benchmark::internal::Benchmark* family) {
    family->ArgNames({"n", "k"})->ArgsProduct({{10000, 100000, 1000000}, {10}});
}

void SetDraws(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * state.range(0) * state.range(1));
}

void Diagnostics(benchmark::State& state) {
    const MatrixXd X = Chains(state.range(0), state.range(1));
    MatrixXd out;
    for (auto _ : state) quarn::MCMCdiagnostics(X, out, 6, 3);
    SetDraws(state);
}
BENCHMARK(Diagnostics)->Name("MCMCdiagnostics/quarn")->Apply(Shapes);

void Summary(benchmark::State& state) {
    const MatrixXd X = Chains(state.range(0), state.range(1));
    MatrixXd out;
    for (auto _ : state) quarn::matrixSummary(X, out);
    SetDraws(state);
}
BENCHMARK(Summary)->Name("matrixSummary/quarn")->Apply(Shapes);

template <class Function>
void ForEachColumn(benchmark::State& state, Function function) {
    const MatrixXd X = Chains(state.range(0), state.range(1));
    for (auto _ : state) {
        for (Index j = 0; j < X.cols(); ++j) benchmark::DoNotOptimize(function(X.col(j)));
    }
    SetDraws(state);
}

void Autocorrelations(benchmark::State& state) {
    ForEachColumn(state, [](const Eigen::Ref<const VectorXd>& x) { return quarn::ACFData(x, 30); });
}
BENCHMARK(Autocorrelations)->Name("ACFData/quarn")->Apply(Shapes);

void Histogram(benchmark::State& state) {
    ForEachColumn(state, [](const Eigen::Ref<const VectorXd>& x) { return quarn::BinData(x, 100); });
}
BENCHMARK(Histogram)->Name("BinData/quarn")->Apply(Shapes);

void Density(benchmark::State& state) {
    const MatrixXd X = Chains(state.range(0), state.range(1));
    VectorXd grid(512);
    for (auto _ : state) benchmark::DoNotOptimize(quarn::KDensity(X, grid));
    SetDraws(state);
}
BENCHMARK(Density)->Name("KDensity/quarn")->Apply(Shapes)->Args({100000, 1});

void DirectDensity(benchmark::State& state) {
    const VectorXd x = Chains(state.range(0), 1);
    const double h = 1.06 * std::pow(static_cast<double>(x.size()), -0.2);
    for (auto _ : state) {
        for (int i = 0; i < 512; ++i) {
            const double point = -4.5 + i * (9.0 / 511.0);
            benchmark::DoNotOptimize((-0.5 * ((x.array() - point) / h).square()).exp().sum());
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(DirectDensity)->Name("KDensity/direct")->ArgName("n")->Arg(10000);

}  // namespace
