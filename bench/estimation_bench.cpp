// Log-likelihoods, maximum-likelihood estimation, densities and quadrature. Items are observations evaluated, cells, or
// nodes. The ML rows start at zero; the counter `evaluations` says how many their line searches made, `gradient` the
// norm at the end. QUARN_BENCH_DATA names a folder with the files G_logit.raw, G_probit.raw (1e5 x 11 doubles, by
// columns, the response last) and G_mnl.raw (5e4 x 6), to time the very data that other programs read; without it they
// are simulated.

#include <quarn/numerics/Densities.h>
#include <quarn/numerics/Quadrature.h>
#include <quarn/optimize/LogLikelihoods.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::VectorXd;

/// A constant, K - 1 normals, and a response among `categories` by extreme-value utilities.
MatrixXd Simulated(Index n, Index K, int categories) {
    std::mt19937_64 engine(31);
    std::normal_distribution<double> normal;
    std::extreme_value_distribution<double> gumbel;
    MatrixXd data = MatrixXd::NullaryExpr(n, K + 1, [&](Index, Index) { return normal(engine); });
    data.col(0).setOnes();
    for (Index i = 0; i < n; ++i) {
        double best = -INFINITY;
        const double base = 0.5 * data(i, 1) - 0.4 * data(i, 2) + 0.3;
        for (int j = 0; j < categories; ++j) {
            const double utility = j * base + gumbel(engine);
            if (utility > best) data(i, K) = j;
            best = std::max(best, utility);
        }
    }
    return data;
}

MatrixXd Data(const std::string& name, Index n, Index K, int categories) {
    const char* const folder = std::getenv("QUARN_BENCH_DATA");
    if (!folder) return Simulated(n, K, categories);
    MatrixXd data(n, K + 1);
    std::ifstream in(std::string(folder) + "/G_" + name + ".raw", std::ios::binary);
    in.read(reinterpret_cast<char*>(data.data()), static_cast<std::streamsize>(data.size() * 8));
    return data;
}

template <class Objective>
struct Counted : Objective {
    double fg(const VectorXd& t, VectorXd& gradient) override {
        ++evaluations;
        return Objective::fg(t, gradient);
    }
    int evaluations = 0;
};

template <class Objective>
Objective WithData(const MatrixXd& data) {
    Objective objective;
    objective.X = data.leftCols(data.cols() - 1);
    objective.y = data.col(data.cols() - 1);
    return objective;
}

template <class Objective>
void Evaluate(benchmark::State& state, const char* name, Index n, Index K, int categories) {
    Objective objective = WithData<Objective>(Data(name, n, K, categories));
    const VectorXd t = VectorXd::LinSpaced(K * std::max(1, categories - 1), 0.3, -0.3);
    VectorXd gradient;
    for (auto _ : state) benchmark::DoNotOptimize(objective.fg(t, gradient));
    state.SetItemsProcessed(state.iterations() * n);
}

/// state.range(0) is the gradient's norm to reach, in thousandths.
template <class Objective>
void Maximise(benchmark::State& state, const char* name, Index n, Index K, int categories) {
    auto objective = WithData<Counted<Objective>>(Data(name, n, K, categories));
    const VectorXd start = VectorXd::Zero(K * std::max(1, categories - 1));
    quarn::Optimize optimize(&objective);
    for (auto _ : state) optimize.BFGS_fg(start, 1e-3 * static_cast<double>(state.range(0)), 200);
    state.SetItemsProcessed(static_cast<std::int64_t>(objective.evaluations) * n);
    state.counters["evaluations"] = benchmark::Counter(objective.evaluations, benchmark::Counter::kAvgIterations);
    state.counters["gradient"] = objective.g(optimize.xmin).norm();
}

template <class Objective>
void Register(const char* name, Index n, Index K, int categories, const std::string& shape,
              std::vector<std::int64_t> norms) {
    const auto evaluate = [=](benchmark::State& state) { Evaluate<Objective>(state, name, n, K, categories); };
    const auto maximise = [=](benchmark::State& state) { Maximise<Objective>(state, name, n, K, categories); };
    benchmark::RegisterBenchmark((std::string(name) + "/fg/" + shape).c_str(), evaluate);
    auto* const ml = benchmark::RegisterBenchmark((std::string(name) + "/BFGS_fg/" + shape).c_str(), maximise);
    ml->ArgName("milligradient")->Unit(benchmark::kMillisecond);
    for (const auto norm : norms) ml->Arg(norm);
}

const bool Registered = [] {
    Register<quarn::logL_BLogit>("logit", 100000, 10, 2, "K:10/n:100000", {1500, 70});
    Register<quarn::logL_BProbit>("probit", 100000, 10, 2, "K:10/n:100000", {430, 10});
    Register<quarn::logL_MLogit>("mnl", 50000, 5, 4, "K:5/M:3/n:50000", {650, 10});
    return true;
}();

void ConditionalLogit(benchmark::State& state) {
    const MatrixXd data = Simulated(50000, 4, 4);
    quarn::logL_CLogit objective;
    objective.X = Simulated(200000, 5, 2).leftCols(5);
    objective.y = data.col(4);
    const VectorXd t = VectorXd::LinSpaced(5, 0.3, -0.3);
    VectorXd gradient;
    for (auto _ : state) benchmark::DoNotOptimize(objective.fg(t, gradient));
    state.SetItemsProcessed(state.iterations() * 50000);
}
BENCHMARK(ConditionalLogit)->Name("clogit/fg/J:4/K:5/n:50000");

using Law = void (*)(const MatrixXd&, double, double, MatrixXd&);
void Densities(benchmark::State& state, Law law) {
    const MatrixXd x = MatrixXd::Random(1000, 10).cwiseAbs();
    MatrixXd out;
    for (auto _ : state) {
        law(x, 0.3, 1.2, out);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * x.size());
}
BENCHMARK_CAPTURE(Densities, normpdf, quarn::normpdf)->Name("normpdf/matrix/1000x10");
BENCHMARK_CAPTURE(Densities, normcdf, quarn::normcdf)->Name("normcdf/matrix/1000x10");
BENCHMARK_CAPTURE(Densities, truncncdf, quarn::truncncdf)->Name("truncncdf/matrix/1000x10");
BENCHMARK_CAPTURE(Densities, logisticpdf, quarn::logisticpdf)->Name("logisticpdf/matrix/1000x10");

void Quadrature(benchmark::State& state) {
    bool ok = false;
    for (auto _ : state) benchmark::DoNotOptimize(quarn::HermiteQuad(static_cast<int>(state.range(0)), ok));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Quadrature)->Name("HermiteQuad/nodes")->Arg(16)->Arg(64)->Arg(256);

}  // namespace
