#include "../support/Matrices.h"

#include <quarn/classical/OLSChol.h>
#include <quarn/datasets/Dataset.h>
#include <quarn/numerics/MatrixHelpers.h>
#include <quarn/numerics/ResidualProducts_detail.h>

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::OLSChol;
using quarn::VectorXd;
using quarn::testing::Normals;
using quarn::testing::SameCells;

constexpr auto Best = quarn::detail::Instructions::Best, Portable = quarn::detail::Instructions::Portable;

double LeastDigits(const VectorXd& found, const VectorXd& certified) {
    return -std::log10((found - certified).cwiseQuotient(certified).cwiseAbs().maxCoeff());
}

TEST(OLSChol, FindsTheCertifiedResultsOfLongley) {
    const quarn::Dataset data(QUARN_SOURCE_DIR "/examples/data/longley.csv", ',');
    const VectorXd y = data.GetVariable("totemp");
    MatrixXd X(16, 7);
    X << VectorXd::Ones(16), data.Data.rightCols(6);
    VectorXd certified(7);  // NIST, Statistical Reference Datasets
    certified << -3482258.63459582, 15.0618722713733, -0.358191792925910E-01, -2.02022980381683, -1.03322686717359,
        -0.511041056535807E-01, 1829.15146461355;
    const OLSChol fit(y, X);
    EXPECT_GT(LeastDigits(fit.b, certified), 14.0);
    EXPECT_NEAR(std::sqrt(fit.s2), 304.854073561965, 1e-12 * 304.85);
    EXPECT_LT(LeastDigits(quarn::XpX(X).ldlt().solve(quarn::XpZ(X, y)), certified), 9.0)
        << "the normal equations alone: else the case shows nothing";
}

TEST(OLSChol, FitsPolynomialsWithWholeCoefficientsToTheLastBit) {
    VectorXd x = VectorXd::LinSpaced(21, 0.0, 20.0);
    MatrixXd X(21, 6);
    for (Index j = 0; j < 6; ++j) X.col(j) = x.array().pow(static_cast<double>(j));
    const OLSChol fit(X.rowwise().sum(), X);
    EXPECT_TRUE((fit.b.array() == 1.0).all()) << fit.b.transpose();
    EXPECT_TRUE((fit.e.array() == 0.0).all());
    EXPECT_EQ(fit.s2, 0.0);
}

TEST(OLSChol, FillsItsFields) {
    const MatrixXd X = Normals(523, 4, 1);
    const VectorXd y = Normals(523, 1, 2);
    const OLSChol plain(y, X), labelled(y, X, "wage", {"a", "b"});
    EXPECT_LT((X.transpose() * plain.e).cwiseAbs().maxCoeff(), 1e-12);
    EXPECT_LT((y - X * plain.b - plain.e).cwiseAbs().maxCoeff(), 1e-14);
    EXPECT_NEAR(plain.s2, plain.e.squaredNorm() / 519.0, 1e-14);
    EXPECT_LT((plain.ldlt.reconstructedMatrix() - X.transpose() * X).cwiseAbs().maxCoeff(), 1e-10);
    EXPECT_TRUE(SameCells(plain.V, plain.s2 * X));
    EXPECT_TRUE(SameCells(labelled.V, MatrixXd::Identity(4, 4)));
    EXPECT_TRUE(SameCells(plain.b, labelled.b));
    EXPECT_EQ(plain.N, 523);
    EXPECT_EQ(plain.K, 4);
    EXPECT_TRUE(plain.label.empty() && plain.labels.empty());
    EXPECT_EQ(labelled.label, "wage");
    EXPECT_EQ(labelled.labels, (std::list<std::string>{"a", "b"}));
}

TEST(OLSChol, EndsWithHopelessData) {
    const VectorXd y = Normals(20, 1, 3);
    MatrixXd X = Normals(20, 3, 4);
    X.col(2) = X.col(0) + X.col(1);
    EXPECT_TRUE(OLSChol(y, X).ldlt.info() == Eigen::Success) << "collinear";
    EXPECT_FALSE(std::isfinite(OLSChol(y.head(3), Normals(3, 3, 5)).s2) &&
                 OLSChol(y.head(3), Normals(3, 3, 5)).s2 > 0.0)
        << "as many columns as rows";
    EXPECT_TRUE((OLSChol(VectorXd::Zero(20), Normals(20, 3, 6)).b.array() == 0.0).all());
    X(7, 1) = quarn::testing::NaN;
    EXPECT_TRUE(OLSChol(y, X).b.array().isNaN().any());
    EXPECT_EQ(OLSChol(VectorXd(), MatrixXd(0, 2)).N, 0);
}

TEST(ResidualProducts, AgreeWithLongSumsWhereverTheRowsEnd) {
    for (const Index n : {1, 15, 16, 17, 255, 256, 257, 271, 1000}) {
        MatrixXd X = Normals(n, 3, 7);
        X.col(1) *= 1e8;
        const VectorXd b = Normals(3, 1, 8), noise = 1e-6 * Normals(n, 1, 9), y = X * b + noise;
        VectorXd e, g, ePortable, gPortable;
        quarn::detail::ResidualProducts(X, y, b, e, g, Best);
        quarn::detail::ResidualProducts(X, y, b, ePortable, gPortable, Portable);
        EXPECT_TRUE(SameCells(e, ePortable) && SameCells(g, gPortable)) << n;
        __float128 product[3] = {};  // X'(y - Xb), with digits to spare
        for (Index i = 0; i < n; ++i) {
            __float128 exact = y[i];
            for (Index j = 0; j < 3; ++j) exact -= static_cast<__float128>(X(i, j)) * b[j];
            EXPECT_EQ(e[i], static_cast<double>(exact)) << n;
            for (Index j = 0; j < 3; ++j) product[j] += X(i, j) * exact;
        }
        for (Index j = 0; j < 3; ++j) EXPECT_DOUBLE_EQ(g[j], static_cast<double>(product[j])) << n;
    }
}

}  // namespace
