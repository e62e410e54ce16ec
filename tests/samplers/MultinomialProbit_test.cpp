#include "SamplerTesting.h"

#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/random/Multivariate.h>

#include <samplers/ChoiceProbability.h>
#include <samplers/MarginalLikelihood.h>
#include <samplers/MultinomialProbit.h>

#include <Eigen/Cholesky>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>

namespace quarn::samplers {
namespace {

/// Three alternatives, a constant, and an attribute correlated over alternatives; choices all 0.
ChoiceData ThreeAlternatives(Eigen::Index N) {
    Generator g = MakeGenerator(1, 0);
    ChoiceData d{VectorXd::Zero(N), MatrixXd::Ones(N, 1), {MatrixXd(N, 2)}, {"constant"}, {"price"}, {"bus", "car"}};
    for (Eigen::Index i = 0; i < N; ++i) {
        const double base = NormalDraw(g.rng, g.norm);
        for (int j = 0; j < 2; ++j) d.Attributes[0](i, j) = NormalDraw(g.rng, g.norm) - base;
    }
    return d;
}

/// An informative prior, so that the posterior of few observations is nearly normal.
MultinomialProbitPrior Prior() {
    MultinomialProbitPrior prior{{Eigen::Vector3d(0.2, -0.3, 0.5), 4.0 * MatrixXd::Identity(3, 3)}, {30.0, {}}};
    prior.Coefficients.Precision(0, 2) = prior.Coefficients.Precision(2, 0) = 1.0;
    prior.Covariance.Scale = 30.0 * MatrixXd::Identity(2, 2);
    prior.Covariance.Scale(0, 1) = prior.Covariance.Scale(1, 0) = 10.0;
    return prior;
}

/// The scaled parameters, as the sampler has them, from the law of Prior().
VectorXd DrawFromPrior(Generator& g) {
    const MultinomialProbitPrior prior = Prior();
    const MatrixXd identity2 = MatrixXd::Identity(2, 2), identity3 = MatrixXd::Identity(3, 3);
    const MatrixXd inverse = prior.Covariance.Scale.llt().solve(identity2), L = inverse.llt().matrixL();
    const MatrixXd V = prior.Coefficients.Precision.llt().solve(identity3), R = V.llt().matrixL();
    VectorXd b(3), draw(5);
    MatrixXd S;
    mvnormrnd(g.rng, g.norm, prior.Coefficients.Mean, R, b);
    iwishrnd(g.rng, g.unif, g.norm, L, prior.Covariance.DegreesOfFreedom, S);
    draw << b / std::sqrt(S(0, 0)), S(1, 0) / S(0, 0), S(1, 1) / S(0, 0);
    return draw;
}

VectorXd MeanUtilities(const ChoiceData& d, const ScaledProbit& probit, Eigen::Index i) {
    return probit.MeanUtilities(d.X.row(i).transpose(), d.Attributes[0].row(i).transpose());
}

/// Choices given scaled parameters.
VectorXd Choose(Generator& g, const ChoiceData& d, const VectorXd& draw) {
    const ScaledProbit probit(draw, 2, 1, 1);
    const MatrixXd L = probit.S.llt().matrixL();
    VectorXd y(d.y.size()), w(2);
    for (Eigen::Index i = 0; i < y.size(); ++i) {
        mvnormrnd(g.rng, g.norm, MeanUtilities(d, probit, i), L, w);
        y(i) = w.maxCoeff() < 0.0 ? 0.0 : (w(0) > w(1) ? 1.0 : 2.0);
    }
    return y;
}

bool AllAreChosen(const VectorXd& y) {
    return (y.array() == 0.0).any() && (y.array() == 1.0).any() && (y.array() == 2.0).any();
}

std::shared_ptr<MultinomialProbit> Sampled(const ChoiceData& d, const MultinomialProbitPrior& prior,
                                           const RunSettings& settings) {
    auto sampler = std::make_shared<MultinomialProbit>(d, MatrixXd::Zero(d.y.size(), 1), prior);
    RunToEnd(*sampler, settings);
    return sampler;
}

TEST(MultinomialProbit, JointDistributionOfParametersAndDataIsPriorTimesLikelihood) {
    ChoiceData d = ThreeAlternatives(10);
    ExpectJointDistribution(
        [&](Generator& g, VectorXd& y) {
            VectorXd draw;
            do {  // the prior given that all alternatives are chosen, which is what the sampler is given, too
                draw = DrawFromPrior(g);
                y = Choose(g, d, draw);
            } while (!AllAreChosen(y));
            return draw;
        },
        [&](const VectorXd& y, std::int64_t seed) {
            d.y = y;
            const auto sampler = Sampled(d, Prior(), {.Draws = 1, .Burnin = 100, .Seed = seed, .Threads = 1});
            return VectorXd(sampler->GetpSamples()->row(0).transpose());
        },
        2000);
}

TEST(MultinomialProbit, AgreesWithDrawsFromThePriorWeightedByTheLikelihood) {
    ChoiceData d = ThreeAlternatives(10);
    Generator g = MakeGenerator(7, 0);
    VectorXd truth(5);
    truth << Prior().Coefficients.Mean, 0.3, 1.0;
    do d.y = Choose(g, d, truth);
    while (!AllAreChosen(d.y));
    constexpr int draws = 20'000, replications = 20;
    VectorXd logs(draws);
    MatrixXd parameters(5, draws);
    for (int r = 0; r < draws; ++r) {
        parameters.col(r) = DrawFromPrior(g);
        const ScaledProbit probit(parameters.col(r), 2, 1, 1);
        const ChoiceProbability probability(probit.S);
        logs(r) = 0.0;
        for (Eigen::Index i = 0; i < d.y.size(); ++i)
            logs(r) += std::log(probability(g, MeanUtilities(d, probit, i), static_cast<int>(d.y(i)), replications));
    }
    const VectorXd weights = (logs.array() - LogMeanExp(logs)).exp() / draws;
    const auto sampler = Sampled(d, Prior(), {.Draws = 50'000, .Burnin = 100});
    for (int j = 0; j < 5; ++j) {
        const double mean = parameters.row(j).dot(weights);
        const auto column = sampler->GetpSamples()->col(j);
        const double error =
            std::sqrt((weights.array() * (parameters.row(j).transpose().array() - mean)).square().sum());
        EXPECT_NEAR(vectorMean(column), mean, 4.5 * error + 0.02 * vectorSd(column)) << j;
    }
    EXPECT_NEAR(sampler->GetLogML(), LogMeanExp(logs), 0.15);  // approximates the posterior by a normal law
}

/// Travel mode on constants, terminal waiting time and generalised cost; car is the base.
ChoiceData TravelModes() {
    std::ifstream file(QUARN_SOURCE_DIR "/examples/data/modechoice.csv");
    MatrixXd rows(840, 9);
    std::string line;
    std::getline(file, line);
    for (Eigen::Index r = 0; r < 840; ++r)
        for (int c = 0; c < 9; ++c) {
            std::getline(file, line, c < 8 ? ',' : '\n');
            rows(r, c) = std::stod(line);
        }
    ChoiceData d{VectorXd::Zero(210), MatrixXd::Ones(210, 1), {MatrixXd(210, 3), MatrixXd(210, 3)},
                 {"constant"},        {"ttme", "gc"},         {"air", "train", "bus"}};
    for (Eigen::Index i = 0; i < 210; ++i)
        for (Eigen::Index j = 0; j < 3; ++j) {
            if (rows(4 * i + j, 2) == 1.0) d.y(i) = static_cast<double>(j + 1);
            d.Attributes[0](i, j) = (rows(4 * i + j, 3) - rows(4 * i + 3, 3)) / 10.0;
            d.Attributes[1](i, j) = (rows(4 * i + j, 6) - rows(4 * i + 3, 6)) / 10.0;
        }
    return d;
}

TEST(MultinomialProbit, TravelModesAreAsOtherSoftwareHasThem) {
    const auto sampler =
        Sampled(TravelModes(), {{{}, 0.1 * MatrixXd::Identity(5, 5)}, {6.0, {}}}, {.Draws = 20'000, .Burnin = 2000});
    // bayesm 3.1-5, rmnpGibbs(A = 0.1 I, nu = 6, V = 6 I, R = 400000, keep = 4), seed 1, over the root of sigma(1,1).
    const double median[] = {1.46097, 1.22871, 1.04069, -0.287789, -0.0882139};
    const double sd[] = {0.480622, 0.267328, 0.245668, 0.0721339, 0.0188102};
    for (int j = 0; j < 5; ++j) EXPECT_NEAR(vectorMedian(sampler->GetpSamples()->col(j)), median[j], 0.2 * sd[j]) << j;
}

TEST(MultinomialProbit, RefusesWhatItCannotUse) {
    ChoiceData d = ThreeAlternatives(6);
    d.y << 0, 1, 2, 0, 1, 2;
    const auto start = [](const ChoiceData& data, const MultinomialProbitPrior& prior = {}) {
        return MultinomialProbit(data, MatrixXd::Zero(data.y.size(), 1), prior).Start({.Draws = 1});
    };
    EXPECT_EQ(start(d), "OK");
    const auto broken = [&d, &start](const auto& breakIt) {
        ChoiceData copy = d;
        breakIt(copy);
        return start(copy);
    };
    EXPECT_NE(broken([](ChoiceData& c) {
                  c.y(2) = 1.0;
                  c.y(5) = 1.0;
              }).find("alternative 2"),
              std::string::npos);
    EXPECT_NE(broken([](ChoiceData& c) { c.y(2) = 3.0; }), "OK");
    EXPECT_NE(broken([](ChoiceData& c) { c.y(2) = 0.5; }), "OK");
    EXPECT_NE(broken([](ChoiceData& c) { c.y(2) = NAN; }), "OK");
    EXPECT_NE(broken([](ChoiceData& c) { c.Attributes[0].resize(6, 1); }), "OK");
    EXPECT_NE(broken([](ChoiceData& c) { c.Attributes.clear(); }), "OK");
    EXPECT_EQ(broken([](ChoiceData& c) {
                  c.X.resize(0, 0);
                  c.XNames.clear();
              }),
              "OK");
    EXPECT_EQ(broken([](ChoiceData& c) {
                  c.Attributes.clear();
                  c.AttributeNames.clear();
              }),
              "OK");
    EXPECT_NE(broken([](ChoiceData& c) { c.AlternativeNames.clear(); }), "OK");
    EXPECT_NE(start(d, {{}, {0.5, {}}}), "OK");
    EXPECT_NE(start(d, {{}, {0.0, MatrixXd::Identity(3, 3)}}), "OK");
    EXPECT_NE(start(d, {{VectorXd::Zero(2), {}}, {}}), "OK");
}

TEST(MultinomialProbitModel, PredictsProbabilitiesThatSumToOne) {
    ChoiceData d = ThreeAlternatives(30);
    Generator g = MakeGenerator(5, 0);
    d.y = Choose(g, d, DrawFromPrior(g));
    const auto sampler = Sampled(d, Prior(), {.Draws = 300, .Burnin = 50});
    const auto model = sampler->MakeModel();
    EXPECT_EQ(sampler->GetSamplesNames()[1], "car.constant");
    EXPECT_EQ(sampler->GetSamplesNames()[2], "Attributes.price");
    EXPECT_EQ(model->Summary.IndVars.size(), 5U);
    const auto points = std::make_shared<MatrixXd>(2, 3), out = std::make_shared<MatrixXd>();
    *points << 1, 0.3, -0.4, 1, 50, 0;  // the first alternative of the second point is sure to be chosen, or not to be
    std::string message, detail;
    ASSERT_TRUE(model->Predict(false, false, points, 0, "", out, message, detail, nullptr));
    ASSERT_EQ(out->rows(), 6);
    EXPECT_NEAR(out->col(0).head(3).sum(), 1.0, 0.01);
    EXPECT_NEAR(out->col(0).tail(3).sum(), 1.0, 0.01);
    const double positive = (sampler->GetpSamples()->col(2).array() > 0.0).cast<double>().mean();
    EXPECT_NEAR((*out)(4, 0), positive, 0.05);
    EXPECT_FALSE(model->Predict(false, false, out, 0, "", out, message, detail, nullptr));
}

TEST(MultinomialProbitModel, EffectsAreDifferencesOfProbabilities) {
    ChoiceData d = ThreeAlternatives(60);
    Generator g = MakeGenerator(5, 0);
    d.y = Choose(g, d, DrawFromPrior(g));
    const auto model = Sampled(d, Prior(), {.Draws = 1000, .Burnin = 50})->MakeModel();
    const auto points = std::make_shared<MatrixXd>(1, 3), shifted = std::make_shared<MatrixXd>(),
               out = std::make_shared<MatrixXd>(), low = std::make_shared<MatrixXd>(),
               high = std::make_shared<MatrixXd>();
    *points << 1, 0.3, -0.4;
    std::string message, detail;
    ASSERT_TRUE(model->CalculateMFX(2, points, 0, out, message, detail, nullptr));
    ASSERT_EQ(out->rows(), 9);
    for (int element = 0; element < 3; ++element) {
        *shifted = *points;
        (*shifted)(element) -= 0.3;
        ASSERT_TRUE(model->Predict(false, false, shifted, 0, "", low, message, detail, nullptr));
        (*shifted)(element) += 0.6;
        ASSERT_TRUE(model->Predict(false, false, shifted, 0, "", high, message, detail, nullptr));
        for (int c = 0; c < 3; ++c)
            EXPECT_NEAR((*out)(3 * c + element, 0), ((*high)(c, 0) - (*low)(c, 0)) / 0.6, 0.006) << element << c;
        EXPECT_NEAR((*out)(element, 0) + (*out)(3 + element, 0) + (*out)(6 + element, 0), 0.0, 0.006);
    }
    EXPECT_TRUE(model->CalculateMFX(0, nullptr, 0, out, message, detail, nullptr));
    EXPECT_FALSE(model->CalculateMFX(2, points, 1, out, message, detail, nullptr));
    EXPECT_FALSE(model->CalculateMFX(3, points, 0, out, message, detail, nullptr));
}

}  // namespace
}  // namespace quarn::samplers
