#include "Triple.h"

#include <quarn/random/Univariate.h>

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn_test::Reference;
using quarn_test::SameDigits;
using quarn_test::SameState;
using quarn_test::Triple;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

// The laws as their contracts state them.

double Gamma(Reference& T, double a, double r) { return T.Gamma(a, r); }
double Weibull(Reference& T, double k, double s) { return s * std::pow(-std::log(1 - T.U()), 1 / k); }
double Gumbel(Reference& T, double m, double b) { return m - b * std::log(-std::log(T.U())); }

double Beta(Reference& T, double a, double b) {
    const double x = Gamma(T, a, 80), y = Gamma(T, b, 80);
    return x / (x + y);
}

double F(Reference& T, double df1, double df2) {
    const double x = Gamma(T, df1 / 2, 0.5), y = Gamma(T, df2 / 2, 0.5);
    return df2 / df1 * (x / y);
}

double Student(Reference& T, double df) {
    const double g = Gamma(T, df / 2, df / 2);
    return T.Z() / std::sqrt(g);
}

double Poisson(Reference& T, double lambda) {
    if (lambda >= 1000) return std::round(T.Z() * std::sqrt(lambda) + lambda);
    if (lambda < 30) {
        double p = 1;
        for (int k = 0;; ++k) {
            p *= T.U();
            if (p <= std::exp(-lambda)) return k;
        }
    }
    const double c = 0.767 - 3.36 / lambda, b = std::numbers::pi / std::sqrt(3 * lambda), a = b * lambda;
    const double K = std::log(c) - lambda - std::log(b);
    for (;;) {
        const double u = T.U(), x = (a - std::log((1 - u) / u)) / b;
        const int n = static_cast<int>(std::floor(x + 0.5));
        if (n < 0) continue;
        const double v = T.U(), y = a - b * x;
        const double left = y + std::log(v / std::pow(1 + std::exp(y), 2));
        if (K + n * std::log(lambda) - std::lgamma(n + 1.0) >= left) return n;
    }
}

using Law = std::function<double(Reference&)>;
using LawMatrix = std::function<void(Reference&, MatrixXd&)>;
using Scalar = std::function<double(Triple&)>;
using Form = std::function<void(Triple&, MatrixXd&)>;

/// A law with one set of parameters in all its forms. cells: the law in forms with out, where that is not cell by cell.
struct Case {
    std::string name;
    Law law;
    Scalar scalar;
    std::vector<Form> forms;
    LawMatrix cells = {};
};

void ByRows(MatrixXd& out, const std::function<double(Index, Index)>& draw) {
    for (Index i = 0; i < out.rows(); ++i) {
        for (Index j = 0; j < out.cols(); ++j) out(i, j) = draw(i, j);
    }
}

MatrixXd Like(const MatrixXd& out, double value) { return MatrixXd::Constant(out.rows(), out.cols(), value); }

#define TRIPLE T.rng, T.unif, T.norm

Case GammaCase(double a, double r) {
    return {"gamma " + std::to_string(a),
            [=](Reference& T) { return Gamma(T, a, r); },
            [=](Triple& T) { return quarn::gamrnd(TRIPLE, a, r); },
            {[=](Triple& T, MatrixXd& out) { quarn::gamrnd(TRIPLE, a, r, out); },
             [=](Triple& T, MatrixXd& out) { quarn::gamrnd(TRIPLE, Like(out, a), Like(out, r), out); },
             [=](Triple& T, MatrixXd& out) { quarn::gamrnd(TRIPLE, Like(out, a), r, out); }}};
}

Case WeibullCase(double k, double s) {
    return {"weibull " + std::to_string(k),
            [=](Reference& T) { return Weibull(T, k, s); },
            [=](Triple& T) { return quarn::weibullrnd(T.rng, T.unif, k, s); },
            {[=](Triple& T, MatrixXd& out) { quarn::weibullrnd(T.rng, T.unif, k, s, out); },
             [=](Triple& T, MatrixXd& out) { quarn::weibullrnd(T.rng, T.unif, Like(out, k), Like(out, s), out); }}};
}

Case GumbelCase(double m, double b) {
    return {"extreme value " + std::to_string(m),
            [=](Reference& T) { return Gumbel(T, m, b); },
            [=](Triple& T) { return quarn::evrnd(T.rng, T.unif, m, b); },
            {[=](Triple& T, MatrixXd& out) { quarn::evrnd(T.rng, T.unif, m, b, out); },
             [=](Triple& T, MatrixXd& out) { quarn::evrnd(T.rng, T.unif, Like(out, m), Like(out, b), out); }}};
}

Case BetaCase(double a, double b) {
    return {"beta " + std::to_string(a),
            [=](Reference& T) { return Beta(T, a, b); },
            [=](Triple& T) { return quarn::betarnd(TRIPLE, a, b); },
            {[=](Triple& T, MatrixXd& out) { quarn::betarnd(TRIPLE, a, b, out); },
             [=](Triple& T, MatrixXd& out) { quarn::betarnd(TRIPLE, Like(out, a), Like(out, b), out); }}};
}

Case Chi2Case(double df) {
    return {"chi2 " + std::to_string(df),
            [=](Reference& T) { return Gamma(T, df / 2, 0.5); },
            [=](Triple& T) { return quarn::chi2rnd(TRIPLE, df); },
            {[=](Triple& T, MatrixXd& out) { quarn::chi2rnd(TRIPLE, df, out); },
             [=](Triple& T, MatrixXd& out) { quarn::chi2rnd(TRIPLE, Like(out, df), out); }}};
}

Case FCase(double df1, double df2) {
    return {"F " + std::to_string(df1),
            [=](Reference& T) { return F(T, df1, df2); },
            [=](Triple& T) { return quarn::frnd(TRIPLE, df1, df2); },
            {[=](Triple& T, MatrixXd& out) { quarn::frnd(TRIPLE, df1, df2, out); },
             [=](Triple& T, MatrixXd& out) { quarn::frnd(TRIPLE, Like(out, df1), Like(out, df2), out); }},
            [=](Reference& T, MatrixXd& out) {
                ByRows(out, [&](Index, Index) { return Gamma(T, df1 / 2, 0.5); });
                ByRows(out, [&](Index i, Index j) { return df2 / df1 * (out(i, j) / Gamma(T, df2 / 2, 0.5)); });
            }};
}

Case StudentCase(double df) {
    return {"t " + std::to_string(df),
            [=](Reference& T) { return Student(T, df); },
            [=](Triple& T) { return quarn::trnd(TRIPLE, df); },
            {[=](Triple& T, MatrixXd& out) { quarn::trnd(TRIPLE, df, out); },
             [=](Triple& T, MatrixXd& out) { quarn::trnd(TRIPLE, Like(out, df), out); }},
            [=](Reference& T, MatrixXd& out) {
                ByRows(out, [&](Index, Index) { return Gamma(T, df / 2, df / 2); });
                ByRows(out, [&](Index i, Index j) { return T.Z() / std::sqrt(out(i, j)); });
            }};
}

Case PoissonCase(double lambda) {
    return {"poisson " + std::to_string(lambda),
            [=](Reference& T) { return Poisson(T, lambda); },
            [=](Triple& T) { return quarn::poissonrnd(TRIPLE, lambda); },
            {}};
}

Case UniformCase() {
    return {"uniform",
            [](Reference& T) { return T.U(); },
            [](Triple& T) { return quarn::UniformDraw(T.rng, T.unif); },
            {[](Triple& T, MatrixXd& out) { quarn::unifrnd(T.rng, T.unif, out); }}};
}

/// Each regime of each law, and both sides of its switches.
std::vector<Case> Cases() {
    std::vector<Case> cases{UniformCase()};
    for (const double a : {0.02, 0.3, 0.999, 1.0, 1.001, 2.5, 29.9, 30.0, 30.0000001, 400.0}) {
        cases.push_back(GammaCase(a, 1.7));
    }
    for (const double k : {0.4, 1.0, 3.0}) cases.push_back(WeibullCase(k, 2.5));
    for (const double m : {-3.0, 0.0}) cases.push_back(GumbelCase(m, 0.7));
    for (const double a : {0.2, 1.0, 2.5, 31.0}) cases.push_back(BetaCase(a, 1.5));
    for (const double df : {0.5, 2.0, 60.0, 60.1}) cases.push_back(Chi2Case(df));
    for (const double df1 : {0.7, 4.0, 80.0}) cases.push_back(FCase(df1, 7.0));
    for (const double df : {0.5, 5.0, 60.0, 61.0}) cases.push_back(StudentCase(df));
    for (const double lambda : {0.0, 0.2, 5.0, 29.99, 30.0, 100.0, 999.0, 1000.0, 1e6}) {
        cases.push_back(PoissonCase(lambda));
    }
    return cases;
}

TEST(UnivariateLaws, DrawWhatTheirContractsSayAndLeaveTheTripleSo) {
    for (const Case& c : Cases()) {
        Triple triple(21);
        Reference reference(21);
        for (int i = 0; i < 2000; ++i) ASSERT_DOUBLE_EQ(c.scalar(triple), c.law(reference)) << c.name << " draw " << i;
        EXPECT_TRUE(SameState(triple, reference)) << c.name;
    }
}

TEST(UnivariateLaws, FillMatricesByRowsInEveryForm) {
    for (const Case& c : Cases()) {
        for (const Form& form : c.forms) {
            Triple triple(22);
            Reference reference(22);
            quarn::NormalDraw(triple.rng, triple.norm);  // a spare that some function left over is the first normal
            reference.Z();
            MatrixXd out(25, 4), expected(25, 4);
            form(triple, out);
            if (c.cells) {
                c.cells(reference, expected);
            } else {
                ByRows(expected, [&](Index, Index) { return c.law(reference); });
            }
            for (Index i = 0; i < out.size(); ++i) ASSERT_DOUBLE_EQ(out(i), expected(i)) << c.name << ' ' << i;
            EXPECT_TRUE(SameState(triple, reference)) << c.name;
        }
    }
}

TEST(UnivariateLaws, GiveTheDigitsOfTheScalarFormInEveryForm) {
    for (const Case& c : Cases()) {
        if (c.cells) continue;
        for (const Form& form : c.forms) {
            Triple scalar(23), matrix(23);
            MatrixXd out(7, 5), expected(7, 5);
            form(matrix, out);
            ByRows(expected, [&](Index, Index) { return c.scalar(scalar); });
            EXPECT_TRUE(SameDigits(out, expected)) << c.name;
        }
    }
}

TEST(UnivariateLaws, DrawNothingForAnEmptyMatrix) {
    for (const Case& c : Cases()) {
        for (const Form& form : c.forms) {
            Triple triple(24);
            MatrixXd noRows(0, 3), noColumns(3, 0);
            form(triple, noRows);
            form(triple, noColumns);
            EXPECT_TRUE(SameState(triple, Reference(24))) << c.name;
        }
    }
}

TEST(UnivariateLaws, AreNaNWithoutADrawOutsideTheirDomain) {
    Triple T(25);
    std::vector<double> draws;
    MatrixXd out(2, 2);
    const auto expectNaN = [&](const Form& form) {
        out.setZero();
        form(T, out);
        draws.insert(draws.end(), out.data(), out.data() + out.size());
    };
    for (const double bad : {0.0, -1.0, -infinity, infinity, NaN}) {
        std::vector<Case> cases{Chi2Case(bad), StudentCase(bad)};
        for (const auto& [x, y] : {std::pair{bad, 1.0}, {1.0, bad}, {40.0, bad}}) {
            cases.insert(cases.end(), {GammaCase(x, y), WeibullCase(x, y), BetaCase(x, y), FCase(x, y)});
        }
        cases.push_back(GumbelCase(0.0, bad));
        if (!std::isfinite(bad)) cases.push_back(GumbelCase(bad, 1.0));
        if (bad != 0.0) cases.push_back(PoissonCase(bad));
        for (const Case& c : cases) {
            draws.push_back(c.scalar(T));
            for (const Form& form : c.forms) expectNaN(form);
        }
    }
    for (const double x : draws) EXPECT_TRUE(std::isnan(x));
    EXPECT_TRUE(SameState(T, Reference(25)));
}

TEST(UnivariateLaws, SkipOnlyTheCellsOutsideTheDomain) {
    const MatrixXd df{{3.0, NaN}, {-1.0, 80.0}}, good{{3.0, 3.0}, {80.0, 80.0}};
    Triple T(26), expected(26);
    MatrixXd out(2, 2), g(1, 2), z(1, 2);
    quarn::trnd(TRIPLE, df, out);
    quarn::trnd(expected.rng, expected.unif, expected.norm, MatrixXd{{3.0, 80.0}}, g);
    EXPECT_TRUE(SameDigits(out, MatrixXd{{g(0, 0), NaN}, {NaN, g(0, 1)}}));
    quarn::frnd(TRIPLE, df, good, out);
    quarn::frnd(expected.rng, expected.unif, expected.norm, MatrixXd{{3.0, 80.0}}, MatrixXd{{3.0, 80.0}}, z);
    EXPECT_TRUE(SameDigits(out, MatrixXd{{z(0, 0), NaN}, {NaN, z(0, 1)}}));
    EXPECT_EQ(T.rng, expected.rng);
}

TEST(UnivariateLaws, WriteOverTheirOwnParameters) {
    Triple a(27), b(27);
    const MatrixXd first{{0.5, 2.0, 40.0}, {3.0, 0.1, 61.0}}, second{{1.0, 2.0, 3.0}, {70.0, 0.5, 6.0}};
    using TwoMatrices = std::function<void(Triple&, const MatrixXd&, const MatrixXd&, MatrixXd&)>;
    const TwoMatrices laws[] = {
        [](Triple& T, const MatrixXd& x, const MatrixXd& y, MatrixXd& out) { quarn::gamrnd(TRIPLE, x, y, out); },
        [](Triple& T, const MatrixXd& x, const MatrixXd& y, MatrixXd& out) { quarn::betarnd(TRIPLE, x, y, out); },
        [](Triple& T, const MatrixXd& x, const MatrixXd& y, MatrixXd& out) { quarn::frnd(TRIPLE, x, y, out); },
        [](Triple& T, const MatrixXd& x, const MatrixXd&, MatrixXd& out) { quarn::trnd(TRIPLE, x, out); },
        [](Triple& T, const MatrixXd& x, const MatrixXd& y, MatrixXd& out) { quarn::evrnd(T.rng, T.unif, x, y, out); },
    };
    for (const TwoMatrices& law : laws) {
        MatrixXd out(2, 3), inPlace = second;
        law(a, first, second, out);
        law(b, first, inPlace, inPlace);
        EXPECT_TRUE(SameDigits(inPlace, out));
    }
}

TEST(Gamma, ScalesExactlyWithTheReciprocalOfTheRate) {
    for (const double a : {0.3, 1.0, 5.0, 100.0}) {
        Triple unit(28), T(28);
        for (int i = 0; i < 200; ++i) {
            ASSERT_EQ(quarn::gamrnd(TRIPLE, a, 3.7), quarn::gamrnd(unit.rng, unit.unif, unit.norm, a, 1.0) * (1 / 3.7));
        }
    }
}

TEST(Gamma, SwitchesItsMethodStrictlyAbove30AndBelow1) {
    const auto words = [](double shape) {
        Triple T(29);
        quarn::NormalDraw(T.rng, T.norm);  // so that the first normal is a spare
        quarn::Rng before = T.rng;
        quarn::gamrnd(TRIPLE, shape, 1.0);
        int count = 0;
        for (; !(before == T.rng); ++count) before();
        return count;
    };
    EXPECT_EQ(words(30.0000001), 0);
    EXPECT_EQ(words(30.0), 1);
    EXPECT_EQ(words(1.0), 1);
    EXPECT_EQ(words(0.999), 2);
}

TEST(Beta, IsNeverNaNHoweverSmallItsShapes) {
    for (const double shape : {0.05, 0.01, 1e-3, 1e-6, 1e-300, 5e-324}) {
        Triple T(30);
        double sum = 0.0;
        for (int i = 0; i < 2000; ++i) {
            const double x = quarn::betarnd(TRIPLE, shape, shape);
            ASSERT_TRUE(x >= 0.0 && x <= 1.0) << shape;
            sum += x;
        }
        EXPECT_NEAR(sum / 2000, 0.5, 0.06) << shape;  // 5 standard errors of a law on {0, 1}
    }
}

TEST(SmallDegreesOfFreedom, KeepTheQuotientsOfFAndTWhereTheGammaVariatesUnderflow) {
    // Whatever the df, F of equal ones is above 1 in half of the draws. With df of 0.016, g is below the smallest
    // number in 1 of 300 draws, and t beyond 1e160 in 1 of 370, but beyond doubles in 1 of 100,000.
    Triple T(31);
    MatrixXd f(1000, 2), t(1000, 4);
    quarn::frnd(TRIPLE, 0.02, 0.02, f);
    quarn::trnd(TRIPLE, 0.016, t);
    EXPECT_FALSE(f.array().isNaN().any());
    EXPECT_NEAR(static_cast<double>((f.array() > 1.0).count()), 1000, 5 * std::sqrt(500));
    EXPECT_TRUE(t.array().isFinite().all());
    EXPECT_TRUE((t.array().abs() > 1e160).any());
}

TEST(Poisson, OfMeanZeroIsZeroAfterOneUniform) {
    Triple T(32);
    Reference reference(32);
    EXPECT_EQ(quarn::poissonrnd(TRIPLE, 0.0), 0.0);
    reference.U();
    EXPECT_TRUE(SameState(T, reference));
}

TEST(Uniform, FillsTheFirstRowFirst) {
    Triple T(33);
    Reference reference(33);
    MatrixXd out(2, 2);
    quarn::unifrnd(T.rng, T.unif, out);
    EXPECT_EQ(out(0, 0), reference.U());
    EXPECT_EQ(out(0, 1), reference.U());
    EXPECT_EQ(out(1, 0), reference.U());
    EXPECT_EQ(out(1, 1), reference.U());
}

}  // namespace
