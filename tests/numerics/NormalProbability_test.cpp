#include <quarn/numerics/NormalProbability_detail.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace {

TEST(NormalProbability, HasAllButTheLastTwoBits) {
    const auto& cells = quarn::detail::NormalProbabilityCells();
    double worst = 0.0;
    for (double t = -6.0; t < 9.0; t += 0.0000777) {
        const long double exact = 0.5L * std::erfc(-static_cast<long double>(t) / std::numbers::sqrt2_v<long double>);
        const double value = quarn::detail::NormalProbability(cells, t);
        const double ulp = std::nextafter(value, 2.0) - value;
        worst = std::max(worst, std::abs(static_cast<double>(exact - value)) / ulp);
    }
    EXPECT_LT(worst, 3.0);
}

TEST(NormalProbability, GoesOnAtBothEnds) {
    const auto& cells = quarn::detail::NormalProbabilityCells();
    const auto value = [&](double t) { return quarn::detail::NormalProbability(cells, t); };
    constexpr double Infinity = std::numeric_limits<double>::infinity();
    EXPECT_NEAR(value(std::nextafter(-6.0, -7.0)) / value(-6.0), 1.0, 1e-14);
    EXPECT_EQ(value(std::nextafter(8.5, 0.0)), 1.0);
    EXPECT_EQ(value(Infinity), 1.0);
    EXPECT_EQ(value(-Infinity), 0.0);
    EXPECT_GT(value(-37.0), 0.0);
    EXPECT_TRUE(std::isnan(value(std::numeric_limits<double>::quiet_NaN())));
}

}  // namespace
