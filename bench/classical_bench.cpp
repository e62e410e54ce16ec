// Least squares, mixtures by expectation-maximisation, relabelling. Items are multiply-adds of a triangle, rows times
// steps, or draws. OLS/normal_equations is a one-thread BLAS, loaded at run time if there is one: QUARN_BENCH_BLAS
// names its file. EM/*/plain are straightforward loops, the floor that a careful program in C++ reaches without further
// thought.

#include <quarn/classical/MVNORMEM.h>
#include <quarn/classical/OLSChol.h>
#include <quarn/classical/OLSEM.h>
#include <quarn/classical/kmeansClassifier.h>

#include <Eigen/Cholesky>
#include <Eigen/LU>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <dlfcn.h>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::VectorXd;

constexpr int Steps = 10;

std::mt19937_64 Engine;

MatrixXd NormalMatrix(Index rows, Index columns) {
    std::normal_distribution<double> normal;
    return MatrixXd::NullaryExpr(rows, columns, [&](Index, Index) { return normal(Engine); });
}

/// A constant and K - 1 normal regressors; y mixes two lines.
struct Regression {
    MatrixXd X;
    VectorXd y;

    Regression(Index N, Index K) : X(NormalMatrix(N, K)), y(NormalMatrix(N, 1)) {
        X.col(0).setOnes();
        const VectorXd line = X.rowwise().sum();
        for (Index i = 0; i < N; ++i) y[i] += i % 5 < 2 ? line[i] : 3.0 - line[i];
    }
};

/// Three overlapping normal laws in three dimensions, and a start.
struct Normals {
    MatrixXd Y, Mu{{0.0, 2.0, 5.0}, {0.0, -2.0, -5.0}, {0.0, 2.0, 5.0}},
        Sigma = MatrixXd::Identity(3, 3).replicate(1, 3);

    explicit Normals(Index N) : Y(NormalMatrix(N, 3)) {
        for (Index i = 0; i < N; ++i) Y.row(i) += 2.5 * static_cast<double>(i % 3) * Eigen::RowVector3d(1.0, -1.0, 1.0);
    }
};

void SetTriangleItems(benchmark::State& state) {
    const auto k = state.range(1);
    state.SetItemsProcessed(state.iterations() * state.range(0) * k * (k + 1) / 2);
}

void Shapes(benchmark::internal::Benchmark* family) {
    family->ArgNames({"n", "k"})->Args({100, 5})->Args({10000, 5})->Args({100000, 10})->Args({1000000, 20});
    family->Unit(benchmark::kMillisecond);
}

void OLS(benchmark::State& state) {
    const Regression data(state.range(0), state.range(1));
    for (auto _ : state) benchmark::DoNotOptimize(quarn::OLSChol(data.y, data.X));
    SetTriangleItems(state);
}
BENCHMARK(OLS)->Name("OLS/OLSChol")->Apply(Shapes);

void OLSLabelled(benchmark::State& state) {
    const Regression data(state.range(0), state.range(1));
    for (auto _ : state) benchmark::DoNotOptimize(quarn::OLSChol(data.y, data.X, "", {}));
    SetTriangleItems(state);
}
BENCHMARK(OLSLabelled)->Name("OLS/OLSChol_labels")->Apply(Shapes);

using Dsyrk = void (*)(int, int, int, int, int, double, const double*, int, double, double*, int);
using Dgemv = void (*)(int, int, int, int, double, const double*, int, const double*, int, double, double*, int);

void* Blas() {
    ::setenv("OPENBLAS_NUM_THREADS", "1", 1);
    const char* const name = std::getenv("QUARN_BENCH_BLAS");
    return ::dlopen(name ? name : "libopenblas.so.0", RTLD_NOW);
}

void OLSByBlas(benchmark::State& state) {
    static void* const library = Blas();
    static const auto dsyrk = library ? reinterpret_cast<Dsyrk>(::dlsym(library, "cblas_dsyrk")) : nullptr;
    static const auto dgemv = library ? reinterpret_cast<Dgemv>(::dlsym(library, "cblas_dgemv")) : nullptr;
    if (!dsyrk || !dgemv) {
        state.SkipWithError("no BLAS found");
        return;
    }
    constexpr int ColumnMajor = 102, Lower = 122, Transposed = 112;  // of the CBLAS interface
    const auto n = static_cast<int>(state.range(0)), k = static_cast<int>(state.range(1));
    const Regression data(n, k);
    for (auto _ : state) {
        MatrixXd square(k, k);
        VectorXd product(k);
        dsyrk(ColumnMajor, Lower, Transposed, k, n, 1.0, data.X.data(), n, 0.0, square.data(), k);
        dgemv(ColumnMajor, Transposed, n, k, 1.0, data.X.data(), n, data.y.data(), 1, 0.0, product.data(), 1);
        benchmark::DoNotOptimize(VectorXd(square.selfadjointView<Eigen::Lower>().ldlt().solve(product)));
    }
    SetTriangleItems(state);
}
BENCHMARK(OLSByBlas)->Name("OLS/normal_equations")->Apply(Shapes);

void Rows(benchmark::internal::Benchmark* family) {
    family->ArgName("n")->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);
}

void SetStepItems(benchmark::State& state) { state.SetItemsProcessed(state.iterations() * state.range(0) * Steps); }

void NormalMixture(benchmark::State& state) {
    const Normals data(state.range(0));
    for (auto _ : state) benchmark::DoNotOptimize(quarn::MVNORMEM(data.Y, 3, Steps - 1, data.Mu, data.Sigma));
    SetStepItems(state);
}
BENCHMARK(NormalMixture)->Name("EM/MVNORMEM/G:3/D:3")->Apply(Rows);

void PlainNormalMixture(benchmark::State& state) {
    const Normals data(state.range(0));
    const MatrixXd& Y = data.Y;
    for (auto _ : state) {
        MatrixXd Mu = data.Mu, Sigma = data.Sigma, Post(Y.rows(), 3);
        VectorXd Pi = VectorXd::Constant(3, 1.0 / 3.0);
        for (int step = 0; step < Steps; ++step) {
            for (Index g = 0; g < 3; ++g) {
                const MatrixXd S = Sigma.middleCols(3 * g, 3).inverse(), E = Y.rowwise() - Mu.col(g).transpose();
                const VectorXd q = (E * S).cwiseProduct(E).rowwise().sum();
                Post.col(g) = Pi[g] * std::sqrt(S.determinant()) * (-0.5 * q.array()).exp();
            }
            const VectorXd sums = Post.rowwise().sum();
            Post.array().colwise() /= sums.array();
            for (Index g = 0; g < 3; ++g) {
                const double total = Post.col(g).sum();
                Mu.col(g) = Y.transpose() * Post.col(g) / total;
                const MatrixXd E = Y.rowwise() - Mu.col(g).transpose();
                Sigma.middleCols(3 * g, 3) = E.transpose() * (Post.col(g).asDiagonal() * E) / total;
                Pi[g] = total / static_cast<double>(Y.rows());
            }
        }
        benchmark::DoNotOptimize(Post);
    }
    SetStepItems(state);
}
BENCHMARK(PlainNormalMixture)->Name("EM/MVNORMEM/plain/G:3/D:3")->Apply(Rows);

void RegressionMixture(benchmark::State& state) {
    const Regression data(state.range(0), 5);
    for (auto _ : state) benchmark::DoNotOptimize(quarn::OLSEM(data.y, data.X, 2, Steps - 1));
    SetStepItems(state);
}
BENCHMARK(RegressionMixture)->Name("EM/OLSEM/G:2/K:5")->Apply(Rows);

void PlainRegressionMixture(benchmark::State& state) {
    const Regression data(state.range(0), 5);
    const MatrixXd& X = data.X;
    for (auto _ : state) {
        const VectorXd b = (X.transpose() * X).ldlt().solve(X.transpose() * data.y);
        MatrixXd Beta(5, 2), Post(X.rows(), 2);
        Beta << 0.8 * b, b;
        VectorXd Tau(2), Pi = VectorXd::Constant(2, 0.5);
        for (Index g = 0; g < 2; ++g) {
            Tau[g] = static_cast<double>(X.rows() - 5) / (data.y - X * Beta.col(g)).squaredNorm();
        }
        for (int step = 0; step < Steps; ++step) {
            for (Index g = 0; g < 2; ++g) {
                const VectorXd e = data.y - X * Beta.col(g);
                Post.col(g) = Pi[g] * std::sqrt(Tau[g]) * (-0.5 * Tau[g] * e.array().square()).exp();
            }
            const VectorXd sums = Post.rowwise().sum();
            Post.array().colwise() /= sums.array();
            for (Index g = 0; g < 2; ++g) {
                const MatrixXd W = Post.col(g).asDiagonal() * X;
                Beta.col(g) = (X.transpose() * W).ldlt().solve(W.transpose() * data.y);
                const double total = Post.col(g).sum();
                Tau[g] = total / (Post.col(g).array() * (data.y - X * Beta.col(g)).array().square()).sum();
                Pi[g] = total / static_cast<double>(X.rows());
            }
        }
        benchmark::DoNotOptimize(Post);
    }
    SetStepItems(state);
}
BENCHMARK(PlainRegressionMixture)->Name("EM/OLSEM/plain/G:2/K:5")->Apply(Rows);

/// 10,000 draws of three parameters for each of K components, whose labels are drawn anew in each draw; spread is the
/// standard deviation of a parameter over the distance of neighbouring components.
void Relabel(benchmark::State& state) {
    const auto K = static_cast<int>(state.range(0));
    const double spread = static_cast<double>(state.range(1)) / 100.0;
    const auto draws = std::make_shared<MatrixXd>(spread * NormalMatrix(10000, 3 * K));
    std::vector<int> label(static_cast<std::size_t>(K));
    std::iota(label.begin(), label.end(), 0);
    for (Index r = 0; r < draws->rows(); ++r) {
        if (r >= 100) std::shuffle(label.begin(), label.end(), Engine);
        for (Index j = 0; j < K; ++j) draws->row(r).segment(3 * j, 3).array() += label[static_cast<std::size_t>(j)];
    }
    for (auto _ : state) benchmark::DoNotOptimize(quarn::kmeansClassifier(draws, K, 100));
    state.SetItemsProcessed(state.iterations() * draws->rows());
}
BENCHMARK(Relabel)
    ->Name("kmeansClassifier/draws:10000")
    ->ArgNames({"K", "spread"})
    ->ArgsProduct({{2, 4, 8, 10}, {10, 100}})
    ->Unit(benchmark::kMillisecond);

}  // namespace
