#include "Triple.h"

#include <quarn/base/Globals.h>
#include <quarn/random/TruncatedNormal.h>

#include <boost/math/special_functions/erf.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <vector>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::VectorXd;
using namespace quarn::Quarn_COMP_GLOBALS;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr double Largest = std::numeric_limits<double>::max();

double Up(double x) { return std::nextafter(x, Infinity); }
double Down(double x) { return std::nextafter(x, -Infinity); }

struct Triple : quarn_test::Triple {
    Triple() : quarn_test::Triple(20110301) {}
    bool operator==(const Triple& other) const { return rng == other.rng && norm == other.norm; }
};

double Kernel(Triple& t, double a) { return quarn::Chopin2011_lower(t.rng, t.unif, t.norm, a); }
double Between(Triple& t, double a, double b) { return quarn::Botev2017(t.rng, t.unif, t.norm, a, b); }

/// The draws as published, from a plain engine.
struct Reference : quarn_test::Reference {
    Reference() : quarn_test::Reference(20110301) {}

    double NormalIn(double a, double b) {
        for (;;) {
            const double z = Z();
            if (z >= a && z <= b) return z;
        }
    }

    double Tail(double a) {
        const double c = 0.5 * a * a;
        for (;;) {
            const double e = c - std::log(U());
            const double u = U();
            if (e * u * u <= c) return std::sqrt(2.0 * e);
        }
    }

    double OpenCell(double xl) {
        for (;;) {
            const double u1 = U();
            const double e = xl * xl / 2.0 - std::log(U());
            if (u1 * e * u1 <= xl * xl / 2.0) return std::sqrt(2.0 * e);
        }
    }

    double Lower(double a) {
        if (a < TRUNCN_a_min) return NormalIn(a, Infinity);
        if (a > TRUNCN_a_max) return std::isinf(a) ? a : Tail(a);
        const int M = (static_cast<int>(TRUNCN_x.size()) + 1) / 2, I0 = M - 1;
        const int s = TRUNCN_Jk[static_cast<int>(std::floor(a / TRUNCN_h)) - TRUNCN_k_min] - I0;
        for (;;) {
            const int j = static_cast<int>(std::floor(U() * (1 - s + M))) + (s - 1), i = I0 + j;
            if (j == I0) return OpenCell(TRUNCN_x[i]);
            const double x = TRUNCN_x[i], w = TRUNCN_x[i + 1] - x, u3 = U();
            double y, z;
            if (j > s) {
                y = u3 * TRUNCN_yu[i];
                if (y <= TRUNCN_yl[i]) return x + w * y / TRUNCN_yl[i];
                z = x + w * U();
            } else {
                z = x + w * u3;
                if (z < a) continue;
                y = U() * TRUNCN_yu[i];
                if (y <= TRUNCN_yl[i]) return z;
            }
            if (-std::log(y) >= z * z / 2.0 + log2pi_half) return z;
        }
    }

    double TailIn(double a, double b) {
        const double c = a * a / 2.0, q = std::expm1(c - b * b / 2.0);
        for (;;) {
            const double e = c - std::log(1.0 + U() * q);
            const double u = U();
            if (u * u * e <= c) return std::sqrt(2.0 * e);
        }
    }

    double Inverse(double a, double b) {
        const double root = std::numbers::sqrt2;
        const double pl = std::erfc(a / root) / 2.0, pu = std::erfc(b / root) / 2.0;
        return root * boost::math::erfc_inv(2.0 * (pl - U() * (pl - pu)));
    }

    double Between(double a, double b) {
        if (a > 0.66) return TailIn(a, b);
        if (b < -0.66) return -TailIn(-b, -a);
        return std::abs(b - a) > 2.0 ? NormalIn(a, b) : Inverse(a, b);
    }
};

long double Density(long double x) {
    return std::exp(-x * x / 2.0L) / std::sqrt(2.0L * std::numbers::pi_v<long double>);
}
long double ProbabilityAbove(long double x) { return boost::math::erfc(x / std::numbers::sqrt2_v<long double>) / 2.0L; }

double RoundedDown(long double x) { return static_cast<double>(std::floor(x * 0x1p40L) * 0x1p-40L); }

int Open() { return static_cast<int>(TRUNCN_x.size()) - 1; }

/// Bounds in every regime and at both sides of each switch, and the edges of slots and cells.
std::vector<double> Bounds() {
    std::vector<double> bounds = {-Infinity,
                                  -1000,
                                  -5,
                                  Down(TRUNCN_a_min),
                                  TRUNCN_a_min,
                                  Up(TRUNCN_a_min),
                                  -1.5,
                                  -0.5,
                                  -0.0,
                                  0.0,
                                  -5e-324,
                                  5e-324,
                                  0.3,
                                  1.0,
                                  1.7,
                                  Down(TRUNCN_a_max),
                                  TRUNCN_a_max,
                                  Up(TRUNCN_a_max),
                                  3,
                                  10,
                                  1000,
                                  1e6,
                                  1e8,
                                  1e153,
                                  Infinity};
    for (const int k : {-700, -1, 1, 600}) {
        for (const double edge : {k * TRUNCN_h, TRUNCN_x[Open() / 2 + k / 2]}) {
            bounds.insert(bounds.end(), {Down(edge), edge, Up(edge)});
        }
    }
    return bounds;
}

// --- tables --------------------------------------------------------------------------------------------------------

TEST(TruncatedNormalTables, CellsAndTheTailHaveOneArea) {
    const double area = static_cast<double>(ProbabilityAbove(TRUNCN_x[Open()]));
    for (int i = 0; i < Open(); ++i) {
        EXPECT_NEAR((TRUNCN_x[i + 1] - TRUNCN_x[i]) * TRUNCN_yu[i] / area, 1.0, 5e-16) << i;
    }
}

TEST(TruncatedNormalTables, BoundsEncloseTheDensityTightly) {
    for (int i = 0; i < Open(); ++i) {
        const long double ends[] = {Density(TRUNCN_x[i]), Density(TRUNCN_x[i + 1])};
        const auto [least, most] = std::minmax(ends[0], ends[1]);  // no cell has 0 within
        EXPECT_TRUE(TRUNCN_yl[i] <= least && TRUNCN_yl[i] > least - 1e-12) << i;
        EXPECT_TRUE(TRUNCN_yu[i] >= most && TRUNCN_yu[i] < most * (1 + 1e-8)) << i;
    }
    EXPECT_EQ(TRUNCN_yl[Open()], 0.0);
    EXPECT_EQ(TRUNCN_x[Open() / 2], 0.0);
}

TEST(TruncatedNormalTables, NoLaterTailClosesTheCells) {
    const double tail = TRUNCN_x[Open()] + 0x1p-40;
    const long double area = ProbabilityAbove(tail);
    double x = 0.0;
    for (int i = 1; i < Open() / 2; ++i) x = RoundedDown(x + area / Density(x));
    EXPECT_GT((tail - x) * Density(x), area);
}

TEST(TruncatedNormalTables, DoNotDependOnTheLastDigitOfExp) {
    const long double area = static_cast<double>(ProbabilityAbove(TRUNCN_x[Open()]));
    for (const long double error : {-4e-16L, 0.0L, 4e-16L}) {
        for (int i = Open() / 2; i < Open(); ++i) {
            const double next = RoundedDown(TRUNCN_x[i] + area / (Density(TRUNCN_x[i]) * (1 + error)));
            if (i < Open() - 1) {
                EXPECT_EQ(TRUNCN_x[i + 1], next) << i;
            }
            EXPECT_EQ(TRUNCN_yl[i], RoundedDown(Density(TRUNCN_x[i + 1]) * (1 + error))) << i;
        }
    }
}

TEST(TruncatedNormalTables, OnlyTheEntryAndTheCellBeforeItMayHoldABoundOfTheSlot) {
    for (int slot = 0; slot < TRUNCN_Jk.size(); ++slot) {
        const int entry = TRUNCN_Jk[slot], k = TRUNCN_k_min + slot;
        ASSERT_TRUE(entry >= 1 && entry < Open()) << slot;
        EXPECT_LE(TRUNCN_x[entry - 1], k * TRUNCN_h) << slot;
        EXPECT_GE(TRUNCN_x[entry + 1], (k + 1) * TRUNCN_h) << slot;
    }
}

TEST(TruncatedNormalTables, EveryBoundOfTheRangeHasASlot) {
    const auto slotOf = [](double a) { return static_cast<int>(std::floor(a / TRUNCN_h)) - TRUNCN_k_min; };
    EXPECT_EQ(slotOf(TRUNCN_a_min), 0);
    EXPECT_EQ(slotOf(TRUNCN_a_max), TRUNCN_Jk.size() - 1);
    for (int slot = 0; slot < TRUNCN_Jk.size(); ++slot) {  // floor and the division are monotone: edges are enough
        const double edge = (TRUNCN_k_min + slot) * TRUNCN_h;
        EXPECT_EQ(slotOf(edge), slot);
        EXPECT_EQ(slotOf(Down(edge)), slot - 1);
    }
}

const double drawnBeforeMain = [] {
    Triple t;
    return Kernel(t, 0.25);
}();

TEST(TruncatedNormalTables, StandBeforeOtherStaticObjects) {
    Triple t;
    EXPECT_EQ(drawnBeforeMain, Kernel(t, 0.25));
}

// --- kernel --------------------------------------------------------------------------------------------------------

TEST(Chopin2011_lower, DrawsAsPublished) {
    for (const double a : Bounds()) {
        Triple t;
        Reference reference;
        for (int i = 0; i < 5000; ++i) {
            const double z = Kernel(t, a);
            ASSERT_EQ(z, reference.Lower(a)) << a << ", draw " << i;
            ASSERT_GE(z, a);
        }
        EXPECT_TRUE(SameState(t, reference)) << a;
    }
}

TEST(Chopin2011_lower, StaysFiniteWhereSquaresOverflow) {
    Triple t;
    for (const double a : {1e154, 1.4e154, 1e200, Largest}) {
        const double z = Kernel(t, a);
        EXPECT_TRUE(z >= a && z <= a * (1 + 1e-15)) << a;
    }
}

TEST(Chopin2011_lower, TakesAUniformOfOneForTheOpenCell) {
    Triple t;
    t.unif = quarn::Unif(1.0, 1.0);
    for (const double a : {TRUNCN_a_min, 0.0, TRUNCN_a_max}) EXPECT_DOUBLE_EQ(Kernel(t, a), TRUNCN_x[Open()]);
}

// --- two bounds ----------------------------------------------------------------------------------------------------

TEST(Botev2017, DrawsAsPublished) {
    const double intervals[][2] = {
        {0.67, 0.9}, {Up(0.66), 5},  {2, Infinity},   {10, 10.5},     {-0.9, -0.67},         {0.66, 2},
        {0.66, 2.7}, {-1, 1},        {-1, Up(1)},     {-0.66, 0.1},   {-5, -0.66},           {-5, Down(-0.66)},
        {-0.3, 0.2}, {-Infinity, 0}, {-Infinity, -3}, {-1, Infinity}, {-Infinity, Infinity}, {0.5, 0.5 + 1e-6}};
    for (const auto& [a, b] : intervals) {
        Triple t;
        Reference reference;
        // The inversion rounds otherwise than the reference does.
        for (int i = 0; i < 1000; ++i) ASSERT_NEAR(Between(t, a, b), reference.Between(a, b), 3e-15) << a << ", " << b;
        EXPECT_TRUE(SameState(t, reference)) << a << ", " << b;
    }
}

TEST(Botev2017, StaysWithinItsInterval) {
    Triple t;
    for (const double a :
         {-1e300, -1e8, -3.0, -0.67, -0.66, -1e-9, 0.0, 1e-300, 0.5, 0.66, 0.67, 7.0, 1e4, 1e8, 1e153, 1e200}) {
        for (const double width : {0.0, 1e-300, 1e-12, 1e-8, 1e-3, 1.0, 2.0, 3.0, 1e9, 1e300, Infinity}) {
            for (const double b : {a + width, Up(a + width)}) {
                for (int i = 0; i < 200; ++i) {
                    const double z = Between(t, a, b), mirrored = Between(t, -b, -a);
                    ASSERT_TRUE(a <= z && z <= b && std::isfinite(z)) << a << ", " << b << ": " << z;
                    ASSERT_TRUE(-b <= mirrored && mirrored <= -a) << a << ", " << b << ": " << mirrored;
                }
            }
        }
    }
}

TEST(Botev2017, FillsNarrowIntervals) {
    Triple t;
    for (const double a : {-0.5, 1e-15, 0.6}) {
        const double b = a + 1e-14;
        double sum = 0.0;
        for (int i = 0; i < 10000; ++i) sum += (Between(t, a, b) - a) / (b - a);
        EXPECT_NEAR(sum / 10000, 0.5, 0.02) << a;
    }
}

TEST(Botev2017, MethodsCalledDirectlyEndForEveryInterval) {
    Triple t;
    const double intervals[][2] = {{1e-300, 1}, {1e-300, Infinity}, {1e-4, 9},     {0x1p-10, 1},
                                   {6, 7},      {50, 60},           {40, Infinity}};
    for (const auto& [a, b] : intervals) {
        const double tail = quarn::Botev2017_ntail(t.rng, t.unif, a, b);
        const double near = quarn::Botev2017_tn(t.rng, t.unif, t.norm, a, b);
        const double mirrored = quarn::Botev2017_tn(t.rng, t.unif, t.norm, -b, -a);
        EXPECT_TRUE(a <= tail && tail <= b) << a;
        EXPECT_TRUE(a <= near && near <= b) << a;
        EXPECT_TRUE(a <= -mirrored && -mirrored <= b) << a;
    }
}

// --- location and scale --------------------------------------------------------------------------------------------

/// The scalar and matrix forms by one name each.
struct Zero {
    static constexpr bool upper = false;
    auto operator()(Triple& t, auto&&... x) const { return quarn::tnormrnd0(t.rng, t.unif, t.norm, x...); }
};
struct Lower {
    static constexpr bool upper = false;
    auto operator()(Triple& t, auto&&... x) const { return quarn::tnormrnd_lower(t.rng, t.unif, t.norm, x...); }
};
struct Upper {
    static constexpr bool upper = true;
    auto operator()(Triple& t, auto&&... x) const { return quarn::tnormrnd_upper(t.rng, t.unif, t.norm, x...); }
};

/// What a cell is drawn from: a is the kernel's argument in the lower form.
struct Law {
    double a, mu, sigma;
    double Draw(Triple& t, bool upper) const {
        const double z = Kernel(t, upper ? -a : a);
        return upper ? mu - z * sigma : z * sigma + mu;
    }
};

/// A form that fills a matrix, and the law of each cell.
struct Form {
    bool upper;
    std::function<void(Triple&, MatrixXd&)> fill;
    std::function<Law(Index, Index)> law;
};

constexpr double mu = 0.7, sigma = 2.5, bound = 1.25;
const MatrixXd mus = (MatrixXd(2, 3) << 0.5, -4, 30, -0.1, 2, -1e3).finished();
const MatrixXd sigmas = (MatrixXd(2, 3) << 1, 0.3, 2, 5, 1e-3, 7).finished();
const MatrixXd bounds = (MatrixXd(2, 3) << 0.4, Infinity, -Infinity, 3, 2.001, 2e3).finished();

template <class Family>
void AddFormsWithBound(std::vector<Form>& forms) {
    const auto add = [&forms](auto m, auto s, auto b, auto law) {
        forms.push_back({Family::upper, [=](Triple& t, MatrixXd& out) { Family()(t, m, s, b, out); }, law});
    };
    add(mu, sigma, bound, [](Index, Index) { return Law{(bound - mu) / sigma, mu, sigma}; });
    add(mu, sigma, bounds, [](Index i, Index j) { return Law{(bounds(i, j) - mu) / sigma, mu, sigma}; });
    add(mus, sigmas, bound, [](Index i, Index j) {
        return Law{(bound - mus(i, j)) / sigmas(i, j), mus(i, j), sigmas(i, j)};
    });
    add(mus, sigmas, bounds, [](Index i, Index j) {
        return Law{(bounds(i, j) - mus(i, j)) / sigmas(i, j), mus(i, j), sigmas(i, j)};
    });
    const auto toZero = [](Index i, Index j) { return Law{-1.0 / sigma * mus(i, j), mus(i, j), sigma}; };
    forms.push_back({Family::upper, [](Triple& t, MatrixXd& out) { Family()(t, mus, sigma, out); }, toZero});
    const auto byColumn = [](Triple& t, MatrixXd& out) {  // the vector form, on the cells in the order of drawing
        const MatrixXd transposed = mus.transpose();
        VectorXd drawn(mus.size());
        Family()(t, VectorXd(transposed.reshaped()), sigma, drawn);
        out = drawn.reshaped(mus.cols(), mus.rows()).transpose();
    };
    forms.push_back({Family::upper, byColumn, toZero});
}

std::vector<Form> Forms() {
    std::vector<Form> forms;
    forms.push_back({false, [](Triple& t, MatrixXd& out) { Zero()(t, mu, sigma, out); },
                     [](Index, Index) {
                         return Law{-mu / sigma, mu, sigma};
                     }});
    forms.push_back({false, [](Triple& t, MatrixXd& out) { Zero()(t, mus, sigmas, out); },
                     [](Index i, Index j) {
                         return Law{-1.0 / sigmas(i, j) * mus(i, j), mus(i, j), sigmas(i, j)};
                     }});
    AddFormsWithBound<Lower>(forms);
    AddFormsWithBound<Upper>(forms);
    return forms;
}

TEST(tnormrnd, MatrixFormsDrawTheKernelRowByRow) {
    const std::vector<Form> forms = Forms();
    ASSERT_EQ(forms.size(), 14u);
    for (std::size_t f = 0; f < forms.size(); ++f) {
        Triple t, expected;
        for (int round = 0; round < 200; ++round) {
            MatrixXd out(2, 3);
            forms[f].fill(t, out);
            for (Index i = 0; i < 2; ++i) {
                for (Index j = 0; j < 3; ++j) {
                    ASSERT_EQ(out(i, j), forms[f].law(i, j).Draw(expected, forms[f].upper)) << f << ": " << i << j;
                }
            }
        }
        EXPECT_TRUE(t == expected) << f;
    }
}

TEST(tnormrnd, LargeMatricesDrawTheSameNumbersAsScalars) {
    for (const quarn::Unif& unif : {quarn::Unif(0.0, 1.0), quarn::Unif(0.25, 0.75)}) {
        Triple t, expected;
        t.unif = expected.unif = unif;
        const MatrixXd b = VectorXd::LinSpaced(2100, -5.0, 5.0).reshaped(700, 3);
        MatrixXd one(700, 3), each(700, 3);
        Lower()(t, mu, sigma, bound, one);
        Upper()(t, mu, sigma, b, each);
        for (const double x : one.transpose().reshaped()) ASSERT_EQ(x, Lower()(expected, mu, sigma, bound));
        for (Index i = 0; i < 700; ++i) {
            for (Index j = 0; j < 3; ++j) ASSERT_EQ(each(i, j), Upper()(expected, mu, sigma, b(i, j))) << i << j;
        }
        EXPECT_TRUE(t == expected);
    }
}

TEST(tnormrnd, ScalarFormsDrawTheKernel) {
    Triple t, expected;
    for (const double b : {-1e3, -8.0, 0.0, 1.1, 6.5, 40.0}) {
        for (int i = 0; i < 200; ++i) {
            const Law law{(b - mu) / sigma, mu, sigma};
            ASSERT_EQ(Lower()(t, mu, sigma, b), law.Draw(expected, false));
            ASSERT_EQ(Upper()(t, mu, sigma, b), law.Draw(expected, true));
            ASSERT_EQ(Zero()(t, b, sigma), (Law{-b / sigma, b, sigma}.Draw(expected, false)));
        }
    }
    EXPECT_TRUE(t == expected);
}

TEST(tnormrnd, LowerAndUpperAreExactNegatives) {
    for (const double b : {-Infinity, -50.0, -1.0, 0.0, 0.8, 4.0, 1e5}) {
        Triple t, mirrored;
        for (int i = 0; i < 1000; ++i) ASSERT_EQ(Lower()(t, 0.0, 1.5, -b), -Upper()(mirrored, 0.0, 1.5, b)) << b;
        EXPECT_TRUE(t == mirrored);
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

TEST(tnormrnd, InfiniteBoundIsNoneOrThePoint) {
    Triple t, plain;
    EXPECT_EQ(Lower()(t, mu, sigma, -Infinity), quarn::NormalDraw(plain.rng, plain.norm) * sigma + mu);
    EXPECT_EQ(Upper()(t, mu, sigma, Infinity), mu - quarn::NormalDraw(plain.rng, plain.norm) * sigma);
    EXPECT_EQ(Lower()(t, mu, sigma, Infinity), Infinity);
    EXPECT_EQ(Upper()(t, mu, sigma, -Infinity), -Infinity);
    EXPECT_TRUE(t == plain);
}

TEST(tnormrnd, OutMayBeAnArgument) {
    Triple t, apart;
    MatrixXd m = mus, b = bounds, out(2, 3);
    Lower()(t, m, sigmas, bound, m);
    Lower()(apart, mus, sigmas, bound, out);
    EXPECT_EQ(m, out);
    Upper()(t, mus, sigmas, b, b);
    Upper()(apart, mus, sigmas, bounds, out);
    EXPECT_EQ(b, out);
}

TEST(tnormrnd, EmptyOutDrawsNothing) {
    Triple t;
    MatrixXd none(0, 3);
    VectorXd empty(0);
    Zero()(t, mu, sigma, none);
    Lower()(t, none, none, none, none);
    Upper()(t, empty, sigma, empty);
    EXPECT_TRUE(t == Triple());
}

// --- outside the domain --------------------------------------------------------------------------------------------

TEST(tnormrnd, OutsideTheDomainIsNaNWithoutADraw) {
    const double cases[][3] = {{NaN, 1, 0}, {0, NaN, 0}, {0, 1, NaN},      {Infinity, 1, 0},        {-Infinity, 1, 0},
                               {0, 0, 0},   {0, -1, 0},  {0, Infinity, 0}, {Infinity, 1, Infinity}, {1, 0, Infinity}};
    Triple t;
    for (const auto& [m, s, b] : cases) {
        MatrixXd out = MatrixXd::Zero(2, 2);
        EXPECT_TRUE(std::isnan(Lower()(t, m, s, b)) && std::isnan(Upper()(t, m, s, b)));
        Lower()(t, m, s, b, out);
        EXPECT_TRUE(out.array().isNaN().all()) << m << s << b;
        EXPECT_TRUE(std::isnan(b) || std::isnan(Zero()(t, m, s)));
    }
    EXPECT_TRUE(std::isnan(Kernel(t, NaN)));
    const double intervals[][2] = {{NaN, 1}, {0, NaN}, {NaN, NaN}, {1, 0}, {5, 4}, {-4, -5}, {Infinity, -Infinity}};
    for (const auto& [a, b] : intervals) {
        EXPECT_TRUE(std::isnan(Between(t, a, b))) << a << ", " << b;
        EXPECT_TRUE(std::isnan(quarn::Botev2017_tn(t.rng, t.unif, t.norm, a, b)));
        EXPECT_TRUE(std::isnan(quarn::Botev2017_ntail(t.rng, t.unif, a, b)));
    }
    EXPECT_TRUE(std::isnan(quarn::Botev2017_ntail(t.rng, t.unif, 0.0, 1.0)));
    EXPECT_TRUE(t == Triple());
}

TEST(tnormrnd, ACellOutsideTheDomainLeavesTheOthersAsTheyAre) {
    Triple t, expected;
    MatrixXd s = sigmas, out(2, 3);
    s(0, 1) = 0.0;
    Lower()(t, mus, s, bound, out);
    for (Index i = 0; i < 2; ++i) {
        for (Index j = 0; j < 3; ++j) {
            if (i == 0 && j == 1) {
                EXPECT_TRUE(std::isnan(out(i, j)));
            } else {
                EXPECT_EQ(out(i, j), Lower()(expected, mus(i, j), s(i, j), bound));
            }
        }
    }
    EXPECT_TRUE(t == expected);
}

}  // namespace
