#include "../support/Matrices.h"

#include <quarn/numerics/Densities.h>
#include <quarn/numerics/NormalTail_detail.h>

#include <Eigen/Cholesky>
#include <boost/math/constants/constants.hpp>
#include <boost/math/special_functions/beta.hpp>
#include <boost/math/special_functions/erf.hpp>
#include <boost/multiprecision/cpp_bin_float.hpp>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

namespace {

using quarn::MatrixXd;
using quarn::RowVectorXd;
using quarn::testing::Infinity;
using quarn::testing::NaN;
using Digits = boost::multiprecision::cpp_bin_float_50;

using Scalar = double (*)(const double&, const double&, const double&);
using Cells = void (*)(const MatrixXd&, double, double, MatrixXd&);
using D = const Digits&;

Digits Density(const Digits& z) { return exp(-z * z / 2) / sqrt(boost::math::constants::two_pi<Digits>()); }
Digits Upper(const Digits& z) { return boost::math::erfc(z / sqrt(Digits(2))) / 2; }
Digits LogOdds(const Digits& x) { return log(x) - log(1 - x); }

/// A family by the formulas as they stand in books, with 50 digits.
struct Family {
    const char* name;
    Scalar scalar;  // null where there is a matrix form alone
    Cells cells;
    Digits (*reference)(D x, D m, D s);
    double m, s;
    std::vector<double> points;
    double tolerance;  // relative
};

std::vector<Family> Families() {
    const std::vector<double> line = {-30.0, -3.0, -0.1, 0.0, 1e-9, 0.7, 1.5, 4.0, 33.0};
    const std::vector<double> positive = {0.0, 1e-6, 0.03, 0.7, 2.0, 11.0};
    const std::vector<double> share = {1e-12, 1e-3, 0.2, 0.5, 0.77, 0.999};
    const auto tailDensity = [](D x, D m, D s) -> Digits { return Density((x - m) / s) / s / Upper(-m / s); };
    const auto tailProbability = [](D x, D m, D s) -> Digits { return 1 - Upper((x - m) / s) / Upper(-m / s); };
    using namespace quarn;
    std::vector<Family> all = {
        {"normpdf", nullptr, normpdf, [](D x, D m, D s) -> Digits { return Density((x - m) / s) / s; }, 0.5, 1.25, line,
         1e-13},
        {"normcdf", nullptr, normcdf, [](D x, D m, D s) -> Digits { return Upper((m - x) / s); }, 0.5, 1.25, line,
         1e-13},
        {"logitnormpdf", logitnormpdf, logitnormpdf,
         [](D x, D m, D s) -> Digits { return Density((LogOdds(x) - m) / s) / (s * x * (1 - x)); }, -0.3, 1.7, share,
         1e-13},
        {"logitnormcdf", logitnormcdf, logitnormcdf,
         [](D x, D m, D s) -> Digits { return Upper((m - LogOdds(x)) / s); }, -0.3, 1.7, share, 1e-13},
        {"logisticpdf", logisticpdf, logisticpdf,
         [](D x, D m, D s) -> Digits { return 1 / (s * (2 + exp((m - x) / s) + exp((x - m) / s))); }, 0.5, 0.11, line,
         2e-13},
        {"logisticcdf", logisticcdf, logisticcdf, [](D x, D m, D s) -> Digits { return 1 / (1 + exp((m - x) / s)); },
         0.5, 0.11, line, 2e-13},
    };
    for (const double m : {2.0, 0.0, -1.0, -37.0, -90.0}) {  // 1 - Phi(90) is below the smallest double
        all.push_back({"truncnpdf", truncnpdf, truncnpdf, tailDensity, m, 1.0, positive, 1e-13});
        all.push_back({"truncncdf", truncncdf, truncncdf, tailProbability, m, 1.0, positive, 1e-8});
    }
    return all;
}

TEST(Densities, KeepTheirDigitsFarIntoTheTailsInAllForms) {
    for (const Family& family : Families()) {
        MatrixXd out;
        const MatrixXd points = Eigen::Map<const MatrixXd>(family.points.data(), 1, Eigen::Index(family.points.size()));
        family.cells(points, family.m, family.s, out);
        ASSERT_EQ(out.cols(), points.cols());
        for (Eigen::Index i = 0; i < points.cols(); ++i) {
            const double x = points(0, i);
            const double reference = static_cast<double>(family.reference(x, family.m, family.s));
            EXPECT_NEAR(out(0, i), reference, family.tolerance * reference) << family.name << " at " << x;
            if (family.scalar) {
                EXPECT_EQ(family.scalar(x, family.m, family.s), out(0, i)) << family.name << " at " << x;
            }
        }
    }
}

TEST(Densities, HaveTheirLimits) {
    EXPECT_EQ(quarn::logisticcdf(3.0, 3.0, 2.0), 0.5);
    EXPECT_EQ(quarn::logisticpdf(-1e6, 0.0, 1.0), 0.0);  // exp(1e6) overflows
    EXPECT_EQ(quarn::logisticcdf(-1e6, 0.0, 1.0), 0.0);
    EXPECT_TRUE(std::isnan(quarn::logisticpdf(0.0, 0.0, -1.0)));
    for (const double m : {-50.0, -1.0, 0.0, 3.0}) {
        EXPECT_EQ(quarn::truncncdf(0.0, m, 2.0), 0.0);
        EXPECT_EQ(quarn::truncncdf(1e3, m, 2.0), 1.0);
    }
    EXPECT_TRUE(std::isnan(quarn::logitnormpdf(1.5, 0.0, 1.0)));
    EXPECT_TRUE(std::isnan(quarn::logitnormcdf(-0.5, 0.0, 1.0)));
}

std::string ErrorOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const std::domain_error& error) {
        return error.what();
    }
    return "no error";
}

TEST(Densities, OfBoostRaiseBoostsErrorsEvenForMatricesWithoutCells) {
    MatrixXd out, none(0, 3);
    const auto contains = [](const std::string& text, const char* part) {
        return text.find(part) != std::string::npos;
    };
    for (const double scale : {0.0, -1.0, NaN}) {
        EXPECT_TRUE(contains(ErrorOf([&] { quarn::normcdf(none, 0.0, scale, out); }), "must be > 0 !"));
        EXPECT_TRUE(contains(ErrorOf([&] { quarn::weibullpdf(none, 1.0, scale, out); }), "must be > 0 !"));
        EXPECT_TRUE(contains(ErrorOf([&] { quarn::fisherpdf(1.0, scale, 2.0); }), "must be > 0 !"));
    }
    EXPECT_TRUE(contains(ErrorOf([&] { quarn::normcdf(none, Infinity, 1.0, out); }), "must be finite!"));
    EXPECT_THROW(quarn::weibullpdf(0.0, 0.5, 1.0), std::overflow_error);
    EXPECT_THROW(quarn::fisherpdf(0.0, 1.9, 5.0), std::overflow_error);
}

TEST(Densities, OfBoostAgreeInBothForms) {
    const MatrixXd x = RowVectorXd::LinSpaced(7, 0.1, 9.0);
    MatrixXd weibull, fisher = x;
    quarn::weibullpdf(x, 1.5, 2.0, weibull);
    quarn::fisherpdf(fisher, 3.0, 7.0, fisher);  // in place
    for (Eigen::Index i = 0; i < x.size(); ++i) {
        EXPECT_EQ(weibull(0, i), quarn::weibullpdf(x(0, i), 1.5, 2.0));
        EXPECT_EQ(fisher(0, i), quarn::fisherpdf(x(0, i), 3.0, 7.0));
        const double power = std::pow(x(0, i) / 2.0, 1.5);
        EXPECT_NEAR(weibull(0, i), 1.5 / x(0, i) * power * std::exp(-power), 1e-15);
    }
}

TEST(MultivariateNormalDensity, IsTheProductOfItsConditionalDensities) {
    const RowVectorXd m{{1.0, -2.0}};
    const MatrixXd V = MatrixXd{{4.0, 1.2}, {1.2, 0.9}};
    const MatrixXd F = V.llt().matrixL().solve(MatrixXd::Identity(2, 2));
    const MatrixXd X = MatrixXd{{1.0, -2.0}, {0.3, 0.4}, {5.0, -3.0}};
    MatrixXd out, first, second;
    quarn::mvnormpdf(X, m, V, F, out);
    ASSERT_EQ(out.rows(), 3);
    ASSERT_EQ(out.cols(), 1);
    for (Eigen::Index i = 0; i < 3; ++i) {
        EXPECT_EQ(quarn::mvnormpdf(RowVectorXd(X.row(i)), m, V, F), out(i, 0));
        quarn::normpdf(X.block(i, 0, 1, 1), 1.0, 2.0, first);
        quarn::normpdf(X.block(i, 1, 1, 1), -2.0 + 0.3 * (X(i, 0) - 1.0), std::sqrt(0.9 - 0.36), second);
        EXPECT_NEAR(out(i, 0), first(0, 0) * second(0, 0), 1e-14 * out(i, 0));
    }
}

TEST(MultivariateNormalDensity, OutlivesTheRangeOfTheDeterminant) {
    constexpr int k = 200;  // det(V) is 1e-800, the density (100/(2 pi))^100
    const RowVectorXd m = RowVectorXd::Zero(k);
    const MatrixXd V = 1e-4 * MatrixXd::Identity(k, k), F = 1e2 * MatrixXd::Identity(k, k);
    RowVectorXd x = m;
    x[0] = 0.34;  // exp(-q/2) is exp(-578)
    const double logDensity = k * (std::log(100.0) - 0.91893853320467274) - 578.0;
    EXPECT_NEAR(std::log(quarn::mvnormpdf(x, m, V, F)), logDensity, 1e-11);
    MatrixXd indefinite = V;
    indefinite(0, 0) = -1.0;
    EXPECT_TRUE(std::isnan(quarn::mvnormpdf(x, m, indefinite, F)));
}

TEST(GammaAndBeta, AgreeWithHighPrecisionFromTinyToHugeArguments) {
    const std::vector<double> arguments = {1e-300, 1e-8, 0.3, 1.0, 2.5, 9.99, 10.0, 123.4, 1e5, 1e12, 1e100};
    for (const double a : arguments) {
        for (const double b : arguments) {
            const Digits A = a, B = b;
            // Where one is huge, log B(a, b) = lgamma(a) - a log(b) to all digits that count.
            Digits reference;
            if (std::max(a, b) <= 1e12) {
                reference = lgamma(A) + lgamma(B) - lgamma(A + B);
            } else if (std::min(a, b) <= 123.4) {
                reference = lgamma(Digits(std::min(a, b))) - std::min(a, b) * log(Digits(std::max(a, b)));
            } else {
                continue;
            }
            const double expected = static_cast<double>(reference);
            EXPECT_NEAR(quarn::lbeta(a, b), expected, 2e-14 * std::max(std::abs(expected), 0.1)) << a << " " << b;
            EXPECT_EQ(quarn::lbeta(a, b), quarn::lbeta(b, a));
        }
    }
    MatrixXd out;
    quarn::beta(MatrixXd::Constant(2, 1, 2.5), MatrixXd::Constant(2, 1, 4.0), out);
    EXPECT_NEAR(out(1, 0), boost::math::beta(2.5, 4.0), 1e-15);
    EXPECT_EQ(out(0, 0), quarn::beta(2.5, 4.0));
}

TEST(GammaAndBeta, MultivariateGammaFollowsItsRecurrence) {
    for (const double a : {3.0, 7.5, 400.0}) {
        EXPECT_EQ(quarn::lmvgamma(a, 1), std::lgamma(a));
        for (int p = 2; p <= 5; ++p) {
            const double step =
                0.5 * (p - 1) * std::log(boost::math::constants::pi<double>()) + std::lgamma(a - 0.5 * (p - 1));
            EXPECT_NEAR(quarn::lmvgamma(a, p), quarn::lmvgamma(a, p - 1) + step, 1e-12 * std::abs(step) + 1e-14);
        }
    }
    MatrixXd out;
    quarn::mvgamma(MatrixXd::Constant(1, 2, 3.0), 2, out);
    EXPECT_NEAR(out(0, 1), std::sqrt(boost::math::constants::pi<double>()) * 2.0 * std::tgamma(2.5), 1e-13);
    EXPECT_EQ(quarn::lmvgamma(3.0, 0), 0.0);
    EXPECT_NEAR(quarn::lmvgamma(3.0, -1), 2 * 0.28618247146235004, 1e-16);
}

TEST(NormalTail, IsRightToTheLastDigitsOnBothSides) {
    for (double t = 1e-6; t < 36.0; t *= 1.13) {
        const Digits T = t, tail = Upper(T);
        const auto left = quarn::detail::NormalTailAt(-t), right = quarn::detail::NormalTailAt(t);
        EXPECT_LT(abs(left.logCdf / log(tail) - 1), 8e-16) << t;
        EXPECT_LT(abs(left.ratio / (Density(T) / tail) - 1), 8e-16) << t;
        EXPECT_LT(abs(right.logCdf / boost::math::log1p(Digits(-tail)) - 1), 8e-16) << t;
        EXPECT_LT(abs(right.ratio / (Density(T) / (1 - tail)) - 1), 8e-16) << t;
    }
    EXPECT_TRUE(std::isnan(quarn::detail::NormalTailAt(NaN).logCdf));
}

TEST(ExpAndLog, AreRightToAnUlp) {
    const auto ulp = [](double x) { return Digits(std::abs(std::nextafter(x, Infinity) - x)); };
    for (double x = 1e-12; x < 707.0; x *= 1.0123) {
        const double power = quarn::detail::ExpOfNegative(-x), logarithm = quarn::detail::LogWithRest(x, 0.0);
        EXPECT_LT(abs(power - exp(Digits(-x))) / ulp(power), 1.0) << x;
        EXPECT_LT(abs(logarithm - log(Digits(x))) / ulp(logarithm), 1.0) << x;
    }
    EXPECT_EQ(quarn::detail::ExpOfNegative(-Infinity), 0.0);
    EXPECT_TRUE(std::isnan(quarn::detail::ExpOfNegative(NaN)) && std::isnan(quarn::detail::LogWithRest(NaN, 0.0)));
}

}  // namespace
