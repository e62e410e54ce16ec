#include <quarn/numerics/Selection_detail.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

namespace {

using Values = std::vector<double>;

/// Values on which the median of the first, middle and last one is nearly the lowest, round after round.
Values UnluckyPivots(std::size_t n) {
    Values values(n, 0.0), positions(n);
    for (std::size_t i = 0; i < n; ++i) positions[i] = static_cast<double>(i);
    double next = 0.0;
    std::size_t left = n;
    for (auto at = positions.begin(); left > 2; left -= 2, at += 2) {
        std::swap(at[1], at[static_cast<std::ptrdiff_t>(left / 2)]);  // the two lowest become the first two
        values[static_cast<std::size_t>(at[0])] = next++;
        values[static_cast<std::size_t>(at[1])] = next++;
    }
    for (double& value : values)
        if (value == 0.0) value = next++;
    return values;
}

TEST(Selection, PutsTheRankWhereASortWould) {
    std::mt19937_64 engine(31);
    for (const std::size_t n : {1U, 2U, 12U, 13U, 14U, 50U, 333U, 5000U}) {
        for (int kind = 0; kind < 7; ++kind) {
            Values values(n);
            for (std::size_t i = 0; i < n; ++i) {
                const double cells[] = {std::normal_distribution<double>()(engine),
                                        static_cast<double>(engine() % 3),
                                        static_cast<double>(i),
                                        -static_cast<double>(i),
                                        7.0,
                                        engine() % 2 == 0 ? std::numeric_limits<double>::infinity() : -0.5};
                values[i] = cells[kind % 6];
            }
            if (kind == 6) values = UnluckyPivots(n);
            Values sorted = values;
            std::sort(sorted.begin(), sorted.end());
            for (const std::size_t rank : {std::size_t{0}, n / 20, n / 2, n - 1}) {
                Values selected = values;
                quarn::detail::SelectRank(selected.data(), static_cast<Eigen::Index>(n),
                                          static_cast<Eigen::Index>(rank));
                const auto at = selected.begin() + static_cast<std::ptrdiff_t>(rank);
                EXPECT_EQ(*at, sorted[rank]) << n << " " << kind;
                EXPECT_LE(*std::max_element(selected.begin(), at + 1), *at);
                EXPECT_GE(*std::min_element(at, selected.end()), *at);
                std::sort(selected.begin(), selected.end());
                EXPECT_EQ(selected, sorted);
            }
        }
    }
}

}  // namespace
