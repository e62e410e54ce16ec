#include "../support/Matrices.h"

#include <quarn/classical/MVNORMEM.h>
#include <quarn/classical/MixtureSteps_detail.h>
#include <quarn/classical/OLSChol.h>
#include <quarn/classical/OLSEM.h>

#include <Eigen/LU>
#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::MVNORMEM;
using quarn::OLSEM;
using quarn::RowVectorXd;
using quarn::VectorXd;
using quarn::testing::SameCells;

struct Regressions {
    MatrixXd X;
    VectorXd y;
};

/// Six in ten of N observations lie about 1 + 2x with sd 0.5, the others about -3 + x with sd 1.
Regressions TwoRegressions(Index N) {
    std::mt19937_64 engine(11);
    std::normal_distribution<double> normal;
    Regressions data{MatrixXd::Ones(N, 2), VectorXd(N)};
    for (Index i = 0; i < N; ++i) {
        const double x = data.X(i, 1) = normal(engine) + 2.0;
        data.y[i] = i % 10 < 6 ? 1.0 + 2.0 * x + 0.5 * normal(engine) : -3.0 + x + normal(engine);
    }
    return data;
}

/// Three in ten of N observations lie about (-2, 0, 2), the others about (2, 1, 0); correlated errors.
MatrixXd TwoNormals(Index N) {
    std::mt19937_64 engine(12);
    std::normal_distribution<double> normal;
    MatrixXd Y(N, 3);
    for (Index i = 0; i < N; ++i) {
        const double common = normal(engine);
        const RowVectorXd mean = i % 10 < 3 ? RowVectorXd{{-2.0, 0.0, 2.0}} : RowVectorXd{{2.0, 1.0, 0.0}};
        for (Index j = 0; j < 3; ++j) Y(i, j) = mean[j] + 0.5 * common + normal(engine);
    }
    return Y;
}

/// Densities of the components, weighed by their shares, up to the constant, by the textbook formulas.
MatrixXd Weights(const OLSEM& fit, const Regressions& data) {
    MatrixXd weights(fit.N, fit.G);
    for (Index g = 0; g < fit.G; ++g) {
        const VectorXd e = data.y - data.X * fit.Beta.col(g);
        weights.col(g) = fit.Pi[g] * std::sqrt(fit.Tau[g]) * (-0.5 * fit.Tau[g] * e.array().square()).exp();
    }
    return weights;
}

MatrixXd Weights(const MVNORMEM& fit, const MatrixXd& Y) {
    MatrixXd weights(fit.N, fit.G);
    for (Index g = 0; g < fit.G; ++g) {
        const MatrixXd S = fit.Sigma.middleCols(g * fit.D, fit.D).inverse();
        const MatrixXd E = Y.rowwise() - fit.Mu.col(g).transpose();
        const VectorXd q = (E * S).cwiseProduct(E).rowwise().sum();
        weights.col(g) = fit.Pi[g] * std::sqrt(S.determinant()) * (-0.5 * q.array()).exp();
    }
    return weights;
}

double LogLikelihood(const MatrixXd& weights) { return weights.rowwise().sum().array().log().sum(); }

double Distance(const MatrixXd& A, const MatrixXd& B) { return (A - B).cwiseAbs().maxCoeff(); }

/// Fits of 1, 2, ... steps: the likelihood rises until the end, and the shares are those of the parameters before.
template <class Data, class FitSteps>
void ExpectAscent(const Data& data, FitSteps fitSteps) {
    auto before = fitSteps(0);
    int moves = 0;
    for (int maxIter = 1; maxIter < 60; ++maxIter) {
        const auto fit = fitSteps(maxIter);
        const MatrixXd weights = Weights(before, data);
        if (!SameCells(fit.Post, before.Post)) {
            ++moves;
            const VectorXd sums = weights.rowwise().sum();
            ASSERT_LT(Distance(fit.Post, weights.array().colwise() / sums.array()), 1e-13) << maxIter;
        }
        ASSERT_GE(LogLikelihood(Weights(fit, data)), LogLikelihood(weights) - 1e-9) << maxIter;
        before = fit;
    }
    EXPECT_GT(moves, 5);
    EXPECT_TRUE(SameCells(fitSteps(1000).Post, fitSteps(1000).Post));
}

TEST(OLSEM, ClimbsTheLikelihoodAndFindsTwoRegressions) {
    const Regressions data = TwoRegressions(2003);
    ExpectAscent(data, [&](int maxIter) { return OLSEM(data.y, data.X, 2, maxIter); });
    const OLSEM fit(data.y, data.X, 2, 1000);
    const Index low = fit.Beta(0, 0) < fit.Beta(0, 1) ? 0 : 1, high = 1 - low;
    EXPECT_LT(Distance(fit.Beta.col(high), VectorXd{{1.0, 2.0}}), 0.1);
    EXPECT_LT(Distance(fit.Beta.col(low), VectorXd{{-3.0, 1.0}}), 0.3);
    EXPECT_NEAR(fit.Tau[high], 4.0, 0.5);
    EXPECT_NEAR(fit.Tau[low], 1.0, 0.2);
    EXPECT_NEAR(fit.Pi[high], 0.6, 0.03);
    EXPECT_NEAR(fit.Pi.sum(), 1.0, 1e-14);
}

TEST(MVNORMEM, ClimbsTheLikelihoodAndFindsTwoNormals) {
    const MatrixXd Y = TwoNormals(2003), none, Mu0 = MatrixXd{{-1.0, 1.0}, {0.0, 0.0}, {0.0, 0.0}},
                   Sigma0 = MatrixXd::Identity(3, 3).replicate(1, 2);
    ExpectAscent(Y, [&](int maxIter) { return MVNORMEM(Y, 2, maxIter, Mu0, Sigma0); });
    const MVNORMEM fit(Y, 2, 1000, Mu0, Sigma0);
    EXPECT_LT(Distance(fit.Mu, MatrixXd{{-2.0, 2.0}, {0.0, 1.0}, {2.0, 0.0}}), 0.2);
    const MatrixXd truth = MatrixXd::Identity(3, 3) + MatrixXd::Constant(3, 3, 0.25);
    EXPECT_LT(Distance(fit.Sigma, truth.replicate(1, 2)), 0.25);
    EXPECT_NEAR(fit.Pi[0], 0.3, 0.03);
    const MVNORMEM own(Y, 2, 3, none, none);
    EXPECT_TRUE(SameCells(own.Post, MVNORMEM(Y, 2, 3, Mu0, none).Post)) << "half a start is none";
    EXPECT_TRUE(SameCells(own.Post, MVNORMEM(Y, 2, 3, none, Sigma0).Post));
    const MatrixXd m = Y.colwise().mean().transpose(),
                   C = quarn::MatrixXd((Y.rowwise() - m.transpose().row(0)).transpose() *
                                       (Y.rowwise() - m.transpose().row(0)) / 2002.0);
    MatrixXd Mu(3, 2), Sigma(3, 6);
    Mu << 0.9 * m, m;
    Sigma << 0.9 * C, C;
    EXPECT_LT(Distance(own.Post, MVNORMEM(Y, 2, 3, Mu, Sigma).Post), 1e-11) << "the documented start";
}

TEST(Mixtures, OfOneComponentAreLeastSquaresAndSampleMoments) {
    for (const Index N : {5, 16, 255, 256, 257, 1001}) {
        const Regressions data = TwoRegressions(N);
        const quarn::OLSChol ols(data.y, data.X);
        const OLSEM line(data.y, data.X, 1, 100);
        EXPECT_LT(Distance(line.Beta, ols.b), 1e-12) << N;
        EXPECT_NEAR(line.Tau[0], static_cast<double>(N) / ols.e.squaredNorm(), 1e-12 * line.Tau[0]) << N;
        EXPECT_TRUE(line.Pi[0] == 1.0 && (line.Post.array() == 1.0).all()) << N;

        const MatrixXd Y = TwoNormals(N), none;
        const MVNORMEM normal(Y, 1, 100, none, none);
        const MatrixXd E = Y.rowwise() - Y.colwise().mean();
        EXPECT_LT(Distance(normal.Mu, Y.colwise().mean().transpose()), 1e-13) << N;
        EXPECT_LT(Distance(normal.Sigma, E.transpose() * E / static_cast<double>(N)), 1e-13) << N;
        EXPECT_TRUE(normal.Pi[0] == 1.0 && (normal.Post.array() == 1.0).all()) << N;
    }
}

TEST(Mixtures, StayFiniteWithPointsFarOut) {
    // One point survives the first step; later a component closes in on it and collapses, as the likelihood wants it.
    const struct {
        double far;
        Index every;
        int maxIter;
    } cases[] = {{1e6, 4000, 0}, {-1e6, 4000, 0}, {1e3, 25, 100}, {1e6, 25, 1}, {1e6, 25, 100}, {-1e6, 25, 100}};
    for (const auto& [far, every, maxIter] : cases) {
        Regressions data = TwoRegressions(4000);
        MatrixXd Y = TwoNormals(4000);
        for (Index i = 7; i < 4000; i += every) {
            data.y[i] += far;
            Y(i, 1) += far;
        }
        const OLSEM lines(data.y, data.X, 2, maxIter);
        EXPECT_TRUE(lines.Beta.allFinite() && lines.Tau.allFinite() && lines.Pi.allFinite()) << far;
        EXPECT_LT(Distance(lines.Post.rowwise().sum(), VectorXd::Ones(4000)), 1e-15) << far;
        const MVNORMEM normals(Y, 2, maxIter, MatrixXd{{-1.0, 1.0}, {0.0, 0.0}, {0.0, 0.0}},
                               MatrixXd::Identity(3, 3).replicate(1, 2));
        EXPECT_TRUE(normals.Mu.allFinite() && normals.Sigma.allFinite() && normals.Pi.allFinite()) << far;
        EXPECT_LT(Distance(normals.Post.rowwise().sum(), VectorXd::Ones(4000)), 1e-15) << far;
    }
}

TEST(Mixtures, EndOnBadData) {
    Regressions data = TwoRegressions(50);
    MatrixXd Y = TwoNormals(50);
    data.y[3] = Y(3, 0) = std::nan("");
    EXPECT_TRUE(OLSEM(data.y, data.X, 2, 1 << 30).Beta.hasNaN());
    EXPECT_TRUE(MVNORMEM(Y, 2, 1 << 30, MatrixXd(), MatrixXd()).Mu.hasNaN());
    EXPECT_FALSE(MVNORMEM(MatrixXd::Ones(50, 2), 2, 1 << 30, MatrixXd(), MatrixXd()).Sigma.allFinite()) << "collapsed";
    EXPECT_EQ(OLSEM(VectorXd(), MatrixXd(0, 2), 2, 5).Post.rows(), 0);
}

TEST(Mixtures, ShareOutAsTheExponentialFunctionDoes) {
    constexpr Index n = 251, G = 3, rows = quarn::detail::ChunkRows;
    std::mt19937_64 engine(13);
    std::uniform_real_distribution<double> uniform(-1.0, 0.0);
    MatrixXd chunk(rows, G);
    for (const double scale : {1.0, 50.0, 700.0, 1e5}) {
        chunk = MatrixXd::NullaryExpr(rows, G, [&](Index, Index) { return scale * uniform(engine); });
        MatrixXd best = chunk, portable = chunk;
        quarn::detail::SharesOfWeights(n, G, best.data());
        quarn::detail::SharesOfWeights(n, G, portable.data(), quarn::detail::Instructions::Portable);
        EXPECT_TRUE(SameCells(best.topRows(252), portable.topRows(252)));
        EXPECT_TRUE((best.row(n).array() == 0.0).all());
        for (Index i = 0; i < n; ++i) {
            const RowVectorXd terms =
                (chunk.row(i).array() - chunk.row(i).maxCoeff()).unaryExpr([](double x) { return std::exp(x); });
            for (Index g = 0; g < G; ++g) {
                const double share = terms[g] / terms.sum();
                EXPECT_NEAR(best(i, g), share, 1e-15 * share / 2 + 1e-307) << chunk.row(i);
            }
        }
    }
}

TEST(MVNORMEM, StacksTheLowerTriangleByColumns) {
    const MatrixXd M{{1.0, 9.0, 9.0}, {2.0, 4.0, 9.0}, {3.0, 5.0, 6.0}};
    EXPECT_TRUE(SameCells(MVNORMEM::triangMat2Vec(M), VectorXd::LinSpaced(6, 1.0, 6.0)));
}

}  // namespace
