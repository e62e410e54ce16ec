// The law of the scan, by as many draws as QUARN_LAW_DRAWS asks for (1e6). The seed is fixed; with another one, the
// test would fail by chance less than once in a million runs. That the rejection is the plain one, the unit tests show.

#include "Triple.h"

#include <quarn/random/Multivariate.h>
#include <quarn/random/TruncatedMultivariateNormal.h>

#include <Eigen/Cholesky>
#include <Eigen/LU>
#include <gtest/gtest.h>

#include <cmath>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::RowVectorXd;
using quarn::VectorXd;
using quarn::VectorXi;
using quarn_test::LawDraws;
using quarn_test::Triple;

constexpr double Limit = 6.0;  // standard errors

const MatrixXd V{{1.0, 0.6, -0.3}, {0.6, 2.0, 0.4}, {-0.3, 0.4, 0.7}};
const MatrixXd L = V.llt().matrixL();
const MatrixXd P = V.inverse();

/// theta ~ N(0, 1), x | theta ~ N(theta, V), codes the signs of x. Drawing the data of theta anew, then x given theta
/// and codes by the scan, then theta given x, leaves the joint law as it is: theta ~ N(0, 1), and
/// x ~ N(0, V + 1). A fault in any of the conditional draws moves these moments.
TEST(TruncatedMultivariateNormal, KeepsTheJointLawOfAModelWithTwoBlocks) {
    const Index batches = 200, length = LawDraws() / 1000;
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
            x = quarn::MVN_trunc_P(TRIPLE(T), theta * ones, P, x, codes);
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
