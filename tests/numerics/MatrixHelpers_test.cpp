#include "../support/Matrices.h"

#include <quarn/numerics/CrossProduct_detail.h>
#include <quarn/numerics/MatrixHelpers.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::RowVectorXd;
using quarn::VectorXd;
using quarn::testing::Infinity;
using quarn::testing::NaN;
using quarn::testing::Normals;

MatrixXd RandomWholeMatrix(Index rows, Index columns, std::uint64_t seed) {
    return (100.0 * Normals(rows, columns, seed)).unaryExpr([](double x) { return std::trunc(x); });
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

TEST(CrossProducts, AreSummedInTheDocumentedOrderForEveryShapeAndProcessor) {
    using quarn::detail::Instructions;
    for (const Index n : {0, 1, 2, 3, 4, 5, 7, 8, 255, 256, 257, 259, 1030}) {
        for (const Index k : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 35}) {
            const Index m = k <= 14 ? 14 - k : 6;
            const MatrixXd X = Normals(n, k, 1), Z = Normals(n, m, 2);
            const VectorXd d = Normals(n, 1, 3), y = Normals(n, 1, 4), dy = d.cwiseProduct(y);
            const MatrixXd DX = d.asDiagonal() * X, XX = ProductInOrder(X, X), XZ = ProductInOrder(X, Z);
            MatrixXd XDX = ProductInOrder(DX, X);
            XDX.triangularView<Eigen::StrictlyUpper>() = XDX.transpose();
            ASSERT_TRUE(SameDigits(quarn::XpX(X), XX)) << n << " x " << k;
            ASSERT_TRUE(SameDigits(quarn::XpZ(X, Z), XZ)) << n << " x " << k;
            ASSERT_TRUE(SameDigits(quarn::XpZ(X, y), ProductInOrder(X, y))) << n << " x " << k;
            ASSERT_TRUE(SameDigits(quarn::XpDy(X, d, y), ProductInOrder(X, dy))) << n << " x " << k;
            ASSERT_TRUE(SameDigits(quarn::XpDX(X, d), XDX)) << n << " x " << k;
            ASSERT_TRUE(SameDigits(quarn::detail::RankUpdate(X, nullptr, Instructions::Portable), XX));
            ASSERT_TRUE(SameDigits(quarn::detail::RankUpdate(X, d.data(), Instructions::Portable), XDX));
            ASSERT_TRUE(SameDigits(quarn::detail::CrossProduct(X, Z.data(), m, Instructions::Portable), XZ));
        }
    }
}

TEST(CrossProducts, OfRowsAreExactForWholeNumbers) {
    const MatrixXd X = RandomWholeMatrix(200, 9, 8);
    EXPECT_TRUE(SameDigits(quarn::XXp(X), X * X.transpose()));
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

TEST(QuadraticForm, IsTheSameForColumnsAndRows) {
    const MatrixXd A = RandomWholeMatrix(5, 5, 13);
    const VectorXd x = RandomWholeMatrix(5, 1, 14);
    const double sum = (x * x.transpose()).cwiseProduct(A).sum();
    EXPECT_EQ(quarn::quadForm_Ax(A, x), sum);
    EXPECT_EQ(quarn::quadForm_xA(A, RowVectorXd(x.transpose())), sum);
}

TEST(Rounding, TakesHalvesAwayFromZero) {
    const MatrixXd A{{0.5, -0.5, 2.5, -1.5, 0.49999999999999994, 2251799813685249.5, -2.4, 1e300}};
    const MatrixXd nearest{{1, -1, 3, -2, 0, 2251799813685250.0, -2, 1e300}};
    const MatrixXd down{{0, -1, 2, -2, 0, 2251799813685249.0, -3, 1e300}};
    const MatrixXd up{{1, 0, 3, -1, 1, 2251799813685250.0, -2, 1e300}};
    EXPECT_TRUE(SameDigits(quarn::round(A), nearest));
    EXPECT_TRUE(SameDigits(quarn::floor(A), down));
    EXPECT_TRUE(SameDigits(quarn::ceil(A), up));
}

TEST(Rounding, ToIntGivesTheSmallestIntWhereNoneFits) {
    constexpr int Smallest = std::numeric_limits<int>::min(), Greatest = std::numeric_limits<int>::max();
    const std::pair<double, int> cases[] = {{-1.5, -2},
                                            {0.5, 1},
                                            {2147483647.4, Greatest},
                                            {-2147483647.0, -Greatest},
                                            {2147483647.5, Smallest},
                                            {-2147483648.4, Smallest},
                                            {-2147483649.0, Smallest},
                                            {1e300, Smallest},
                                            {NaN, Smallest},
                                            {Infinity, Smallest},
                                            {-Infinity, Smallest}};
    for (const auto& [cell, expected] : cases) EXPECT_EQ(quarn::double2int(MatrixXd{{cell}})(0, 0), expected) << cell;
}

TEST(Powers, AreTakenElementByElement) {
    const MatrixXd A{{1, 2}, {3, -4}}, B{{5, 3}, {-1, 2}}, powers{{1, 8}, {1.0 / 3.0, 16}};
    MatrixXd out(2, 2), inPlace = A;
    quarn::matrixEPower(A, B, out);
    EXPECT_TRUE(SameDigits(out, powers));
    quarn::matrixEPower(inPlace, B);
    EXPECT_TRUE(SameDigits(inPlace, powers));
    inPlace = A;
    quarn::matrixEPowerExpand(inPlace, 2.0);
    EXPECT_TRUE(SameDigits(inPlace, MatrixXd{{1, 4}, {9, 16}}));
    const VectorXd v = VectorXd::LinSpaced(3, -1, 1);
    VectorXd cubes(3);
    quarn::vectorPower(v, 3, cubes);
    EXPECT_TRUE(SameDigits(cubes, v));
}

TEST(MatrixPower, MultipliesAndLeavesPowersBelowTwoAlone) {
    const MatrixXd A = RandomWholeMatrix(3, 3, 15);
    const std::pair<int, MatrixXd> cases[] = {{-3, A}, {0, A}, {1, A}, {2, A * A}, {3, A * A * A}, {4, A * A * A * A}};
    for (const auto& [n, expected] : cases) {
        MatrixXd power = A;
        quarn::matrixPower(power, n);
        EXPECT_TRUE(SameDigits(power, expected)) << n;
    }
}

TEST(SymmetricPD, ClearsTheFlagOfTheFirstFailureOnlyAndSetsNone) {
    const auto changed = [](MatrixXd A, Index i, Index j, double cell) {
        A(i, j) = cell;
        return A;
    };
    const MatrixXd identity = MatrixXd::Identity(3, 3);
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
        {MatrixXd{{1, 2}, {2, 1}}, 2, "110"},
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
    bool flag[3] = {};
    EXPECT_TRUE(quarn::check_SymmetricPD(MatrixXd::Identity(2, 2), 2, flag[0], flag[1], flag[2]));
    EXPECT_FALSE(flag[0] || flag[1] || flag[2]);
}

TEST(DropMissing, KeepsTheFiniteRowsInOrder) {
    MatrixXd A = Normals(2500, 3, 16);
    std::mt19937_64 engine(17);
    const double holes[] = {NaN, Infinity, -Infinity};
    for (int i = 0; i < 600; ++i)
        A(static_cast<Index>(engine() % 2500), static_cast<Index>(engine() % 3)) = holes[i % 3];
    std::vector<int> expected;
    for (int i = 0; i < 2500; ++i) {
        if (A.row(i).allFinite()) expected.push_back(i);
    }
    const MatrixXd kept = A(expected, Eigen::all);
    MatrixXd out;
    std::vector<int> rows;
    EXPECT_EQ(quarn::dropMissing(A, out, rows), "OK");
    EXPECT_EQ(rows, expected);
    EXPECT_TRUE(SameDigits(out, kept));
    for (MatrixXd inPlace : {A, kept}) {
        EXPECT_EQ(quarn::dropMissing(inPlace, inPlace), "OK");
        EXPECT_TRUE(SameDigits(inPlace, kept));
    }
}

TEST(DropMissing, LeavesEverythingUntouchedWhereNoRowIsKeptAndAppendsToTheList) {
    MatrixXd out = MatrixXd::Ones(1, 1);
    std::vector<int> rows = {7};
    for (const MatrixXd& A : {MatrixXd(0, 4), MatrixXd(MatrixXd::Constant(3, 2, NaN)), MatrixXd(0, 0)}) {
        EXPECT_EQ(quarn::dropMissing(A, out, rows), "noData");
        EXPECT_TRUE(SameDigits(out, MatrixXd::Ones(1, 1)));
        EXPECT_EQ(rows, std::vector<int>{7});
    }
    EXPECT_EQ(quarn::dropMissing(MatrixXd(2, 0), out, rows), "OK");
    EXPECT_TRUE(out.rows() == 2 && out.cols() == 0) << "rows without columns are complete";
    EXPECT_EQ(rows, (std::vector<int>{7, 0, 1}));
}

}  // namespace
