#include "SamplerTesting.h"

#include <quarn/numerics/DescriptiveStatistics.h>

#include <samplers/BinaryProbit.h>
#include <samplers/MarginalLikelihood.h>

#include <Eigen/Cholesky>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <sstream>

namespace quarn::samplers {
namespace {

double Phi(double x) { return 0.5 * std::erfc(-x / std::numbers::sqrt2); }

/// A constant, and correlated regressors.
MatrixXd Regressors(Eigen::Index N, Eigen::Index K) {
    Generator g = MakeGenerator(1, 0);
    MatrixXd X(N, K);
    for (Eigen::Index i = 0; i < N; ++i) {
        const double common = NormalDraw(g.rng, g.norm);
        for (Eigen::Index j = 0; j < K; ++j) X(i, j) = j == 0 ? 1.0 : common + NormalDraw(g.rng, g.norm);
    }
    return X;
}

VectorXd Outcomes(Generator& g, const MatrixXd& X, const VectorXd& b) {
    return (X * b).unaryExpr([&g](double mean) { return mean + NormalDraw(g.rng, g.norm) > 0.0 ? 1.0 : 0.0; });
}

std::shared_ptr<BinaryProbit> Sampled(const VectorXd& y, const MatrixXd& X, const BinaryProbitPrior& prior,
                                      const RunSettings& settings) {
    auto sampler = std::make_shared<BinaryProbit>(y, X, MatrixXd::Zero(y.size(), 1), "y", Names("x", X.cols()), prior);
    RunToEnd(*sampler, settings);
    return sampler;
}

TEST(BinaryProbit, AgreesWithTheExactPosteriorOnAGrid) {
    const MatrixXd X = Regressors(25, 2);
    Generator g = MakeGenerator(3, 0);
    const VectorXd y = Outcomes(g, X, VectorXd::Constant(2, 0.7));
    BinaryProbitPrior prior{{VectorXd::Constant(2, 0.3), MatrixXd::Identity(2, 2)}};
    prior.Coefficients.Precision(0, 1) = prior.Coefficients.Precision(1, 0) = -0.4;
    const MatrixXd L = prior.Coefficients.Precision.llt().matrixL();
    double mass = 0.0;
    VectorXd first = VectorXd::Zero(2), second = VectorXd::Zero(2);
    constexpr double step = 0.02;
    for (double b0 = -3.0; b0 < 5.0; b0 += step) {
        for (double b1 = -3.0; b1 < 5.0; b1 += step) {
            const VectorXd b = Eigen::Vector2d(b0, b1), eta = X * b;
            double weight = std::exp(LogNormalDensity(b, prior.Coefficients.Mean, L)) * step * step;
            for (Eigen::Index i = 0; i < y.size(); ++i) weight *= y(i) == 1.0 ? Phi(eta(i)) : Phi(-eta(i));
            mass += weight;
            first += weight * b;
            second += weight * b.cwiseAbs2();
        }
    }
    const auto sampler = Sampled(y, X, prior, {.Draws = 100'000, .Burnin = 100});
    for (int j = 0; j < 2; ++j) {
        const double mean = first(j) / mass, sd = std::sqrt(second(j) / mass - mean * mean);
        EXPECT_NEAR(vectorMean(sampler->GetpSamples()->col(j)), mean, 0.02 * sd) << j;
        EXPECT_NEAR(vectorSd(sampler->GetpSamples()->col(j)), sd, 0.02 * sd) << j;
    }
    EXPECT_NEAR(sampler->GetLogML_CJ(), std::log(mass), 0.03);
    EXPECT_NEAR(sampler->GetLogML(), std::log(mass), 0.15);  // approximates the posterior by a normal law
}

TEST(BinaryProbit, JointDistributionOfParametersAndDataIsPriorTimesLikelihood) {
    const MatrixXd X = Regressors(12, 3);
    const BinaryProbitPrior prior{{VectorXd::Constant(3, 0.2), MatrixXd::Identity(3, 3)}};
    ExpectJointDistribution(
        [&](Generator& g, VectorXd& y) {
            VectorXd b(3);
            do {  // the prior given that both outcomes occur, which is what the sampler is given, too
                for (double& x : b) x = 0.2 + NormalDraw(g.rng, g.norm);
                y = Outcomes(g, X, b);
            } while ((y.array() == y(0)).all());
            return b;
        },
        [&](const VectorXd& y, std::int64_t seed) {
            const auto sampler = Sampled(y, X, prior, {.Draws = 1, .Burnin = 60, .Seed = seed, .Threads = 1});
            return VectorXd(sampler->GetpSamples()->row(0).transpose());
        },
        2000);
}

/// Vote in 1996 on a constant, age, education, income, party identification, and one's place from left to right.
struct Vote {
    std::vector<std::string> names = {"age", "educ", "income", "pid", "selflr", "vote"};
    VectorXd y;
    MatrixXd X;
    Vote() {
        const Dataset data(QUARN_SOURCE_DIR "/examples/data/anes96.csv", ',');
        MatrixXd regressors, ids;
        EXPECT_EQ(data.Prepare_CrossSection(names, regressors, y, ids), "OK");
        X.resize(y.size(), 6);
        X << VectorXd::Ones(y.size()), regressors;
    }
};

TEST(BinaryProbit, VoteIn1996IsAsOtherSoftwareHasIt) {
    const Vote vote;
    const BinaryProbitPrior prior{{{}, 0.01 * MatrixXd::Identity(6, 6)}};
    const auto sampler = Sampled(vote.y, vote.X, prior, {.Draws = 50'000, .Burnin = 500});
    // MCMCpack 1.6-3, MCMCprobit(b0 = 0, B0 = 0.01, mcmc = 200000), seed 1; "Chib95".
    const double mean[] = {-4.30548, 0.00523998, 0.0308326, 0.0221815, 0.586201, 0.326169};
    const double sd[] = {0.411335, 0.00388534, 0.0430788, 0.0118945, 0.0365823, 0.0564913};
    for (int j = 0; j < 6; ++j) {
        const auto column = sampler->GetpSamples()->col(j);
        EXPECT_NEAR(vectorMean(column), mean[j], 0.06 * sd[j]) << j;
        EXPECT_NEAR(vectorSd(column), sd[j], 0.06 * sd[j]) << j;
    }
    EXPECT_NEAR(sampler->GetLogML_CJ(), -284.979, 0.1);
    EXPECT_NEAR(sampler->GetLogML(), sampler->GetLogML_CJ(), 0.1);
}

TEST(BinaryProbit, RefusesWhatItCannotUse) {
    const MatrixXd X = Regressors(4, 2);
    const auto start = [](const VectorXd& y, const MatrixXd& regressors, const BinaryProbitPrior& prior = {}) {
        return BinaryProbit(y, regressors, MatrixXd::Zero(y.size(), 1), "y", Names("x", regressors.cols()), prior)
            .Start({.Draws = 1});
    };
    const VectorXd y = Eigen::Vector4d(0, 1, 1, 0);
    EXPECT_EQ(start(y, X), "OK");
    EXPECT_NE(start(VectorXd::Ones(4), X), "OK");
    EXPECT_NE(start(VectorXd::Zero(4), X), "OK");
    EXPECT_NE(start(2.0 * y, X), "OK");
    EXPECT_NE(start(y * NAN, X), "OK");
    EXPECT_NE(start(y.head(3), X), "OK");
    EXPECT_NE(start(y, X * INFINITY), "OK");
    EXPECT_NE(start(y, X, {{VectorXd::Zero(3), {}}}), "OK");
    MatrixXd collinear = 1e8 * X;
    collinear.col(1) = collinear.col(0);
    EXPECT_NE(start(y, collinear), "OK");
    EXPECT_EQ(start(y, 1e-4 * collinear, {{{}, MatrixXd::Identity(2, 2)}}), "OK");
}

TEST(BinaryProbitModel, EffectsAreDerivativesOfItsPredictions) {
    const MatrixXd X = Regressors(40, 3);
    Generator g = MakeGenerator(3, 0);
    const VectorXd y = Outcomes(g, X, VectorXd::Constant(3, 0.5));
    const auto model = Sampled(y, X, {{{}, MatrixXd::Identity(3, 3)}}, {.Draws = 500, .Burnin = 100})->MakeModel();
    const auto points = std::make_shared<MatrixXd>(X), effects = std::make_shared<MatrixXd>();
    const auto low = std::make_shared<MatrixXd>(), high = std::make_shared<MatrixXd>();
    std::string message, detail;
    constexpr double step = 1e-4;
    for (int j = 0; j < 3; ++j) {
        for (const auto& [out, shift] : {std::pair(low, -step), std::pair(high, step)}) {
            *points = X;
            points->col(j).array() += shift;
            ASSERT_TRUE(model->Predict(false, false, points, 0, "", out, message, detail, nullptr));
        }
        const VectorXd derivatives = (high->col(0) - low->col(0)) / (2.0 * step);
        *points = X;
        ASSERT_TRUE(model->CalculateMFX(2, points, 7, effects, message, detail, nullptr));
        EXPECT_NEAR((*effects)(j, 0), derivatives(7), 1e-7);
        ASSERT_TRUE(model->CalculateMFX(0, nullptr, 0, effects, message, detail, nullptr));
        EXPECT_NEAR((*effects)(j, 0), derivatives.mean(), 1e-7);
    }
    const auto atMean = std::make_shared<MatrixXd>(X.colwise().mean()), same = std::make_shared<MatrixXd>();
    ASSERT_TRUE(model->CalculateMFX(1, nullptr, 0, effects, message, detail, nullptr));
    ASSERT_TRUE(model->CalculateMFX(2, atMean, 0, same, message, detail, nullptr));
    EXPECT_TRUE(effects->isApprox(*same, 1e-12));
    EXPECT_FALSE(model->CalculateMFX(3, nullptr, 0, effects, message, detail, nullptr));
    (*atMean)(0, 1) = std::numeric_limits<double>::quiet_NaN();
    ASSERT_TRUE(model->Predict(false, false, atMean, 0, "", same, message, detail, nullptr));
    EXPECT_TRUE(same->array().isNaN().all());
    EXPECT_FALSE(model->CalculateMFX(2, nullptr, 40, effects, message, detail, nullptr));
    EXPECT_FALSE(model->CalculateMFX(0, std::make_shared<MatrixXd>(1, 2), 0, effects, message, detail, nullptr));
}

TEST(BinaryProbitModel, PrintsEffectsOfAllButConstants) {
    const MatrixXd X = Regressors(20, 3);
    Generator g = MakeGenerator(4, 0);
    const auto model = Sampled(Outcomes(g, X, VectorXd::Constant(3, 0.5)), X, {}, {.Draws = 50})->MakeModel();
    const auto effects = std::make_shared<MatrixXd>();
    std::string message, detail;
    ASSERT_TRUE(model->CalculateMFX(0, nullptr, 0, effects, message, detail, nullptr));
    std::ostringstream out;
    model->PrintMFX(*effects, 0, EventDispatcher(MakeStreamSink(out, TerminalStyle::None)));
    EXPECT_EQ(out.str().find("x0"), std::string::npos);
    EXPECT_NE(out.str().find("x1"), std::string::npos);
    EXPECT_NE(out.str().find("x2"), std::string::npos);
}

}  // namespace
}  // namespace quarn::samplers
