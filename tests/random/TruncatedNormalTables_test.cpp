#include "Triple.h"

#include <quarn/base/Globals.h>
#include <quarn/random/TruncatedNormal.h>

#include <boost/math/special_functions/erf.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

using namespace quarn::Quarn_COMP_GLOBALS;
using quarn_test::Down;
using quarn_test::Triple;

long double Density(long double x) {
    return std::exp(-x * x / 2.0L) / std::sqrt(2.0L * std::numbers::pi_v<long double>);
}
long double ProbabilityAbove(long double x) { return boost::math::erfc(x / std::numbers::sqrt2_v<long double>) / 2.0L; }

double RoundedDown(long double x) { return static_cast<double>(std::floor(x * 0x1p40L) * 0x1p-40L); }

int Open() { return static_cast<int>(TRUNCN_x.size()) - 1; }

TEST(TruncatedNormalTables, CellsAndTheTailHaveOneAreaAndEncloseTheDensityTightly) {
    const double area = static_cast<double>(ProbabilityAbove(TRUNCN_x[Open()]));
    for (int i = 0; i < Open(); ++i) {
        EXPECT_NEAR((TRUNCN_x[i + 1] - TRUNCN_x[i]) * TRUNCN_yu[i] / area, 1.0, 5e-16) << i;
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

TEST(TruncatedNormalTables, OfASlotOnlyTheEntryAndTheCellBeforeItMayHoldABound) {
    const auto slotOf = [](double a) { return static_cast<int>(std::floor(a / TRUNCN_h)) - TRUNCN_k_min; };
    EXPECT_EQ(slotOf(TRUNCN_a_min), 0);
    EXPECT_EQ(slotOf(TRUNCN_a_max), TRUNCN_Jk.size() - 1);
    for (int slot = 0; slot < TRUNCN_Jk.size(); ++slot) {
        const int entry = TRUNCN_Jk[slot], k = TRUNCN_k_min + slot;
        const double edge = k * TRUNCN_h;
        EXPECT_EQ(slotOf(edge), slot);  // floor and the division are monotone: edges are enough
        EXPECT_EQ(slotOf(Down(edge)), slot - 1);
        ASSERT_TRUE(entry >= 1 && entry < Open()) << slot;
        EXPECT_LE(TRUNCN_x[entry - 1], edge) << slot;
        EXPECT_GE(TRUNCN_x[entry + 1], (k + 1) * TRUNCN_h) << slot;
    }
}

double DrawAQuarter() {
    Triple T(1);
    return quarn::Chopin2011_lower(TRIPLE(T), 0.25);
}

const double drawnBeforeMain = DrawAQuarter();

TEST(TruncatedNormalTables, StandBeforeOtherStaticObjects) { EXPECT_EQ(drawnBeforeMain, DrawAQuarter()); }

}  // namespace
