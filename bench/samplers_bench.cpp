// Whole runs of the samplers on one thread, from the constructor to the table and the log marginal likelihoods. Items
// are draws. QUARN_BENCH_DATA names a folder with the files of bench/sampler_peers.R, to time the very data that other
// programs sample from; without it they are simulated.

#include <samplers/BinaryProbit.h>
#include <samplers/LinearRegression.h>
#include <samplers/MultinomialProbit.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::VectorXd;
using namespace quarn::samplers;

/// A constant and k - 1 normals, then the response: y = X b + e, or for a probit, whether that is above 0.
MatrixXd Simulated(bool binary, Index n, Index k) {
    std::mt19937_64 engine(1);
    std::normal_distribution<double> normal;
    MatrixXd data = MatrixXd::NullaryExpr(n, k + 1, [&](Index, Index) { return normal(engine); });
    data.col(0).setOnes();
    for (Index j = 0; j < k; ++j) {
        const double b = (j % 2 == 0 ? 0.5 : -0.4) / (1.0 + static_cast<double>(j / 4));
        data.col(k) += b * data.col(j);
    }
    if (binary) data.col(k) = (data.col(k).array() > 0.0).cast<double>();
    return data;
}

/// n x k doubles by columns.
MatrixXd Data(const std::string& name, bool binary, Index n, Index k) {
    const char* const folder = std::getenv("QUARN_BENCH_DATA");
    if (!folder) return Simulated(binary, n, k);
    MatrixXd data(n, k + 1);
    std::ifstream in(std::string(folder) + "/" + name + ".raw", std::ios::binary);
    if (!in.read(reinterpret_cast<char*>(data.data()), static_cast<std::streamsize>(data.size() * 8)))
        throw std::runtime_error("No data: " + name);
    return data;
}

std::vector<std::string> Names(Index count) {
    std::vector<std::string> names;
    for (Index j = 0; j < count; ++j) names.push_back("x" + std::to_string(j));
    return names;
}

void RunOnOneThread(Sampler& sampler, std::int64_t draws) {
    if (sampler.Start({.Draws = draws, .Burnin = 0, .Threads = 1}) != "OK" || !sampler.WaitFor(1e6) ||
        !sampler.GetEstimator().GetHasResults())
        throw std::runtime_error("The run failed.");
}

template <class SamplerType>
void OneEquation(benchmark::State& state, const std::string& name, bool binary, Index n, Index k, std::int64_t draws) {
    const MatrixXd data = Data(name, binary, n, k), X = data.leftCols(k), ids = MatrixXd::Zero(n, 1);
    const VectorXd y = data.col(k);
    for (auto _ : state) {
        SamplerType sampler(y, X, ids, "y", Names(k));
        RunOnOneThread(sampler, draws);
        benchmark::DoNotOptimize(sampler.GetpSamples()->data());
    }
    state.SetItemsProcessed(state.iterations() * draws);
    state.counters["draws"] = static_cast<double>(draws);  // of one run
}

void Linear(benchmark::State& state, const std::string& name, Index n, Index k, std::int64_t draws) {
    OneEquation<LinearRegression>(state, name, false, n, k, draws);
}

void Probit(benchmark::State& state, const std::string& name, Index n, Index k, std::int64_t draws) {
    OneEquation<BinaryProbit>(state, name, true, n, k, draws);
}

/// Prices of four alternatives, the last the base, and a choice.
MatrixXd Choices(const std::string& name, Index n) {
    if (std::getenv("QUARN_BENCH_DATA")) return Data(name, false, n, 4);
    MatrixXd data = Simulated(false, n, 4);
    const MatrixXd noise = Simulated(false, n, 4);
    for (Index i = 0; i < n; ++i) {
        Index best = 0;
        (data.row(i).head(4) + 0.7 * noise.row(n - 1 - i).tail(4)).maxCoeff(&best);
        data(i, 4) = static_cast<double>(best + 1);
    }
    return data;
}

void Multinomial(benchmark::State& state, const std::string& name, Index n, std::int64_t draws) {
    const MatrixXd data = Choices(name, n);
    ChoiceData choices{data.col(4).unaryExpr([](double c) { return c == 4.0 ? 0.0 : c; }),
                       MatrixXd::Ones(n, 1),
                       {data.leftCols(3).colwise() - data.col(3)},
                       {"constant"},
                       {"price"},
                       {"1", "2", "3"}};
    for (auto _ : state) {
        MultinomialProbit sampler(choices, MatrixXd::Zero(n, 1));
        RunOnOneThread(sampler, draws);
        benchmark::DoNotOptimize(sampler.GetpSamples()->data());
    }
    state.SetItemsProcessed(state.iterations() * draws);
    state.counters["draws"] = static_cast<double>(draws);
}

#define SAMPLER(family, name, ...) BENCHMARK_CAPTURE(family, name, #name, __VA_ARGS__)->MeasureProcessCPUTime()
SAMPLER(Linear, linear_n1000_k5, 1000, 5, 200'000);
SAMPLER(Linear, linear_n100000_k20, 100'000, 20, 200'000);
SAMPLER(Probit, probit_n1000_k5, 1000, 5, 50'000);
SAMPLER(Probit, probit_n20000_k10, 20'000, 10, 10'000);
SAMPLER(Multinomial, mnp_n500_4, 500, 50'000);

}  // namespace
