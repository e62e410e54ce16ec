// Autocorrelations, and the long-run variance by two regressions.
//
// The second regression of MCMCdiagnostics is not run as it is stated. The first one's residual at lag k is e(t-k) =
// x(t-k) - f0 - sum over j of f(j) x(t-k-j), j = 1 to 6; with three of them beside six lags of x, the regressors
// span exactly a constant and nine lags of x, for the coefficients of x(t-7), x(t-8) and x(t-9) in them form a
// triangle with f(6) on its diagonal. Its residuals are hence those of an autoregression of order 9, and its
// coefficients follow from that one's, a(1) to a(9), by comparing the coefficients of x(t-9) down to x(t-1). This is
// the same solution, found where the problem is well conditioned: f(6) is near 0 in most chains, and the stated
// normal equations then lose 6 to 11 digits, and more where the mean is far from 0. Without copies of the lags it
// takes a tenth of the time or less.

#include <quarn/base/Resizing_detail.h>
#include <quarn/numerics/CrossProduct_detail.h>
#include <quarn/numerics/PosteriorAnalysis.h>
#include <quarn/numerics/Reductions_detail.h>

#include <Eigen/Cholesky>

#include <algorithm>
#include <cmath>
#include <limits>

namespace quarn {
namespace {

using detail::VectorView;
using Eigen::Index;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr Index ShortOrder = 6, ResidualLags = 3, LongOrder = ShortOrder + ResidualLags;
constexpr Index LostDraws = LongOrder + 1 + LongOrder;  // without residuals, and one for each coefficient

/// Deviations from the mean, divided by a power of two that makes the largest one of the order of 1: their squares keep
/// every digit, whatever the unit of the draws.
struct Deviations {
    VectorXd d;   ///< followed by zeros
    double unit;  ///< deviation = unit * d
};

Deviations DeviationsOf(const VectorView& x, Index zeros) {
    const double mean = detail::CorrectedMean(x);
    VectorXd d = VectorXd::Zero(x.size() + zeros);
    double largest = 0.0;
    for (Index t = 0; t < x.size(); ++t) {
        d[t] = x[t] - mean;
        const double distance = std::abs(d[t]);
        largest = distance > largest ? distance : largest;
    }
    if (!(largest > 0.0 && largest <= std::numeric_limits<double>::max())) return {std::move(d), 1.0};
    const int exponent = std::max(std::ilogb(largest), std::numeric_limits<double>::min_exponent - 1);
    d *= std::ldexp(1.0, -exponent);
    return {std::move(d), std::ldexp(1.0, exponent)};
}

/// Cross-products G, sums s and the number n of the values of x(t-p) to x(t), in this order, over rows t.
struct Moments {
    MatrixXd G;
    VectorXd s;
    double n;

    Index Order() const { return s.size() - 1; }
};

/// Over all t from `order` on.
Moments LagMoments(const VectorXd& d, Index order) {
    const Index n = d.size() - order;
    Moments moments{detail::WindowProducts(d.data(), n, order + 1), VectorXd(order + 1), static_cast<double>(n)};
    const double common = detail::Sum(d.segment(order, n - order));
    for (Index j = 0; j <= order; ++j) {
        moments.s[j] = common + (detail::Sum(d.segment(j, order - j)) + detail::Sum(d.segment(n, j)));
    }
    return moments;
}

/// The same for a lower order, which has more rows, at the beginning.
Moments ReduceOrder(const Moments& high, const VectorXd& d, Index order) {
    Moments low{high.G.bottomRightCorner(order + 1, order + 1), high.s.tail(order + 1), high.n};
    for (Index start = 0; start < high.Order() - order; ++start) {
        const auto row = d.segment(start, order + 1);
        low.G += row * row.transpose();
        low.s += row;
        low.n += 1.0;
    }
    return low;
}

/// Coefficients of the lags 1 to p, at 1 to p, and the constant, at 0.
using Coefficients = VectorXd;

/// Normal equations of the last value on the others and a constant, which stands last. They are scaled to a unit
/// diagonal; a pivot below 1e-12 would leave fewer than four digits, and makes all coefficients NaN.
Coefficients Autoregression(const Moments& moments) {
    const Index p = moments.Order();
    MatrixXd A(p + 1, p + 1);
    A << moments.G.topLeftCorner(p, p), moments.s.head(p), moments.s.head(p).transpose(), moments.n;
    VectorXd b(p + 1);
    b << moments.G.col(p).head(p), moments.s[p];
    const VectorXd scale = A.diagonal().cwiseSqrt().cwiseInverse();
    A = scale.asDiagonal() * A * scale.asDiagonal();
    const Eigen::LDLT<MatrixXd> ldlt(A);
    if (!(ldlt.vectorD().array() > 1e-12).all()) return VectorXd::Constant(p + 1, NaN);
    b = scale.cwiseProduct(ldlt.solve(scale.cwiseProduct(b)));
    return b.reverse();
}

double SumOfSquaredResiduals(const VectorXd& d, const Coefficients& a) {
    const double* const x = d.data() + LongOrder;
    return detail::SumOf(d.size() - LongOrder, [x, c = a.data()](Index t) {
        double fitted = c[0];
        for (Index lag = 1; lag <= LongOrder; ++lag) fitted += c[lag] * x[t - lag];
        return (x[t] - fitted) * (x[t] - fitted);
    });
}

/// (1 + B) / (1 - A), see the head of this file. f, a: of the autoregressions of orders 6 and 9. The coefficients c(j) of
/// the lags of x sum to A = S - B + B F, with S the sum of the a(j) and F that of the f(j).
double LongRunGain(const Coefficients& f, const Coefficients& a) {
    const double third = -a[9] / f[6];
    const double second = -(a[8] + third * f[5]) / f[6];
    const double first = -(a[7] + second * f[5] + third * f[4]) / f[6];
    const double B = first + second + third;
    return (1.0 + B) / ((1.0 - a.tail(LongOrder).sum()) + B * (1.0 - f.tail(ShortOrder).sum()));
}

/// Of deviations d. Requires: more than LostDraws. NaN where a regression is singular.
double LongRunVariance(const VectorXd& d) {
    const Moments moments = LagMoments(d, LongOrder);
    const Coefficients a = Autoregression(moments);
    const double gain = LongRunGain(Autoregression(ReduceOrder(moments, d, ShortOrder)), a);
    return gain * gain * (SumOfSquaredResiduals(d, a) / static_cast<double>(d.size() - LostDraws));
}

}  // namespace

MatrixXd ACFData(const VectorView& x) { return ACFData(x, static_cast<int>(std::clamp<Index>(x.size() - 1, 0, 30))); }

MatrixXd ACFData(const VectorView& x, int lags) {
    const RowVectorXd products = detail::LagProducts(DeviationsOf(x, lags).d.data(), x.size(), lags + 1);
    const double scale = 1.0 / products[0];
    MatrixXd result(lags, 2);
    for (Index k = 1; k <= lags; ++k) result.row(k - 1) << static_cast<double>(k), products[k] * scale;
    return result;
}

void MCMCdiagnostics(const VectorView& x, RowVectorXd& out, int, int) {
    detail::Assign(out, RowVectorXd::Constant(5, NaN));
    const auto n = static_cast<double>(x.size());
    out[0] = detail::Sum(x) / n;
    if (x.size() <= LostDraws) return;
    const auto [d, unit] = DeviationsOf(x, 0);
    const double omega = LongRunVariance(d), variance = detail::SumOfSquares(d, 0.0) / (n - 1.0);
    out[1] = omega * unit * unit / 6.28318530717959;
    out[2] = unit * std::sqrt(omega / n);
    out[3] = variance / omega;
    out[4] = omega / variance;
}

void MCMCdiagnostics(const MatrixXd& X, MatrixXd& out, int, int) {
    MatrixXd table(X.cols(), 5);
    RowVectorXd row;
    for (Index j = 0; j < X.cols(); ++j) {
        MCMCdiagnostics(X.col(j), row, 0, 0);
        table.row(j) = row;
    }
    out = std::move(table);
}

}  // namespace quarn
