#include "../support/RecordingSink.h"

#include <quarn/reports/CompareModels.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace {

using quarn::CompareModels;
using quarn::VectorXd;

constexpr double Infinity = std::numeric_limits<double>::infinity();

VectorXd Vector(const std::vector<double>& values) {
    return Eigen::Map<const VectorXd>(values.data(), static_cast<Eigen::Index>(values.size()));
}

VectorXd Posteriors(const VectorXd& logML, const VectorXd& priors) {
    const auto count = static_cast<std::size_t>(logML.size());
    return CompareModels(std::vector<std::string>(count), std::vector<std::string>(count), logML, priors)
        .Results.col(2);
}

TEST(CompareModels, WeighsModelsByTheirOdds) {
    EXPECT_EQ(Posteriors(Vector({-3}), Vector({0.2}))(0), 1.0);
    EXPECT_EQ(Posteriors(Vector({-3, -3}), Vector({0.5, 0.5})), Vector({0.5, 0.5}));
    EXPECT_EQ(Posteriors(Vector({-3, -4}), Vector({0.5, 0.5})), Posteriors(Vector({-3, -4}), Vector({0.25, 0.25})));
}

/// Against the direct sum in long double, whose range is wide enough for all of these.
TEST(CompareModels, HasNoNaNHoweverFarApartTheModelsAre) {
    std::mt19937_64 engine(51);
    for (int run = 0; run < 2000; ++run) {
        const double range = run % 2 == 0 ? 30 : 3000;
        const VectorXd logML = VectorXd::Random(1 + static_cast<Eigen::Index>(engine() % 8)) * range;
        VectorXd priors = VectorXd::Random(logML.size()).cwiseAbs();
        if (run % 5 == 0) priors.head(priors.size() / 2).setZero();
        if (run % 7 == 0) priors(0) = 1e-310;
        long double sum = 0;
        for (Eigen::Index i = 0; i < logML.size(); ++i) sum += priors(i) * std::exp(static_cast<long double>(logML(i)));
        const VectorXd posteriors = Posteriors(logML, priors);
        for (Eigen::Index i = 0; i < logML.size(); ++i) {
            const auto expected = static_cast<double>(priors(i) * std::exp(static_cast<long double>(logML(i))) / sum);
            EXPECT_NEAR(posteriors(i), expected, 1e-300 + 1e-11 * expected) << logML.transpose() << "\n" << priors;
        }
    }
    EXPECT_EQ(Posteriors(Vector({0, -1000, 2000}), Vector({1, 1, 1})), Vector({0, 0, 1}));
    EXPECT_EQ(Posteriors(Vector({-Infinity, -5}), Vector({1, 1})), Vector({0, 1}));
}

TEST(CompareModels, PrintsABandedTable) {
    const auto sink = std::make_shared<quarn::testing::RecordingSink>();
    const CompareModels comparison({"small", "large", "other"}, {"Lewis & Raftery", "Chib & Jeliazkov", "none"},
                                   Vector({-10, -11, -12}), Vector({0.2, 0.2, 0.2}));
    comparison.Print(quarn::EventDispatcher(sink));
    const std::string rule = std::string(92, '-') + "\n";
    EXPECT_EQ(sink->Text(),
              "POSTERIOR MODEL PROBABILITIES: \n\n" + rule +
                  "               \t  Log-Marginal\t       Type of log-ML\t    Prior Model\t     Posterior Model\n"
                  "Model          \t   Likelihood \t        Approximation\t    Probability\t       Probability  \n" +
                  rule +
                  "small          \t           -10\t      Lewis & Raftery\t            0.2\t            0.665241\n"
                  "large          \t           -11\t     Chib & Jeliazkov\t            0.2\t           0.2447285\n"
                  "other          \t           -12\t                 none\t            0.2\t          0.09003057\n" +
                  rule + "\n\n");
    std::string styles;
    for (const auto& [text, style] : sink->Pieces) {
        styles += style.Background ? 's' : style.Foreground ? 'c' : style.Emphasis ? 'e' : 'p';
        EXPECT_TRUE(!style.Background || *style.Background == quarn::Colour(230, 230, 240, 255));
        EXPECT_TRUE(!style.Foreground || (style.Emphasis && *style.Foreground == quarn::Colour(0, 0, 0, 255)));
    }
    EXPECT_EQ(styles.substr(styles.find('c')), "ccppspppp") << styles;
}

}  // namespace
