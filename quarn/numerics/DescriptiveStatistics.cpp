#include <quarn/base/Resizing_detail.h>
#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/numerics/MatrixHelpers.h>
#include <quarn/numerics/Reductions_detail.h>
#include <quarn/numerics/Selection_detail.h>
#include <quarn/numerics/Sorting.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

namespace quarn {
namespace {

using detail::VectorView;
using Eigen::Index;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

double Count(const VectorView& x) { return static_cast<double>(x.size()); }

bool HasNaN(const VectorView& x) {
    bool found = false;
    for (Index i = 0; i < x.size(); ++i) found |= x[i] != x[i];
    return found;
}

double SumOfSquaredDeviations(const VectorView& x) { return detail::SumOfSquares(x, detail::CorrectedMean(x)); }

double StandardDeviation(double sumOfSquares, double n) { return std::sqrt(sumOfSquares) / std::sqrt(n - 1.0); }

/// Rank of the p point among n sorted values, from 0: no interpolation.
Index PointRank(double p, Index n) { return static_cast<Index>(std::floor(p * static_cast<double>(n))); }

/// Values of ranks low <= high.
void SelectPair(VectorXd values, Index low, Index high, double& lower, double& upper) {
    detail::SelectRank(values.data(), values.size(), low);
    lower = values[low];
    detail::SelectRank(values.data() + low, values.size() - low, high - low);
    upper = values[high];
}

/// The median, and the ends of the central 90% interval.
struct OrderStatistics {
    explicit OrderStatistics(VectorXd values) {
        const Index n = values.size(), middle = n / 2;
        double* const cells = values.data();
        detail::SelectRank(cells, n, middle);
        const double below = n % 2 == 1 ? cells[middle] : *std::max_element(cells, cells + middle);
        Median = n % 2 == 1 ? below : 0.5 * (below + cells[middle]);
        Lower = middle == 0 ? cells[0] : Selected(cells, middle, PointRank(0.05, n));
        Upper = Selected(cells + middle, n - middle, PointRank(0.95, n) - middle);
    }
    double Median, Lower, Upper;

 private:
    static double Selected(double* values, Index n, Index rank) {
        detail::SelectRank(values, n, rank);
        return values[rank];
    }
};

void Interval(const VectorView& x, double low, double high, double& lower, double& upper) {
    if (HasNaN(x)) {
        lower = upper = NaN;
    } else {
        SelectPair(x, PointRank(low, x.size()), PointRank(high, x.size()), lower, upper);
    }
}

void IntervalRow(const VectorView& x, double low, double high, RowVectorXd& out) {
    detail::Resize(out, 2);
    Interval(x, low, high, out[0], out[1]);
}

/// Mode of the gamma law that has the given mean and variance.
double GammaMode(double mean, double variance) {
    const double rate = mean / variance;
    const double shape = mean * rate;
    return shape >= 1.0 ? (shape - 1.0) / rate : 0.0;
}

/// Up to this skewness, to either side, a sample passes for symmetric and its median for its mode.
constexpr double SymmetricSkewness = 0.1;

/// The distances from either end have the variance of x.
double ApproximateMode(const VectorView& x, double skewness, double variance, double median, double min, double max) {
    if (skewness > SymmetricSkewness) return min + GammaMode(detail::SumOfDeviations(x, min) / Count(x), variance);
    if (skewness < -SymmetricSkewness) return max - GammaMode(-detail::SumOfDeviations(x, max) / Count(x), variance);
    return median;
}

/// How often each value occurs, NaN left out; empty with a status other than 0.
std::map<double, Index> CountValues(const VectorView& x, int limit, int& status) {
    std::map<double, Index> counts;
    for (const double value : x) {
        if (std::isnan(value)) continue;
        ++counts[value];
        if (static_cast<Index>(counts.size()) > limit) {
            status = 2;
            return {};
        }
    }
    status = counts.empty() ? 1 : 0;
    return counts;
}

template <class Function>
RowVectorXd ForEachColumn(const MatrixXd& X, Function function) {
    RowVectorXd result(X.cols());
    for (Index j = 0; j < X.cols(); ++j) result[j] = function(X.col(j));
    return result;
}

/// One row of `width` entries for each column of X, written by a vector function with an out argument.
template <class Function>
MatrixXd TableOfColumns(const MatrixXd& X, Index width, Function function) {
    MatrixXd table(X.cols(), width);
    RowVectorXd row;
    for (Index j = 0; j < X.cols(); ++j) {
        function(X.col(j), row);
        table.row(j) = row;
    }
    return table;
}

}  // namespace

double vectorMean(const VectorView& x) { return detail::Sum(x) / Count(x); }
double vectorVar(const VectorView& x) { return SumOfSquaredDeviations(x) / (Count(x) - 1.0); }
double vectorSd(const VectorView& x) { return StandardDeviation(SumOfSquaredDeviations(x), Count(x)); }

double vectorCorr(const VectorView& x, const VectorView& y) {
    const double n = Count(x), xMean = detail::CorrectedMean(x), yMean = detail::CorrectedMean(y);
    const double scale = std::sqrt(detail::SumOfSquares(x, xMean)) * std::sqrt(detail::SumOfSquares(y, yMean));
    return (n - 1.0) / (n - 2.0) * detail::SumOfProducts(x, xMean, y, yMean) / scale;
}

double vectorMedian(const VectorView& x) {
    if (HasNaN(x)) return NaN;
    VectorXd values = x;
    return detail::MedianInPlace(values.data(), values.size());
}

void vectorMinMax(const VectorView& x, RowVectorXd& out) {
    constexpr Index Lanes = 4;  // as many comparisons at a time
    double low[Lanes], high[Lanes];
    std::fill_n(low, Lanes, x[0]);
    std::fill_n(high, Lanes, x[0]);
    const auto take = [&](Index lane, double value) {
        low[lane] = value < low[lane] ? value : low[lane];
        high[lane] = value > high[lane] ? value : high[lane];
    };
    Index i = 0;
    for (; i + Lanes <= x.size(); i += Lanes) {
        for (Index lane = 0; lane < Lanes; ++lane) take(lane, x[i + lane]);
    }
    for (; i < x.size(); ++i) take(0, x[i]);
    detail::Resize(out, 2);
    if (HasNaN(x)) {
        out.setConstant(NaN);
    } else {
        out << *std::min_element(low, low + Lanes), *std::max_element(high, high + Lanes);
    }
}

void vectorPerc10(const VectorView& x, RowVectorXd& out) { IntervalRow(x, 0.05, 0.95, out); }
void vectorPerc5(const VectorView& x, RowVectorXd& out) { IntervalRow(x, 0.025, 0.975, out); }

void vectorSummary(const VectorView& x, RowVectorXd& out) {
    if (HasNaN(x)) {
        detail::Assign(out, RowVectorXd::Constant(9, NaN));
        return;
    }
    const OrderStatistics order{VectorXd(x)};
    RowVectorXd range;
    vectorMinMax(x, range);
    const double centre = detail::CorrectedMean(x);
    const double sumOfSquares = detail::SumOfSquares(x, centre);
    const double variance = sumOfSquares / (Count(x) - 1.0);
    const double skewness = detail::SumOfCubes(x, centre) / Count(x) / (variance * std::sqrt(variance));
    detail::Resize(out, 9);
    out << vectorMean(x), order.Median, StandardDeviation(sumOfSquares, Count(x)), order.Lower, order.Upper, range,
        skewness, ApproximateMode(x, skewness, variance, order.Median, range[0], range[1]);
}

void vectorSummary_mean_std_90ci(const VectorView& x, RowVectorXd& out) {
    detail::Resize(out, 4);
    out[0] = vectorMean(x);
    out[1] = vectorSd(x);
    Interval(x, 0.05, 0.95, out[2], out[3]);
}

VectorXd vectorUnique(const VectorView& x, int limit, int& status) { return vectorTabulate(x, limit, status).col(0); }

MatrixXd vectorTabulate(const VectorView& x, int limit, int& status) {
    const auto counts = CountValues(x, limit, status);
    MatrixXd table(static_cast<Index>(counts.size()), 3);
    Index row = 0, total = 0;
    for (const auto& [value, count] : counts) {
        table(row, 0) = value;
        table(row++, 1) = static_cast<double>(count);
        total += count;
    }
    table.col(2) = table.col(1) / static_cast<double>(total);
    return table;
}

int vectorModeXi(const Eigen::Ref<const VectorXi>& x) {
    const VectorXi sorted = SortVector_int(x);
    int mode = sorted[0];
    Index longest = 0;
    for (Index start = 0, i = 1; i <= sorted.size(); ++i) {
        if (i < sorted.size() && sorted[i] == sorted[start]) continue;
        if (i - start > longest) {
            longest = i - start;
            mode = sorted[start];
        }
        start = i;
    }
    return mode;
}

void matrixMean(const MatrixXd& X, RowVectorXd& out) { out = ForEachColumn(X, vectorMean); }
RowVectorXd matrixVar(const MatrixXd& X) { return ForEachColumn(X, vectorVar); }
VectorXd matrixVarRowwise(const MatrixXd& X) { return matrixVar(X.transpose()).transpose(); }
RowVectorXd matrixSd(const MatrixXd& X) { return matrixVar(X).cwiseSqrt(); }
VectorXd matrixSdRowwise(const MatrixXd& X) { return matrixSd(X.transpose()).transpose(); }
RowVectorXd matrixMedian(const MatrixXd& X) { return ForEachColumn(X, vectorMedian); }
VectorXd matrixMedianRowwise(const MatrixXd& X) { return matrixMedian(X.transpose()).transpose(); }
void matrixMinMax(const MatrixXd& X, MatrixXd& out) { out = TableOfColumns(X, 2, vectorMinMax); }
void matrixPerc10(const MatrixXd& X, MatrixXd& out) { out = TableOfColumns(X, 2, vectorPerc10); }
void matrixPerc5(const MatrixXd& X, MatrixXd& out) { out = TableOfColumns(X, 2, vectorPerc5); }
void matrixSummary(const MatrixXd& X, MatrixXd& out) { out = TableOfColumns(X, 9, vectorSummary); }

MatrixXd cov(const MatrixXd& X) {
    const double n = static_cast<double>(X.rows());
    const double productScale = 1.0 / (n - 1.0), meanScale = n / (n - 1.0);
    RowVectorXd mean;
    matrixMean(X, mean);
    MatrixXd C = XpX(X);
    for (Index j = 0; j < C.cols(); ++j) {
        for (Index i = 0; i < C.rows(); ++i) C(i, j) = productScale * C(i, j) - meanScale * (mean[i] * mean[j]);
    }
    return C;
}

void cov(const MatrixXd& X, MatrixXd& out) { out = cov(X); }
MatrixXd covRowwise(const MatrixXd& X) { return cov(X.transpose()); }

MatrixXd corr(const MatrixXd& X) {
    MatrixXd C = cov(X);
    const VectorXd scale = C.diagonal().cwiseSqrt().cwiseInverse();
    for (Index j = 0; j < C.cols(); ++j) {
        for (Index i = j; i < C.rows(); ++i) C(i, j) = C(j, i) = scale[i] * C(i, j) * scale[j];
    }
    return C;
}

void corr(const MatrixXd& X, MatrixXd& out) { out = corr(X); }
MatrixXd corrRowwise(const MatrixXd& X) { return corr(X.transpose()); }

}  // namespace quarn
