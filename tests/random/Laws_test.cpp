// The laws of the generators, by 1e6 draws of each (QUARN_LAW_DRAWS sets another number). Seeds are fixed; with other
// seeds, the whole file would fail by chance less than once in a million runs.

#include "Triple.h"

#include <quarn/random/Multivariate.h>
#include <quarn/random/Univariate.h>

#include <boost/math/distributions.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::RowVectorXd;
using quarn::VectorXd;
using quarn_test::LawDraws;
using quarn_test::Triple;

/// Of each comparison; there are fewer than 90.
constexpr double falseAlarm = 1e-8;

/// The distribution function F against the share of the sample at or below x, at 1 in 100 of the sample's values up to
/// `end`: by the inequality of Dvoretzky, Kiefer and Wolfowitz in Massart's form, which holds for discrete laws too.
template <class Distribution>
void ExpectLaw(std::vector<double>& sample, Distribution F, const std::string& name,
               double end = std::numeric_limits<double>::infinity()) {
    std::sort(sample.begin(), sample.end());
    const auto n = static_cast<double>(sample.size());
    double largest = 0.0;
    for (std::size_t i = 0; i < sample.size() && sample[i] <= end; i += 100) {
        const auto atOrBelow = std::upper_bound(sample.begin(), sample.end(), sample[i]) - sample.begin();
        largest = std::max(largest, std::fabs(F(sample[i]) - static_cast<double>(atOrBelow) / n));
    }
    EXPECT_LT(largest, std::sqrt(std::log(2.0 / falseAlarm) / (2.0 * n))) << name;
}

/// The tails of a continuous law: n F of the k-th smallest value is a gamma variate of shape k, nearly; likewise above.
template <class Distribution>
void ExpectTails(const std::vector<double>& sorted, Distribution F, const std::string& name) {
    const std::size_t k = 100;
    const auto n = static_cast<double>(sorted.size());
    const boost::math::gamma_distribution<double> law(static_cast<double>(k), 1.0);
    const double low = quantile(law, falseAlarm / 2.0), high = quantile(complement(law, falseAlarm / 2.0));
    for (const double tail : {n * F(sorted[k - 1]), n * (1.0 - F(sorted[sorted.size() - k]))}) {
        EXPECT_TRUE(low < tail && tail < high) << name << ' ' << tail;
    }
}

using Draw = std::function<double(Triple&)>;
using Distribution = std::function<double(double)>;

std::vector<double> Sample(const Draw& draw) {
    Triple T(1001);
    std::vector<double> sample(static_cast<std::size_t>(LawDraws()));
    for (double& x : sample) x = draw(T);
    return sample;
}

struct Case {
    std::string name;
    Draw draw;
    Distribution F;
};

void ExpectContinuous(const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        std::vector<double> sample = Sample(c.draw);
        ExpectLaw(sample, c.F, c.name);
        ExpectTails(sample, c.F, c.name);
    }
}

template <class Law>
Distribution Of(const Law& law) {
    return [law](double x) { return cdf(law, x); };
}

double NormalBelow(double x) { return cdf(boost::math::normal_distribution<double>(), x); }

TEST(ElementaryDraws, FollowTheirLaws) {
    ExpectContinuous({
        {"uniform", [](Triple& T) { return quarn::UniformDraw(T.rng, T.unif); }, [](double x) { return x; }},
        {"normal", [](Triple& T) { return quarn::NormalDraw(T.rng, T.norm); }, NormalBelow},
    });
}

TEST(Gamma, FollowsItsLawUpToShape30) {
    std::vector<Case> cases;
    for (const double a : {0.05, 0.5, 0.999, 1.0, 1.5, 10.0, 30.0}) {
        cases.push_back({"gamma " + std::to_string(a), [a](Triple& T) { return quarn::gamrnd(TRIPLE(T), a, 2.0); },
                         Of(boost::math::gamma_distribution<double>(a, 0.5))});
    }
    ExpectContinuous(cases);
}

TEST(Gamma, FollowsFishersApproximationAbove30) {
    std::vector<Case> cases;
    for (const double a : {30.0000001, 200.0}) {
        cases.push_back({"gamma " + std::to_string(a), [a](Triple& T) { return quarn::gamrnd(TRIPLE(T), a, 1.0); },
                         [a](double x) {
                             const double root = 2.0 * std::sqrt(x), centre = std::sqrt(4.0 * a - 1.0);
                             return NormalBelow(root - centre) - NormalBelow(-root - centre);
                         }});
    }
    ExpectContinuous(cases);
}

TEST(WeibullAndExtremeValue, FollowTheirLaws) {
    std::vector<Case> cases;
    for (const double k : {0.5, 1.0, 4.0}) {
        cases.push_back({"weibull " + std::to_string(k),
                         [k](Triple& T) { return quarn::weibullrnd(T.rng, T.unif, k, 3.0); },
                         Of(boost::math::weibull_distribution<double>(k, 3.0))});
    }
    cases.push_back({"extreme value", [](Triple& T) { return quarn::evrnd(T.rng, T.unif, -2.0, 1.5); },
                     Of(boost::math::extreme_value_distribution<double>(-2.0, 1.5))});
    ExpectContinuous(cases);
}

TEST(QuotientsOfGammas, FollowTheirLaws) {
    std::vector<Case> cases;
    for (const auto& [a, b] : {std::pair{0.5, 0.5}, {0.3, 4.0}, {1.0, 1.0}, {2.5, 20.0}}) {
        cases.push_back({"beta " + std::to_string(a),
                         [a = a, b = b](Triple& T) { return quarn::betarnd(TRIPLE(T), a, b); },
                         Of(boost::math::beta_distribution<double>(a, b))});
    }
    for (const double df : {0.7, 2.0, 60.0}) {
        cases.push_back({"chi2 " + std::to_string(df), [df](Triple& T) { return quarn::chi2rnd(TRIPLE(T), df); },
                         Of(boost::math::chi_squared_distribution<double>(df))});
    }
    for (const auto& [df1, df2] : {std::pair{1.0, 1.5}, {5.0, 3.0}, {60.0, 10.0}}) {
        cases.push_back({"F " + std::to_string(df1),
                         [a = df1, b = df2](Triple& T) { return quarn::frnd(TRIPLE(T), a, b); },
                         Of(boost::math::fisher_f_distribution<double>(df1, df2))});
    }
    for (const double df : {0.5, 1.0, 5.0, 60.0, 61.0, 500.0}) {  // above 60 nearly, by Fisher's approximation
        cases.push_back({"t " + std::to_string(df), [df](Triple& T) { return quarn::trnd(TRIPLE(T), df); },
                         Of(boost::math::students_t_distribution<double>(df))});
    }
    ExpectContinuous(cases);
}

TEST(Poisson, FollowsItsLawBelow1000) {
    for (const double lambda : {0.3, 5.0, 29.9, 30.0, 31.0, 100.0, 999.0}) {
        std::vector<double> sample = Sample([=](Triple& T) { return quarn::poissonrnd(TRIPLE(T), lambda); });
        ExpectLaw(sample, Of(boost::math::poisson_distribution<double>(lambda)), "poisson " + std::to_string(lambda));
    }
}

TEST(Poisson, FollowsTheRoundedNormalLawFrom1000) {
    for (const double lambda : {1000.0, 1e5}) {
        std::vector<double> sample = Sample([=](Triple& T) { return quarn::poissonrnd(TRIPLE(T), lambda); });
        const auto F = [=](double x) { return NormalBelow((x + 0.5 - lambda) / std::sqrt(lambda)); };
        ExpectLaw(sample, F, "poisson " + std::to_string(lambda));
    }
}

// Vector laws, in three dimensions. That mvnormrnd is mean + Lz, and an inverse Wishart draw the inverse of a Wishart
// draw, the unit tests show.

const MatrixXd factor{{1.5, 0.0, 0.0}, {-0.7, 0.8, 0.0}, {0.4, 0.3, 2.0}};
const MatrixXd scale = factor * factor.transpose();
const VectorXd direction{{1.0, -2.0, 0.5}};

/// The mean of each column of x against its expectation, by the normal law of means of 1e5 draws or more.
void ExpectMeans(const MatrixXd& x, const RowVectorXd& expected, const std::string& name) {
    const auto n = static_cast<double>(x.rows());
    const double largest = quantile(complement(boost::math::normal_distribution<double>(), falseAlarm / 4.0));
    for (Index j = 0; j < x.cols(); ++j) {
        const double mean = x.col(j).mean();
        const double sd = std::sqrt((x.col(j).array() - mean).square().mean() / n);
        EXPECT_LT(std::fabs(mean - expected[j]), largest * sd) << name << ' ' << j;
    }
}

std::vector<double> Values(const VectorXd& x) { return {x.begin(), x.end()}; }

TEST(Wishart, HasItsMeanAndChiSquaredQuadraticForms) {
    const Index n = LawDraws() / 5;
    for (const double df : {2.5, 3.0, 8.0}) {
        Triple T(1003);
        MatrixXd W, cells(n, 9);
        VectorXd forms(n);
        for (Index i = 0; i < n; ++i) {
            quarn::wishrnd(TRIPLE(T), factor, df, W);
            cells.row(i) = W.reshaped().transpose();
            forms[i] = direction.dot(W * direction) / direction.dot(scale * direction);
        }
        ExpectMeans(cells, df * scale.reshaped().transpose(), "mean " + std::to_string(df));
        std::vector<double> sample = Values(forms);
        ExpectLaw(sample, Of(boost::math::chi_squared_distribution<double>(df)), "form " + std::to_string(df));
    }
}

TEST(Dirichlet, HasBetaMarginsAndItsCovariances) {
    const Index n = LawDraws() / 2;
    for (const double size : {0.02, 0.5, 4.0}) {
        const RowVectorXd alpha{{size, 2.0 * size, 3.5 * size}};
        const double sum = alpha.sum();
        Triple T(1005);
        MatrixXd x(n, 3);
        quarn::drchrnd(TRIPLE(T), alpha, x);
        for (Index j = 0; j < 3; ++j) {
            std::vector<double> margin = Values(x.col(j));
            ExpectLaw(margin, Of(boost::math::beta_distribution<double>(alpha[j], sum - alpha[j])), "margin",
                      0.999);  // much of a small alpha's law is within the rounding of 1
        }
        const RowVectorXd moment{{alpha[0] * alpha[1] / (sum * (sum + 1.0))}};
        ExpectMeans(x.col(0).cwiseProduct(x.col(1)), moment, "product " + std::to_string(size));
    }
}

}  // namespace
