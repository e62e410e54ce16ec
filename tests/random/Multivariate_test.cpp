#include "Triple.h"

#include <quarn/random/Multivariate.h>
#include <quarn/random/Univariate.h>

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::RowVectorXd;
using quarn::VectorXd;
using quarn_test::Reference;
using quarn_test::SameDigits;
using quarn_test::SameState;
using quarn_test::Triple;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

#define TRIPLE T.rng, T.unif, T.norm

/// A lower-triangular factor; `above` fills the cells above its diagonal.
MatrixXd Factor(Index p, double above = 0.0) {
    return MatrixXd::NullaryExpr(p, p, [=](Index i, Index j) {
        if (i < j) return above;
        return i == j ? 0.5 + 0.25 * static_cast<double>(i) : 0.3 - 0.1 * static_cast<double>(i - j);
    });
}

VectorXd Normals(Reference& T, Index n) {
    VectorXd z(n);
    for (Index i = 0; i < n; ++i) z[i] = T.Z();
    return z;
}

double LargestDifference(const MatrixXd& A, const MatrixXd& B) {
    return A.size() == 0 ? 0.0 : (A - B).cwiseAbs().maxCoeff();
}

TEST(MultivariateNormal, IsMeanPlusTheFactorTimesFreshNormalsInEveryForm) {
    for (const Index p : {0, 1, 2, 3, 10, 33}) {
        const MatrixXd L = Factor(p);
        const VectorXd mean = VectorXd::LinSpaced(p, -4.0, 9.0);
        Triple T(41);
        Reference reference(41);
        for (int i = 0; i < 5; ++i) {
            RowVectorXd row(p);
            VectorXd column(p);
            MatrixXd rows(3, p);
            quarn::mvnormrnd(T.rng, T.norm, mean, L, row);
            EXPECT_LT(LargestDifference(row.transpose(), mean + L * Normals(reference, p)), 1e-13);
            quarn::mvnormrnd(T.rng, T.norm, mean, L, column);
            EXPECT_LT(LargestDifference(column, mean + L * Normals(reference, p)), 1e-13);
            quarn::mvnormrnd(T.rng, T.norm, mean, L, rows);
            for (Index r = 0; r < 3; ++r) {
                EXPECT_LT(LargestDifference(rows.row(r).transpose(), mean + L * Normals(reference, p)), 1e-13);
            }
            EXPECT_TRUE(SameState(T, reference)) << p;
        }
    }
}

TEST(MultivariateNormal, HasTheSameDigitsInEveryForm) {
    const MatrixXd L = Factor(7);
    const VectorXd mean = VectorXd::LinSpaced(7, 1.0, 2.0);
    Triple a(42), b(42), c(42);
    MatrixXd rows(4, 7);
    RowVectorXd row(7);
    VectorXd column(7);
    quarn::mvnormrnd(a.rng, a.norm, mean, L, rows);
    for (Index i = 0; i < 4; ++i) {
        quarn::mvnormrnd(b.rng, b.norm, mean, L, row);
        quarn::mvnormrnd(c.rng, c.norm, mean, L, column);
        EXPECT_TRUE(SameDigits(rows.row(i), row) && SameDigits(column.transpose(), row));
    }
}

TEST(MultivariateNormal, OfAZeroFactorIsTheMeanAndStillAdvancesTheGenerator) {
    Triple T(43);
    Reference reference(43);
    const VectorXd mean = VectorXd::LinSpaced(5, -1.0, 1.0);
    VectorXd out(5);
    quarn::mvnormrnd(T.rng, T.norm, mean, MatrixXd::Zero(5, 5), out);
    EXPECT_TRUE(SameDigits(out, mean));
    Normals(reference, 5);
    EXPECT_TRUE(SameState(T, reference));
}

TEST(MultivariateNormal, WithoutRowsDrawsNothing) {
    Triple T(44);
    MatrixXd out(0, 3);
    quarn::mvnormrnd(T.rng, T.norm, VectorXd::Zero(3), Factor(3), out);
    EXPECT_TRUE(SameState(T, Reference(44)));
}

TEST(Factors, AreReadBelowTheDiagonalOnly) {
    Triple clean(45), T(45);
    MatrixXd out, expected;
    VectorXd x(6), expectedX(6);
    quarn::mvnormrnd(clean.rng, clean.norm, VectorXd::Ones(6), Factor(6), expectedX);
    quarn::mvnormrnd(T.rng, T.norm, VectorXd::Ones(6), Factor(6, NaN), x);
    EXPECT_TRUE(SameDigits(x, expectedX));
    quarn::iwishrnd(clean.rng, clean.unif, clean.norm, Factor(6), 9.5, expected);
    quarn::iwishrnd(TRIPLE, Factor(6, NaN), 9.5, out);
    EXPECT_TRUE(SameDigits(out, expected));
}

/// Z = LA of Bartlett's decomposition, as the contract states it.
MatrixXd BartlettFactor(Reference& T, const MatrixXd& L, double df) {
    const Index p = L.rows();
    MatrixXd A = MatrixXd::Zero(p, p);
    for (Index i = 1; i < p; ++i) {
        for (Index j = 0; j < i; ++j) A(i, j) = T.Z();
    }
    for (Index i = 0; i < p; ++i) A(i, i) = std::sqrt(T.Gamma((df - static_cast<double>(i)) * 0.5, 0.5));
    return L * A;
}

TEST(Wishart, IsBartlettsDecompositionWithEitherDegreesOfFreedom) {
    for (const Index p : {0, 1, 2, 5, 12}) {
        const MatrixXd L = Factor(p);
        Triple T(46), real(46);
        Reference reference(46);
        MatrixXd out(1, 7), realOut;
        for (const int excess : {0, 1, 10, 100}) {
            const int df = static_cast<int>(p) + excess;
            if (df == 0) continue;
            const MatrixXd Z = BartlettFactor(reference, L, df), expected = Z * Z.transpose();
            quarn::wishrnd_intdf(TRIPLE, L, df, out);
            quarn::wishrnd(real.rng, real.unif, real.norm, L, df, realOut);
            ASSERT_EQ(out.rows(), p);
            EXPECT_LE(LargestDifference(out, expected), 1e-14 * (1.0 + expected.norm()));
            EXPECT_TRUE(SameDigits(out, realOut) && SameDigits(out, out.transpose()));
            EXPECT_TRUE(SameState(T, reference) && SameState(real, reference)) << p;
        }
    }
}

TEST(Wishart, TakesFractionalDegreesOfFreedom) {
    Triple T(47);
    Reference reference(47);
    MatrixXd out;
    quarn::wishrnd(TRIPLE, Factor(4), 3.1, out);  // the last gamma variate has the shape 0.05
    const MatrixXd Z = BartlettFactor(reference, Factor(4), 3.1);
    EXPECT_LT(LargestDifference(out, Z * Z.transpose()), 1e-13);
    EXPECT_TRUE(SameState(T, reference));
}

TEST(Wishart, OfDimensionOneIsAScaledChiSquaredVariate) {
    Triple T(48);
    Reference reference(48);
    MatrixXd out;
    quarn::wishrnd(TRIPLE, MatrixXd::Constant(1, 1, 3.0), 7.0, out);
    EXPECT_DOUBLE_EQ(out(0, 0), 9.0 * reference.Gamma(3.5, 0.5));
    EXPECT_TRUE(SameState(T, reference));
}

TEST(InverseWishart, IsTheInverseOfTheWishartDraw) {
    for (const Index p : {0, 1, 3, 10}) {
        const MatrixXd L = Factor(p);
        const int df = static_cast<int>(p) + 3;
        Triple T(49), wishart(49), real(49);
        MatrixXd W, out(9, 2), realOut;
        quarn::wishrnd_intdf(wishart.rng, wishart.unif, wishart.norm, L, df, W);
        quarn::iwishrnd_intdf(TRIPLE, L, df, out);
        quarn::iwishrnd(real.rng, real.unif, real.norm, L, df, realOut);
        EXPECT_LE(LargestDifference(W * out, MatrixXd::Identity(p, p)), 1e-14 * W.norm() * out.norm());
        EXPECT_TRUE(SameDigits(out, realOut) && SameDigits(out, out.transpose()));
        EXPECT_TRUE(T.rng == wishart.rng && T.norm == wishart.norm && T.rng == real.rng);
    }
}

TEST(Wishart, MayReplaceItsFactor) {
    Triple T(50), other(50);
    MatrixXd inPlace = Factor(4), out;
    quarn::wishrnd(other.rng, other.unif, other.norm, Factor(4), 8.0, out);
    quarn::wishrnd(TRIPLE, inPlace, 8.0, inPlace);
    EXPECT_TRUE(SameDigits(inPlace, out));
}

TEST(Wishart, IsNaNWithoutADrawUnlessDfIsAbovePMinusOne) {
    Triple T(51);
    for (const double df : {2.0, 1.9, 0.0, -5.0, NaN, std::numeric_limits<double>::infinity()}) {
        MatrixXd W, inverse, intW, intInverse;
        const int whole = std::isfinite(df) ? static_cast<int>(df) : std::numeric_limits<int>::min();
        quarn::wishrnd(TRIPLE, Factor(3), df, W);
        quarn::iwishrnd(TRIPLE, Factor(3), df, inverse);
        quarn::wishrnd_intdf(TRIPLE, Factor(3), whole, intW);
        quarn::iwishrnd_intdf(TRIPLE, Factor(3), whole, intInverse);
        for (const MatrixXd& X : {W, inverse, intW, intInverse}) {
            EXPECT_TRUE(X.rows() == 3 && X.cols() == 3 && X.array().isNaN().all()) << df;
        }
    }
    EXPECT_TRUE(SameState(T, Reference(51)));
}

RowVectorXd Dirichlet(Reference& T, const RowVectorXd& alpha) {
    RowVectorXd x(alpha.size());
    double sum = 0.0;
    for (Index j = 0; j < x.size(); ++j) sum += x[j] = T.Gamma(alpha[j], 1.0);
    return x * (1.0 / sum);
}

TEST(Dirichlet, SharesOutTheSumOfGammaVariatesRowByRowInEveryForm) {
    const RowVectorXd alpha{{0.3, 1.0, 4.0, 30.5, 0.01}};
    const MatrixXd table = alpha.replicate(3, 1);
    Triple T(52);
    Reference reference(52);
    RowVectorXd row(5);
    MatrixXd shared(3, 5), perRow(3, 5);
    quarn::drchrnd(TRIPLE, alpha, row);
    EXPECT_LT(LargestDifference(row, Dirichlet(reference, alpha)), 1e-15);
    quarn::drchrnd(TRIPLE, alpha, shared);
    for (Index i = 0; i < 3; ++i) EXPECT_LT(LargestDifference(shared.row(i), Dirichlet(reference, alpha)), 1e-15);
    quarn::drchrnd(TRIPLE, table, perRow);
    for (Index i = 0; i < 3; ++i) EXPECT_LT(LargestDifference(perRow.row(i), Dirichlet(reference, alpha)), 1e-15);
    EXPECT_TRUE(SameState(T, reference));
    EXPECT_NEAR(row.sum(), 1.0, 1e-15);
}

TEST(Dirichlet, HasTheSameDigitsInEveryForm) {
    for (const double a : {1e-320, 1e-4, 0.02, 0.5, 3.0}) {
        const RowVectorXd alpha{{a, 2.0 * a, a}};
        Triple T(53), other(53), third(53);
        MatrixXd shared(20, 3), perRow(20, 3);
        RowVectorXd row(3);
        quarn::drchrnd(TRIPLE, alpha, shared);
        quarn::drchrnd(other.rng, other.unif, other.norm, MatrixXd(alpha.replicate(20, 1)), perRow);
        EXPECT_TRUE(SameDigits(shared, perRow)) << a;
        for (Index i = 0; i < 20; ++i) {
            quarn::drchrnd(third.rng, third.unif, third.norm, alpha, row);
            EXPECT_TRUE(SameDigits(shared.row(i), row)) << a;
        }
    }
}

TEST(Dirichlet, StaysInTheSimplexWithTheRightMeansHoweverSmallAlpha) {
    for (const double a : {0.1, 0.03, 1e-3, 1e-5, 1e-100, 1e-300}) {
        const RowVectorXd alpha{{a, 3.0 * a, a}};
        Triple T(54);
        Reference reference(54);
        MatrixXd out(4000, 3);
        quarn::drchrnd(TRIPLE, alpha, out);
        ASSERT_TRUE((out.array() >= 0.0 && out.array() <= 1.0).all()) << a;
        EXPECT_LT((out.rowwise().sum().array() - 1.0).abs().maxCoeff(), 1e-15) << a;
        const RowVectorXd mean = out.colwise().mean();
        EXPECT_NEAR(mean[0], 0.2, 5 * 0.4 / std::sqrt(4000)) << a;
        EXPECT_NEAR(mean[1], 0.6, 5 * 0.5 / std::sqrt(4000)) << a;
        for (int i = 0; i < 4000; ++i) Dirichlet(reference, alpha);
        EXPECT_TRUE(SameState(T, reference)) << a;
    }
}

TEST(Dirichlet, IsNaNWithoutADrawInRowsOutsideTheDomain) {
    Triple T(55), other(55);
    MatrixXd out(3, 2), bad(2, 2);
    RowVectorXd expected(2), row(2);
    quarn::drchrnd(TRIPLE, MatrixXd{{1.0, 0.0}, {1.0, 2.0}, {NaN, 1.0}}, out);
    quarn::drchrnd(other.rng, other.unif, other.norm, RowVectorXd{{1.0, 2.0}}, expected);
    EXPECT_TRUE(SameDigits(out, MatrixXd{{NaN, NaN}, {expected[0], expected[1]}, {NaN, NaN}}));
    quarn::drchrnd(TRIPLE, RowVectorXd{{1.0, -2.0}}, row);
    quarn::drchrnd(TRIPLE, RowVectorXd{{1.0, -2.0}}, bad);
    EXPECT_TRUE(row.array().isNaN().all() && bad.array().isNaN().all());
    EXPECT_TRUE(T.rng == other.rng && T.norm == other.norm);
}

}  // namespace
