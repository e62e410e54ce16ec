#include <quarn/numerics/Quadrature.h>

#include <gtest/gtest.h>

#include <cmath>

namespace {

using Eigen::Index;
using quarn::MatrixXd;

/// log of the integral of x^k (k even for the line) with the weight function.
long double LogMomentLaguerre(int k) { return std::lgamma(static_cast<long double>(k) + 1); }
long double LogMomentHermite(int k) { return std::lgamma((static_cast<long double>(k) + 1) / 2); }

/// sum w x^k over the moment, terms scaled before they are summed.
double MomentRatio(const MatrixXd& rule, int k, long double logMoment) {
    long double sum = 0;
    for (Index i = 0; i < rule.rows(); ++i) {
        const long double x = rule(i, 0), w = rule(i, 1);
        if (x == 0) sum += k == 0 ? w * std::exp(-logMoment) : 0;
        if (x != 0) sum += std::exp(std::log(w) + static_cast<long double>(k) * std::log(std::abs(x)) - logMoment);
    }
    return static_cast<double>(sum);
}

TEST(Quadrature, IsExactForPolynomialsToDegreeTwiceTheNodesLessOne) {
    for (const int n : {1, 2, 3, 7, 20, 64}) {
        bool ok = false;
        const MatrixXd laguerre = quarn::LaguerreQuad(n, ok);
        ASSERT_TRUE(ok);
        const MatrixXd hermite = quarn::HermiteQuad(n, ok);
        ASSERT_TRUE(ok);
        for (int k = 0; k < 2 * n; ++k) {
            // x^k magnifies the last rounding of x k times.
            const double tolerance = 4e-16 + 2e-16 * k;
            EXPECT_NEAR(MomentRatio(laguerre, k, LogMomentLaguerre(k)), 1.0, tolerance) << n << ", " << k;
            if (k % 2 == 0) {
                EXPECT_NEAR(MomentRatio(hermite, k, LogMomentHermite(k)), 1.0, tolerance) << n << ", " << k;
            }
        }
    }
}

TEST(Quadrature, NodesAscendAndHermitesAreExactlySymmetric) {
    for (const int n : {1, 2, 5, 64, 301}) {
        bool ok = false;
        for (const MatrixXd& rule : {quarn::LaguerreQuad(n, ok), quarn::HermiteQuad(n, ok)}) {
            ASSERT_EQ(rule.rows(), n);
            ASSERT_EQ(rule.cols(), 2);
            for (Index i = 1; i < n; ++i) EXPECT_LT(rule(i - 1, 0), rule(i, 0));
            EXPECT_TRUE((rule.col(1).array() >= 0.0).all());
        }
        const MatrixXd hermite = quarn::HermiteQuad(n, ok);
        for (Index i = 0; i < n; ++i) {
            EXPECT_EQ(hermite(i, 0), -hermite(n - 1 - i, 0));
            EXPECT_EQ(hermite(i, 1), hermite(n - 1 - i, 1));
        }
    }
}

TEST(Quadrature, OfNoNodesIsEmptyAndNotOk) {
    for (const int n : {0, -1, -1000000}) {
        for (const auto rule : {quarn::LaguerreQuad, quarn::HermiteQuad}) {
            bool ok = true;
            EXPECT_EQ(rule(n, ok).size(), 0);
            EXPECT_FALSE(ok);
        }
    }
}

}  // namespace
