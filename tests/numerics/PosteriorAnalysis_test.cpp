#include <quarn/numerics/CrossProduct_detail.h>
#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/numerics/PosteriorAnalysis.h>
#include <quarn/numerics/Sorting.h>

#include <Eigen/QR>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::RowVectorXd;
using quarn::VectorXd;
using Real = long double;
using RealMatrix = Eigen::Matrix<Real, Eigen::Dynamic, Eigen::Dynamic>;
using RealVector = Eigen::Matrix<Real, Eigen::Dynamic, 1>;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN(), Inf = std::numeric_limits<double>::infinity();

/// Stationary, with innovations of variance 1.
VectorXd Ar1(Index n, double rho, std::uint64_t seed) {
    std::mt19937_64 engine(seed);
    std::normal_distribution<double> normal;
    VectorXd x(n);
    double last = normal(engine) / std::sqrt(1.0 - rho * rho);
    for (double& value : x) value = last = rho * last + normal(engine);
    return x;
}

RowVectorXd Diagnostics(const VectorXd& x) {
    RowVectorXd out(5);
    quarn::MCMCdiagnostics(x, out, 6, 3);
    return out;
}

/// Residuals of y on the columns of X, and the coefficients, by QR.
RealVector Residuals(const RealMatrix& X, const RealVector& y, RealVector& b) {
    b = X.householderQr().solve(y);
    return y - X * b;
}

/// The long-run variance by both regressions as they are stated, with every lag a column.
Real LongRunVarianceByQr(const RealVector& x) {
    const Index n = x.size();
    RealMatrix first = RealMatrix::Ones(n - 6, 7), second = RealMatrix::Ones(n - 9, 10);
    RealVector b;
    for (Index lag = 1; lag <= 6; ++lag) first.col(lag) = x.segment(6 - lag, n - 6);
    const RealVector e = Residuals(first, x.tail(n - 6), b);
    for (Index lag = 1; lag <= 6; ++lag) second.col(lag) = x.segment(9 - lag, n - 9);
    for (Index lag = 1; lag <= 3; ++lag) second.col(6 + lag) = e.segment(3 - lag, n - 9);
    const RealVector u = Residuals(second, x.tail(n - 9), b);
    const Real gain = (1 + b.tail(3).sum()) / (1 - b.segment(1, 6).sum());
    return gain * gain * u.squaredNorm() / static_cast<Real>(n - 19);
}

TEST(MCMCdiagnostics, AgreeWithBothRegressionsByQrInEveryUnit) {
    const VectorXd chains[] = {Ar1(3000, 0.95, 1),
                               Ar1(3000, -0.6, 2),
                               Ar1(20, 0.5, 3),
                               Ar1(21, 0.5, 4),
                               1e6 + 1e-3 * Ar1(500, 0.7, 5).array(),
                               Ar1(3000, 0.95, 6) + Ar1(3000, 0, 7)};
    for (const VectorXd& x : chains) {
        const auto n = static_cast<Real>(x.size()), mean = x.cast<Real>().sum() / n;
        const RealVector d = x.cast<Real>().array() - mean;
        const Real omega = LongRunVarianceByQr(d), variance = d.squaredNorm() / (n - 1);
        const Real expected[] = {mean, omega / 6.28318530717959L, std::sqrt(omega / n), variance / omega,
                                 omega / variance};
        const RowVectorXd out = Diagnostics(x);
        for (Index i = 0; i < 5; ++i) EXPECT_NEAR(static_cast<double>(out[i] / expected[i]), 1.0, 1e-10) << i;
        EXPECT_EQ(Diagnostics(x * 0x1p-700)[2], out[2] * 0x1p-700);
        EXPECT_EQ(Diagnostics(x * 0x1p700)[4], out[4]);
    }
}

TEST(MCMCdiagnostics, FindTheInefficiencyOfKnownChains) {
    MatrixXd X(100000, 3), out;
    const double rho[] = {0.5, 0.95, -0.6}, tolerance[] = {0.1, 0.2, 0.1};
    for (Index j = 0; j < 3; ++j) X.col(j) = Ar1(X.rows(), rho[j], 7);
    quarn::MCMCdiagnostics(X, out, 0, 0);
    for (Index j = 0; j < 3; ++j) {
        EXPECT_NEAR(out(j, 4) / ((1.0 + rho[j]) / (1.0 - rho[j])), 1.0, tolerance[j]);
        EXPECT_TRUE((out.row(j).array() == Diagnostics(X.col(j)).array()).all());
    }
}

TEST(MCMCdiagnostics, GiveOnlyTheMeanOfDegenerateChains) {
    const VectorXd t = VectorXd::LinSpaced(1000, 0, 999), equal = VectorXd::Constant(1000, 0.1);
    VectorXd lastDiffers = equal, withNaN = t.array().sin().exp(), withInfinity = withNaN;
    lastDiffers[999] = 1.0;
    withNaN[500] = NaN;
    withInfinity[0] = -Inf;
    const VectorXd wave = (0.1 * t.array()).sin(), few = Ar1(19, 0.5, 9);
    const VectorXd cases[] = {VectorXd(), few, equal, t, lastDiffers, wave, withNaN, withInfinity};
    for (const VectorXd& x : cases) {
        const RowVectorXd out = Diagnostics(x);
        const bool hasMean = x.size() > 0 && x.allFinite();
        EXPECT_TRUE(hasMean ? out[0] == quarn::vectorMean(x) : !std::isfinite(out[0]));
        EXPECT_TRUE(out.tail(4).array().isNaN().all()) << out << " for " << x.head(std::min<Index>(x.size(), 3));
    }
}

TEST(ACFData, AgreesWithTheDirectSum) {
    for (const Index n : {1, 2, 10, 31, 1000, 5003}) {
        const VectorXd x = 1e5 + Ar1(n, 0.6, 10).array();
        const RealVector d = x.cast<Real>().array() - x.cast<Real>().sum() / static_cast<Real>(n);
        const MatrixXd acf = quarn::ACFData(x), long_ = quarn::ACFData(x, static_cast<int>(n) + 5);
        ASSERT_EQ(acf.rows(), std::min<Index>(n - 1, 30));
        for (Index k = 1; n > 1 && k <= n + 5; ++k) {
            const Real sum = k < n ? d.head(n - k).dot(d.tail(n - k)) : 0;
            EXPECT_EQ(long_(k - 1, 0), static_cast<double>(k));
            EXPECT_NEAR(long_(k - 1, 1), static_cast<double>(sum / d.squaredNorm()), 1e-12);
        }
        EXPECT_TRUE((acf.array() == long_.topRows(acf.rows()).array()).all());
    }
    EXPECT_TRUE(quarn::ACFData(VectorXd::Constant(50, 0.1)).col(1).array().isNaN().all());
}

TEST(LagProducts, AreTheSameForAllInstructions) {
    using quarn::detail::Instructions;
    const VectorXd x = Ar1(2101, 0.5, 11);
    for (const Index n : {0, 1, 7, 255, 256, 2070}) {
        const MatrixXd G = quarn::detail::WindowProducts(x.data(), n, 31);
        EXPECT_TRUE(G == quarn::detail::WindowProducts(x.data(), n, 31, Instructions::Portable));
        EXPECT_TRUE(G.row(0) == quarn::detail::LagProducts(x.data(), n, 31, Instructions::Portable));
        EXPECT_TRUE(G.row(0) == quarn::detail::LagProducts(x.data(), n, 31));
        EXPECT_NEAR(G(3, 17), x.segment(3, n).dot(x.segment(17, n)), 1e-9);
    }
}

/// A histogram as it is defined: sorted values, walked bin by bin.
MatrixXd WalkedHistogram(const VectorXd& x, int bins) {
    const VectorXd sorted = quarn::SortVector(x);
    const Index n = x.size();
    double width = (sorted[n - 1] - sorted[0]) / bins;
    if (sorted[n - 1] == sorted[0]) {
        bins = 1;
        width = sorted[0] * 0.01 == 0.0 ? 0.001 : sorted[0] * 0.01;
    }
    MatrixXd result = MatrixXd::Zero(bins + 2, 2);
    result(0, 0) = sorted[0];
    Index next = 0;
    for (Index r = 1; r <= bins + 1; ++r) {
        result(r, 0) = result(r - 1, 0) + width;
        for (; r <= bins && next < n && sorted[next] <= result(r, 0); ++next) result(r, 1) += 1.0;
    }
    if (next < n) result(bins, 1) += 1.0;
    return result;
}

TEST(BinData, AgreesWithTheWalkThroughSortedValues) {
    const VectorXd noise = Ar1(1024, 0.5, 12), whole = (4.0 * noise.array()).round(),
                   tiny = VectorXd::LinSpaced(9, 0, 8) * 5e-324, coarse = 1e16 + 2.0 * whole.array();
    const VectorXd far = 1e-3 * noise.array() + 1e9, tenths = 0.1 * whole, equal = VectorXd::Constant(7, 5.0);
    const VectorXd cases[] = {noise, whole, tenths, far, coarse, tiny, equal, -equal, 0.0 * equal};
    for (const VectorXd& x : cases) {
        for (const int bins : {1, 2, 10, 64, 100, 4001}) {
            EXPECT_TRUE(quarn::BinData(x, bins) == WalkedHistogram(x, bins)) << x[0] << " in " << bins;
        }
    }
    EXPECT_EQ(quarn::BinData(noise).rows(), 28);
    EXPECT_EQ(quarn::BinData(noise).col(1).sum(), 1024.0);
    EXPECT_TRUE(quarn::BinData(equal).col(1) == Eigen::Vector3d(0, 7, 0));
    for (const double odd : {NaN, Inf, 1.7e308}) {
        EXPECT_TRUE(quarn::BinData(Eigen::Vector3d(odd, 1.0, -odd), 10).array().isNaN().all());
    }
}

/// The direct sums, with the distances in extended precision.
VectorXd DirectDensity(const VectorXd& x, const VectorXd& grid) {
    const auto n = static_cast<double>(x.size());
    const Real h = 1.06 * quarn::vectorSd(x) / std::pow(n, 0.2);
    return grid.unaryExpr([&](double point) {
        Real sum = 0;
        for (const double value : x) {
            const Real u = (static_cast<Real>(point) - value) / h;
            sum += std::exp(-u * u / 2);
        }
        return static_cast<double>(0.39894228040143L / (h * n) * sum);
    });
}

TEST(KDensity, AgreesWithTheDirectSum) {
    const VectorXd plain = Ar1(2000, 0.5, 13), far = 1e6 + 1e-3 * plain.array(), skewed = plain.head(30).array().exp();
    VectorXd outlier = plain, lumps = plain.array().round();
    outlier[7] = 1e4;
    lumps.head(1000).array() += 300.0;
    const VectorXd cases[] = {plain, plain.head(2), skewed, outlier, lumps, far};
    for (const VectorXd& x : cases) {
        MatrixXd X(x.size(), 3);  // a narrower second column meets the grid where its density is 0
        X << x, 0.1 * x, x;
        VectorXd grid(200);
        const MatrixXd density = quarn::KDensity(X, grid);
        EXPECT_TRUE(density.col(0) == density.col(2));
        for (Index c = 0; c < 2; ++c) {
            const VectorXd expected = DirectDensity(X.col(c), grid);
            const double floor = 1e-285 * expected.maxCoeff();
            for (Index i = 0; i < grid.size(); ++i) {
                EXPECT_NEAR(density(i, c), expected[i], std::max(1e-12 * expected[i], floor)) << grid[i];
            }
        }
    }
}

TEST(KDensity, SharesOneGridAndGivesNaNWhereThereIsNoDensity) {
    VectorXd grid(5), single(1);
    MatrixXd X(4, 2);
    X << 0, 3, 0, 1, 0, 10, 0, 4;
    const MatrixXd density = quarn::KDensity(X, grid);
    EXPECT_TRUE(grid.isApprox(VectorXd::LinSpaced(5, -0.5, 10.5), 1e-15));
    EXPECT_TRUE(density.col(0).array().isNaN().all() && (density.col(1).array() > 0.0).all());
    EXPECT_TRUE(quarn::KDensity(X, single).array().isNaN().all() && std::isnan(single[0]));
    grid.setZero();
    EXPECT_EQ(quarn::KDensity(MatrixXd(4, 0), grid).cols(), 0);
    EXPECT_TRUE(grid.array().isNaN().all());
    for (const double odd : {NaN, Inf, 1.7e308}) {
        X.col(1).head(2) << odd, -odd;
        EXPECT_TRUE(quarn::KDensity(X, grid).array().isNaN().all() && grid.array().isNaN().all());
    }
}

TEST(ComputePosteriors, ShareOneUnitOfProbability) {
    using quarn::ComputePosteriors;
    const Eigen::Vector3d weights(2.0 * std::exp(-1.25), 6.0 * std::exp(-2.75), 1.0);
    EXPECT_TRUE(ComputePosteriors(VectorXd{{-1000.5, -1002.0, -999.25}}, VectorXd{{2.0, 6.0, 1.0}})
                    .isApprox(weights / weights.sum(), 1e-13));
    EXPECT_EQ(ComputePosteriors(VectorXd{{3, 3, 3, 3}}, VectorXd{{7, 7, 7, 7}}), VectorXd::Constant(4, 0.25));
    EXPECT_EQ(ComputePosteriors(VectorXd{{-10000, 0}}, VectorXd{{1, 1}}), Eigen::Vector2d(0, 1));
    EXPECT_EQ(ComputePosteriors(VectorXd{{1e300, -1e300}}, VectorXd{{1, 1}}), Eigen::Vector2d(1, 0));
    EXPECT_EQ(ComputePosteriors(VectorXd{{5, 5, 1}}, VectorXd{{0, 0, 1}}), Eigen::Vector3d(0, 0, 1));
    EXPECT_EQ(ComputePosteriors(VectorXd(), VectorXd()).size(), 0);
    const std::pair<VectorXd, VectorXd> without[] = {
        {VectorXd{{NaN, 1}}, VectorXd{{1, 1}}},   {VectorXd{{-Inf, NaN}}, VectorXd{{1, 1}}},
        {VectorXd{{-9, NaN}}, VectorXd{{0, 1}}},  {VectorXd{{NaN}}, VectorXd{{1}}},
        {VectorXd{{-Inf, 1}}, VectorXd{{1, -1}}}, {VectorXd{{Inf, Inf}}, VectorXd{{1, 1}}},
        {VectorXd{{1, 2}}, VectorXd{{0, 0}}}};
    for (const auto& [logMarginal, priors] : without) {
        EXPECT_TRUE(ComputePosteriors(logMarginal, priors).array().isNaN().all()) << logMarginal.transpose();
    }
}

}  // namespace
