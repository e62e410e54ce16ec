#include "Triple.h"

#include <quarn/random/TruncatedNormal.h>

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::VectorXd;
using quarn_test::ByRows;
using quarn_test::Infinity;
using quarn_test::NaN;
using quarn_test::SameDigits;

struct Triple : quarn_test::Triple {
    Triple() : quarn_test::Triple(20110301) {}
};

/// The scalar and matrix forms by one name each.
struct Zero {
    auto operator()(Triple& t, auto&&... x) const { return quarn::tnormrnd0(TRIPLE(t), x...); }
};
struct Lower {
    static constexpr bool upper = false;
    auto operator()(Triple& t, auto&&... x) const { return quarn::tnormrnd_lower(TRIPLE(t), x...); }
};
struct Upper {
    static constexpr bool upper = true;
    auto operator()(Triple& t, auto&&... x) const { return quarn::tnormrnd_upper(TRIPLE(t), x...); }
};

constexpr double mu = 0.7, sigma = 2.5, bound = 1.25;
const MatrixXd mus{{0.5, -4.3, 30.0}, {-0.1, 2.0, -1e3}, {0.3, Infinity, 1.1}};
const MatrixXd sigmas{{1.0, 0.7, 2.0}, {5.0, 1e-3, 7.0}, {0.0, 1.0, 0.7}};
const MatrixXd bounds{{0.4, Infinity, -Infinity}, {3.0, 2.001, 2e3}, {1.0, 0.0, NaN}};

/// How a form computes the kernel's a.
enum class A { Quotient, Reciprocal };  ///< (bound - mu) / sigma, (-1 / sigma) mu

struct Form;
using Fill = void (*)(const Form&, Triple&, MatrixXd& out);

/// A form that fills a matrix, and the parameters of each of its cells.
struct Form {
    bool upper;
    A a;
    MatrixXd mus, sigmas, bounds;
    Fill fill;

    /// The kernel's draw in place; NaN, without a draw, outside the domain.
    double Expected(Triple& t, Index i, Index j) const {
        const double m = mus(i, j), s = sigmas(i, j);
        if (!(s > 0.0) || !std::isfinite(m)) return NaN;
        const double lowest = a == A::Reciprocal ? -1.0 / s * m : (bounds(i, j) - m) / s;
        const double z = quarn::Chopin2011_lower(TRIPLE(t), upper ? -lowest : lowest);
        return upper ? m - z * s : z * s + m;
    }
};

MatrixXd Repeated(const MatrixXd& cells, Index copies) { return cells.replicate(copies, 1); }
MatrixXd Repeated(double cell, Index copies) { return MatrixXd::Constant(3 * copies, 3, cell); }

auto AddTo(std::vector<Form>& forms, Index copies, bool upper) {
    return [&forms, copies, upper](A a, const auto& m, const auto& s, const auto& b, Fill fill) {
        forms.push_back({upper, a, Repeated(m, copies), Repeated(s, copies), Repeated(b, copies), fill});
    };
}

template <class Family>
void AddFormsWithBound(std::vector<Form>& forms, Index copies) {
    const auto add = AddTo(forms, copies, Family::upper);
    add(A::Quotient, mu, sigma, bound, [](auto&, auto& t, auto& out) { Family()(t, mu, sigma, bound, out); });
    add(A::Quotient, mu, sigma, bounds, [](auto& f, auto& t, auto& out) { Family()(t, mu, sigma, f.bounds, out); });
    add(A::Quotient, mus, sigmas, bound, [](auto& f, auto& t, auto& out) { Family()(t, f.mus, f.sigmas, bound, out); });
    add(A::Quotient, mus, sigmas, bounds,
        [](auto& f, auto& t, auto& out) { Family()(t, f.mus, f.sigmas, f.bounds, out); });
    add(A::Quotient, mus, sigmas, bounds, [](auto& f, auto& t, auto& out) {
        ByRows(out, [&](Index i, Index j) { return Family()(t, f.mus(i, j), f.sigmas(i, j), f.bounds(i, j)); });
    });
    add(A::Reciprocal, mus, sigma, 0.0, [](auto& f, auto& t, auto& out) { Family()(t, f.mus, sigma, out); });
    add(A::Reciprocal, mus, sigma, 0.0, [](auto& f, auto& t, auto& out) {  // of vectors, the cells in order of drawing
        const MatrixXd transposed = f.mus.transpose();
        VectorXd drawn(out.size());
        Family()(t, VectorXd(transposed.reshaped()), sigma, drawn);
        out = drawn.reshaped(out.cols(), out.rows()).transpose();
    });
}

/// All forms, with the matrices of parameters so many times, one below the other.
std::vector<Form> Forms(Index copies) {
    std::vector<Form> forms;
    AddFormsWithBound<Lower>(forms, copies);
    AddFormsWithBound<Upper>(forms, copies);
    const auto add = AddTo(forms, copies, false);
    add(A::Quotient, mu, sigma, 0.0, [](auto&, auto& t, auto& out) { Zero()(t, mu, sigma, out); });
    add(A::Reciprocal, mus, sigmas, 0.0, [](auto& f, auto& t, auto& out) { Zero()(t, f.mus, f.sigmas, out); });
    add(A::Quotient, mus, sigmas, 0.0, [](auto& f, auto& t, auto& out) {
        ByRows(out, [&](Index i, Index j) { return Zero()(t, f.mus(i, j), f.sigmas(i, j)); });
    });
    return forms;
}

TEST(tnormrnd, EveryFormDrawsTheKernelRowByRow) {
    for (const Index copies : {0, 1, 30}) {
        const std::vector<Form> forms = Forms(copies);
        ASSERT_EQ(forms.size(), 17u);
        for (std::size_t f = 0; f < forms.size(); ++f) {
            for (const quarn::Unif& unif : {quarn::Unif(0.0, 1.0), quarn::Unif(0.25, 0.75)}) {
                Triple t, kernel;
                t.unif = kernel.unif = unif;
                MatrixXd out(3 * copies, 3), expected(3 * copies, 3);
                forms[f].fill(forms[f], t, out);
                ByRows(expected, [&](Index i, Index j) { return forms[f].Expected(kernel, i, j); });
                EXPECT_TRUE(SameDigits(out, expected) && SameState(t, kernel)) << f << ", " << copies;
            }
        }
    }
}

TEST(tnormrnd, DrawsStayWithinTheirBoundWhateverTheRounding) {
    Triple t;
    for (const double m : {-1e9, -3.3, 0.0, 0.1, 7e5}) {
        for (const double s : {1e-320, 1e-9, 0.3, 1.0, 17.0, 1e10}) {
            for (const double b : {m - 40 * s, m, m + s, m + 1e4 * s, m + 1e9 * s, 0.0, 1e308}) {
                for (int i = 0; i < 100; ++i) {
                    const double lower = Lower()(t, m, s, b), upper = Upper()(t, -m, s, -b);
                    ASSERT_TRUE(lower >= b && std::isfinite(lower)) << m << ", " << s << ", " << b;
                    ASSERT_TRUE(upper <= -b && std::isfinite(upper)) << m << ", " << s << ", " << b;
                    ASSERT_GE(Zero()(t, -b, s), 0.0) << b << ", " << s;
                }
            }
        }
    }
}

TEST(tnormrnd, OutMayBeAnArgument) {
    Triple t, apart;
    MatrixXd m = mus, b = bounds, out(3, 3);
    Lower()(t, m, sigmas, bound, m);
    Lower()(apart, mus, sigmas, bound, out);
    EXPECT_TRUE(SameDigits(m, out));
    Upper()(t, mus, sigmas, b, b);
    Upper()(apart, mus, sigmas, bounds, out);
    EXPECT_TRUE(SameDigits(b, out));
}

TEST(tnormrnd, OutsideTheDomainIsNaNWithoutADraw) {
    const double cases[][3] = {{NaN, 1, 0}, {0, NaN, 0}, {0, 1, NaN},      {Infinity, 1, 0},        {-Infinity, 1, 0},
                               {0, 0, 0},   {0, -1, 0},  {0, Infinity, 0}, {Infinity, 1, Infinity}, {1, 0, Infinity}};
    Triple t;
    for (const auto& [m, s, b] : cases) {
        MatrixXd out = MatrixXd::Zero(2, 2);
        Lower()(t, m, s, b, out);
        EXPECT_TRUE(out.array().isNaN().all()) << m << s << b;
        EXPECT_TRUE(std::isnan(Lower()(t, m, s, b)) && std::isnan(Upper()(t, m, s, b)));
        EXPECT_TRUE(std::isnan(b) || std::isnan(Zero()(t, m, s)));
    }
    EXPECT_TRUE(SameState(t, Triple()));
}

}  // namespace
