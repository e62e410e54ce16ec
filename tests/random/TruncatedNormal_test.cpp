#include "Triple.h"

#include <quarn/base/Globals.h>
#include <quarn/random/TruncatedNormal.h>

#include <boost/math/special_functions/erf.hpp>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

namespace {

using namespace quarn::Quarn_COMP_GLOBALS;
using quarn_test::Down;
using quarn_test::Infinity;
using quarn_test::NaN;
using quarn_test::Up;

struct Triple : quarn_test::Triple {
    Triple() : quarn_test::Triple(20110301) {}
};

double Kernel(Triple& t, double a) { return quarn::Chopin2011_lower(TRIPLE(t), a); }
double Between(Triple& t, double a, double b) { return quarn::Botev2017(TRIPLE(t), a, b); }
double Tail(Triple& t, double a, double b) { return quarn::Botev2017_ntail(t.rng, t.unif, a, b); }
double Near(Triple& t, double a, double b) { return quarn::Botev2017_tn(TRIPLE(t), a, b); }

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

/// Bounds in every regime, and both sides of each switch, slot and cell.
std::vector<double> Bounds() {
    std::vector<double> bounds{-Infinity, -1000, -5, -1.5, -0.5, -0.0, 0.3,   1,
                               1.7,       3,     10, 1000, 1e6,  1e8,  1e153, Infinity};
    const auto addBothSidesOf = [&](double edge) { bounds.insert(bounds.end(), {Down(edge), edge, Up(edge)}); };
    for (const double edge : {TRUNCN_a_min, 0.0, TRUNCN_a_max}) addBothSidesOf(edge);
    for (const int k : {-700, -1, 1, 600}) {
        addBothSidesOf(k * TRUNCN_h);
        addBothSidesOf(TRUNCN_x[TRUNCN_x.size() / 2 + k / 2]);
    }
    return bounds;
}

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
    for (const double a : {1e154, 1.4e154, 1e200, std::numeric_limits<double>::max()}) {
        const double z = Kernel(t, a);
        EXPECT_TRUE(z >= a && z <= a * (1 + 1e-15)) << a;
    }
}

TEST(Chopin2011_lower, TakesAUniformOfOneForTheOpenCell) {
    Triple t;
    t.unif = quarn::Unif(1.0, 1.0);
    for (const double a : {TRUNCN_a_min, 0.0, TRUNCN_a_max})
        EXPECT_DOUBLE_EQ(Kernel(t, a), TRUNCN_x[TRUNCN_x.size() - 1]);
}

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

TEST(Botev2017, FillsNarrowIntervalsEvenly) {
    Triple t;
    Reference reference;
    for (const double a : {-0.5, 1e-15, 0.6}) {
        const double b = a + 1e-14, rounding = 4e-16 * std::abs(b);
        for (int i = 0; i < 1000; ++i) ASSERT_NEAR(Between(t, a, b), a + reference.U() * (b - a), rounding) << a;
    }
}

TEST(Botev2017, StaysWithinItsIntervalForTheFirstAndTheLastUniform) {
    Triple t;
    for (const double u : {0.0, 1.0}) {
        t.unif = quarn::Unif(u, u);
        for (double a = -0.6; a < 0.6; a += 0.01) {
            const double z = Between(t, a, a + 1.0);
            EXPECT_TRUE(a <= z && z <= a + 1.0) << a << ", " << u;
        }
        EXPECT_TRUE(std::isfinite(Tail(t, 1e-4, Infinity))) << u;
    }
}

TEST(Botev2017, MethodsCalledDirectlyEndForEveryInterval) {
    Triple t;
    const double intervals[][2] = {{1e-300, 1}, {1e-300, Infinity}, {1e-4, 9},     {0x1p-10, 1},
                                   {6, 7},      {50, 60},           {40, Infinity}};
    for (const auto& [a, b] : intervals) {
        const double tail = Tail(t, a, b);
        const double near = Near(t, a, b);
        const double mirrored = Near(t, -b, -a);
        EXPECT_TRUE(a <= tail && tail <= b) << a;
        EXPECT_TRUE(a <= near && near <= b) << a;
        EXPECT_TRUE(a <= -mirrored && -mirrored <= b) << a;
    }
}

TEST(Botev2017, OutsideTheDomainIsNaNWithoutADraw) {
    Triple t;
    EXPECT_TRUE(std::isnan(Kernel(t, NaN)));
    const double intervals[][2] = {{NaN, 1}, {0, NaN}, {NaN, NaN}, {1, 0}, {5, 4}, {-4, -5}, {Infinity, -Infinity}};
    for (const auto& [a, b] : intervals) {
        EXPECT_TRUE(std::isnan(Between(t, a, b)) && std::isnan(Near(t, a, b)) && std::isnan(Tail(t, a, b)));
    }
    EXPECT_TRUE(std::isnan(Tail(t, 0.0, 1.0)));
    EXPECT_TRUE(SameState(t, Triple()));
}

}  // namespace
