#include "SamplerTesting.h"

#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/random/Univariate.h>

#include <samplers/LinearRegression.h>
#include <samplers/MarginalLikelihood.h>

#include <Eigen/Cholesky>
#include <gtest/gtest.h>

#include <cmath>

namespace quarn::samplers {
namespace {

struct Problem {
    VectorXd y;
    MatrixXd X;
};

/// Correlated regressors on different scales, and a constant.
Problem MakeProblem(Eigen::Index N, Eigen::Index K) {
    Generator g = MakeGenerator(1, 0);
    Problem problem{VectorXd(N), MatrixXd(N, K)};
    for (Eigen::Index i = 0; i < N; ++i) {
        const double common = NormalDraw(g.rng, g.norm);
        problem.X(i, 0) = 1.0;
        for (Eigen::Index j = 1; j < K; ++j)
            problem.X(i, j) = std::pow(10.0, static_cast<double>(j % 3)) * (common + NormalDraw(g.rng, g.norm));
        problem.y(i) = 2.0 + problem.X.row(i).sum() / 20.0 + NormalDraw(g.rng, g.norm);
    }
    return problem;
}

/// Employment on a constant and the six regressors in their published order.
Problem Longley() {
    const Dataset data(QUARN_SOURCE_DIR "/examples/data/longley.csv", ',');
    std::vector<std::string> names = {"gnpdefl", "gnp", "unemp", "armed", "pop", "year", "totemp"};
    Problem longley;
    MatrixXd X, ids;
    EXPECT_EQ(data.Prepare_CrossSection(names, X, longley.y, ids), "OK");
    longley.X.resize(X.rows(), 7);
    longley.X << VectorXd::Ones(X.rows()), X;
    return longley;
}

std::shared_ptr<LinearRegression> Sampled(const Problem& p, const LinearRegressionPrior& prior, std::int64_t draws) {
    auto sampler =
        std::make_shared<LinearRegression>(p.y, p.X, MatrixXd::Zero(p.y.size(), 1), "y", Names("x", p.X.cols()), prior);
    RunToEnd(*sampler, {.Draws = draws, .Burnin = 100});
    return sampler;
}

/// log of p(y, tau) / p(y) on a grid of log tau, with b integrated out in closed form from the N x N normal law of y;
/// gives log p(y) and the posterior mean of b.
struct ExactPosterior {
    double LogML = 0.0;
    VectorXd MeanOfB;

    ExactPosterior(const Problem& p, const LinearRegressionPrior& prior) {
        const NormalPrior normal = Completed(prior.Coefficients, p.X.cols());
        const double step = 0.01;
        VectorXd logs(2000);
        MatrixXd means(p.X.cols(), logs.size());
        for (Eigen::Index i = 0; i < logs.size(); ++i) {
            const double logTau = -10.0 + step * static_cast<double>(i), tau = std::exp(logTau);
            const MatrixXd P = normal.Precision + tau * p.X.transpose() * p.X;
            const Eigen::LLT<MatrixXd> posterior(P), priorFactor(normal.Precision);
            const VectorXd m = posterior.solve(normal.Precision * normal.Mean + tau * p.X.transpose() * p.y);
            means.col(i) = m;
            // log p(y | tau) = log p(y | m, tau) + log p(m) - log p(m | y, tau)
            logs(i) = 0.5 * static_cast<double>(p.y.size()) * std::log(0.5 * tau / M_PI) -
                      0.5 * tau * (p.y - p.X * m).squaredNorm() +
                      LogNormalDensity(m, normal.Mean, priorFactor.matrixL()) -
                      LogNormalDensity(m, m, posterior.matrixL()) +
                      LogGammaDensity(tau, prior.ErrorPrecision.Shape, prior.ErrorPrecision.Rate) + logTau;
        }
        LogML = LogMeanExp(logs) + std::log(step * static_cast<double>(logs.size()));
        const VectorXd weights = (logs.array() - logs.maxCoeff()).exp();
        MeanOfB = means * weights / weights.sum();
    }
};

TEST(LinearRegression, AgreesWithTheExactPosteriorForFullRankAndCollinearRegressors) {
    LinearRegressionPrior prior{{VectorXd::LinSpaced(4, -1.0, 1.0), MatrixXd::Identity(4, 4)}, {3.0, 2.0}};
    prior.Coefficients.Precision(0, 1) = prior.Coefficients.Precision(1, 0) = 0.5;
    Problem fullRank = MakeProblem(30, 4), collinear = fullRank, wide = fullRank;
    collinear.X.col(3) = 2.0 * collinear.X.col(1);
    wide.X = fullRank.X.topRows(3).eval();
    wide.y = fullRank.y.head(3).eval();
    for (const Problem& problem : {fullRank, collinear, wide}) {
        const ExactPosterior exact(problem, prior);
        const auto sampler = Sampled(problem, prior, 100'000);
        const MatrixXd& draws = *sampler->GetpSamples();
        for (int j = 0; j < 4; ++j) {
            const auto column = draws.col(j);
            EXPECT_NEAR(vectorMean(column), exact.MeanOfB(j), 5.0 * vectorSd(column) / std::sqrt(1e5)) << j;
        }
        EXPECT_NEAR(sampler->GetLogML_CJ(), exact.LogML, 0.02);
        // An approximation by a normal law, rough for three observations.
        EXPECT_NEAR(sampler->GetLogML(), exact.LogML, problem.y.size() > 3 ? 0.1 : 0.5);
    }
}

TEST(LinearRegression, JointDistributionOfParametersAndDataIsPriorTimesLikelihood) {
    const Problem problem = MakeProblem(12, 3);
    LinearRegressionPrior prior{{VectorXd::Constant(3, 0.5), MatrixXd::Identity(3, 3)}, {4.0, 3.0}};
    // Successive-conditional simulation: parameters given data, data given parameters.
    ExpectJointDistribution(
        [&](Generator& g, VectorXd& y) {
            VectorXd theta(4);
            for (int j = 0; j < 3; ++j) theta(j) = 0.5 + NormalDraw(g.rng, g.norm);
            theta(3) = gamrnd(g.rng, g.unif, g.norm, 4.0, 3.0);
            y.resize(12);
            for (int i = 0; i < 12; ++i)
                y(i) = problem.X.row(i).dot(theta.head(3)) + NormalDraw(g.rng, g.norm) / std::sqrt(theta(3));
            return theta;
        },
        [&](const VectorXd& y, std::int64_t seed) {
            LinearRegression sampler(y, problem.X, MatrixXd::Zero(12, 1), "y", Names("x", 3), prior);
            RunToEnd(sampler, {.Draws = 1, .Burnin = 20, .Seed = seed, .Threads = 1});
            return VectorXd(sampler.GetpSamples()->row(0).head(4).transpose());
        },
        2000);
}

TEST(LinearRegression, LongleysCoefficientsAtAFlatPriorAreLeastSquares) {
    const Problem longley = Longley();
    LinearRegressionPrior flat{{VectorXd::Zero(7), 1e-16 * MatrixXd::Identity(7, 7)}, {1e-3, 1e-3}};
    const auto sampler = Sampled(longley, flat, 200'000);
    // Certified values and standard errors: National Institute of Standards and Technology.
    const double coefficient[] = {-3482258.63459582, 15.0618722713733,       -0.358191792925910E-01, -2.02022980381683,
                                  -1.03322686717359, -0.511041056535807E-01, 1829.15146461355};
    const double error[] = {890420.383607373,  84.9149257747669,  0.334910077722432E-01, 0.488399681651699,
                            0.214274163161675, 0.226073200069370, 455.478499142212};
    for (int j = 0; j < 7; ++j) {
        const auto column = sampler->GetpSamples()->col(j);
        EXPECT_NEAR(vectorMean(column), coefficient[j], 0.02 * error[j]) << j;
        EXPECT_NEAR(vectorSd(column), error[j] * std::sqrt(9.0 / 7.0), 0.02 * error[j]) << j;
    }
}

TEST(LinearRegression, VisitsToADoctorAreThoseOfAnotherSampler) {
    const Dataset data(QUARN_SOURCE_DIR "/examples/data/randhie.csv", ',');
    std::vector<std::string> names = {"lncoins", "idp",   "lpi",   "fmde",  "physlm",
                                      "disea",   "hlthg", "hlthf", "hlthp", "mdvis"};
    Problem visits;
    MatrixXd X, ids;
    ASSERT_EQ(data.Prepare_CrossSection(names, X, visits.y, ids), "OK");
    visits.X.resize(X.rows(), 10);
    visits.X << VectorXd::Ones(X.rows()), X;
    const auto sampler = Sampled(visits, {}, 20'000);
    const MatrixXd& draws = *sampler->GetpSamples();
    // 20,000 draws of MCMCregress of R's MCMCpack 1.6-3, under the same prior: means, standard deviations.
    const double mean[] = {1.7375226, -0.16950083, -0.7531094,  0.10661715, -0.10007458,
                           1.0675495, 0.1217032,   -0.04932193, 0.21894676, 1.4376986};
    const double sd[] = {0.083463882, 0.020239275, 0.074335469, 0.013511590, 0.011407121,
                         0.103299710, 0.004838238, 0.066457955, 0.122400280, 0.263252390};
    for (int j = 0; j < 10; ++j) {
        EXPECT_NEAR(vectorMean(draws.col(j)), mean[j], 5.0 * std::sqrt(2.0 / 20'000) * sd[j]) << j;
        EXPECT_NEAR(vectorSd(draws.col(j)), sd[j], 0.04 * sd[j]) << j;
    }
    EXPECT_NEAR(vectorMean(draws.col(11).cwiseAbs2()), 18.902159, 0.01);  // sigma^2, its standard deviation 0.19
}

TEST(LinearRegression, RefusesWhatItCannotUse) {
    const Problem p = MakeProblem(10, 2);
    const auto start = [](const VectorXd& y, const MatrixXd& X, const LinearRegressionPrior& prior) {
        return LinearRegression(y, X, MatrixXd::Zero(y.size(), 1), "y", Names("x", X.cols()), prior)
            .Start({.Draws = 1});
    };
    EXPECT_EQ(start(p.y, p.X, {}), "OK");
    EXPECT_NE(start(p.y.head(9), p.X, {}), "OK");
    EXPECT_NE(start(p.y, MatrixXd(10, 0), {}), "OK");
    EXPECT_NE(start(p.y * NAN, p.X, {}), "OK");
    EXPECT_NE(start(p.y, p.X, {{VectorXd::Zero(3), {}}, {}}), "OK");
    EXPECT_NE(start(p.y, p.X, {{{}, -MatrixXd::Identity(2, 2)}, {}}), "OK");
    EXPECT_NE(start(p.y, p.X, {{}, {0.0, 1.0}}), "OK");
}

TEST(LinearRegressionModel, PredictsFromItsDraws) {
    const Problem p = MakeProblem(50, 3);
    const auto model = Sampled(p, {}, 5000)->MakeModel();
    const auto points = std::make_shared<MatrixXd>(p.X.topRows(2)), out = std::make_shared<MatrixXd>();
    std::string message, detail;
    ASSERT_TRUE(model->Predict(false, false, points, 0, "", out, message, detail, nullptr));
    const RowVectorXd meanOfB = model->Summary.SummaryMatrix.col(0).head(3).transpose();
    EXPECT_NEAR((*out)(1, 0), meanOfB.dot(points->row(1)), 1e-12);
    EXPECT_LT((*out)(1, 3), (*out)(1, 1));
    EXPECT_FALSE(model->Predict(false, false, out, 0, "", out, message, detail, nullptr));
    EXPECT_NE(message.find("3 regressors"), std::string::npos);
    EXPECT_FALSE(model->Forecast(1, points, out, message, detail, nullptr));
    EXPECT_EQ(message, "GENERIC");
}

}  // namespace
}  // namespace quarn::samplers
