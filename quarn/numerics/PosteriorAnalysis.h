#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

/// What a report or a plot shows of the stored draws of a chain: histogram, autocorrelations, kernel densities,
/// numerical standard errors; and posterior probabilities of models. Free functions without state; x holds n draws in
/// their order, each column of X a parameter.
///
/// Requires: at least one draw, unless said otherwise. Not tested.
/// Accuracy: sums have a documented order and no processor-specific rounding: the same draws give the same digits on
///           every processor. MCMCdiagnostics solves its regressions by Eigen: there, on every x86-64 processor with a
///           library built without -m flags.
namespace quarn {

/// A histogram of b bins of equal width, from the smallest draw on. Row 0 holds the smallest draw and 0, row r the
/// upper edge of bin r, found by adding the width to the edge before, and the number of draws above that edge and at or
/// below its own; row b + 1 one more edge and 0, so that the outline of a plot closes at both ends. b is `bins`, or
/// ceil(2.5 log2(n) + 1).
/// Ensures: b + 2 rows, 2 columns. Where rounding leaves draws above the last edge, 1 is added to the last bin,
///          however many they are. Equal draws of value v get one bin of width 0.01 v, or 0.001 if that is 0; a
///          negative v makes that width negative, so that the edges descend and the one bin counts 1. With a draw that
///          is not finite, or a range that overflows, every cell is NaN.
/// Requires: bins >= 1. Not tested.
/// Cost: linear in n; n log(b) at worst.
QUARN_EXPORT MatrixXd BinData(const Eigen::Ref<const VectorXd>& x);
QUARN_EXPORT MatrixXd BinData(const Eigen::Ref<const VectorXd>& x, int bins);

/// Autocorrelations: row k - 1 holds k and the sum over t of d(t) d(t + k), divided by the sum of d(t)^2, where d are
/// the deviations from the mean; no correction for the shorter sum. Lags 1 to `lags`, or to n - 1, at most 30.
/// Ensures: NaN where draws are equal or not finite; 0 at lags of n and more.
/// Requires: lags >= 0. Not tested.
/// Cost: n multiply-adds for each lag.
QUARN_EXPORT MatrixXd ACFData(const Eigen::Ref<const VectorXd>& x);
QUARN_EXPORT MatrixXd ACFData(const Eigen::Ref<const VectorXd>& x, int lags);

/// Gaussian kernel densities of the columns of X (n x k) at the points of one grid: the mean over rows r of
/// phi((grid(i) - X(r, c)) / h) / h, with the bandwidth h = 1.06 sd(c) n^-0.2. The grid is overwritten: its G points
/// are equally spaced over the range of the whole of X, extended by 5% of its width at both ends.
/// Ensures:  G x k. Within 1e-12 of the direct sum, relative, down to densities of 1e-285 of a kernel's peak, below
///           which 0 may stand. NaN in the column of equal draws, or of a single one; grid and densities are NaN with G
///           of 1, with a cell that is not finite, or with a range that overflows. X may be without columns: the grid
///           is NaN.
/// Cost:     a sort and 24 multiply-adds for each draw, up to 24 G min(m, 600) for the grid, m the number of cells
///           (width h/8) that hold draws; usually 24 * 170 G. Memory: 24 m + n.
/// Source:   bandwidth of Silverman, Density Estimation (1986), eq. 3.28; expansion as in Greengard & Strain (1991),
///           SIAM J. Sci. Stat. Comput. 12, 79-94.
QUARN_EXPORT MatrixXd KDensity(const MatrixXd& X, VectorXd& grid);

/// Posterior probabilities of models: proportional to exp(logMarginal(i)) priors(i), with sum 1. priors has one column,
/// of any positive sum; a prior, or a weight, of 0 gives probability 0. Nothing overflows.
/// Errors: none reported. NaN throughout where a weight is NaN, all are 0, or two are infinite. May be empty.
QUARN_EXPORT VectorXd ComputePosteriors(const VectorXd& logMarginal, const MatrixXd& priors);

/// Simulation error of the mean of a chain, five entries: mean; spectral density at frequency 0, omega / (2 pi);
/// numerical standard error sqrt(omega / n); relative numerical efficiency var / omega; inefficiency factor
/// omega / var. omega, the long-run variance, is that of an ARMA(6, 3) model fitted by two least-squares regressions:
/// x(t) on a constant and six lags, then x(t) on these and three lags of the first one's residuals, with
/// omega = ((1 + B) / (1 - A))^2 s^2: A, B the sums of the coefficients of either kind of lag, s^2 = u'u / (n - 19) of
/// the second residuals. The matrix form gives one row for each column of X. out is resized; the last two arguments
/// are not read: the orders are fixed.
/// Ensures: with fewer than 20 draws, with draws that are not finite, or with lags that are collinear up to rounding
///          (equal draws, a trend, a cycle) only the mean is given, and the other entries are NaN.
/// Cost:    75 multiply-adds for each draw. May be empty.
/// Source:  Hannan & Rissanen (1982), Biometrika 69, 81-94.
QUARN_EXPORT void MCMCdiagnostics(const Eigen::Ref<const VectorXd>& x, RowVectorXd& out, int, int);
QUARN_EXPORT void MCMCdiagnostics(const MatrixXd& X, MatrixXd& out, int, int);

}  // namespace quarn
