// A million draws of each law against its distribution function, by the Kolmogorov-Smirnov statistic. The limit is
// exceeded with probability 1e-9 by a right law, so by some test of this file with probability below 1e-7. The forms
// with a mean and a standard deviation need no laws: the unit tests show that they place the draws of the kernel.

#include "Triple.h"

#include <quarn/base/Globals.h>
#include <quarn/random/TruncatedNormal.h>

#include <boost/math/special_functions/erf.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace {

using quarn_test::Down;
using quarn_test::Infinity;
using quarn_test::Triple;
using quarn_test::Up;
using namespace quarn::Quarn_COMP_GLOBALS;

constexpr int draws = 1000000;
constexpr double limit = 3.28e-3;  // sqrt(ln(2/1e-9) / 2 / draws)

/// P(Z > x) / density(x) for x >= 30: Laplace's continued fraction, 1/(x + 1/(x + 2/(x + 3/...))).
double MillsRatio(double x) {
    double tail = x;
    for (int k = 30; k >= 1; --k) tail = x + k / tail;
    return 1.0 / tail;
}

double Above(double x) { return static_cast<double>(boost::math::erfc(x / std::numbers::sqrt2_v<long double>) / 2.0L); }

/// P(Z > x) / P(Z > a) for a <= x, at any distance.
double AboveGiven(double x, double a) {
    if (x == Infinity) return 0.0;
    if (a < 30.0) return Above(x) / Above(a);
    return std::exp(-(x - a) * ((x - a) / 2.0 + a)) * MillsRatio(x) / MillsRatio(a);
}

/// The distribution function of Z in [a, b].
double Below(double x, double a, double b) {
    if (a < 0.0 && b <= -a) {  // the mirror image is the more precise
        if (x <= a) return 0.0;
        return x >= b ? 1.0 : (AboveGiven(-x, -b) - AboveGiven(-a, -b)) / (1.0 - AboveGiven(-a, -b));
    }
    if (x <= a) return 0.0;
    return x >= b ? 1.0 : (1.0 - AboveGiven(x, a)) / (1.0 - AboveGiven(b, a));
}

/// The distance between sorted draws and a distribution function, looked at in every 50th draw. Draws are rounded: each
/// may stand for any number up to the next double.
template <class Cdf>
double Distance(const std::vector<double>& sorted, const Cdf& cdf) {
    const double n = static_cast<double>(sorted.size());
    double distance = 0.0;
    for (std::size_t i = 0; i < sorted.size(); i += 50) {
        const auto [first, last] = std::equal_range(sorted.begin(), sorted.end(), sorted[i]);
        const double below = static_cast<double>(first - sorted.begin()) / n;
        const double upTo = static_cast<double>(last - sorted.begin()) / n;
        distance = std::max({distance, cdf(Down(sorted[i])) - below, upTo - cdf(Up(sorted[i]))});
    }
    return distance;
}

template <class Draw>
std::vector<double> Sorted(const Draw& draw) {
    Triple t(64);
    std::vector<double> x(draws);
    for (double& z : x) z = draw(t);
    std::sort(x.begin(), x.end());
    return x;
}

TEST(TruncatedNormalLaw, LowerAtEveryDistance) {
    for (const double a : {-1000.0, -10.0, -4.0, Down(TRUNCN_a_min), TRUNCN_a_min, -1.3, 0.0, 0.7, 2.2, TRUNCN_a_max,
                           Up(TRUNCN_a_max), 3.5, 8.0, 36.0, 40.0, 1e3, 1e6, 1e8}) {
        const auto x = Sorted([a](Triple& t) { return quarn::Chopin2011_lower(TRIPLE(t), a); });
        EXPECT_LT(Distance(x, [a](double z) { return Below(z, a, Infinity); }), limit) << a;
    }
}

TEST(TruncatedNormalLaw, LowerForBoundsAllOverTheTables) {
    const auto u = Sorted([](Triple& t) {
        const double a = TRUNCN_a_min + (TRUNCN_a_max - TRUNCN_a_min) * quarn::UniformDraw(t.rng, t.unif);
        return Below(quarn::Chopin2011_lower(TRIPLE(t), a), a, Infinity);
    });
    EXPECT_LT(Distance(u, [](double v) { return v; }), limit);
}

TEST(TruncatedNormalLaw, BetweenAtEveryDistanceAndWidth) {
    const double intervals[][2] = {
        {-1000, 0.3},      {-2.5, -0.7},      {-0.66, 1.34},       {-0.66, Up(1.34)},   {0.66, 2.6},
        {0.66, 2.7},       {Up(0.66), 2.6},   {0.67, 9},           {-9, -0.67},         {-9, -0.66},
        {-0.5, 0.4},       {0.1, 0.1 + 1e-8}, {-0.3, -0.3 + 5e-9}, {-0.6, -0.6 + 1e-4}, {3, 3 + 1e-8},
        {3, 3.1},          {37, 38},          {1000, 1000 + 1e-8}, {1e3, 1e3 + 1e-3},   {1e6, 1e6 + 1e-6},
        {1e8, 1e8 + 1e-7}, {1e8, 1e8 + 1},    {-1e8 - 1e-7, -1e8}, {4, Infinity},       {-Infinity, -50},
        {-Infinity, 1}};
    for (const auto& [a, b] : intervals) {
        const auto x = Sorted([a, b](Triple& t) { return quarn::Botev2017(TRIPLE(t), a, b); });
        EXPECT_LT(Distance(x, [a, b](double z) { return Below(z, a, b); }), limit) << a << ", " << b;
    }
}

TEST(TruncatedNormalLaw, MethodsBeyondTheirUsualRange) {
    const double intervals[][2] = {{1e-5, 2}, {0.05, Infinity}, {0.3, 0.5}, {2, 3.5}, {6, 6.5}};
    for (const auto& [a, b] : intervals) {
        const auto below = [a, b](double z) { return Below(z, a, b); };
        EXPECT_LT(Distance(Sorted([a, b](Triple& t) { return quarn::Botev2017_ntail(t.rng, t.unif, a, b); }), below),
                  limit);
        EXPECT_LT(Distance(Sorted([a, b](Triple& t) { return quarn::Botev2017_tn(TRIPLE(t), a, b); }), below), limit);
    }
}

}  // namespace
