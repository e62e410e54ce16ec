// Truncated multivariate normals and orthant probabilities, for AR(1) correlations of 0.5. Items are coordinate updates
// for the scan, columns for the latent matrices, replications times dimension for the simulator. Peers: the simulator
// with erfc and an inverse of the normal law, as it is usually written.

#include <quarn/random/GHK.h>
#include <quarn/random/TruncatedMultivariateNormal.h>

#include <Eigen/Cholesky>
#include <Eigen/LU>
#include <benchmark/benchmark.h>
#include <boost/math/special_functions/erf.hpp>

#include <cmath>
#include <numbers>
#include <random>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::MatrixXi;
using quarn::VectorXd;
using quarn::VectorXi;

struct Triple {
    quarn::Rng rng{1};
    quarn::Unif unif;
    quarn::Norm norm;
};

MatrixXd Covariance(Index n) {
    return MatrixXd::NullaryExpr(n, n, [](Index i, Index j) { return std::pow(0.5, std::abs(i - j)); });
}

MatrixXd Factor(Index n) { return Covariance(n).llt().matrixL(); }

void Scan(benchmark::State& state) {
    const Index n = state.range(0);
    const MatrixXd P = Covariance(n).inverse();
    const VectorXd mu = VectorXd::Zero(n);
    VectorXd x = VectorXd::Constant(n, -0.5);
    Triple T;
    for (auto _ : state) x = quarn::MVN_trunc_P(T.rng, T.unif, T.norm, mu, P, x);
    state.SetItemsProcessed(state.iterations() * n * (2 * n + 10));
}
BENCHMARK(Scan)->Name("MVN_trunc_P")->ArgName("dim")->Arg(2)->Arg(5)->Arg(10)->Arg(20);

/// Means so far from the orthants that rejection seldom succeeds within its attempts would measure rejection only: here
/// the signs follow a draw of the law itself.
void LatentMatrix(benchmark::State& state) {
    const Index n = state.range(0), N = 200;
    const MatrixXd L = Factor(n), P = Covariance(n).inverse(), mu = MatrixXd::Constant(n, N, 1.5);
    Triple T;
    MatrixXd X(n, N);
    for (double& x : X.reshaped()) x = quarn::NormalDraw(T.rng, T.norm);
    X = mu + L * X;
    const MatrixXi codes = (X.array() >= 0.0).cast<int>();
    for (auto _ : state) quarn::MVtrunc_LVP(T.rng, T.unif, T.norm, mu, L, P, X, codes);
    state.SetItemsProcessed(state.iterations() * N);
}
BENCHMARK(LatentMatrix)->Name("MVtrunc_LVP")->ArgName("dim")->Arg(2)->Arg(5)->Arg(10);

void Ghk(benchmark::State& state) {
    const Index n = state.range(0);
    const int R = static_cast<int>(state.range(1));
    const MatrixXd L = Factor(n);
    const VectorXd b = VectorXd::Zero(n);
    Triple T;
    for (auto _ : state) benchmark::DoNotOptimize(quarn::GHK(T.rng, T.unif, T.norm, L, b, R));
    state.SetItemsProcessed(state.iterations() * R * n);
}
BENCHMARK(Ghk)->Name("GHK")->ArgNames({"dim", "R"})->ArgsProduct({{3, 5, 10, 20}, {1000, 10000}});

void GhkGradient(benchmark::State& state) {
    const Index n = state.range(0);
    const int R = static_cast<int>(state.range(1));
    const MatrixXd L = Factor(n);
    const VectorXd b = VectorXd::Zero(n);
    Triple T;
    for (auto _ : state) {
        benchmark::DoNotOptimize(quarn::GHK_mfx(T.rng, T.unif, T.norm, L, b, MatrixXd::Identity(n, n), R));
    }
    state.SetItemsProcessed(state.iterations() * R * n);
}
BENCHMARK(GhkGradient)->Name("GHK_mfx")->ArgNames({"dim", "R"})->ArgsProduct({{3, 5, 10, 20}, {1000}});

void PlainGhk(benchmark::State& state) {
    const Index n = state.range(0);
    const int R = static_cast<int>(state.range(1));
    const MatrixXd L = Factor(n);
    VectorXd e(n);
    std::mt19937_64 engine(1);
    std::uniform_real_distribution<double> unif;
    for (auto _ : state) {
        double sum = 0.0;
        for (int r = 0; r < R; ++r) {
            double weight = 1.0;
            for (Index j = 0; j < n; ++j) {
                double s = 0.0;
                for (Index k = 0; k < j; ++k) s += L(j, k) * e[k];
                const double probability = 0.5 * std::erfc(s / L(j, j) / std::numbers::sqrt2);
                weight *= probability;
                if (j + 1 < n) e[j] = -std::numbers::sqrt2 * boost::math::erfc_inv(2.0 * probability * unif(engine));
            }
            sum += weight;
        }
        benchmark::DoNotOptimize(sum / R);
    }
    state.SetItemsProcessed(state.iterations() * R * n);
}
BENCHMARK(PlainGhk)->Name("plain_ghk")->ArgNames({"dim", "R"})->ArgsProduct({{3, 5, 10, 20}, {1000, 10000}});

}  // namespace
