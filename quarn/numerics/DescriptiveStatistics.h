#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

#include <memory>

/// Summary numbers of a vector of n values, or of the columns (or rows) of a matrix X of R rows and C columns.
///
/// Vector functions take a VectorXd, or a column of a matrix without a copy. Matrix functions do the same to each
/// column, with n = R; those named Rowwise to each row, with n = C. A row vector `out` and a matrix `out` are resized.
/// Requires: at least one value, unless said otherwise; equal lengths. Not tested.
/// NaN:      a NaN among the values makes every result NaN, order statistics included, except where said otherwise.
///           Remove missing rows first (dropMissing).
/// Accuracy: sums have one documented order, so that the same input gives the same digits on every processor.
///           Deviations are taken from a mean that was corrected by the mean of its own deviations: equal values have
///           variance 0.
namespace quarn {

/// Moments. n of 1 has no variance: NaN.
QUARN_EXPORT double vectorMean(const Eigen::Ref<const VectorXd>& x);  ///< sum of x / n
QUARN_EXPORT double vectorVar(const Eigen::Ref<const VectorXd>& x);   ///< sum of squared deviations / (n - 1)
QUARN_EXPORT double vectorSd(const Eigen::Ref<const VectorXd>& x);    ///< sqrt(sum of squared deviations) / sqrt(n - 1)

/// (n - 1)/(n - 2) times the correlation coefficient of x and y; the factor is part of the value, corr has it not.
QUARN_EXPORT double vectorCorr(const Eigen::Ref<const VectorXd>& x, const Eigen::Ref<const VectorXd>& y);

/// The middle value, or the mean of the two middle values. Cost: a copy and a partial selection, linear in n.
QUARN_EXPORT double vectorMedian(const Eigen::Ref<const VectorXd>& x);

/// Pairs (lower, upper) of order statistics. An interval is bounded by the values at floor(p n), counted from 0 among
/// the sorted ones, without interpolation. Cost: linear in n.
QUARN_EXPORT void vectorMinMax(const Eigen::Ref<const VectorXd>& x, RowVectorXd& out);
QUARN_EXPORT void vectorPerc10(const Eigen::Ref<const VectorXd>& x, RowVectorXd& out);  ///< central 90%: p 0.05, 0.95
QUARN_EXPORT void vectorPerc5(const Eigen::Ref<const VectorXd>& x, RowVectorXd& out);   ///< central 95%: p 0.025, 0.975

/// Nine entries: mean, median, standard deviation s, lower and upper bound of the central 90% interval, minimum,
/// maximum, skewness g = mean((x - mean)^3) / s^3, approximate mode. The mode is the median for |g| <= 0.1, and for the
/// undefined skewness of equal values; beyond, that of a gamma law fitted by moments to the distances from the minimum
/// (g > 0) or from the maximum (g < 0). Cost: linear in n as a rule.
QUARN_EXPORT void vectorSummary(const Eigen::Ref<const VectorXd>& x, RowVectorXd& out);

/// Four entries: mean, standard deviation, 5% point and 95% point, as above. Cost: linear in n.
QUARN_EXPORT void vectorSummary_mean_std_90ci(const Eigen::Ref<const VectorXd>& x, RowVectorXd& out);

/// The distinct values, ascending. NaN is no value here: it is neither counted nor returned. x may be empty.
/// status: 0; 1 if there is no value; 2 if there are more than `limit` distinct values, at which the search stops.
/// With a status other than 0 the result is empty.
/// Cost: n log(limit).
QUARN_EXPORT VectorXd vectorUnique(const Eigen::Ref<const VectorXd>& x, int limit, int& status);

/// The same as a table: value, number of times it occurs, share of the values that are not NaN (shares sum to 1).
QUARN_EXPORT MatrixXd vectorTabulate(const Eigen::Ref<const VectorXd>& x, int limit, int& status);

/// The most frequent value, the smallest of those that are equally frequent.
QUARN_EXPORT int vectorModeXi(const Eigen::Ref<const VectorXi>& x);

/// The functions above for each column or row; matrixSd is the square root of matrixVar. The last four put one row per
/// column of X into out, which may be X.
QUARN_EXPORT void matrixMean(const MatrixXd& X, RowVectorXd& out);
QUARN_EXPORT RowVectorXd matrixVar(const MatrixXd& X);
QUARN_EXPORT VectorXd matrixVarRowwise(const MatrixXd& X);
QUARN_EXPORT RowVectorXd matrixSd(const MatrixXd& X);
QUARN_EXPORT VectorXd matrixSdRowwise(const MatrixXd& X);
QUARN_EXPORT RowVectorXd matrixMedian(const MatrixXd& X);
QUARN_EXPORT VectorXd matrixMedianRowwise(const MatrixXd& X);
QUARN_EXPORT void matrixMinMax(const MatrixXd& X, MatrixXd& out);   ///< C x 2
QUARN_EXPORT void matrixPerc10(const MatrixXd& X, MatrixXd& out);   ///< C x 2
QUARN_EXPORT void matrixPerc5(const MatrixXd& X, MatrixXd& out);    ///< C x 2
QUARN_EXPORT void matrixSummary(const MatrixXd& X, MatrixXd& out);  ///< C x 9

/// Covariance matrix X'X/(n - 1) - (n/(n - 1)) m'm of the columns (C x C) or rows (R x R), m their means; exactly
/// symmetric. Digits cancel where means are large beside standard deviations: centre such data first.
QUARN_EXPORT MatrixXd cov(const MatrixXd& X);
QUARN_EXPORT void cov(const MatrixXd& X, MatrixXd& out);
QUARN_EXPORT MatrixXd covRowwise(const MatrixXd& X);

/// Correlation matrix: the covariance matrix, each cell divided by the two standard deviations. Exactly symmetric; ones
/// on the diagonal up to rounding. A column that does not vary gives NaN, an infinity or, as digits cancel, a number
/// without meaning.
QUARN_EXPORT MatrixXd corr(const MatrixXd& X);
QUARN_EXPORT void corr(const MatrixXd& X, MatrixXd& out);
QUARN_EXPORT MatrixXd corrRowwise(const MatrixXd& X);

/// The same for a shared matrix.
using SharedMatrix = std::shared_ptr<MatrixXd>;
inline void matrixMean(const SharedMatrix& X, RowVectorXd& out) { matrixMean(*X, out); }
inline RowVectorXd matrixVar(const SharedMatrix& X) { return matrixVar(*X); }
inline VectorXd matrixVarRowwise(const SharedMatrix& X) { return matrixVarRowwise(*X); }
inline RowVectorXd matrixSd(const SharedMatrix& X) { return matrixSd(*X); }
inline VectorXd matrixSdRowwise(const SharedMatrix& X) { return matrixSdRowwise(*X); }
inline RowVectorXd matrixMedian(const SharedMatrix& X) { return matrixMedian(*X); }
inline VectorXd matrixMedianRowwise(const SharedMatrix& X) { return matrixMedianRowwise(*X); }
inline void matrixMinMax(const SharedMatrix& X, MatrixXd& out) { matrixMinMax(*X, out); }
inline void matrixPerc10(const SharedMatrix& X, MatrixXd& out) { matrixPerc10(*X, out); }
inline void matrixPerc5(const SharedMatrix& X, MatrixXd& out) { matrixPerc5(*X, out); }
inline void matrixSummary(const SharedMatrix& X, MatrixXd& out) { matrixSummary(*X, out); }
inline MatrixXd cov(const SharedMatrix& X) { return cov(*X); }
inline void cov(const SharedMatrix& X, MatrixXd& out) { cov(*X, out); }
inline MatrixXd covRowwise(const SharedMatrix& X) { return covRowwise(*X); }
inline MatrixXd corr(const SharedMatrix& X) { return corr(*X); }
inline void corr(const SharedMatrix& X, MatrixXd& out) { corr(*X, out); }
inline MatrixXd corrRowwise(const SharedMatrix& X) { return corrRowwise(*X); }

}  // namespace quarn
