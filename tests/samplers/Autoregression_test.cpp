#include "SamplerTesting.h"

#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/random/Univariate.h>

#include <samplers/Autoregression.h>
#include <samplers/LinearRegression.h>

#include <Eigen/LU>
#include <gtest/gtest.h>

#include <cmath>

namespace quarn::samplers {
namespace {

/// An autoregression on a constant and a regressor that is correlated with its own past, from given initial values.
struct Process {
    MatrixXd X;
    VectorXd beta;  // two coefficients, then lags
    double sd = 1.0;
    VectorXd initial;

    Eigen::Index p() const { return beta.size() - 2; }
    VectorXd Simulate(Generator& g) const {
        VectorXd y(X.rows());
        y.head(p()) = initial;
        for (Eigen::Index t = p(); t < y.size(); ++t)
            y(t) = X.row(t).dot(beta.head(2)) + y.segment(t - p(), p()).reverse().dot(beta.tail(p())) +
                   sd * NormalDraw(g.rng, g.norm);
        return y;
    }
};

Process MakeProcess(Eigen::Index N, const VectorXd& beta) {
    Generator g = MakeGenerator(3, 0);
    Process process{MatrixXd::Ones(N, 2), beta, 1.0, VectorXd::LinSpaced(beta.size() - 2, 1.0, 2.0)};
    for (Eigen::Index t = 1; t < N; ++t) process.X(t, 1) = 0.7 * process.X(t - 1, 1) + NormalDraw(g.rng, g.norm);
    return process;
}

VectorXd WithGaps(VectorXd y, const std::vector<int>& rows) {
    for (const int row : rows) y(row) = std::nan("");
    return y;
}

std::shared_ptr<Autoregression> Prepared(const VectorXd& y, const MatrixXd& X, int p,
                                         const AutoregressionPrior& prior) {
    const VectorXd time = VectorXd::LinSpaced(y.size(), 100.0, 99.0 + static_cast<double>(y.size()));
    return std::make_shared<Autoregression>(y, X, time, MatrixXd(time), p, "y", Names("x", X.cols()), prior);
}

std::shared_ptr<Autoregression> Sampled(const VectorXd& y, const MatrixXd& X, int p, const AutoregressionPrior& prior,
                                        std::int64_t draws) {
    auto sampler = Prepared(y, X, p, prior);
    RunToEnd(*sampler, {.Draws = draws, .Burnin = 200});
    return sampler;
}

NormalPrior Normal(Eigen::Index k, double precision) {
    return {VectorXd::Zero(k), precision * MatrixXd::Identity(k, k)};
}

/// A prior that leaves nothing to learn of the parameters.
AutoregressionPrior Known(const VectorXd& beta, double tau) {
    AutoregressionPrior prior{Normal(beta.size(), 1e14), {1e12, 1e12 / tau}, {}};
    prior.Coefficients.Mean = beta;
    return prior;
}

TEST(Autoregression, WithoutMissingValuesIsTheLinearRegressionOnLags) {
    const Process process = MakeProcess(60, (VectorXd(5) << 1.0, 0.5, 0.4, -0.2, 0.3).finished());
    Generator g = MakeGenerator(4, 0);
    const VectorXd y = process.Simulate(g);
    const auto sampler = Sampled(y, process.X, 3, {}, 500);
    MatrixXd all(57, 5);
    all << process.X.bottomRows(57), y.segment(2, 57), y.segment(1, 57), y.segment(0, 57);
    LinearRegression linear(y.tail(57), all, MatrixXd::Zero(57, 1), "y", Names("x", 5));
    RunToEnd(linear, {.Draws = 500, .Burnin = 200});
    EXPECT_EQ(*sampler->GetpSamples(), *linear.GetpSamples());
    EXPECT_EQ(sampler->GetLogML(), linear.GetLogML());
    EXPECT_EQ(sampler->GetLogML_CJ(), linear.GetLogML_CJ());
    EXPECT_EQ(sampler->GetSamplesNames(),
              (std::vector<std::string>{"x0", "x1", "y_lag1", "y_lag2", "y_lag3", "tau", "sigma_e"}));
}

/// Law of the missing values given parameters, from the covariance of the whole series by dense algebra.
TEST(Autoregression, MissingValuesHaveTheirNormalLawGivenTheOthers) {
    const Eigen::Index N = 30, p = 2;
    const Process process = MakeProcess(N, (VectorXd(4) << 1.0, 0.5, 0.6, -0.3).finished());
    Generator g = MakeGenerator(5, 0);
    const std::vector<int> gaps = {1, 7, 8, 9, 12, 14, 20, 28, 29};
    const VectorXd y = WithGaps(process.Simulate(g), gaps);
    AutoregressionPrior prior = Known(process.beta, 2.0);
    prior.Initial = {{1.5, 0.25}};
    const auto sampler = Sampled(y, process.X, 2, prior, 40'000);

    // A y = c + e, with the first value known and the second one N(1.5, 4).
    MatrixXd A = MatrixXd::Identity(N, N);
    VectorXd c = process.X * process.beta.head(2), variance = VectorXd::Constant(N, 0.5);
    for (Eigen::Index t = p; t < N; ++t)
        for (Eigen::Index lag = 1; lag <= p; ++lag) A(t, t - lag) = -process.beta(1 + lag);
    c.head(2) << y(0), 1.5;
    variance.head(2) << 1e-12, 4.0;
    const MatrixXd inverse = A.inverse(), V = inverse * variance.asDiagonal() * inverse.transpose();
    const VectorXd mean = inverse * c;
    std::vector<int> rest;
    for (int t = 0; t < N; ++t)
        if (std::isfinite(y(t))) rest.push_back(t);
    const MatrixXd gain = V(gaps, rest) * MatrixXd(V(rest, rest)).inverse();
    const VectorXd expected = mean(gaps) + gain * (y(rest) - mean(rest));
    const MatrixXd conditional = V(gaps, gaps) - gain * V(rest, gaps);

    const MatrixXd imputed = *sampler->MakeModel()->Elements.at("imputed");
    ASSERT_EQ(imputed.rows(), 9);
    EXPECT_EQ(sampler->GetpSamples()->cols(), 6);
    for (int i = 0; i < 9; ++i) {
        const double sd = std::sqrt(conditional(i, i));
        EXPECT_EQ(imputed(i, 0), 100.0 + gaps[static_cast<std::size_t>(i)]);
        EXPECT_NEAR(imputed(i, 1), expected(i), 5.0 * sd / 200.0) << i;
        EXPECT_NEAR(imputed(i, 2), sd, 0.02 * sd) << i;
        EXPECT_NEAR(imputed(i, 3), expected(i) - 1.645 * sd, 0.05 * sd) << i;
    }
}

/// Joint law of (beta, tau) and data in which the values of some rows, one of them initial, are unknown to the sampler.
void ExpectJointLaw(const std::vector<int>& gaps, bool stationary, int repetitions) {
    Process process = MakeProcess(14, VectorXd::Zero(4));
    AutoregressionPrior prior{Normal(4, 4.0), {4.0, 3.0}, {{0.5, 1.0}}, stationary};
    prior.Coefficients.Mean << 0.5, 0.5, 0.2, 0.4;
    const double startsAt = process.initial(0);
    ExpectJointDistribution(
        [&](Generator& g, VectorXd& y) {
            do
                for (int j = 0; j < 4; ++j)
                    process.beta(j) = prior.Coefficients.Mean(j) + 0.5 * NormalDraw(g.rng, g.norm);
            while (stationary && !(std::abs(process.beta(3)) < 1.0 && process.beta(3) + process.beta(2) < 1.0 &&
                                   process.beta(3) - process.beta(2) < 1.0));
            const double tau = gamrnd(g.rng, g.unif, g.norm, 4.0, 3.0);
            process.sd = 1.0 / std::sqrt(tau);
            process.initial(1) = gaps.empty() ? 2.0 : 0.5 + NormalDraw(g.rng, g.norm);
            y = process.Simulate(g).reverse();  // its first element is random
            return VectorXd((VectorXd(5) << process.beta, tau).finished());
        },
        [&](const VectorXd& y, std::int64_t seed) {
            VectorXd series = y.reverse();
            series(0) = startsAt;
            const auto sampler = Prepared(WithGaps(series, gaps), process.X, 2, prior);
            RunToEnd(*sampler, {.Draws = 1, .Burnin = gaps.empty() ? 30 : 100, .Seed = seed, .Threads = 1});
            return VectorXd(sampler->GetpSamples()->row(0).head(5).transpose());
        },
        repetitions);
}

TEST(Autoregression, JointDistributionOfParametersAndDataIsPriorTimesLikelihood) { ExpectJointLaw({}, false, 2000); }
TEST(Autoregression, JointDistributionHoldsWithMissingValues) { ExpectJointLaw({1, 5, 6, 9}, false, 2000); }
TEST(Autoregression, JointDistributionHoldsUnderAStationaryPrior) { ExpectJointLaw({1, 5}, true, 2000); }

TEST(Autoregression, LogMLIntegratesMissingValuesOut) {
    const Process process = MakeProcess(40, (VectorXd(3) << 1.0, 0.5, 0.6).finished());
    Generator g = MakeGenerator(6, 0);
    const VectorXd y = process.Simulate(g);
    const AutoregressionPrior prior{Normal(3, 1.0), {3.0, 2.0}, {}};
    // Missing values at the end say nothing.
    const double observed = Sampled(y.head(37), process.X.topRows(37), 1, prior, 20'000)->GetLogML_CJ();
    const auto atTheEnd = Sampled(WithGaps(y, {37, 38, 39}), process.X, 1, prior, 20'000);
    EXPECT_NEAR(atTheEnd->GetLogML(), observed, 0.1);
    EXPECT_FALSE(atTheEnd->GetHasLogML_CJ());
    // One in the middle: the integral over it of the exact one of the whole series.
    double integral = 0.0;
    for (VectorXd whole = WithGaps(y, {20}); const double value : VectorXd::LinSpaced(41, y(20) - 8.0, y(20) + 8.0)) {
        whole(20) = value;
        integral += 0.4 * std::exp(Sampled(whole, process.X, 1, prior, 2000)->GetLogML_CJ());
    }
    EXPECT_NEAR(Sampled(WithGaps(y, {20}), process.X, 1, prior, 20'000)->GetLogML(), std::log(integral), 0.1);
}

TEST(Autoregression, StartsAtTheFirstObservedValue) {
    const Process process = MakeProcess(40, (VectorXd(3) << 1.0, 0.5, 0.6).finished());
    Generator g = MakeGenerator(7, 0);
    const VectorXd y = process.Simulate(g);
    const auto late = Sampled(WithGaps(y, {0, 1, 2}), process.X, 1, {}, 100);
    EXPECT_EQ(*late->GetpSamples(), *Sampled(y.tail(37), process.X.bottomRows(37), 1, {}, 100)->GetpSamples());
    EXPECT_EQ(late->GetObsId()(0, 0), 103.0);
    EXPECT_EQ(late->MakeModel()->Elements.count("imputed"), 0U);
}

TEST(Autoregression, RefusesWhatItCannotUse) {
    const VectorXd y = VectorXd::LinSpaced(6, 0.0, 1.0);
    const MatrixXd X = MatrixXd::Ones(6, 1);
    EXPECT_EQ(Prepared(y, X, 5, {})->Start({.Draws = 1}), "OK");
    EXPECT_NE(Prepared(y, X, 6, {})->Start({.Draws = 1}), "OK");
    EXPECT_NE(Prepared(WithGaps(y, {0}), X, 5, {})->Start({.Draws = 1}), "OK");
    EXPECT_NE(Prepared(y * NAN, X, 1, {})->Start({.Draws = 1}), "OK");
    EXPECT_NE(Prepared(y, X, 0, {})->Start({.Draws = 1}), "OK");
    EXPECT_NE(Prepared(y, X * NAN, 1, {})->Start({.Draws = 1}), "OK");
    EXPECT_NE(Prepared(y, X, 1, {Normal(3, 1.0), {}, {}})->Start({.Draws = 1}), "OK");
    EXPECT_NE(Prepared(y, X, 1, {{}, {0.0, 1.0}, {}})->Start({.Draws = 1}), "OK");
    EXPECT_NE(Prepared(y, X, 1, {{}, {}, {{0.0, 0.0}}})->Start({.Draws = 1}), "OK");
    EXPECT_NE(Prepared(y, X.topRows(5), 1, {})->Start({.Draws = 1}), "OK");
}

}  // namespace
}  // namespace quarn::samplers
