// The laws of the truncated multivariate normals, by as many draws as QUARN_LAW_DRAWS asks for (1e6). Seeds are fixed;
// with other seeds, the whole file would fail by chance less than once in a million runs.

#include "Triple.h"

#include <quarn/random/Multivariate.h>
#include <quarn/random/TruncatedMultivariateNormal.h>

#include <Eigen/Cholesky>
#include <Eigen/LU>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::RowVectorXd;
using quarn::VectorXd;
using quarn::VectorXi;
using quarn_test::Triple;

#define TRIPLE T.rng, T.unif, T.norm

constexpr double Limit = 6.0;  // standard errors; there are fewer than 60 comparisons

Index Draws() {
    const char* const text = std::getenv("QUARN_LAW_DRAWS");
    return text ? std::atoll(text) : 1000000;
}

const MatrixXd V{{1.0, 0.6, -0.3}, {0.6, 2.0, 0.4}, {-0.3, 0.4, 0.7}};
const MatrixXd L = V.llt().matrixL();
const MatrixXd P = V.inverse();

/// First and second moments, and a functional that is not linear.
RowVectorXd Functionals(const VectorXd& x) {
    return RowVectorXd{{x[0], x[1], x[2], x[0] * x[0], x[1] * x[1], x[2] * x[2], x[0] * x[1], x[0] * x[2], x[1] * x[2],
                        std::exp(-std::abs(x[0] + x[1] * x[2]))}};
}

/// The means of the columns of two samples, of which the rows of each are independent.
void ExpectSameMeans(const MatrixXd& a, const MatrixXd& b, const char* name) {
    const auto variance = [](const MatrixXd& x) {
        return RowVectorXd((x.rowwise() - x.colwise().mean()).colwise().squaredNorm() / static_cast<double>(x.rows()) /
                           static_cast<double>(x.rows()));
    };
    const RowVectorXd z =
        (a.colwise().mean() - b.colwise().mean()).array() / (variance(a) + variance(b)).array().sqrt();
    EXPECT_LT(z.cwiseAbs().maxCoeff(), Limit) << name << ": " << z;
}

/// A draw from the law is mapped to a draw from the law, by rejection and by the scan.
TEST(TruncatedMultivariateNormal, FollowsPlainRejection) {
    const Index n = Draws() / 20;
    const VectorXd mu{{0.5, -0.8, 0.2}};
    for (const VectorXi& codes : {VectorXi{{0, 0, 0}}, VectorXi{{1, 0, 1}}}) {
        Triple T(2001);
        VectorXd x(3);
        const auto reject = [&] {
            do quarn::mvnormrnd(T.rng, T.norm, mu, L, x);
            while (((x.array() >= 0.0) != (codes.array() == 1)).any());
        };
        MatrixXd plain(n, 10), limited(n, 10), scanned(n, 10);
        for (Index i = 0; i < n; ++i) {
            reject();
            plain.row(i) = Functionals(x);
            bool ok = false;
            while (!ok) x = quarn::MVN_trunc_LV(T.rng, T.norm, mu, L, codes, ok);
            limited.row(i) = Functionals(x);
            x = quarn::MVN_trunc_P(TRIPLE, mu, P, x, codes);
            scanned.row(i) = Functionals(x);
        }
        ExpectSameMeans(limited, plain, "rejection");
        ExpectSameMeans(scanned, plain, "scan");
    }
}

/// theta ~ N(0, 1), x | theta ~ N(theta, V), codes the signs of x. Drawing the data of theta anew, then x given theta
/// and codes by the scan, then theta given x, leaves the joint law as it is: theta ~ N(0, 1), and
/// x ~ N(0, V + 1). A fault in any of the conditional draws moves these moments.
TEST(TruncatedMultivariateNormal, KeepsTheJointLawOfAModelWithTwoBlocks) {
    const Index batches = 200, length = Draws() / 1000;
    const VectorXd ones = VectorXd::Ones(3);
    const double precision = 1.0 + ones.dot(P * ones), sd = 1.0 / std::sqrt(precision);
    const MatrixXd joint = V + ones * ones.transpose();
    RowVectorXd exact(9);
    exact << 0.0, 1.0, 1.0, 1.0, 1.0, joint(0, 0), joint(1, 1), joint(0, 1), joint(1, 2);
    Triple T(2002);
    double theta = 0.0;
    VectorXd x(3);
    MatrixXd means = MatrixXd::Zero(batches, 9);
    for (Index batch = 0; batch < batches; ++batch) {
        for (Index i = 0; i < length; ++i) {
            quarn::mvnormrnd(T.rng, T.norm, theta * ones, L, x);
            const VectorXi codes = (x.array() >= 0.0).cast<int>();
            x = quarn::MVN_trunc_P(TRIPLE, theta * ones, P, x, codes);
            theta = ones.dot(P * x) / precision + sd * quarn::NormalDraw(T.rng, T.norm);
            RowVectorXd g(9);
            g << theta, theta * theta, theta * x[0], theta * x[1], theta * x[2], x[0] * x[0], x[1] * x[1], x[0] * x[1],
                x[1] * x[2];
            means.row(batch) += g / static_cast<double>(length);
        }
    }
    const RowVectorXd mean = means.colwise().mean();
    const RowVectorXd error = ((means.rowwise() - mean).colwise().squaredNorm() / static_cast<double>(batches - 1) /
                               static_cast<double>(batches))
                                  .cwiseSqrt();
    const RowVectorXd z = (mean - exact).cwiseQuotient(error);
    EXPECT_LT(z.cwiseAbs().maxCoeff(), Limit) << z;
}

}  // namespace
