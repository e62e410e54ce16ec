#include "../support/Matrices.h"

#include <quarn/numerics/Sorting.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::MatrixXi;
using quarn::VectorXd;
using quarn::VectorXi;
using quarn::testing::Infinity;
using quarn::testing::NaN;
using quarn::testing::SameCells;

std::vector<int> List(const VectorXi& p) { return {p.begin(), p.end()}; }

VectorXi Positions(Index n) { return VectorXi::LinSpaced(n, 0, static_cast<int>(n) - 1); }

/// The definition: by value, those not a number last, and by position.
std::vector<int> SortedByPairs(const VectorXd& x) {
    std::vector<std::tuple<bool, double, int>> cells;
    for (int i = 0; i < x.size(); ++i) cells.emplace_back(std::isnan(x[i]), std::isnan(x[i]) ? 0.0 : x[i], i);
    std::sort(cells.begin(), cells.end());
    std::vector<int> order;
    for (const auto& cell : cells) order.push_back(std::get<2>(cell));
    return order;
}

/// The definition for rows: sort by the first column, then each run of rows whose difference in it is exactly 0.
template <class Matrix>
void SortRunByRun(const Matrix& m, const VectorXi& columns, Index depth, std::vector<int>& rows) {
    if (depth == columns.size()) return;
    VectorXd key(static_cast<Index>(rows.size()));
    for (std::size_t i = 0; i < rows.size(); ++i) key[static_cast<Index>(i)] = m(rows[i], columns[depth]);
    std::vector<int> sorted;
    std::vector<double> sortedKey;
    for (const int i : SortedByPairs(key)) {
        sorted.push_back(rows[static_cast<std::size_t>(i)]);
        sortedKey.push_back(key[i]);
    }
    rows.clear();
    for (std::size_t start = 0, i = 1; i <= sorted.size(); ++i) {
        if (i < sorted.size() && sortedKey[i] - sortedKey[i - 1] == 0.0) continue;
        std::vector<int> run(sorted.begin() + static_cast<std::ptrdiff_t>(start),
                             sorted.begin() + static_cast<std::ptrdiff_t>(i));
        if (run.size() > 1) SortRunByRun(m, columns, depth + 1, run);
        rows.insert(rows.end(), run.begin(), run.end());
        start = i;
    }
}

template <class Matrix>
std::vector<int> OrderRunByRun(const Matrix& m, const VectorXi& columns) {
    std::vector<int> rows = List(Positions(m.rows()));
    SortRunByRun(m, columns, 0, rows);
    return rows;
}

/// A cell of one of the kinds of columns that meet the sort in different ways.
double Cell(int kind, std::mt19937_64& engine) {
    static const double Odd[] = {0.0, -0.0, 1.0, -1.0, NaN, Infinity, -Infinity, -NaN};
    static const double Spread[] = {5e-324, -5e-324, 1.7e308, -1.7e308, 0.0, 1e-300, 1.0 + 1e-15, 1.0};
    const std::uint64_t draw = engine();
    const double few = static_cast<double>(draw % 5);
    switch (kind) {
        case 0:
            return few - 2.0;  // whole numbers, many ties
        case 1:
            return Odd[draw % 8];  // every special value
        case 2:
            return few / 7.0;  // fractions, many ties
        case 3:
            return std::ldexp(static_cast<double>(draw) - 9e18, -70);  // fractions, no ties
        case 4:
            return Spread[draw % 8];  // the whole range, and neighbours
        case 5:
            return draw % 9 == 0 ? Odd[4 + draw % 4] : few / 3.0;  // fractions with special values
        case 6:
            return 4503599627370496.0 + 2.0 * few;  // whole numbers beyond the fast path
        case 7:
            return draw % 2 == 0 ? -2251799813685248.0 : few;  // at its edge
        default:
            return 3.0;  // constant
    }
}

MatrixXd MixedTable(Index rows, const std::vector<int>& kinds, std::uint64_t seed) {
    std::mt19937_64 engine(seed);
    MatrixXd m(rows, static_cast<Index>(kinds.size()));
    for (Index j = 0; j < m.cols(); ++j) {
        for (Index i = 0; i < rows; ++i) m(i, j) = Cell(kinds[static_cast<std::size_t>(j)], engine);
    }
    return m;
}

void ExpectSortedRunByRun(const MatrixXd& m, const VectorXi& columns) {
    const std::vector<int> expected = OrderRunByRun(m, columns);
    const VectorXi start = Positions(m.rows()).array() + 100;
    VectorXi order = start;
    const MatrixXd sorted = quarn::SortMatrixVarIndex(m, columns, order);
    ASSERT_EQ(List(order.array() - 100), expected) << m.rows() << " rows by " << columns.transpose();
    const VectorXi p = Eigen::Map<const VectorXi>(expected.data(), m.rows());
    ASSERT_TRUE(SameCells(sorted, quarn::SortMatrix(m, p)));
    ASSERT_TRUE(SameCells(quarn::SortMatrixVarIndex(m, columns), sorted));
}

TEST(SortIndex, PutsTiesInOrderOfPositionAndMissingCellsLast) {
    const VectorXd x{{2, NaN, -0.0, 2, 0.0, NaN, -Infinity}};
    EXPECT_EQ(List(quarn::SortIndex(x)), (std::vector<int>{6, 2, 4, 0, 3, 1, 5}));
    const VectorXi i{{3, std::numeric_limits<int>::max(), 3, std::numeric_limits<int>::min()}};
    EXPECT_EQ(List(quarn::SortIndex_int(i)), (std::vector<int>{3, 0, 2, 1}));
    EXPECT_EQ(List(quarn::SortVector_int(i)), (std::vector<int>{i[3], 3, 3, i[1]}));
}

TEST(SortIndex, OfNothingOrOfMissingCellsOnlyIsTheIdentity) {
    EXPECT_EQ(quarn::SortIndex(VectorXd()).size(), 0);
    EXPECT_EQ(quarn::SortVector(VectorXd()).size(), 0);
    EXPECT_EQ(quarn::SortIndex_int(VectorXi()).size(), 0);
    EXPECT_EQ(List(quarn::SortIndex(VectorXd::Constant(4, NaN))), List(Positions(4)));
}

TEST(SortIndex, EqualsTheSortOfPairsForEveryKindOfColumnAndSize) {
    for (int kind = 0; kind <= 8; ++kind) {
        for (const Index n : {1, 2, 3, 50, 1023, 1024, 5000}) {
            const VectorXd x = MixedTable(n, {kind}, 1);
            const VectorXi p = quarn::SortIndex(x);
            ASSERT_EQ(List(p), SortedByPairs(x)) << "kind " << kind << ", " << n;
            ASSERT_TRUE(SameCells(quarn::SortVector(x), quarn::SortVector(x, p)));
        }
    }
}

TEST(SortMatrixVarIndex, OrdersByTheFirstColumnAndThenByTheNext) {
    const MatrixXd m{{2, 1, 0}, {1, 9, 1}, {2, 0, 2}, {1, 8, 3}};
    const MatrixXd expected{{1, 8, 3}, {1, 9, 1}, {2, 0, 2}, {2, 1, 0}};
    EXPECT_TRUE(SameCells(quarn::SortMatrixVarIndex(m, VectorXi::LinSpaced(2, 0, 1)), expected));
    EXPECT_TRUE(SameCells(quarn::SortMatrixVarIndex(m, VectorXi()), m));
    EXPECT_EQ(quarn::SortMatrixVarIndex(MatrixXd(0, 3), VectorXi::Constant(1, 2)).cols(), 3);
}

TEST(SortMatrixVarIndex, NeverReordersRowsWhoseKeyIsNotFinite) {
    const MatrixXd m{{Infinity, 3}, {NaN, 2}, {Infinity, 1}, {NaN, 1}, {-Infinity, 2}, {-Infinity, 1}};
    VectorXi order = Positions(6);
    quarn::SortMatrixVarIndex(m, VectorXi::LinSpaced(2, 0, 1), order);
    EXPECT_EQ(List(order), (std::vector<int>{4, 5, 0, 2, 1, 3}));
}

TEST(SortMatrixVarIndex, EqualsTheSortRunByRun) {
    std::mt19937_64 engine(2);
    for (int table = 0; table < 300; ++table) {
        std::vector<int> kinds(4);
        for (int& kind : kinds) kind = static_cast<int>(engine() % 9);
        const Index rows = table % 10 == 0 ? 3000 : static_cast<Index>(1 + engine() % 150);
        VectorXi columns(static_cast<Index>(1 + engine() % 5));
        for (int& column : columns) column = static_cast<int>(engine() % 4);  // may repeat a column
        ExpectSortedRunByRun(MixedTable(rows, kinds, engine()), columns);
    }
}

TEST(SortMatrixVarIndex, OfIntegersEqualsTheSortRunByRun) {
    std::mt19937_64 engine(3);
    for (const Index rows : {1, 40, 3000}) {
        for (const int spread : {2, 60, std::numeric_limits<int>::max()}) {
            const MatrixXi m = MatrixXi::NullaryExpr(rows, 3, [&](Index, Index) {
                return static_cast<int>(engine() % static_cast<unsigned>(spread)) * (engine() % 2 == 0 ? 1 : -1);
            });
            const VectorXi columns{{2, 0, 1}};
            VectorXi order = Positions(rows);
            const MatrixXi sorted = quarn::SortMatrixVarIndex_int(m, columns, order);
            ASSERT_EQ(List(order), OrderRunByRun(m, columns));
            ASSERT_TRUE(sorted == quarn::SortMatrix_int(m, order));
        }
    }
}

TEST(SortOrderToInt, GivesDenseRanksInByteOrder) {
    const struct {
        std::vector<std::string> strings;
        std::vector<int> ranks;
    } cases[] = {
        {{}, {}},
        {{"b", "a", "b"}, {1, 0, 1}},
        {{"\xC3\xA9", "z", "Z", ""}, {3, 2, 1, 0}},
        {{"12345678b", "12345678", "12345678a", "1234567"}, {3, 1, 2, 0}},
        {{std::string("a\0", 2), "a", std::string("a\0b", 3)}, {1, 0, 2}},
        {{"a", "__Quarn_SYSTEM_DEFAULT_STRING___", "b", "__Quarn_SYSTEM_DEFAULT_STRING___"}, {0, -1, 1, -1}},
        {{"A", "__Quarn_SYSTEM_DEFAULT_STRING___"}, {0, 1}},
    };
    for (const auto& c : cases) EXPECT_EQ(List(quarn::SortOrderToInt(c.strings)), c.ranks);
}

TEST(MatrixSort, SortsEachColumnOrEachRowByItself) {
    const MatrixXd X = MixedTable(40, {0, 1, 3, 5}, 4);
    const MatrixXd byColumn = quarn::matrixSort(X), byRow = quarn::matrixSortRowwise(X);
    for (Index j = 0; j < X.cols(); ++j) EXPECT_TRUE(SameCells(byColumn.col(j), quarn::SortVector(X.col(j))));
    for (Index i = 0; i < X.rows(); ++i) {
        EXPECT_TRUE(SameCells(byRow.row(i).transpose(), quarn::SortVector(X.row(i).transpose())));
    }
    EXPECT_TRUE(SameCells(quarn::matrixSort(std::make_shared<MatrixXd>(X)), byColumn));
    EXPECT_TRUE(SameCells(quarn::matrixSortRowwise(std::make_shared<MatrixXd>(X)), byRow));
}

}  // namespace
