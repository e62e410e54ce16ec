// Cross-products, sorting of rows and summary statistics. Items are cells of the input, rows of a sort, or
// multiply-adds of a triangle. XpX/dsyrk is a one-thread BLAS, loaded at run time if there is one: QUARN_BENCH_BLAS
// names its file.

#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/numerics/MatrixHelpers.h>
#include <quarn/numerics/Sorting.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <dlfcn.h>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::RowVectorXd;
using quarn::VectorXd;
using quarn::VectorXi;

MatrixXd NormalMatrix(Index rows, Index columns) {
    std::mt19937_64 engine(1);
    std::normal_distribution<double> normal;
    return MatrixXd::NullaryExpr(rows, columns, [&](Index, Index) { return normal(engine); });
}

/// 50 periods of each group, shuffled; columns group, period and two numbers.
MatrixXd ShuffledPanel(Index rows) {
    MatrixXd panel = NormalMatrix(rows, 4);
    std::vector<int> position(static_cast<std::size_t>(rows));
    std::iota(position.begin(), position.end(), 0);
    std::shuffle(position.begin(), position.end(), std::mt19937_64(7));
    for (Index i = 0; i < rows; ++i) {
        panel(i, 0) = 1000 + position[static_cast<std::size_t>(i)] / 50;
        panel(i, 1) = 1970 + position[static_cast<std::size_t>(i)] % 50;
    }
    return panel;
}

/// Arguments are n and k: all n at k of 5, 20 and 50 of which X stays below 256 MB.
void Shapes(benchmark::internal::Benchmark* family) {
    family->ArgNames({"n", "k"});
    for (const int k : {5, 20, 50}) {
        for (const int n : {1000, 10000, 100000, 1000000}) {
            if (n * k <= 32000000) family->Args({n, k});
        }
    }
}

void SetTriangleItems(benchmark::State& state) {
    const auto k = state.range(1);
    state.SetItemsProcessed(state.iterations() * state.range(0) * k * (k + 1) / 2);
}

void XpX(benchmark::State& state) {
    const MatrixXd X = NormalMatrix(state.range(0), state.range(1));
    for (auto _ : state) benchmark::DoNotOptimize(quarn::XpX(X));
    SetTriangleItems(state);
}
BENCHMARK(XpX)->Name("XpX/quarn")->Apply(Shapes);

void XpDX(benchmark::State& state) {
    const MatrixXd X = NormalMatrix(state.range(0), state.range(1));
    const VectorXd d = X.col(0).cwiseAbs();
    for (auto _ : state) benchmark::DoNotOptimize(quarn::XpDX(X, d));
    SetTriangleItems(state);
}
BENCHMARK(XpDX)->Name("XpDX/quarn")->Apply(Shapes);

using Dsyrk = void (*)(int, int, int, int, int, double, const double*, int, double, double*, int);

Dsyrk FindDsyrk() {
    ::setenv("OPENBLAS_NUM_THREADS", "1", 1);
    const char* const name = std::getenv("QUARN_BENCH_BLAS");
    void* const library = ::dlopen(name ? name : "libopenblas.so.0", RTLD_NOW);
    return library ? reinterpret_cast<Dsyrk>(::dlsym(library, "cblas_dsyrk")) : nullptr;
}

void XpXByDsyrk(benchmark::State& state) {
    static const Dsyrk dsyrk = FindDsyrk();
    if (!dsyrk) {
        state.SkipWithError("no BLAS found");
        return;
    }
    constexpr int ColumnMajor = 102, Lower = 122, Transposed = 112;  // of the CBLAS interface
    const auto n = static_cast<int>(state.range(0)), k = static_cast<int>(state.range(1));
    const MatrixXd X = NormalMatrix(n, k);
    for (auto _ : state) {
        MatrixXd product(k, k);
        dsyrk(ColumnMajor, Lower, Transposed, k, n, 1.0, X.data(), n, 0.0, product.data(), k);
        product.triangularView<Eigen::StrictlyUpper>() = product.transpose();
        benchmark::DoNotOptimize(product);
    }
    SetTriangleItems(state);
}
BENCHMARK(XpXByDsyrk)->Name("XpX/dsyrk")->Apply(Shapes);

void XpZ(benchmark::State& state) {
    const MatrixXd X = NormalMatrix(state.range(0), state.range(1));
    const VectorXd z = X.col(0);
    for (auto _ : state) benchmark::DoNotOptimize(quarn::XpZ(X, z));
    state.SetItemsProcessed(state.iterations() * X.size());
}
BENCHMARK(XpZ)->Name("XpZ/vector")->Apply(Shapes);

void SortPanel(benchmark::State& state) {
    const MatrixXd panel = ShuffledPanel(state.range(0));
    const VectorXi keys = VectorXi::LinSpaced(2, 0, 1);
    for (auto _ : state) benchmark::DoNotOptimize(quarn::SortMatrixVarIndex(panel, keys));
    state.SetItemsProcessed(state.iterations() * panel.rows());
}
BENCHMARK(SortPanel)->Name("sort_matrix/panel/keys:2")->Arg(1000)->Arg(100000)->Arg(1000000);

void SortSorted(benchmark::State& state) {
    const VectorXi keys = VectorXi::LinSpaced(2, 0, 1);
    const MatrixXd panel = quarn::SortMatrixVarIndex(ShuffledPanel(state.range(0)), keys);
    for (auto _ : state) benchmark::DoNotOptimize(quarn::SortMatrixVarIndex(panel, keys));
    state.SetItemsProcessed(state.iterations() * panel.rows());
}
BENCHMARK(SortSorted)->Name("sort_matrix/sorted_panel/keys:2")->Arg(1000000);

void SortReal(benchmark::State& state) {
    const VectorXd x = NormalMatrix(state.range(0), 1);
    for (auto _ : state) benchmark::DoNotOptimize(quarn::SortIndex(x));
    state.SetItemsProcessed(state.iterations() * x.size());
}
BENCHMARK(SortReal)->Name("sort_index/normal")->Arg(100)->Arg(10000)->Arg(1000000);

/// A statistic of one vector of n normal draws.
template <class Function>
void RegisterStatistic(const std::string& name, Function function) {
    benchmark::RegisterBenchmark(("statistics/" + name).c_str(),
                                 [function](benchmark::State& state) {
                                     const VectorXd x = NormalMatrix(state.range(0), 1);
                                     for (auto _ : state) function(x);
                                     state.SetItemsProcessed(state.iterations() * x.size());
                                 })
        ->Arg(1000)
        ->Arg(100000);
}

template <class Function>
auto WithRow(Function function) {
    return [function](const VectorXd& x) {
        RowVectorXd out;
        function(x, out);
        benchmark::DoNotOptimize(out);
    };
}

[[maybe_unused]] const bool Registered = [] {
    RegisterStatistic("mean", [](const VectorXd& x) { benchmark::DoNotOptimize(quarn::vectorMean(x)); });
    RegisterStatistic("var", [](const VectorXd& x) { benchmark::DoNotOptimize(quarn::vectorVar(x)); });
    RegisterStatistic("median", [](const VectorXd& x) { benchmark::DoNotOptimize(quarn::vectorMedian(x)); });
    RegisterStatistic("perc10", WithRow(quarn::vectorPerc10));
    RegisterStatistic("minmax", WithRow(quarn::vectorMinMax));
    RegisterStatistic("summary", WithRow(quarn::vectorSummary));
    return true;
}();

void DropMissing(benchmark::State& state) {
    MatrixXd A = NormalMatrix(state.range(0), 10), out;
    for (Index i = 0; i < A.rows(); i += 7) A(i, i % 10) = std::numeric_limits<double>::quiet_NaN();
    for (auto _ : state) benchmark::DoNotOptimize(quarn::dropMissing(A, out));
    state.SetItemsProcessed(state.iterations() * A.size());
}
BENCHMARK(DropMissing)->Name("dropMissing/columns:10")->Arg(1000)->Arg(1000000);

}  // namespace
