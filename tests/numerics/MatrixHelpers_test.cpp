#include <quarn/numerics/CrossProduct_detail.h>
#include <quarn/numerics/MatrixHelpers.h>

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::MatrixXi;
using quarn::RowVectorXd;
using quarn::VectorXd;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

MatrixXd RandomMatrix(Index rows, Index columns, std::uint64_t seed) {
    std::mt19937_64 engine(seed);
    std::normal_distribution<double> normal;
    return MatrixXd::NullaryExpr(rows, columns, [&](Index, Index) { return normal(engine); });
}

MatrixXd RandomWholeMatrix(Index rows, Index columns, std::uint64_t seed) {
    return (100.0 * RandomMatrix(rows, columns, seed)).unaryExpr([](double x) { return std::trunc(x); });
}

/// The documented order, cell by cell: four interleaved sums of rounded products.
double DotInOrder(const VectorXd& x, const VectorXd& z) {
    double lane[4] = {};
    for (Index i = 0; i < x.size(); ++i) {
        const volatile double product = x[i] * z[i];
        lane[i % 4] += product;
    }
    return (lane[0] + lane[2]) + (lane[1] + lane[3]);
}

MatrixXd ProductInOrder(const MatrixXd& X, const MatrixXd& Z) {
    return MatrixXd::NullaryExpr(X.cols(), Z.cols(), [&](Index i, Index j) { return DotInOrder(X.col(i), Z.col(j)); });
}

bool SameDigits(const MatrixXd& A, const MatrixXd& B) {
    return A.rows() == B.rows() && A.cols() == B.cols() && (A.array() == B.array()).all();
}

TEST(CrossProducts, AreSummedInTheDocumentedOrderForEveryShape) {
    for (const Index n : {0, 1, 2, 3, 4, 5, 7, 8, 255, 256, 257, 259, 1030}) {
        for (Index k = 0; k <= 14; ++k) {
            const MatrixXd X = RandomMatrix(n, k, 1), Z = RandomMatrix(n, 14 - k, 2);
            const VectorXd d = RandomMatrix(n, 1, 3), y = RandomMatrix(n, 1, 4);
            const VectorXd dy = d.cwiseProduct(y);
            const MatrixXd DX = d.asDiagonal() * X;
            ASSERT_TRUE(SameDigits(quarn::XpX(X), ProductInOrder(X, X))) << n << " x " << k;
            ASSERT_TRUE(SameDigits(quarn::XpZ(X, Z), ProductInOrder(X, Z))) << n << " x " << k;
            ASSERT_TRUE(SameDigits(quarn::XpZ(X, y), ProductInOrder(X, y))) << n << " x " << k;
            ASSERT_TRUE(SameDigits(quarn::XpDy(X, d, y), ProductInOrder(X, dy))) << n << " x " << k;
            const MatrixXd lower = ProductInOrder(DX, X).triangularView<Eigen::Lower>();
            const MatrixXd XpDX = quarn::XpDX(X, d);
            ASSERT_TRUE(SameDigits(XpDX.triangularView<Eigen::Lower>(), lower)) << n << " x " << k;
            ASSERT_TRUE(SameDigits(XpDX, XpDX.transpose())) << n << " x " << k;
        }
    }
}

TEST(CrossProducts, GiveTheSameDigitsOnEveryProcessor) {
    using quarn::detail::Instructions;
    for (const Index k : {1, 2, 5, 20, 35}) {
        const MatrixXd X = RandomMatrix(517, k, 5), Z = RandomMatrix(517, 6, 6);
        const VectorXd d = RandomMatrix(517, 1, 7);
        for (const double* weights : {static_cast<const double*>(nullptr), d.data()})
            ASSERT_TRUE(SameDigits(quarn::detail::RankUpdate(X, weights, Instructions::Best),
                                   quarn::detail::RankUpdate(X, weights, Instructions::Portable)));
        ASSERT_TRUE(SameDigits(quarn::detail::CrossProduct(X, Z.data(), 6, Instructions::Best),
                               quarn::detail::CrossProduct(X, Z.data(), 6, Instructions::Portable)));
    }
}

TEST(CrossProducts, GiveTheSameDigitsAtAnotherAddress) {
    const MatrixXd X = RandomMatrix(1001, 7, 5);  // odd columns are shifted by 8 bytes against even ones
    const MatrixXd shifted = MatrixXd(X.rightCols(6));
    EXPECT_TRUE(SameDigits(quarn::XpX(X).bottomRightCorner(6, 6), quarn::XpX(shifted)));
}

TEST(CrossProducts, WithUnitWeightsEqualThoseWithout) {
    const MatrixXd X = RandomMatrix(301, 5, 6);
    const VectorXd ones = VectorXd::Ones(301), y = RandomMatrix(301, 1, 7);
    EXPECT_TRUE(SameDigits(quarn::XpDX(X, ones), quarn::XpX(X)));
    EXPECT_TRUE(SameDigits(quarn::XpDy(X, ones, y), quarn::XpZ(X, y)));
}

TEST(CrossProducts, OfWholeNumbersAreExact) {
    const MatrixXd X = RandomWholeMatrix(200, 9, 8), Z = RandomWholeMatrix(200, 4, 9);
    const VectorXd d = RandomWholeMatrix(200, 1, 10);
    EXPECT_TRUE(SameDigits(quarn::XpX(X), X.transpose() * X));
    EXPECT_TRUE(SameDigits(quarn::XpZ(X, Z), X.transpose() * Z));
    EXPECT_TRUE(SameDigits(quarn::XXp(X), X * X.transpose()));
    EXPECT_TRUE(SameDigits(quarn::XpDX(X, d), X.transpose() * d.asDiagonal() * X));
}

TEST(CrossProducts, CarryMissingCellsToTheirOwnRowAndColumnOnly) {
    MatrixXd X = RandomMatrix(259, 6, 11);
    X(258, 2) = NaN;
    const MatrixXd product = quarn::XpX(X);
    for (Index i = 0; i < 6; ++i) {
        for (Index j = 0; j < 6; ++j) EXPECT_EQ(std::isnan(product(i, j)), i == 2 || j == 2) << i << ", " << j;
    }
}

TEST(CrossProducts, OfNothingAreEmptyOrZero) {
    EXPECT_EQ(quarn::XpX(MatrixXd(5, 0)).size(), 0);
    EXPECT_TRUE(SameDigits(quarn::XpX(MatrixXd(0, 3)), MatrixXd::Zero(3, 3)));
    EXPECT_TRUE(SameDigits(quarn::XXp(MatrixXd(2, 0)), MatrixXd::Zero(2, 2)));
}

TEST(TriangularProducts, UseTheirTriangleAndNeverReadTheOther) {
    for (Index n = 0; n <= 9; ++n) {
        const MatrixXd A = RandomWholeMatrix(n, n, 12);
        MatrixXd L = A.triangularView<Eigen::Lower>(), U = A.triangularView<Eigen::Upper>();
        const MatrixXd LLp = L * L.transpose(), UUp = U * U.transpose();
        L.triangularView<Eigen::StrictlyUpper>().setConstant(NaN);
        U.triangularView<Eigen::StrictlyLower>().setConstant(NaN);
        EXPECT_TRUE(SameDigits(quarn::XXpLowerTriang(L), LLp)) << n;
        EXPECT_TRUE(SameDigits(quarn::XXpUpperTriang(U), UUp)) << n;
    }
}

TEST(QuadraticForm, IsTheDoubleSumForColumnsAndRowsAlike) {
    const MatrixXd A = RandomWholeMatrix(5, 5, 13);
    const VectorXd x = RandomWholeMatrix(5, 1, 14);
    double sum = 0.0;
    for (Index i = 0; i < 5; ++i) {
        for (Index j = 0; j < 5; ++j) sum += x[i] * A(i, j) * x[j];
    }
    EXPECT_EQ(quarn::quadForm_Ax(A, x), sum);
    EXPECT_EQ(quarn::quadForm_xA(A, RowVectorXd(x.transpose())), sum);
}

TEST(Rounding, TakesHalvesAwayFromZero) {
    MatrixXd A(2, 4);
    A << 0.5, -0.5, 2.5, -1.5, 0.49999999999999994, 2251799813685249.5, -2.4, 1e300;
    MatrixXd nearest(2, 4), down(2, 4), up(2, 4);
    nearest << 1, -1, 3, -2, 0, 2251799813685250.0, -2, 1e300;
    down << 0, -1, 2, -2, 0, 2251799813685249.0, -3, 1e300;
    up << 1, 0, 3, -1, 1, 2251799813685250.0, -2, 1e300;
    EXPECT_TRUE(SameDigits(quarn::round(A), nearest));
    EXPECT_TRUE(SameDigits(quarn::floor(A), down));
    EXPECT_TRUE(SameDigits(quarn::ceil(A), up));
}

TEST(Rounding, ToIntGivesTheSmallestIntWhereNoneFits) {
    constexpr int Smallest = std::numeric_limits<int>::min(), Greatest = std::numeric_limits<int>::max();
    const struct {
        double cell;
        int expected;
    } cases[] = {
        {-1.5, -2},
        {0.5, 1},
        {2147483647.4, Greatest},
        {2147483647.5, Smallest},
        {-2147483648.4, Smallest},
        {-2147483649.0, Smallest},
        {-2147483647.0, -Greatest},
        {NaN, Smallest},
        {Infinity, Smallest},
        {-Infinity, Smallest},
        {1e300, Smallest},
    };
    for (const auto& c : cases) EXPECT_EQ(quarn::double2int(MatrixXd::Constant(1, 1, c.cell))(0, 0), c.expected);
}

TEST(Powers, AreTakenElementByElement) {
    MatrixXd A(2, 2), B(2, 2), squares(2, 2), powers(2, 2), out(2, 2);
    A << 1, 2, 3, -4;
    B << 5, 3, -1, 2;
    squares << 1, 4, 9, 16;
    powers << 1, 8, 1.0 / 3.0, 16;
    quarn::matrixEPower(A, B, out);
    EXPECT_TRUE(SameDigits(out, powers));
    MatrixXd inPlace = A;
    quarn::matrixEPower(inPlace, B);
    EXPECT_TRUE(SameDigits(inPlace, powers));
    inPlace = A;
    quarn::matrixEPowerExpand(inPlace, 2.0);
    EXPECT_TRUE(SameDigits(inPlace, squares));
    const VectorXd v = VectorXd::LinSpaced(3, -1, 1);
    VectorXd cubes(3);
    quarn::vectorPower(v, 3, cubes);
    EXPECT_TRUE(SameDigits(cubes, v));
}

TEST(MatrixPower, MultipliesAndLeavesPowersBelowTwoAlone) {
    const MatrixXd A = RandomWholeMatrix(3, 3, 15);
    const std::vector<MatrixXd> expected = {A, A, A, A * A, A * A * A, A * A * A * A};
    const int powers[] = {-3, 0, 1, 2, 3, 4};
    for (std::size_t i = 0; i < expected.size(); ++i) {
        MatrixXd power = A;
        quarn::matrixPower(power, powers[i]);
        EXPECT_TRUE(SameDigits(power, expected[i])) << powers[i];
    }
}

TEST(SymmetricPD, ClearsTheFlagOfTheFirstFailureOnly) {
    const auto changed = [](MatrixXd A, Index i, Index j, double cell) {
        A(i, j) = cell;
        return A;
    };
    const MatrixXd identity = MatrixXd::Identity(3, 3);
    const MatrixXd indefinite = (MatrixXd(2, 2) << 1, 2, 2, 1).finished();
    const struct {
        MatrixXd A;
        int n;
        std::string flags;  // dimensions, symmetric, positive definite
    } cases[] = {
        {identity, 3, "111"},
        {identity, 2, "011"},
        {MatrixXd::Identity(3, 4), 3, "011"},
        {changed(identity, 0, 2, 1e-300), 3, "101"},
        {changed(identity, 2, 0, NaN), 3, "101"},
        {changed(identity, 0, 2, NaN), 3, "101"},
        {indefinite, 2, "110"},
        {MatrixXd::Zero(2, 2), 2, "110"},
        {MatrixXd::Ones(2, 2) - 2.0 * MatrixXd::Identity(2, 2), 2, "110"},
        {changed(identity, 1, 1, 1e-300), 3, "111"},
        {changed(identity, 1, 1, NaN), 3, "110"},
        {changed(identity, 1, 1, Infinity), 3, "110"},
        {MatrixXd(0, 0), 0, "111"},
    };
    for (const auto& c : cases) {
        bool dimensions = true, symmetric = true, positiveDefinite = true;
        const bool passed = quarn::check_SymmetricPD(c.A, c.n, dimensions, symmetric, positiveDefinite);
        EXPECT_EQ(passed, c.flags == "111") << c.A;
        const std::string flags = {dimensions ? '1' : '0', symmetric ? '1' : '0', positiveDefinite ? '1' : '0'};
        EXPECT_EQ(flags, c.flags) << c.A;
    }
}

TEST(SymmetricPD, NeverSetsAFlag) {
    bool flag[3] = {};
    EXPECT_TRUE(quarn::check_SymmetricPD(MatrixXd::Identity(2, 2), 2, flag[0], flag[1], flag[2]));
    EXPECT_FALSE(flag[0] || flag[1] || flag[2]);
}

TEST(DropMissing, KeepsTheFiniteRowsInOrder) {
    MatrixXd A = RandomMatrix(2500, 3, 16);
    std::mt19937_64 engine(17);
    const double holes[] = {NaN, Infinity, -Infinity};
    for (int i = 0; i < 600; ++i)
        A(static_cast<Index>(engine() % 2500), static_cast<Index>(engine() % 3)) = holes[i % 3];
    std::vector<int> expected;
    for (int i = 0; i < 2500; ++i) {
        if (A.row(i).allFinite()) expected.push_back(i);
    }
    MatrixXd out, inPlace = A;
    std::vector<int> rows;
    EXPECT_EQ(quarn::dropMissing(A, out, rows), "OK");
    EXPECT_EQ(rows, expected);
    ASSERT_EQ(out.rows(), static_cast<Index>(expected.size()));
    for (std::size_t i = 0; i < expected.size(); ++i) {
        ASSERT_TRUE(SameDigits(out.row(static_cast<Index>(i)), A.row(expected[i])));
    }
    EXPECT_EQ(quarn::dropMissing(inPlace, inPlace), "OK");
    EXPECT_TRUE(SameDigits(inPlace, out));
    EXPECT_EQ(quarn::dropMissing(out, inPlace), "OK");
    EXPECT_TRUE(SameDigits(inPlace, out));
}

TEST(DropMissing, LeavesEverythingUntouchedWhereNoRowIsKept) {
    for (const MatrixXd& A : {MatrixXd(0, 4), MatrixXd(MatrixXd::Constant(3, 2, NaN)), MatrixXd(0, 0)}) {
        MatrixXd out = MatrixXd::Ones(1, 1);
        std::vector<int> rows = {7};
        EXPECT_EQ(quarn::dropMissing(A, out, rows), "noData");
        EXPECT_TRUE(SameDigits(out, MatrixXd::Ones(1, 1)));
        EXPECT_EQ(rows, std::vector<int>{7});
    }
}

TEST(DropMissing, AppendsToTheListAndKeepsRowsWithoutColumns) {
    MatrixXd out;
    std::vector<int> rows = {7};
    EXPECT_EQ(quarn::dropMissing(MatrixXd(2, 0), out, rows), "OK");
    EXPECT_EQ(out.rows(), 2);
    EXPECT_EQ(out.cols(), 0);
    EXPECT_EQ(rows, (std::vector<int>{7, 0, 1}));
}

}  // namespace
