#include "SamplerTesting.h"

#include <quarn/classical/OLSChol.h>
#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/random/Multivariate.h>

#include <samplers/CovarianceMatrices.h>
#include <samplers/LinearRegression.h>
#include <samplers/SUR.h>

#include <Eigen/Cholesky>
#include <gtest/gtest.h>

#include <cmath>

namespace quarn::samplers {
namespace {

struct System {
    MatrixXd Y;
    std::vector<MatrixXd> X;
    std::vector<std::vector<std::string>> Variables;

    std::shared_ptr<SUR> Sampled(const SURPrior& prior, const RunSettings& settings) const {
        auto sampler = std::make_shared<SUR>(Y, X, MatrixXd::Zero(Y.rows(), 1), Names("y", Y.cols()), Variables, prior);
        RunToEnd(*sampler, settings);
        return sampler;
    }
};

/// Equations with correlated regressors, of which they have a constant in common.
System MakeSystem(Eigen::Index N, const std::vector<int>& sizes) {
    Generator g = MakeGenerator(5, 0);
    const auto normal = [&g] { return NormalDraw(g.rng, g.norm); };
    const VectorXd common = VectorXd::NullaryExpr(N, normal), error = VectorXd::NullaryExpr(N, normal);
    System system;
    system.Y.resize(N, static_cast<Eigen::Index>(sizes.size()));
    for (const int K : sizes) {
        MatrixXd X = MatrixXd::NullaryExpr(N, K, normal).colwise() + common;
        X.col(0).setOnes();
        system.Y.col(static_cast<Eigen::Index>(system.X.size())) =
            X.rowwise().sum() + error + VectorXd::NullaryExpr(N, normal);
        system.X.push_back(X);
        system.Variables.push_back(Names("x", K));
    }
    return system;
}

/// Investment of General Electric and Westinghouse, 1935-1954, on a constant, value and capital.
System Grunfeld() {
    const Dataset data(QUARN_SOURCE_DIR "/examples/data/grunfeld.csv", ',');
    std::vector<std::string> names = {"firm_id", "value", "capital", "invest"};
    MatrixXd X, ids;
    VectorXd y;
    EXPECT_EQ(data.Prepare_CrossSection(names, X, y, ids), "OK");
    System system;
    system.Y.resize(20, 2);
    for (const int firm : {3, 8}) {
        Eigen::Index first = 0;
        while (X(first, 0) != firm) ++first;
        system.Y.col(static_cast<Eigen::Index>(system.X.size())) = y.segment(first, 20);
        system.X.push_back((MatrixXd(20, 3) << VectorXd::Ones(20), X.block(first, 1, 20, 2)).finished());
        system.Variables.push_back({"constant", "value", "capital"});
    }
    return system;
}

TEST(SUR, OfOneEquationIsALinearRegression) {
    const System system = MakeSystem(30, {3});
    const auto sur = system.Sampled({{{}, MatrixXd::Identity(3, 3)}, {6.0, MatrixXd::Constant(1, 1, 4.0)}},
                                    {.Draws = 50'000, .Burnin = 100});
    // An inverse Wishart variance is an inverse gamma one, of half the parameters.
    LinearRegression regression(system.Y, system.X[0], MatrixXd::Zero(30, 1), "y", Names("x", 3),
                                {{{}, MatrixXd::Identity(3, 3)}, {3.0, 2.0}});
    RunToEnd(regression, {.Draws = 50'000, .Burnin = 100});
    EXPECT_NEAR(sur->GetLogML_CJ(), regression.GetLogML_CJ(), 0.01);
    for (int j = 0; j < 3; ++j) {
        const auto column = regression.GetpSamples()->col(j);
        EXPECT_NEAR(vectorMean(sur->GetpSamples()->col(j)), vectorMean(column), 0.03 * vectorSd(column)) << j;
    }
    const VectorXd variance = regression.GetpSamples()->col(3).cwiseInverse();
    EXPECT_NEAR(vectorMean(sur->GetpSamples()->col(3)), vectorMean(variance), 0.03 * vectorSd(variance));
}

TEST(SUR, LogMarginalLikelihoodOfIndependentEquationsIsTheirSumWhereThePriorForcesIt) {
    System system = MakeSystem(25, {2, 3});
    // With so many degrees of freedom, the prior fixes the covariance at the identity, and b is conjugate.
    const double df = 1e9;
    const auto sur = system.Sampled({{{}, MatrixXd::Identity(5, 5)}, {df, df * MatrixXd::Identity(2, 2)}},
                                    {.Draws = 5000, .Burnin = 10});
    double sum = 0.0;
    for (int m = 0; m < 2; ++m) {
        const MatrixXd& X = system.X[static_cast<std::size_t>(m)];
        const Eigen::LLT<MatrixXd> V(MatrixXd::Identity(25, 25) + X * X.transpose());
        sum -= 0.5 * (25.0 * std::log(2.0 * M_PI) + system.Y.col(m).dot(V.solve(system.Y.col(m)))) +
               V.matrixLLT().diagonal().array().log().sum();
    }
    EXPECT_NEAR(sur->GetLogML_CJ(), sum, 0.01);
}

TEST(SUR, BothLogMarginalLikelihoodsAgree) {
    const auto sur = MakeSystem(60, {2, 3, 2}).Sampled({{{}, 0.1 * MatrixXd::Identity(7, 7)}, {}}, {.Burnin = 100});
    EXPECT_NEAR(sur->GetLogML_CJ(), sur->GetLogML(), 0.2);
}

TEST(SUR, EqualRegressorsAtAFlatPriorGiveLeastSquares) {
    System system = MakeSystem(40, {3, 3});
    system.X[1] = system.X[0];
    const auto sur = system.Sampled({{{}, 1e-12 * MatrixXd::Identity(6, 6)}, {}}, {.Draws = 40'000, .Burnin = 100});
    for (int m = 0; m < 2; ++m) {
        const OLSChol fit(system.Y.col(m), system.X[0], "", {});
        for (int j = 0; j < 3; ++j) {
            const auto column = sur->GetpSamples()->col(3 * m + j);
            EXPECT_NEAR(vectorMean(column), fit.b(j), 0.03 * vectorSd(column)) << m << ", " << j;
        }
    }
}

TEST(SUR, JointDistributionOfParametersAndDataIsPriorTimesLikelihood) {
    const System system = MakeSystem(8, {2, 3});
    SURPrior prior{{VectorXd::Constant(5, 0.5), MatrixXd::Identity(5, 5)},
                   {12.0, (MatrixXd(2, 2) << 8.0, 3.0, 3.0, 6.0).finished()}};
    ExpectJointDistribution(
        [&](Generator& g, VectorXd& y) {
            MatrixXd S(2, 2);
            InverseWishartDraw()(g, 12.0, prior.ErrorCovariance.Scale, S);
            VectorXd theta(8);  // b, S
            for (int j = 0; j < 5; ++j) theta(j) = 0.5 + NormalDraw(g.rng, g.norm);
            PackTriangle(S, theta.tail(3));
            MatrixXd Y(8, 2);
            mvnormrnd(g.rng, g.norm, VectorXd::Zero(2), Eigen::LLT<MatrixXd>(S).matrixLLT(), Y);
            Y.col(0) += system.X[0] * theta.head(2);
            Y.col(1) += system.X[1] * theta.segment(2, 3);
            y = Y.reshaped();
            return theta;
        },
        [&](const VectorXd& y, std::int64_t seed) {
            System drawn = system;
            drawn.Y = y.reshaped(8, 2);
            const auto sampler = drawn.Sampled(prior, {.Draws = 1, .Burnin = 20, .Seed = seed, .Threads = 1});
            return VectorXd(sampler->GetpSamples()->row(0).transpose());
        },
        2000);
}

TEST(SUR, GrunfeldsCoefficientsAtAFlatPriorAreThoseOfAnIndependentSamplerAndNearThePublishedOnes) {
    const auto model = Grunfeld()
                           .Sampled({{{}, 1e-10 * MatrixXd::Identity(6, 6)}, {}}, {.Draws = 100'000, .Burnin = 500})
                           ->MakeModel();
    const auto mean = model->Summary.SummaryMatrix.col(0), sd = model->Summary.SummaryMatrix.col(2);
    // R 4.2, bayesm 3.1-5: a million draws of rsurGibbs with the same prior. Coefficients, then var, cov, var.
    const double sampled[] = {-32.1794994, 0.041758242, 0.133437997, -1.84097078, 0.060274037,
                              0.050114482, 834.6810,    230.8292,    107.1399};
    const double deviation[] = {30.4161156, 0.0156211, 0.0271296, 7.4579509, 0.0148434,
                                0.0573692,  328.9595,  104.8362,  40.3268};
    for (int j = 0; j < 9; ++j) {
        EXPECT_NEAR(mean(j), sampled[j], 0.025 * deviation[j]) << j;
        EXPECT_NEAR(sd(j), deviation[j], 0.03 * deviation[j]) << j;
    }
    // Zellner (1962), with the digits of R's systemfit: the two-step estimator, which takes the covariance as known.
    const double twoStep[] = {-27.71931712, 0.03831021, 0.13903627, -1.25198823, 0.05762980, 0.06397807};
    const double error[] = {29.32121877, 0.01441515, 0.02498560, 7.54521736, 0.01454628, 0.05304058};
    for (int j = 0; j < 6; ++j) EXPECT_NEAR(mean(j), twoStep[j], 0.3 * error[j]) << j;

    EXPECT_EQ(model->SamplesNames[4], "y1.value");
    EXPECT_EQ(model->SamplesNames[7], "cov(y1,y0)");
    EXPECT_EQ(model->Summary.IndVars[4], "value");
    EXPECT_EQ(model->Summary.SpacesVector, Eigen::Vector3i(3, 3, 3));
    const auto points = std::make_shared<MatrixXd>(MatrixXd::Ones(2, 6)), out = std::make_shared<MatrixXd>();
    std::string message, detail;
    ASSERT_TRUE(model->Predict(false, false, points, 0, "", out, message, detail, nullptr));
    ASSERT_EQ(out->rows(), 4);
    EXPECT_NEAR((*out)(1, 0), model->Summary.SummaryMatrix.col(0).head(3).sum(), 1e-9);
    EXPECT_NEAR((*out)(2, 0), model->Summary.SummaryMatrix.col(0).segment(3, 3).sum(), 1e-9);
    points->resize(1, 5);
    EXPECT_FALSE(model->Predict(false, false, points, 0, "", out, message, detail, nullptr));
}

TEST(SUR, RefusesWhatItCannotUse) {
    const System good = MakeSystem(8, {2, 3});
    const auto start = [](const System& s, const SURPrior& prior = {},
                          const std::vector<std::string>& names = {"a", "b"}) {
        return SUR(s.Y, s.X, MatrixXd::Zero(8, 1), names, s.Variables, prior).Start({.Draws = 1, .Burnin = 0});
    };
    EXPECT_EQ(start(good), "OK");
    EXPECT_NE(start(good, {}, {"a", "a"}), "OK");
    EXPECT_NE(start(good, {}, {"a"}), "OK");
    EXPECT_NE(start(good, {{VectorXd::Zero(4), {}}, {}}), "OK");
    EXPECT_NE(start(good, {{}, {0.5, {}}}), "OK");
    System shorter = good, missing = good;
    shorter.X[1] = good.X[1].topRows(7).eval();
    missing.Y(0, 1) = NAN;
    EXPECT_EQ(start(shorter), "Equation b needs as many rows of regressors as observations.");
    EXPECT_NE(start(missing), "OK");
}

}  // namespace
}  // namespace quarn::samplers
