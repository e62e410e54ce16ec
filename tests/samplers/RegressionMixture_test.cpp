#include "SamplerTesting.h"

#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/random/Multivariate.h>
#include <quarn/random/Univariate.h>

#include <samplers/MarginalLikelihood.h>
#include <samplers/RegressionMixture.h>

#include <gtest/gtest.h>

#include <cmath>

namespace quarn::samplers {
namespace {

std::shared_ptr<RegressionMixture> Sampled(const VectorXd& y, const MatrixXd& X, int G,
                                           const RegressionMixturePrior& prior, const RunSettings& settings) {
    auto sampler =
        std::make_shared<RegressionMixture>(y, X, MatrixXd::Zero(y.size(), 1), G, "y", Names("x", X.cols()), prior);
    RunToEnd(*sampler, settings);
    return sampler;
}

/// Two lines through the origin that cross in the data.
struct TwoLines {
    static constexpr int N = 10;
    VectorXd y = VectorXd(N);
    MatrixXd X = MatrixXd(N, 1);
    RegressionMixturePrior prior{
        {VectorXd::Constant(1, 0.5), MatrixXd::Constant(1, 1, 0.25)}, GammaPrior{3.0, 2.0}, 1.5};

    TwoLines() {
        for (int i = 0; i < N; ++i) {
            X(i, 0) = 0.4 * i - 1.0;
            y(i) = (i % 3 == 0 ? -2.0 : 1.5) * X(i, 0) + 0.3 * std::cos(9.0 * i);
        }
    }
};

/// The posterior of TwoLines by enumeration of all allocations; tau by summation over a grid of its logarithm.
struct Enumerated {
    double LogML = 0.0, MeanLine = 0.0, LogTaus = 0.0;  // sum of pi b, and of log tau, over components

    explicit Enumerated(const TwoLines& data) {
        constexpr int N = TwoLines::N;
        std::vector<Group> groups;
        for (unsigned mask = 0; mask < 1U << N; ++mask) groups.emplace_back(data, mask);
        VectorXd logs(1 << N), lines(1 << N), taus(1 << N);
        const double a = data.prior.Concentration;
        for (int mask = 0; mask < 1 << N; ++mask) {
            const auto z = static_cast<std::size_t>(mask);
            const Group &one = groups[z], &other = groups[groups.size() - 1 - z];
            logs(mask) = std::lgamma(2.0 * a) - std::lgamma(2.0 * a + N) + std::lgamma(a + one.n) +
                         std::lgamma(a + other.n) - 2.0 * std::lgamma(a) + one.logML + other.logML;
            lines(mask) = ((a + one.n) * one.b + (a + other.n) * other.b) / (2.0 * a + N);
            taus(mask) = one.logTau + other.logTau;
        }
        LogML = LogMeanExp(logs) + N * std::log(2.0);
        const VectorXd weights = (logs.array() - LogML).exp();
        MeanLine = weights.dot(lines);
        LogTaus = weights.dot(taus);
    }

 private:
    struct Group {
        double n = 0.0, logML = 0.0, b = 0.0, logTau = 0.0;

        Group(const TwoLines& data, unsigned mask) {
            const double p0 = 0.25, m0 = 0.5, step = 0.02;
            double xx = 0.0, xy = 0.0, yy = 0.0;
            for (int i = 0; i < TwoLines::N; ++i) {
                if ((mask >> i & 1U) == 0) continue;
                n += 1.0;
                xx += data.X(i, 0) * data.X(i, 0);
                xy += data.X(i, 0) * data.y(i);
                yy += data.y(i) * data.y(i);
            }
            const VectorXd grid = VectorXd::LinSpaced(601, -7.0, 5.0);
            VectorXd logs(grid.size()), means(grid.size());
            for (Eigen::Index i = 0; i < grid.size(); ++i) {
                const double tau = std::exp(grid(i)), P = p0 + tau * xx, m = (p0 * m0 + tau * xy) / P;
                means(i) = m;
                logs(i) = 0.5 * n * std::log(0.5 * tau / M_PI) + 0.5 * std::log(p0 / P) -
                          0.5 * (tau * yy + p0 * m0 * m0 - P * m * m) + LogGammaDensity(tau, 3.0, 2.0) + grid(i);
            }
            logML = LogMeanExp(logs) + std::log(step * static_cast<double>(grid.size()));
            const VectorXd weights = (logs.array() + std::log(step) - logML).exp();
            b = weights.dot(means);
            logTau = weights.dot(grid);
        }
    };
};

TEST(RegressionMixture, AgreesWithTheSumOverAllAllocations) {
    const TwoLines data;
    const Enumerated exact(data);
    const auto sampler = Sampled(data.y, data.X, 2, data.prior, {.Draws = 200'000, .Burnin = 500});
    const Eigen::ArrayXXd draws = sampler->GetpSamples()->array();  // b, tau, sigma_e, pi of both
    const VectorXd line = draws.col(3) * draws.col(0) + draws.col(7) * draws.col(4);
    const VectorXd taus = draws.col(1).log() + draws.col(5).log();
    EXPECT_NEAR(vectorMean(line), exact.MeanLine, 0.02 * vectorSd(line));
    EXPECT_NEAR(vectorMean(taus), exact.LogTaus, 0.02 * vectorSd(taus));
    EXPECT_NEAR(sampler->GetLogML(), exact.LogML, 0.3);
    // One order of the lines throughout, though labels switch in the chain.
    EXPECT_GT((draws.col(0) > draws.col(4)).cast<double>().mean(), 0.97);
}

TEST(RegressionMixture, JointDistributionOfParametersAndDataIsPriorTimesLikelihood) {
    Generator g = MakeGenerator(9, 0);
    MatrixXd X = MatrixXd::Ones(12, 2);
    for (int i = 0; i < 12; ++i) X(i, 1) = 1.0 + NormalDraw(g.rng, g.norm);
    const RegressionMixturePrior prior{
        {VectorXd::Constant(2, 0.5), 0.5 * MatrixXd::Identity(2, 2)}, GammaPrior{4.0, 3.0}, 1.5};
    /// What does not depend on labels, of B, tau, pi.
    const auto invariants = [](const MatrixXd& B, const VectorXd& tau, const VectorXd& pi) {
        return VectorXd(
            (VectorXd(6) << B * pi, B.col(0).dot(B.col(1)), tau.dot(pi), tau.array().log().sum(), pi.squaredNorm())
                .finished());
    };
    ExpectJointDistribution(
        [&](Generator& generator, VectorXd& y) {
            MatrixXd B(2, 2);
            VectorXd tau(2);
            RowVectorXd pi(2);
            for (double& b : B.reshaped()) b = 0.5 + NormalDraw(generator.rng, generator.norm) * std::sqrt(2.0);
            for (double& t : tau) t = gamrnd(generator.rng, generator.unif, generator.norm, 4.0, 3.0);
            drchrnd(generator.rng, generator.unif, generator.norm, RowVectorXd::Constant(2, 1.5), pi);
            y.resize(12);
            for (int i = 0; i < 12; ++i) {
                const int z = UniformDraw(generator.rng, generator.unif) < pi(0) ? 0 : 1;
                y(i) = X.row(i).dot(B.col(z)) + NormalDraw(generator.rng, generator.norm) / std::sqrt(tau(z));
            }
            return invariants(B, tau, pi.transpose());
        },
        [&](const VectorXd& y, std::int64_t seed) {
            const auto sampler = Sampled(y, X, 2, prior, {.Draws = 1, .Burnin = 100, .Seed = seed, .Threads = 1});
            const RowVectorXd d = sampler->GetpSamples()->row(0);
            return invariants((MatrixXd(2, 2) << d(0), d(5), d(1), d(6)).finished(),
                              (VectorXd(2) << d(2), d(7)).finished(), (VectorXd(2) << d(4), d(9)).finished());
        },
        2000);
}

/// Three lines on a constant and two correlated regressors.
struct Planted {
    MatrixXd B = (MatrixXd(3, 3) << 4.0, 0.0, -3.0, 1.0, 2.0, -1.0, 0.0, -2.0, 1.0).finished();  // columns: lines
    VectorXd sd = (VectorXd(3) << 0.5, 1.0, 0.7).finished();
    MatrixXd X = MatrixXd::Ones(600, 3);
    VectorXd y = VectorXd(600);

    RowVectorXd Shares = (RowVectorXd(3) << 1.0 / 2.0, 1.0 / 3.0, 1.0 / 6.0).finished();

    Planted() {
        Generator g = MakeGenerator(10, 0);
        for (int i = 0; i < 600; ++i) {
            X(i, 1) = 2.0 * NormalDraw(g.rng, g.norm);
            X(i, 2) = X(i, 1) + NormalDraw(g.rng, g.norm);
            const int line = i % 6 < 3 ? 0 : i % 6 < 5 ? 1 : 2;
            y(i) = X.row(i).dot(B.col(line)) + sd(line) * NormalDraw(g.rng, g.norm);
        }
    }

    /// Probability of each line for each observation, at the true parameters.
    MatrixXd Allocation() const {
        const MatrixXd z = (y.replicate(1, 3) - X * B) * sd.cwiseInverse().asDiagonal();
        const MatrixXd weights =
            (-0.5 * z.array().square()).exp().matrix() * Shares.transpose().cwiseQuotient(sd).asDiagonal();
        return weights.rowwise().sum().cwiseInverse().asDiagonal() * weights;
    }
};

TEST(RegressionMixture, FindsPlantedLinesWithOneLabelInAllChains) {
    const Planted p;
    const auto sampler = Sampled(p.y, p.X, 3, {}, {.Draws = 4000, .Burnin = 1000, .Chains = 2});
    const MatrixXd& draws = *sampler->GetpSamples();
    const MatrixXd allocation = *sampler->MakeModel()->Elements.at("allocation");
    const MatrixXd truth = p.Allocation();
    for (int g = 0, line = 0; g < 3; ++g) {
        const RowVectorXd constant = p.B.row(0).array() - vectorMean(draws.col(6 * g));
        constant.cwiseAbs().minCoeff(&line);
        for (int k = 0; k < 3; ++k)
            EXPECT_NEAR(vectorMean(draws.col(6 * g + k)), p.B(k, line), 4.0 * vectorSd(draws.col(6 * g + k))) << g << k;
        EXPECT_NEAR(vectorMean(draws.col(6 * g + 4)), p.sd(line), 4.0 * vectorSd(draws.col(6 * g + 4))) << g;
        EXPECT_NEAR(vectorMean(draws.col(6 * g + 5)), p.Shares(line), 0.05) << g;
        for (int k = 0; k < 6; ++k) {
            const auto column = draws.col(6 * g + k);
            EXPECT_NEAR(vectorMean(column.head(4000)), vectorMean(column.tail(4000)), 0.15 * vectorSd(column))
                << g << k;
        }
        EXPECT_LT((allocation.col(g) - truth.col(line)).cwiseAbs().mean(), 0.06) << g;
    }
    EXPECT_LT((allocation.rowwise().sum().array() - 1.0).abs().maxCoeff(), 1e-12);
    EXPECT_GT(sampler->GetLogML(), Sampled(p.y, p.X, 2, {}, {.Draws = 2000, .Burnin = 500})->GetLogML() + 20.0);
    EXPECT_GT(sampler->GetLogML(), Sampled(p.y, p.X, 4, {}, {.Draws = 2000, .Burnin = 500})->GetLogML());
}

TEST(RegressionMixture, SamplesWhereExpectationMaximisationDegenerates) {
    const Planted p;
    MatrixXd collinear = p.X.topRows(30);
    collinear.col(2) = 2.0 * collinear.col(1);
    for (const auto& [y, X] : {std::pair<VectorXd, MatrixXd>(p.y.head(30), collinear),
                               std::pair<VectorXd, MatrixXd>(p.y.head(2), p.X.topRows(2)),
                               std::pair<VectorXd, MatrixXd>(VectorXd::Zero(20), MatrixXd::Ones(20, 1))}) {
        const auto sampler = Sampled(y, X, 4, {}, {.Draws = 500, .Burnin = 10});
        EXPECT_TRUE(sampler->GetpSamples()->allFinite());
    }
}

TEST(RegressionMixture, RefusesWhatItCannotUse) {
    const TwoLines p;
    const auto start = [](const VectorXd& y, const MatrixXd& X, int G, const RegressionMixturePrior& prior) {
        return RegressionMixture(y, X, MatrixXd::Zero(y.size(), 1), G, "y", Names("x", X.cols()), prior)
            .Start({.Draws = 1});
    };
    EXPECT_EQ(start(p.y, p.X, 10, {}), "OK");
    EXPECT_NE(start(p.y, p.X, 11, {}), "OK");
    EXPECT_NE(start(p.y, p.X, 0, {}), "OK");
    EXPECT_NE(start(p.y.head(9), p.X, 2, {}), "OK");
    EXPECT_NE(start(p.y * NAN, p.X, 2, {}), "OK");
    EXPECT_NE(start(p.y, MatrixXd(10, 0), 2, {}), "OK");
    EXPECT_NE(start(p.y, p.X, 2, {{}, {}, 0.0}), "OK");
    EXPECT_NE(start(p.y, p.X, 2, {{}, GammaPrior{0.0, 1.0}}), "OK");
    EXPECT_NE(start(p.y, p.X, 2, {{VectorXd::Zero(2), {}}, {}}), "OK");
}

TEST(RegressionMixtureModel, ShowsABlockForEachComponentAndPredicts) {
    const TwoLines data;
    const auto sampler = Sampled(data.y, data.X, 2, {}, {.Draws = 500});
    EXPECT_EQ(sampler->GetSamplesNames()[7], "component2.pi");
    const auto model = sampler->MakeModel();
    EXPECT_EQ(model->Summary.DepVars, (std::vector<std::string>{"component 1", "component 2"}));
    EXPECT_EQ(model->Summary.SummaryMatrix.rows(), 8);
    const auto points = std::make_shared<MatrixXd>(MatrixXd::Constant(1, 1, 2.0)), out = std::make_shared<MatrixXd>();
    std::string message, detail;
    ASSERT_TRUE(model->Predict(false, false, points, 0, "", out, message, detail, nullptr));
    const Eigen::ArrayXXd draws = model->Samples->array();
    EXPECT_NEAR((*out)(0, 0), 2.0 * (draws.col(3) * draws.col(0) + draws.col(7) * draws.col(4)).mean(), 1e-10);
    EXPECT_FALSE(model->Predict(false, false, out, 0, "", out, message, detail, nullptr));
}

}  // namespace
}  // namespace quarn::samplers
