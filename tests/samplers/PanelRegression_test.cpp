#include "SamplerTesting.h"

#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/random/Multivariate.h>
#include <quarn/random/Univariate.h>

#include <samplers/CovarianceMatrices.h>
#include <samplers/GroupedLinearModel.h>
#include <samplers/MarginalLikelihood.h>
#include <samplers/PanelRegression.h>

#include <Eigen/Cholesky>
#include <Eigen/LU>
#include <gtest/gtest.h>

#include <cmath>

namespace quarn::samplers {
namespace {

/// Groups of 1, 1, 2, 4 and 4 observations, correlated regressors, a constant in X.
struct Problem {
    MatrixXi structure = (MatrixXi(3, 2) << 1, 2, 2, 1, 4, 2).finished();
    VectorXd y;
    MatrixXd Z, X;

    Problem(Eigen::Index Kz, Eigen::Index Kx) : y(12), Z(12, Kz), X(12, Kx) {
        Generator g = MakeGenerator(3, 0);
        for (int i = 0; i < 12; ++i) {
            const double common = NormalDraw(g.rng, g.norm);
            for (double& cell : Z.row(i)) cell = common + NormalDraw(g.rng, g.norm);
            for (double& cell : X.row(i)) cell = common + NormalDraw(g.rng, g.norm);
            X(i, 0) = 1.0;
            y(i) = 1.0 + common + NormalDraw(g.rng, g.norm);
        }
    }

    MatrixXd Regressors() const { return (MatrixXd(12, Z.cols() + X.cols()) << Z, X).finished(); }

    /// Covariance of y given D and tau, without the b_i.
    MatrixXd V(const MatrixXd& D, double tau) const {
        MatrixXd V = MatrixXd::Identity(12, 12) / tau;
        for (const auto& [begin, T] : {std::pair{0, 1}, {1, 1}, {2, 2}, {4, 4}, {8, 4}})
            V.block(begin, begin, T, T) += X.middleRows(begin, T) * D * X.middleRows(begin, T).transpose();
        return V;
    }

    std::shared_ptr<PanelRegression> Sampled(const PanelRegressionPrior& prior, const RunSettings& settings) const {
        auto sampler = std::make_shared<PanelRegression>(y, Z, X, MatrixXd::Zero(12, 2), structure, "y",
                                                         Names("z", Z.cols()), Names("x", X.cols()), prior);
        RunToEnd(*sampler, settings);
        return sampler;
    }
};

/// log of the normal density of mean m and covariance S.
double LogNormal(const VectorXd& x, const VectorXd& m, const MatrixXd& S) {
    return LogNormalDensity(x, m, MatrixXd(Eigen::LLT<MatrixXd>(S.inverse()).matrixL()));
}

TEST(GroupedLinearModel, IsTheNormalLawOfTheDataForGroupsOfAnySizeAndCollinearRegressors) {
    Problem p(2, 3);
    p.X.col(2) = 2.0 * p.X.col(1);
    const GroupedLinearModel model(p.y, p.Z, p.X, p.structure);
    const MatrixXd D = (MatrixXd(3, 3) << 2.0, 0.5, 0.1, 0.5, 1.0, -0.3, 0.1, -0.3, 0.7).finished();
    const MatrixXd W = p.Regressors();
    const VectorXd t = VectorXd::LinSpaced(5, -1.0, 1.0);
    const NormalPrior prior{VectorXd::Ones(5), MatrixXd::Identity(5, 5)};
    GroupedLinearModel::Work work;
    VectorXd mean;
    Eigen::LLT<MatrixXd> factor;
    for (const double tau : {0.01, 1.0, 1e4}) {
        const MatrixXd inverse = p.V(D, tau).inverse(), P = prior.Precision + W.transpose() * inverse * W;
        EXPECT_NEAR(model.LogLikelihood(t, D, tau, work) / LogNormal(p.y, W * t, p.V(D, tau)), 1.0, 1e-9);
        model.CoefficientLaw(prior, D, tau, work, mean, factor);
        EXPECT_LT((factor.reconstructedMatrix() - P).norm(), 1e-9 * P.norm());
        EXPECT_LT((P * mean - prior.Mean - W.transpose() * inverse * p.y).norm(), 1e-9 * P.norm());
    }
}

TEST(PanelRegression, AgreesWithTheExactPosterior) {
    const Problem p(1, 1);
    const PanelRegressionPrior prior{{{}, MatrixXd::Identity(1, 1)},
                                     {VectorXd::Ones(1), MatrixXd::Identity(1, 1)},
                                     {5.0, MatrixXd::Ones(1, 1)},
                                     {4, 3}};
    const VectorXd priorMean = (VectorXd(2) << 0.0, 1.0).finished();
    const MatrixXd W = p.Regressors();
    // On a grid of (log D, log tau), with all coefficients integrated out.
    const int points = 80;
    const double step = 0.1;
    VectorXd logs(points * points);
    MatrixXd means(2, logs.size());
    for (int i = 0; i < logs.size(); ++i) {
        const double logD = -5.0 + step * (i % points), logTau = -4.0 + step * static_cast<int>(i / points);
        const double D = std::exp(logD), tau = std::exp(logTau);
        const MatrixXd V = p.V(MatrixXd::Constant(1, 1, D), tau), inverse = V.inverse();
        logs(i) = LogNormal(p.y, W * priorMean, V + W * W.transpose()) + logD + logTau +
                  LogInverseWishartDensity(MatrixXd::Constant(1, 1, D), 5.0, MatrixXd::Ones(1, 1)) +
                  LogGammaDensity(tau, 4.0, 3.0);
        const MatrixXd precision = MatrixXd::Identity(2, 2) + W.transpose() * inverse * W;
        means.col(i) = precision.llt().solve(priorMean + W.transpose() * inverse * p.y);
    }
    const VectorXd weights = (logs.array() - logs.maxCoeff()).exp();
    const VectorXd mean = means * weights / weights.sum();
    const double exact = LogMeanExp(logs) + std::log(step * step * static_cast<double>(logs.size()));

    const auto sampler = p.Sampled(prior, {.Draws = 50'000, .Burnin = 500});
    const MatrixXd& draws = *sampler->GetpSamples();
    for (int j = 0; j < 2; ++j)
        EXPECT_NEAR(vectorMean(draws.col(j)), mean(j), 6.0 * vectorSd(draws.col(j)) / std::sqrt(5e4)) << j;
    EXPECT_NEAR(sampler->GetLogML_CJ(), exact, 0.02);
    EXPECT_NEAR(sampler->GetLogML(), exact, 0.15);  // an approximation by a normal law
}

TEST(PanelRegression, JointDistributionOfParametersAndDataIsPriorTimesLikelihood) {
    const Problem p(1, 2);
    PanelRegressionPrior prior{{{}, MatrixXd::Identity(1, 1)},
                               {VectorXd::Constant(2, 0.5), MatrixXd::Identity(2, 2)},
                               {12.0, (MatrixXd(2, 2) << 8.0, 2.0, 2.0, 4.0).finished()},
                               {6.0, 5.0}};
    ExpectJointDistribution(
        [&](Generator& g, VectorXd& y) {
            MatrixXd D(2, 2);
            InverseWishartDraw()(g, 12.0, prior.GroupCovariance.Scale, D);
            VectorXd theta(7);  // a, mu, D, tau
            theta.head(3) << NormalDraw(g.rng, g.norm), 0.5 + NormalDraw(g.rng, g.norm),
                0.5 + NormalDraw(g.rng, g.norm);
            PackTriangle(D, theta.segment(3, 3));
            theta(6) = gamrnd(g.rng, g.unif, g.norm, 6.0, 5.0);
            const MatrixXd L = Eigen::LLT<MatrixXd>(p.V(D, theta(6))).matrixL();
            y.resize(12);
            mvnormrnd(g.rng, g.norm, p.Regressors() * theta.head(3), L, y);
            return theta;
        },
        [&](const VectorXd& y, std::int64_t seed) {
            Problem drawn = p;
            drawn.y = y;
            const auto sampler = drawn.Sampled(prior, {.Draws = 1, .Burnin = 40, .Seed = seed, .Threads = 1});
            return VectorXd(sampler->GetpSamples()->row(0).head(7).transpose());
        },
        2000);
}

/// Investment on value and capital, with random intercepts of the firms.
std::shared_ptr<PanelRegression> Grunfeld() {
    Dataset data(QUARN_SOURCE_DIR "/examples/data/grunfeld.csv", ',');
    EXPECT_EQ(data.SetPanelData("year", "firm_id", "index"), "OK");
    std::vector<std::string> names = {"value", "capital", "invest"};
    MatrixXd Z, ids;
    VectorXd y;
    MatrixXi structure;
    EXPECT_EQ(data.Prepare_PanelData(names, Z, y, ids, structure, false), "OK");
    const PanelRegressionPrior prior{
        {{}, 1e-8 * MatrixXd::Identity(2, 2)}, {{}, 1e-8 * MatrixXd::Identity(1, 1)}, {0.1, {}}, {}};
    auto sampler = std::make_shared<PanelRegression>(y, Z, MatrixXd::Ones(y.size(), 1), ids, structure, "invest",
                                                     std::vector<std::string>{"value", "capital"},
                                                     std::vector<std::string>{"constant"}, prior);
    RunToEnd(*sampler, {.Draws = 20'000, .Burnin = 500});
    return sampler;
}

TEST(PanelRegression, GrunfeldsCoefficientsAtWeakPriorsAreThoseOfRestrictedMaximumLikelihood) {
    const auto sampler = Grunfeld();
    const auto model = sampler->MakeModel();
    // R 4.2, lme4: lmer(invest ~ value + capital + (1 | firm_id)), REML; standard errors of the ML fit.
    const double coefficient[] = {0.10935198, 0.30819972, -54.03182061}, error[] = {0.0098206, 0.0162822, 25.2182791};
    for (int j = 0; j < 3; ++j) EXPECT_NEAR(model->Summary.SummaryMatrix(j, 0), coefficient[j], 0.1 * error[j]) << j;
    EXPECT_NEAR(model->Summary.SummaryMatrix(5, 0), 50.2748, 1.0);  // sigma_e
    const double deviation[] = {-11.49469, 155.10179, -175.99557, 26.48718, -58.40328, 30.81149,
                                -11.60098, -2.78405,  -31.78133,  46.65512, 33.00432};
    const MatrixXd& effects = *model->Elements.at(PanelRegressionModel::GroupEffectsKey);
    ASSERT_EQ(effects.rows(), 11);
    for (int i = 0; i < 11; ++i) EXPECT_NEAR(effects(i, 0), coefficient[2] + deviation[i], 3.0) << i;

    const std::vector<std::string> names = {"value", "capital", "constant", "var(constant)", "tau", "sigma_e"};
    EXPECT_EQ(model->SamplesNames, names);
    EXPECT_EQ(model->Summary.IndVars, names);
    const auto points = std::make_shared<MatrixXd>(MatrixXd::Ones(1, 3)), out = std::make_shared<MatrixXd>();
    std::string message, detail;
    ASSERT_TRUE(model->Predict(false, false, points, 0, "", out, message, detail, nullptr));
    EXPECT_NEAR((*out)(0, 0), model->Summary.SummaryMatrix.col(0).head(3).sum(), 1e-9);
    points->resize(1, 2);
    EXPECT_FALSE(model->Predict(false, false, points, 0, "", out, message, detail, nullptr));
}

TEST(PanelRegression, RefusesWhatItCannotUse) {
    const Problem good(1, 1);
    const auto start = [](const Problem& p, const PanelRegressionPrior& prior = {}, const std::string& name = "x") {
        return PanelRegression(p.y, p.Z, p.X, MatrixXd::Zero(12, 2), p.structure, "y", Names("z", p.Z.cols()),
                               Names(name, p.X.cols()), prior)
            .Start({.Draws = 1, .Burnin = 0});
    };
    EXPECT_EQ(start(good), "OK");
    EXPECT_EQ(start(Problem(0, 1)), "OK");
    EXPECT_NE(start(good, {}, "z"), "OK");
    EXPECT_NE(start(good, {{}, {}, {-1.0, {}}, {}}), "OK");
    EXPECT_NE(start(good, {{}, {}, {3.0, MatrixXd::Zero(1, 1)}, {}}), "OK");
    Problem shorter = good, missing = good, common = good;
    common.X.resize(12, 0);
    shorter.structure(0, 1) = 1;
    missing.Z(3, 0) = NAN;
    EXPECT_NE(start(common), "OK");
    EXPECT_NE(start(shorter), "OK");
    EXPECT_NE(start(missing), "OK");
}

}  // namespace
}  // namespace quarn::samplers
