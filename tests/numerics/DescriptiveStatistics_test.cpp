#include "../support/Matrices.h"

#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/numerics/Sorting.h>

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <random>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::RowVectorXd;
using quarn::VectorXd;
using quarn::VectorXi;
using quarn::testing::NaN;
using quarn::testing::SameCells;

/// A skewed sample: exponential draws, the sign of the skewness as given, away from 0.
VectorXd SkewedSample(Index n, double sign, std::uint64_t seed) {
    std::mt19937_64 engine(seed);
    std::exponential_distribution<double> law;
    return VectorXd::NullaryExpr(n, [&](Index) { return 5.0 + sign * law(engine); });
}

/// Correlated columns.
MatrixXd Sample(Index rows, Index columns, std::uint64_t seed) {
    MatrixXd X = quarn::testing::Normals(rows, columns, seed);
    for (Index j = 1; j < columns; ++j) X.col(j) += 0.5 * X.col(j - 1);
    return X;
}

RowVectorXd Row(const std::function<void(const VectorXd&, RowVectorXd&)>& f, const VectorXd& x) {
    RowVectorXd out(1);
    f(x, out);
    return out;
}

/// Central moment in extended precision.
long double Moment(const VectorXd& x, const VectorXd& y, int xPower, int yPower) {
    long double xMean = 0, yMean = 0, sum = 0;
    const auto n = static_cast<long double>(x.size());
    for (Index i = 0; i < x.size(); ++i) {
        xMean += x[i] / n;
        yMean += y[i] / n;
    }
    for (Index i = 0; i < x.size(); ++i) sum += std::pow(x[i] - xMean, xPower) * std::pow(y[i] - yMean, yPower);
    return sum / n;
}

TEST(Moments, AgreeWithExtendedPrecision) {
    for (const Index n : {2, 3, 7, 8, 9, 1000}) {
        const VectorXd x = SkewedSample(n, 1, 1).array() + 1e6,
                       y = x.array().square() / 1e6 + SkewedSample(n, -1, 2).array();
        const double count = static_cast<double>(n);
        const auto variance = static_cast<double>(Moment(x, x, 2, 0)) * count / (count - 1);
        EXPECT_NEAR(quarn::vectorVar(x) / variance, 1, 1e-13);
        EXPECT_NEAR(quarn::vectorSd(x) / std::sqrt(variance), 1, 1e-13);
        if (n < 3) continue;
        const long double plain = Moment(x, y, 1, 1) / std::sqrt(Moment(x, y, 2, 0) * Moment(x, y, 0, 2));
        EXPECT_NEAR(quarn::vectorCorr(x, y), static_cast<double>(plain) * (count - 1) / (count - 2), 1e-12);
    }
}

TEST(Moments, OfEqualValuesHaveNoSpreadAndOfOneValueNoVariance) {
    for (const Index n : {2, 3, 10, 1001}) {
        for (const double value : {0.1, 1e17 / 3.0, -7e-200}) {
            const MatrixXd X = MatrixXd::Constant(n, 1, value);
            EXPECT_EQ(quarn::vectorVar(X.col(0)), 0.0) << n << " times " << value;
            EXPECT_EQ(quarn::matrixVar(X)[0], 0.0);
            EXPECT_EQ(quarn::vectorSd(X.col(0)), 0.0);
        }
    }
    const VectorXd one{{3.0}};
    EXPECT_EQ(quarn::vectorMean(one), 3.0);
    EXPECT_TRUE(std::isnan(quarn::vectorVar(one)) && std::isnan(quarn::vectorSd(one)));
}

TEST(Moments, DoNotDependOnTheAddressOfTheData) {
    const VectorXd x = SkewedSample(1003, 1, 3);
    VectorXd shifted(1004);
    shifted << 0.0, x;
    EXPECT_EQ(quarn::vectorMean(x), quarn::vectorMean(shifted.tail(1003)));
    EXPECT_EQ(quarn::vectorVar(x), quarn::vectorVar(shifted.tail(1003)));
}

TEST(OrderStatistics, AreThoseOfTheSortedSample) {
    for (const Index n : {1, 2, 3, 4, 19, 20, 21, 40, 100, 1000}) {
        const VectorXd x = SkewedSample(n, 1, 4), sorted = quarn::SortVector(x);
        const auto at = [&](Index numerator, Index denominator) { return sorted[n * numerator / denominator]; };
        EXPECT_EQ(quarn::vectorMedian(x), (sorted[(n - 1) / 2] + sorted[n / 2]) / 2) << n;
        EXPECT_TRUE(SameCells(Row(quarn::vectorMinMax, x), RowVectorXd{{sorted[0], sorted[n - 1]}})) << n;
        EXPECT_TRUE(SameCells(Row(quarn::vectorPerc10, x), RowVectorXd{{at(5, 100), at(95, 100)}})) << n;
        EXPECT_TRUE(SameCells(Row(quarn::vectorPerc5, x), RowVectorXd{{at(25, 1000), at(975, 1000)}})) << n;
    }
}

TEST(OrderStatistics, TakeWholeRanksWithoutInterpolation) {
    // 0.05 n and its like are whole at every multiple of 40: the product must not fall below.
    for (Index n = 40; n <= 4000; n += 40) {
        const VectorXd ranks = VectorXd::LinSpaced(n, 0, static_cast<double>(n - 1));
        const double count = static_cast<double>(n);
        ASSERT_TRUE(SameCells(Row(quarn::vectorPerc10, ranks), RowVectorXd{{count / 20, count - count / 20}})) << n;
        ASSERT_TRUE(SameCells(Row(quarn::vectorPerc5, ranks), RowVectorXd{{count / 40, count - count / 40}})) << n;
    }
}

TEST(Summary, GathersTheSingleStatistics) {
    for (const double sign : {1.0, -1.0}) {
        const VectorXd x = SkewedSample(500, sign, 5);
        const RowVectorXd summary = Row(quarn::vectorSummary, x), interval = Row(quarn::vectorPerc10, x),
                          range = Row(quarn::vectorMinMax, x);
        const RowVectorXd expected{{quarn::vectorMean(x), quarn::vectorMedian(x), quarn::vectorSd(x), interval[0],
                                    interval[1], range[0], range[1]}};
        EXPECT_TRUE(SameCells(summary.head(7), expected));
        const double skewness = static_cast<double>(Moment(x, x, 3, 0)) / std::pow(quarn::vectorVar(x), 1.5);
        EXPECT_NEAR(summary[7], skewness, 1e-12);
        const RowVectorXd four{{expected[0], expected[2], expected[3], expected[4]}};
        EXPECT_TRUE(SameCells(Row(quarn::vectorSummary_mean_std_90ci, x), four));
    }
}

TEST(Summary, ModeOfASkewedSampleIsThatOfAGammaLawFromItsEndElseTheMedian) {
    const struct {
        VectorXd x;
        double mode;
    } cases[] = {
        // Distances from the minimum 0, 2, 3, 7: mean 3, variance 26/3, so rate 9/26, shape 27/26, mode 1/9.
        {VectorXd{{10, 12, 13, 17}}, 10 + 1.0 / 9.0},
        // Distances 0, 0, 0, 8: mean 2, variance 16, shape 1/4: the density has its peak at the end.
        {VectorXd{{1, 1, 9, 1}}, 1.0},
        {VectorXd{{2, -1, 0, 1, -2, 7, -7}}, 0.0},
        {VectorXd::Constant(10, 0.1), 0.1},
    };
    for (const auto& [x, mode] : cases) {
        EXPECT_NEAR(Row(quarn::vectorSummary, x)[8], mode, 1e-12);
        EXPECT_NEAR(Row(quarn::vectorSummary, -x)[8], -mode, 1e-12);
    }
    EXPECT_EQ(Row(quarn::vectorSummary, cases[2].x)[7], 0.0);
    EXPECT_TRUE(std::isnan(Row(quarn::vectorSummary, cases[3].x)[7]));
}

TEST(MissingValues, MakeEveryStatisticNaN) {
    for (const Index hole : {0, 4, 9}) {
        VectorXd x = SkewedSample(10, 1, 6);
        x[hole] = NaN;
        for (const auto statistic : {quarn::vectorMean, quarn::vectorVar, quarn::vectorSd, quarn::vectorMedian})
            EXPECT_TRUE(std::isnan(statistic(x)));
        for (const auto row : {quarn::vectorMinMax, quarn::vectorPerc10, quarn::vectorPerc5, quarn::vectorSummary,
                               quarn::vectorSummary_mean_std_90ci})
            EXPECT_TRUE(Row(row, x).array().isNaN().all());
    }
}

TEST(DistinctValues, AreCountedWithoutMissingOnes) {
    const VectorXd x{{3, NaN, 1, 3, NaN, -2, 3, 1}};
    const struct {
        VectorXd x;
        int limit, status;
        MatrixXd table;
    } cases[] = {
        {x, 3, 0, MatrixXd{{-2, 1, 1.0 / 6.0}, {1, 2, 2.0 / 6.0}, {3, 3, 3.0 / 6.0}}},
        {x, 2, 2, MatrixXd(0, 3)},
        {x, 0, 2, MatrixXd(0, 3)},
        {VectorXd(), 5, 1, MatrixXd(0, 3)},
        {VectorXd{{NaN, NaN}}, 0, 1, MatrixXd(0, 3)},
        {VectorXd{{0.0, -0.0}}, 1, 0, MatrixXd{{0, 2, 1}}},
    };
    for (const auto& c : cases) {
        int status = -1;
        EXPECT_TRUE(SameCells(quarn::vectorTabulate(c.x, c.limit, status), c.table)) << c.x.transpose();
        EXPECT_EQ(status, c.status);
        status = -1;
        EXPECT_TRUE(SameCells(quarn::vectorUnique(c.x, c.limit, status), c.table.col(0))) << c.x.transpose();
        EXPECT_EQ(status, c.status);
    }
}

TEST(Mode, IsTheSmallestOfTheMostFrequentValues) {
    EXPECT_EQ(quarn::vectorModeXi((VectorXi(6) << 5, 2, 5, 2, 9, -1).finished()), 2);
    EXPECT_EQ(quarn::vectorModeXi((VectorXi(5) << 1, 9, 9, 1, 9).finished()), 9);
    EXPECT_EQ(quarn::vectorModeXi(VectorXi::Constant(1, -4)), -4);
}

TEST(MatrixStatistics, AreTheVectorStatisticsOfEachColumnOrRow) {
    const auto X = std::make_shared<MatrixXd>(Sample(31, 4, 7));
    const MatrixXd transposed = X->transpose();
    RowVectorXd mean;
    quarn::matrixMean(X, mean);
    const RowVectorXd variance = quarn::matrixVar(X), sd = quarn::matrixSd(X), median = quarn::matrixMedian(X);
    for (Index j = 0; j < 4; ++j) {
        EXPECT_EQ(mean[j], quarn::vectorMean(X->col(j)));
        EXPECT_EQ(variance[j], quarn::vectorVar(X->col(j)));
        EXPECT_EQ(sd[j], std::sqrt(variance[j]));
        EXPECT_EQ(median[j], quarn::vectorMedian(X->col(j)));
    }
    const auto rows = std::make_shared<MatrixXd>(transposed);
    EXPECT_TRUE(SameCells(quarn::matrixVarRowwise(rows).transpose(), variance));
    EXPECT_TRUE(SameCells(quarn::matrixSdRowwise(rows).transpose(), sd));
    EXPECT_TRUE(SameCells(quarn::matrixMedianRowwise(rows).transpose(), median));
}

TEST(MatrixStatistics, OfPairsAndSummariesHaveOneRowPerColumn) {
    using VectorForm = void (*)(const Eigen::Ref<const VectorXd>&, RowVectorXd&);
    using MatrixForm = void (*)(const MatrixXd&, MatrixXd&);
    using SharedForm = void (*)(const quarn::SharedMatrix&, MatrixXd&);
    const struct {
        VectorForm vector;
        MatrixForm matrix;
        SharedForm shared;
        Index width;
    } forms[] = {
        {quarn::vectorMinMax, quarn::matrixMinMax, quarn::matrixMinMax, 2},
        {quarn::vectorPerc10, quarn::matrixPerc10, quarn::matrixPerc10, 2},
        {quarn::vectorPerc5, quarn::matrixPerc5, quarn::matrixPerc5, 2},
        {quarn::vectorSummary, quarn::matrixSummary, quarn::matrixSummary, 9},
    };
    const MatrixXd X = Sample(50, 3, 8);
    for (const auto& form : forms) {
        MatrixXd out, shared, inPlace = X;
        form.matrix(X, out);
        form.shared(std::make_shared<MatrixXd>(X), shared);
        form.matrix(inPlace, inPlace);
        ASSERT_EQ(out.rows(), 3);
        ASSERT_EQ(out.cols(), form.width);
        for (Index j = 0; j < 3; ++j) EXPECT_TRUE(SameCells(out.row(j), Row(form.vector, X.col(j))));
        EXPECT_TRUE(SameCells(shared, out) && SameCells(inPlace, out));
    }
}

TEST(Covariance, AgreesWithThePairwiseMomentsInEveryForm) {
    const MatrixXd X = Sample(40, 5, 9);
    const MatrixXd C = quarn::cov(X), R = quarn::corr(X);
    for (Index i = 0; i < 5; ++i) {
        EXPECT_NEAR(R(i, i), 1.0, 1e-14);
        for (Index j = 0; j < 5; ++j) {
            const auto moment = static_cast<double>(Moment(X.col(i), X.col(j), 1, 1));
            EXPECT_NEAR(C(i, j), moment * 40 / 39, 1e-13);
            EXPECT_NEAR(R(i, j), quarn::vectorCorr(X.col(i), X.col(j)) * 38 / 39, 1e-13);
        }
    }
    EXPECT_TRUE(SameCells(C, C.transpose()) && SameCells(R, R.transpose()));
    MatrixXd out;
    const auto shared = std::make_shared<MatrixXd>(X), rows = std::make_shared<MatrixXd>(X.transpose());
    quarn::cov(X, out);
    EXPECT_TRUE(SameCells(out, C) && SameCells(quarn::cov(shared), C) && SameCells(quarn::covRowwise(rows), C));
    quarn::corr(shared, out);
    EXPECT_TRUE(SameCells(out, R) && SameCells(quarn::corr(shared), R) && SameCells(quarn::corrRowwise(rows), R));
}

}  // namespace
