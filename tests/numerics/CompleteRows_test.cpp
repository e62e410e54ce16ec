#include "../support/Matrices.h"

#include <quarn/numerics/CompleteRows_detail.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::VectorXd;
using quarn::detail::CompleteRows;
using quarn::testing::SameCells;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr double Largest = std::numeric_limits<double>::max();

MatrixXd WithGaps(Index rows, Index columns, double density, std::mt19937_64& engine) {
    const double finite[] = {1.5, -0.0, Largest, -Largest, 5e-324};
    const double missing[] = {NaN, Infinity, -Infinity};
    std::bernoulli_distribution isMissing(density);
    return MatrixXd::NullaryExpr(rows, columns, [&](Index, Index) {
        const auto draw = engine();
        return isMissing(engine) ? missing[draw % 3] : finite[draw % 5];
    });
}

TEST(CompleteRows, AreThoseWithoutANonFiniteCell) {
    std::mt19937_64 engine(3);
    for (const Index n : {0, 1, 2, 63, 64, 65, 128, 1023, 1024, 1025, 1088, 5000})
        for (const Index k : {0, 1, 3})
            for (const double density : {0.0, 1e-3, 0.02, 0.3, 0.99, 1.0}) {
                const MatrixXd table = WithGaps(n, k, density, engine);
                const VectorXd source = VectorXd::LinSpaced(n, 1, static_cast<double>(n));
                std::vector<const double*> columns;
                for (Index j = 0; j < k; ++j) columns.push_back(table.col(j).data());
                const CompleteRows rows(n, columns);
                std::vector<double> kept;
                std::vector<int> keptRows;
                for (Index i = 0; i < n; ++i) {
                    if (!table.row(i).array().isFinite().all()) continue;
                    kept.push_back(source[i]);
                    keptRows.push_back(static_cast<int>(i));
                }
                ASSERT_EQ(rows.Rows(), keptRows) << n << " x " << k;
                const VectorXd expected = VectorXd::Map(kept.data(), static_cast<Index>(kept.size()));
                ASSERT_EQ(rows.Count(), expected.size());
                std::vector<double> copy(kept.size());  // not a cell to spare
                rows.Copy(source.data(), copy.data());
                ASSERT_EQ(copy, kept);
                VectorXd inPlace = source;
                rows.Copy(inPlace.data(), inPlace.data());
                ASSERT_TRUE(SameCells(inPlace.head(expected.size()), expected)) << n << " x " << k;
            }
}

}  // namespace
