#include "Triple.h"

#include <quarn/random/Univariate.h>

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn_test::ByRows;
using quarn_test::Infinity;
using quarn_test::NaN;
using quarn_test::Reference;
using quarn_test::SameDigits;
using quarn_test::SameState;
using quarn_test::Triple;

/// The law as its contract states it.
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
using Form = std::function<void(Triple&, MatrixXd&)>;

/// A law with one set of parameters in all its forms. cells: the law in forms with out, where that is not cell by cell.
struct Case {
    std::string name;
    Law law;
    std::function<double(Triple&)> scalar;
    std::vector<Form> forms;
    std::function<void(Reference&, MatrixXd&)> cells = {};
};

MatrixXd Like(const MatrixXd& out, double value) { return MatrixXd::Constant(out.rows(), out.cols(), value); }

/// The forms of a family: one draw, and out filled with shared parameters and with matrices of them.
template <class Family, class... Double>
Case CaseOf(const char* name, const Law& law, Family family, Double... p) {
    return {(name + ... + (' ' + std::to_string(p))),
            law,
            [=](Triple& T) { return family(T, p...); },
            {[=](Triple& T, MatrixXd& out) { family(T, p..., out); },
             [=](Triple& T, MatrixXd& out) { family(T, Like(out, p)..., out); }}};
}

// The families, each by one name for all its forms.
constexpr auto gamma = [](Triple& T, auto&&... x) { return quarn::gamrnd(TRIPLE(T), x...); };
constexpr auto weibull = [](Triple& T, auto&&... x) { return quarn::weibullrnd(T.rng, T.unif, x...); };
constexpr auto gumbel = [](Triple& T, auto&&... x) { return quarn::evrnd(T.rng, T.unif, x...); };
constexpr auto beta = [](Triple& T, auto&&... x) { return quarn::betarnd(TRIPLE(T), x...); };
constexpr auto chi2 = [](Triple& T, auto&&... x) { return quarn::chi2rnd(TRIPLE(T), x...); };
constexpr auto f = [](Triple& T, auto&&... x) { return quarn::frnd(TRIPLE(T), x...); };
constexpr auto student = [](Triple& T, auto&&... x) { return quarn::trnd(TRIPLE(T), x...); };

// The laws as their contracts state them.

Case GammaCase(double a, double r) {
    const auto law = [=](Reference& T) { return T.Gamma(a, r); };
    Case c = CaseOf("gamma", law, gamma, a, r);
    c.forms.push_back([=](Triple& T, MatrixXd& out) { gamma(T, Like(out, a), r, out); });
    return c;
}

Case WeibullCase(double k, double s) {
    const auto law = [=](Reference& T) { return s * std::pow(-std::log(1 - T.U()), 1 / k); };
    return CaseOf("weibull", law, weibull, k, s);
}

Case GumbelCase(double m, double b) {
    const auto law = [=](Reference& T) { return m - b * std::log(-std::log(T.U())); };
    return CaseOf("extreme value", law, gumbel, m, b);
}

Case BetaCase(double a, double b) {
    const auto law = [=](Reference& T) {
        const double x = T.Gamma(a, 80), y = T.Gamma(b, 80);
        return x / (x + y);
    };
    return CaseOf("beta", law, beta, a, b);
}

Case Chi2Case(double df) {
    const auto law = [=](Reference& T) { return T.Gamma(df / 2, 0.5); };
    return CaseOf("chi2", law, chi2, df);
}

Case FCase(double df1, double df2) {
    const auto law = [=](Reference& T) {
        const double x = T.Gamma(df1 / 2, 0.5), y = T.Gamma(df2 / 2, 0.5);
        return df2 / df1 * (x / y);
    };
    Case c = CaseOf("F", law, f, df1, df2);
    c.cells = [=](Reference& T, MatrixXd& out) {
        ByRows(out, [&](Index, Index) { return T.Gamma(df1 / 2, 0.5); });
        ByRows(out, [&](Index i, Index j) { return df2 / df1 * (out(i, j) / T.Gamma(df2 / 2, 0.5)); });
    };
    return c;
}

Case StudentCase(double df) {
    const auto law = [=](Reference& T) {
        const double g = T.Gamma(df / 2, df / 2);
        return T.Z() / std::sqrt(g);
    };
    Case c = CaseOf("t", law, student, df);
    c.cells = [=](Reference& T, MatrixXd& out) {
        ByRows(out, [&](Index, Index) { return T.Gamma(df / 2, df / 2); });
        ByRows(out, [&](Index i, Index j) { return T.Z() / std::sqrt(out(i, j)); });
    };
    return c;
}

Case PoissonCase(double lambda) {
    return {"poisson " + std::to_string(lambda),
            [=](Reference& T) { return Poisson(T, lambda); },
            [=](Triple& T) { return quarn::poissonrnd(TRIPLE(T), lambda); },
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
    const std::pair<Index, Index> shapes[] = {{25, 4}, {7, 5}, {0, 3}, {3, 0}};
    for (const Case& c : Cases()) {
        for (const Form& form : c.forms) {
            Triple triple(22), scalar(22);
            Reference reference(22);
            quarn::NormalDraw(triple.rng, triple.norm);  // a spare that some function left over is the first normal
            quarn::NormalDraw(scalar.rng, scalar.norm);
            reference.Z();
            for (const auto& [rows, columns] : shapes) {
                MatrixXd out(rows, columns), expected(rows, columns);
                form(triple, out);
                if (c.cells) {
                    c.cells(reference, expected);
                    for (Index i = 0; i < out.size(); ++i) ASSERT_DOUBLE_EQ(out(i), expected(i)) << c.name << ' ' << i;
                    EXPECT_TRUE(SameState(triple, reference)) << c.name;
                } else {
                    ByRows(expected, [&](Index, Index) { return c.scalar(scalar); });
                    EXPECT_TRUE(SameDigits(out, expected) && SameState(triple, scalar)) << c.name;
                }
            }
        }
    }
}

TEST(UnivariateLaws, AreNaNWithoutADrawOutsideTheirDomain) {
    Triple T(25);
    std::vector<double> draws;
    for (const double bad : {0.0, -1.0, -Infinity, Infinity, NaN}) {
        std::vector<Case> cases{Chi2Case(bad), StudentCase(bad)};
        for (const double shape : {1e-3, 1.0, 40.0}) cases.push_back(GammaCase(shape, 1e-310));  // 1/rate overflows
        for (const auto& [x, y] : {std::pair{bad, 1.0}, {1.0, bad}, {40.0, bad}}) {
            cases.insert(cases.end(), {GammaCase(x, y), WeibullCase(x, y), BetaCase(x, y), FCase(x, y)});
        }
        cases.push_back(GumbelCase(0.0, bad));
        if (!std::isfinite(bad)) cases.push_back(GumbelCase(bad, 1.0));
        if (bad != 0.0) cases.push_back(PoissonCase(bad));
        for (const Case& c : cases) {
            draws.push_back(c.scalar(T));
            for (const Form& form : c.forms) {
                MatrixXd out = MatrixXd::Zero(2, 2);
                form(T, out);
                draws.insert(draws.end(), out.data(), out.data() + out.size());
            }
        }
    }
    for (const double x : draws) EXPECT_TRUE(std::isnan(x));
    EXPECT_TRUE(SameState(T, Reference(25)));
}

TEST(UnivariateLaws, SkipOnlyTheCellsOutsideTheDomain) {
    const MatrixXd df{{3.0, NaN}, {-1.0, 80.0}}, good{{3.0, 3.0}, {80.0, 80.0}}, inside{{3.0, 80.0}};
    Triple T(26), expected(26);
    MatrixXd out(2, 2), drawn(1, 2);
    student(T, df, out);
    student(expected, inside, drawn);
    EXPECT_TRUE(SameDigits(out, MatrixXd{{drawn(0), NaN}, {NaN, drawn(1)}}));
    f(T, df, good, out);
    f(expected, inside, inside, drawn);
    EXPECT_TRUE(SameDigits(out, MatrixXd{{drawn(0), NaN}, {NaN, drawn(1)}}));
    EXPECT_TRUE(SameState(T, expected));
}

const MatrixXd first{{0.5, 2.0, 40.0}, {3.0, 0.1, 61.0}}, second{{1.0, 2.0, 3.0}, {70.0, 0.5, 6.0}};

TEST(UnivariateLaws, TakeTheParametersOfEachCell) {
    const auto expect = [](auto law, const auto&... p) {
        Triple T(34), scalar(34);
        MatrixXd out(2, 3), expected(2, 3);
        law(T, p..., out);
        ByRows(expected, [&](Index i, Index j) { return law(scalar, p(i, j)...); });
        EXPECT_TRUE(SameDigits(out, expected));
    };
    expect(gamma, first, second);
    expect(weibull, first, second);
    expect(gumbel, first, second);
    expect(beta, first, second);
    expect(chi2, first);
}

TEST(UnivariateLaws, WriteOverTheirOwnParameters) {
    Triple T(27), apart(27);
    const auto expect = [&](auto law) {  // of a parameter and out
        MatrixXd out(2, 3), inPlace = second;
        law(apart, second, out);
        law(T, inPlace, inPlace);
        EXPECT_TRUE(SameDigits(inPlace, out));
    };
    const auto expectOfTwo = [&](auto law) {
        expect([&](Triple& t, const MatrixXd& x, MatrixXd& out) { law(t, x, first, out); });
        expect([&](Triple& t, const MatrixXd& x, MatrixXd& out) { law(t, first, x, out); });
    };
    expectOfTwo(gamma);
    expectOfTwo(weibull);
    expectOfTwo(gumbel);
    expectOfTwo(beta);
    expectOfTwo(f);
    expect(chi2);
    expect(student);
}

TEST(Gamma, ScalesExactlyWithTheReciprocalOfTheRate) {
    for (const double a : {0.3, 1.0, 5.0, 100.0}) {
        Triple unit(28), T(28);
        for (int i = 0; i < 200; ++i) ASSERT_EQ(gamma(T, a, 3.7), gamma(unit, a, 1.0) * (1 / 3.7));
    }
}

TEST(Beta, IsNeverNaNHoweverSmallItsShapes) {
    for (const double shape : {0.05, 0.01, 1e-3, 1e-6, 1e-300, 5e-324}) {
        Triple T(30);
        double sum = 0.0;
        for (int i = 0; i < 2000; ++i) {
            const double x = beta(T, shape, shape);
            ASSERT_TRUE(x >= 0.0 && x <= 1.0) << shape;
            sum += x;
        }
        EXPECT_NEAR(sum / 2000, 0.5, 0.06) << shape;  // 5 standard errors of a law on {0, 1}
    }
}

TEST(HugeShapes, KeepTheDrawsInTheRangeOfDoubles) {
    // Next to them, the normal of a gamma variate leaves no trace.
    for (const double huge : {4.6e307, 1e308, std::numeric_limits<double>::max()}) {
        Triple T(35), normals(35);
        EXPECT_DOUBLE_EQ(gamma(T, huge, 1.0), huge);
        EXPECT_DOUBLE_EQ(beta(T, huge, huge), 0.5);
        EXPECT_EQ(beta(T, huge, 1.0), 1.0);
        normals = T;
        quarn::NormalDraw(normals.rng, normals.norm);
        EXPECT_DOUBLE_EQ(student(T, huge), quarn::NormalDraw(normals.rng, normals.norm));
        EXPECT_DOUBLE_EQ(f(T, huge, huge), 1.0);
    }
}

TEST(SmallDegreesOfFreedom, KeepTheQuotientsOfFAndTWhereTheGammaVariatesUnderflow) {
    // Whatever the df, F of equal ones is above 1 in half of the draws. With df of 0.016, g is below the smallest
    // number in 1 of 300 draws, and t beyond 1e160 in 1 of 370, but beyond doubles in 1 of 100,000.
    Triple T(31);
    Triple each(31);
    MatrixXd ratios(1000, 2), ofEach(1000, 2), t(1000, 4);
    f(T, 0.02, 0.02, ratios);
    f(each, Like(ratios, 0.02), Like(ratios, 0.02), ofEach);
    EXPECT_TRUE(SameDigits(ofEach, ratios));
    student(T, 0.016, t);
    EXPECT_FALSE(ratios.array().isNaN().any());
    EXPECT_NEAR(static_cast<double>((ratios.array() > 1.0).count()), 1000, 5 * std::sqrt(500));
    EXPECT_TRUE(t.array().isFinite().all());
    EXPECT_TRUE((t.array().abs() > 1e160).any());
    student(T, 1e-309, t);
    EXPECT_TRUE((t.array().abs() == Infinity).all());
}

}  // namespace
