#include "Triple.h"

#include <quarn/random/Multivariate.h>
#include <quarn/random/Univariate.h>

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <limits>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::RowVectorXd;
using quarn::VectorXd;
using quarn_test::Infinity;
using quarn_test::NaN;
using quarn_test::Reference;
using quarn_test::SameDigits;
using quarn_test::SameState;
using quarn_test::Triple;

/// A lower-triangular factor. The library gets it with NaN in the cells above the diagonal, which are not to be read.
MatrixXd Factor(Index p, double above = NaN) {
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
        Triple T(41), ofRow(41), ofColumn(41);
        Reference reference(41);
        MatrixXd none(0, p), rows(5, p);
        quarn::mvnormrnd(T.rng, T.norm, mean, L, none);
        quarn::mvnormrnd(T.rng, T.norm, mean, L, rows);
        for (Index i = 0; i < 5; ++i) {
            RowVectorXd row(p);
            VectorXd column(p);
            quarn::mvnormrnd(ofRow.rng, ofRow.norm, mean, L, row);
            quarn::mvnormrnd(ofColumn.rng, ofColumn.norm, mean, L, column);
            EXPECT_TRUE(SameDigits(rows.row(i), row) && SameDigits(column.transpose(), row)) << p;
            EXPECT_LT(LargestDifference(column, mean + Factor(p, 0.0) * Normals(reference, p)), 1e-13) << p;
        }
        EXPECT_TRUE(SameState(T, reference) && SameState(ofRow, reference) && SameState(ofColumn, reference)) << p;
    }
}

/// Z = LA of Bartlett's decomposition, as the contract states it.
MatrixXd BartlettFactor(Reference& T, Index p, double df) {
    MatrixXd A = MatrixXd::Zero(p, p);
    for (Index i = 1; i < p; ++i) {
        for (Index j = 0; j < i; ++j) A(i, j) = T.Z();
    }
    for (Index i = 0; i < p; ++i) A(i, i) = std::sqrt(T.Gamma((df - static_cast<double>(i)) * 0.5, 0.5));
    return Factor(p, 0.0) * A;
}

TEST(Wishart, IsBartlettsDecompositionAndItsInverseWithEitherDegreesOfFreedom) {
    for (const Index p : {0, 1, 2, 5, 12}) {
        for (const double excess : {-0.9, 0.0, 1.0, 10.0, 100.0}) {  // at -0.9 the last gamma variate has shape 0.05
            const MatrixXd L = Factor(p);
            const double df = static_cast<double>(p) + excess;
            const int whole = static_cast<int>(df);
            Triple T(46), inverse(46), wholeT(46), wholeInverse(46);
            Reference reference(46);
            const MatrixXd Z = BartlettFactor(reference, p, df), expected = Z * Z.transpose();
            MatrixXd W(1, 7), V(9, 2), wholeW, wholeV;
            quarn::wishrnd(TRIPLE(T), L, df, W);
            quarn::iwishrnd(TRIPLE(inverse), L, df, V);
            ASSERT_TRUE(W.rows() == p && V.rows() == p);
            EXPECT_LE(LargestDifference(W, expected), 1e-14 * (1.0 + expected.norm())) << p << ' ' << df;
            EXPECT_LE(LargestDifference(W * V, MatrixXd::Identity(p, p)), 1e-14 * W.norm() * V.norm())
                << p << ' ' << df;
            EXPECT_TRUE(SameDigits(W, W.transpose()) && SameDigits(V, V.transpose())) << p << ' ' << df;
            EXPECT_TRUE(SameState(T, reference) && SameState(inverse, reference)) << p << ' ' << df;
            if (whole != df) continue;
            quarn::wishrnd_intdf(TRIPLE(wholeT), L, whole, wholeW);
            quarn::iwishrnd_intdf(TRIPLE(wholeInverse), L, whole, wholeV);
            EXPECT_TRUE(SameDigits(wholeW, W) && SameDigits(wholeV, V)) << p << ' ' << df;
            EXPECT_TRUE(SameState(wholeT, reference) && SameState(wholeInverse, reference)) << p << ' ' << df;
        }
    }
}

TEST(Wishart, MayReplaceItsFactor) {
    Triple T(50), apart(50);
    MatrixXd inPlace = Factor(4), out;
    quarn::wishrnd(TRIPLE(apart), Factor(4), 8.0, out);
    quarn::wishrnd(TRIPLE(T), inPlace, 8.0, inPlace);
    EXPECT_TRUE(SameDigits(inPlace, out));
}

TEST(Wishart, IsNaNWithoutADrawUnlessDfIsAbovePMinusOne) {
    Triple T(51);
    for (const double df : {2.0, 1.9, 0.0, -5.0, NaN, Infinity}) {
        MatrixXd W, inverse, intW, intInverse;
        const int whole = std::isfinite(df) ? static_cast<int>(df) : std::numeric_limits<int>::min();
        quarn::wishrnd(TRIPLE(T), Factor(3), df, W);
        quarn::iwishrnd(TRIPLE(T), Factor(3), df, inverse);
        quarn::wishrnd_intdf(TRIPLE(T), Factor(3), whole, intW);
        quarn::iwishrnd_intdf(TRIPLE(T), Factor(3), whole, intInverse);
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
    for (const RowVectorXd& alpha : {RowVectorXd{{0.3, 1.0, 4.0, 30.5, 0.01}}, RowVectorXd{{1e-320, 2e-320, 1e-320}},
                                     RowVectorXd{{1e-4, 2e-4, 1e-4}}, RowVectorXd{{0.02, 0.04, 0.02}}}) {
        Triple T(52), ofTable(52), ofRow(52);
        Reference reference(52);
        MatrixXd shared(20, alpha.size()), perRow = shared;
        RowVectorXd row(alpha.size());
        quarn::drchrnd(TRIPLE(T), alpha, shared);
        quarn::drchrnd(TRIPLE(ofTable), MatrixXd(alpha.replicate(20, 1)), perRow);
        EXPECT_TRUE(SameDigits(shared, perRow)) << alpha;
        for (Index i = 0; i < 20; ++i) {
            const RowVectorXd expected = Dirichlet(reference, alpha);
            quarn::drchrnd(TRIPLE(ofRow), alpha, row);
            EXPECT_TRUE(SameDigits(shared.row(i), row)) << alpha;
            if (alpha.minCoeff() >= 0.01) {  // below, the reference underflows
                EXPECT_LT(LargestDifference(row, expected), 1e-15) << alpha;
            }
        }
        EXPECT_TRUE(SameState(T, reference) && SameState(ofTable, reference) && SameState(ofRow, reference)) << alpha;
    }
}

TEST(Dirichlet, StaysInTheSimplexWithTheRightMeansHoweverSmallAlpha) {
    for (const double a : {0.1, 0.03, 1e-3, 1e-5, 1e-100, 1e-300}) {
        const RowVectorXd alpha{{a, 3.0 * a, a}};
        Triple T(54);
        Reference reference(54);
        MatrixXd out(4000, 3);
        quarn::drchrnd(TRIPLE(T), alpha, out);
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
    quarn::drchrnd(TRIPLE(T), MatrixXd{{1.0, 0.0}, {1.0, 2.0}, {NaN, 1.0}}, out);
    quarn::drchrnd(TRIPLE(other), RowVectorXd{{1.0, 2.0}}, expected);
    EXPECT_TRUE(SameDigits(out, MatrixXd{{NaN, NaN}, {expected[0], expected[1]}, {NaN, NaN}}));
    quarn::drchrnd(TRIPLE(T), RowVectorXd{{1.0, -2.0}}, row);
    quarn::drchrnd(TRIPLE(T), RowVectorXd{{1.0, -2.0}}, bad);
    EXPECT_TRUE(row.array().isNaN().all() && bad.array().isNaN().all());
    EXPECT_TRUE(SameState(T, other));
}

}  // namespace
