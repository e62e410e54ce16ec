#include "Triple.h"

#include <quarn/random/GHK.h>
#include <quarn/random/TruncatedNormal.h>

#include <Eigen/Cholesky>
#include <boost/math/distributions/normal.hpp>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::RowVectorXd;
using quarn::VectorXd;
using quarn_test::Infinity;
using quarn_test::NaN;
using quarn_test::Triple;

double Phi(double t) { return cdf(boost::math::normal_distribution<double>(), t); }

MatrixXd Factor(const MatrixXd& S) { return S.llt().matrixL(); }

MatrixXd Correlation(Index n, double rho) {
    return MatrixXd::NullaryExpr(
        n, n, [&](Index i, Index j) { return std::pow(rho, std::abs(i - j)) * (i == j ? 2.0 : 1.3); });
}

/// The logarithms of the probabilities of the conditions along one path, by the formula.
VectorXd PlainPath(Triple& T, const MatrixXd& L, const VectorXd& b) {
    const Index n = b.size();
    VectorXd e(n), logs(n);
    for (Index j = 0; j < n; ++j) {
        double s = 0.0;
        for (Index k = 0; k < j; ++k) s += L(j, k) * e[k];
        const double t = (b[j] - s) / L(j, j);
        logs[j] = std::log(Phi(t));
        if (j + 1 < n) e[j] = quarn::tnormrnd_upper(TRIPLE(T), 0.0, 1.0, t);
    }
    return logs;
}

TEST(GHK, IsTheMeanOfTheFormulaOverTheDocumentedDraws) {
    for (const Index n : {2, 3, 6, 20}) {
        const MatrixXd L = Factor(Correlation(n, 0.6));
        for (const double bound : {-3.0, 0.0, 1.0, 4.0, Infinity}) {
            const VectorXd b = VectorXd::Constant(n, bound);
            Triple T(4), last(4), reference(4);
            double sum = 0.0, sumOfLast = 0.0;
            const int R = 300;
            for (int r = 0; r < R; ++r) {
                const VectorXd logs = PlainPath(reference, L, b);
                sum += std::exp(logs.sum());
                sumOfLast += std::exp(logs[n - 1]);
            }
            EXPECT_NEAR(quarn::GHK(TRIPLE(T), L, b, R) / (sum / R), 1.0, 1e-13) << n << ' ' << bound;
            EXPECT_NEAR(quarn::GHK_last_conditional(TRIPLE(last), L, b, R) / (sumOfLast / R), 1.0, 1e-13);
            EXPECT_TRUE(SameState(T, reference) && SameState(last, reference)) << n << ' ' << bound;
        }
    }
}

TEST(GHK, HasTheSameValueInAllForms) {
    const MatrixXd S = Correlation(4, 0.5), L = Factor(S);
    const VectorXd mu = VectorXd::LinSpaced(4, -1.0, 0.5);
    const MatrixXd A = MatrixXd::Identity(4, 4), twice = 2.0 * A, c = MatrixXd::Ones(4, 1);
    Triple T(6), second(6), third(6), fourth(6);
    const double expected = quarn::GHK(TRIPLE(T), L, VectorXd(-mu), 50);
    EXPECT_EQ(quarn::GHK(TRIPLE(second), mu, L, 50), expected);
    EXPECT_EQ(quarn::GHK(TRIPLE(third), mu, S, A, MatrixXd(0.0 * c), 50), expected);
    const VectorXd shifted = mu + 0.5 * c;  // P(2 x <= 1)
    EXPECT_NEAR(quarn::GHK(TRIPLE(fourth), shifted, S, twice, c, 50), expected, 1e-15);
}

TEST(GHK, ComesCloseToExactProbabilities) {
    const auto expect = [](const MatrixXd& S, double exact) {
        Triple T(7);
        const MatrixXd L = Factor(S);
        const VectorXd zero = VectorXd::Zero(S.rows());
        Eigen::ArrayXd values(100);
        for (double& value : values) value = quarn::GHK(TRIPLE(T), L, zero, 500);
        const double error = std::sqrt((values - values.mean()).square().sum() / 99.0 / 100.0);
        EXPECT_LT(std::abs(values.mean() - exact), 5.5 * error) << S;
        EXPECT_LT(error, 0.01 * exact) << S;
    };
    const double pi = std::numbers::pi;
    for (const double rho : {-0.95, 0.7}) {
        expect(MatrixXd{{1.0, rho}, {rho, 1.0}}, 0.25 + std::asin(rho) / (2.0 * pi));
    }
    expect(MatrixXd{{1.0, 0.5, -0.2}, {0.5, 1.0, 0.4}, {-0.2, 0.4, 1.0}},
           0.125 + (std::asin(0.5) + std::asin(-0.2) + std::asin(0.4)) / (4.0 * pi));
    const Index n = 12;  // equal correlations of 0.5
    expect(0.5 * (MatrixXd::Ones(n, n) + MatrixXd::Identity(n, n)), 1.0 / (static_cast<double>(n) + 1.0));
}

TEST(GHK, OfOneDimensionOrIndependenceIsExact) {
    Triple T(2);
    const MatrixXd one = MatrixXd::Constant(1, 1, 2.0), X = VectorXd::LinSpaced(3, 1.0, 3.0);
    const VectorXd b = VectorXd::Constant(1, -1.0);
    EXPECT_EQ(quarn::GHK(TRIPLE(T), one, b, 0), Phi(-0.5));
    EXPECT_EQ(quarn::GHK_last_conditional(TRIPLE(T), one, b, 0), Phi(-0.5));
    EXPECT_NEAR(quarn::GHK_ratio(TRIPLE(T), one, one, b, VectorXd(-b), 3), Phi(-0.5) / Phi(0.5), 1e-16);
    EXPECT_LT((quarn::GHK_mfx(TRIPLE(T), one, b, X, 0) - pdf(boost::math::normal(), -0.5) * X).norm(), 1e-15);
    const VectorXd far = VectorXd::Constant(1, -76.0);  // a probability that has lost digits
    EXPECT_EQ(quarn::GHK_ratio(TRIPLE(T), one, one, far, far, 3), 1.0);
    EXPECT_TRUE(SameState(T, Triple(2)));
    EXPECT_NEAR(quarn::GHK(TRIPLE(T), MatrixXd(MatrixXd::Identity(3, 3)), VectorXd(VectorXd::Zero(3)), 7), 0.125,
                1e-16);
}

TEST(GHK, AnswersWithoutReplicationsAndOutsideTheRangeOfProbabilities) {
    const MatrixXd L = Factor(Correlation(3, 0.6));
    const VectorXd zero = VectorXd::Zero(3);
    Triple T(3);
    EXPECT_TRUE(std::isnan(quarn::GHK(TRIPLE(T), L, zero, 0)));
    EXPECT_TRUE(std::isnan(quarn::GHK_last_conditional(TRIPLE(T), L, zero, 0)));
    EXPECT_TRUE(std::isnan(quarn::GHK_ratio(TRIPLE(T), L, L, zero, zero, 0)));
    EXPECT_TRUE(quarn::GHK_mfx(TRIPLE(T), L, zero, MatrixXd::Identity(3, 3), 0).isZero(0.0));
    EXPECT_TRUE(SameState(T, Triple(3)));
    for (const double low : {-1e3, -1e200, -Infinity}) {
        for (const VectorXd& b : {VectorXd{{low, 0.0, 0.0}}, VectorXd{{0.0, low, 0.0}}, VectorXd{{low, low, low}}}) {
            EXPECT_EQ(quarn::GHK(TRIPLE(T), L, b, 20), 0.0) << b.transpose();
            EXPECT_TRUE(quarn::GHK_mfx(TRIPLE(T), L, b, MatrixXd::Identity(3, 3), 20).isZero(0.0)) << b.transpose();
        }
    }
}

TEST(GHK, IsNaNInEveryFormForANaNInAnyElement) {
    const MatrixXd S = Correlation(3, 0.6), L = Factor(S), I = MatrixXd::Identity(3, 3);
    const VectorXd zero = VectorXd::Zero(3);
    for (Index k = 0; k < 3; ++k) {
        const VectorXd bad = zero + NaN * VectorXd::Unit(3, k);
        MatrixXd degenerate = L;  // t(k) is 0/0
        degenerate.row(k).setZero();
        Triple T(8), gradients(8), ofNumbers(8);
        const MatrixXd gradient = quarn::GHK_mfx(TRIPLE(gradients), L, bad, I, 5);
        quarn::GHK_mfx(TRIPLE(ofNumbers), L, zero, I, 5);
        EXPECT_TRUE(SameState(gradients, ofNumbers)) << k;
        for (const double p :
             {quarn::GHK(TRIPLE(T), L, bad, 5), quarn::GHK(TRIPLE(T), bad, L, 5),
              quarn::GHK(TRIPLE(T), bad, S, I, zero, 5), quarn::GHK(TRIPLE(T), zero, S, I, bad, 5),
              quarn::GHK_last_conditional(TRIPLE(T), L, bad, 5), quarn::GHK_ratio(TRIPLE(T), L, L, bad, zero, 5),
              quarn::GHK_ratio(TRIPLE(T), L, L, zero, bad, 5), gradient(0), gradient(1), gradient(2),
              quarn::GHK_mfx(TRIPLE(T), degenerate, zero, I, 5).sum()}) {
            EXPECT_TRUE(std::isnan(p)) << k;
        }
    }
}

TEST(GHKRatio, IsTheMeanOfTheRatiosAlsoWhereTheProbabilitiesUnderflow) {
    const MatrixXd L1 = Factor(Correlation(3, 0.6)), L2 = Factor(Correlation(4, -0.3));
    for (const double bound : {0.5, -2.0, -30.0}) {  // the last ones are e^-300 and less
        const VectorXd b1 = VectorXd::Constant(3, bound), b2 = VectorXd::Constant(4, 0.8 * bound);
        Triple T(10), reference(10);
        double sum = 0.0;
        for (int r = 0; r < 40; ++r) {
            const double w1 = PlainPath(reference, L1, b1).sum();
            sum += std::exp(w1 - PlainPath(reference, L2, b2).sum());
        }
        EXPECT_NEAR(quarn::GHK_ratio(TRIPLE(T), L1, L2, b1, b2, 40) / (sum / 40.0), 1.0, 1e-12) << bound;
        EXPECT_TRUE(SameState(T, reference)) << bound;
    }
}

/// The probability simulated by inversion, with the uniforms of a new triple.
double Inversion(const MatrixXd& L, const VectorXd& b, int R, Triple T) {
    const Index n = b.size();
    double mean = 0.0;
    VectorXd e(n);
    for (int r = 0; r < R; ++r) {
        double weight = 1.0;
        for (Index j = 0; j < n; ++j) {
            const double t = (b[j] - L.row(j).head(j).dot(e.head(j))) / L(j, j);
            weight *= Phi(t);
            if (j + 1 < n) e[j] = quantile(boost::math::normal(), quarn::UniformDraw(T.rng, T.unif) * Phi(t));
        }
        mean += weight / R;
    }
    return mean;
}

TEST(GHKGradient, IsTheDerivativeOfTheSimulatedProbability) {
    for (const Index n : {2, 3, 7}) {
        const MatrixXd L = Factor(Correlation(n, 0.7)), X = MatrixXd::Identity(n, n);
        for (const double bound : {-1.5, 0.3, 5.0}) {
            const VectorXd b = VectorXd::LinSpaced(n, bound, bound + 1.0);
            VectorXd differences(n);
            for (Index k = 0; k < n; ++k) {
                const VectorXd step = 1e-4 * VectorXd::Unit(n, k);
                const auto slope = [&](double h) {
                    return (Inversion(L, b + h * step, 30, Triple(11)) - Inversion(L, b - h * step, 30, Triple(11))) /
                           h;
                };
                differences[k] = (4.0 * slope(1.0) - slope(2.0)) / 3.0 / 2e-4;
            }
            Triple T(11);
            const VectorXd gradient = quarn::GHK_mfx(TRIPLE(T), L, b, X, 30);
            EXPECT_LT((gradient - differences).norm(), 1e-8 * std::max(1e-2, gradient.norm())) << n << ' ' << bound;
        }
    }
}

TEST(GHKGradient, KeepsTheQuantileInsideTheUnitInterval) {
    const MatrixXd L = Factor(Correlation(3, 0.6)), X = MatrixXd::Identity(3, 3);
    for (const double u : {0.0, 1.0}) {
        for (const double bound : {-20.0, 0.0, 40.0}) {
            Triple T(1);
            T.unif.param(quarn::Unif::param_type(u, u));  // all uniforms are u
            EXPECT_TRUE(quarn::GHK_mfx(TRIPLE(T), L, VectorXd::Constant(3, bound), X, 3).allFinite())
                << u << ' ' << bound;
        }
    }
}

}  // namespace
