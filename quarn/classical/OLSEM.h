#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

namespace quarn {

/// A mixture of G normal linear regressions by expectation-maximisation: with probability Pi(g), y(i) is normal with
/// mean x(i)'Beta(:, g) and precision Tau(g). The constructor does the whole fit; the fields are the result.
///
///   y  N          X  N x K; a constant, if wanted, is a column of X
///   G             number of components, >= 1
///   maxIter       at most maxIter + 1 steps are made; 0 makes one
///
/// Start:    Beta(:, g) = (1.2 w + 0.8 (1 - w)) b with b the least-squares fit and w = g/G; Tau(g) = (N - K)/e'e of
///           that line; Pi(g) = 1/G. Nothing is random.
/// Step:     Post(i, g) proportional to Pi(g) sqrt(Tau(g)) exp(-Tau(g) e(i, g)^2 / 2); then for each g with weights
///           w = Post(:, g) the weighted least squares Beta(:, g), Tau(g) = sum w / sum w e^2, Pi(g) = sum w / N. An
///           observation far from all lines keeps shares that sum to 1: the largest exponent is taken out first.
/// Stop:     when the sum of squared changes of Beta, Tau and Pi is at most 0.0001, when a parameter is NaN, or after
///           maxIter + 1 steps. Post is that of the last E-step, from the parameters before the last M-step.
/// Requires: y.size() == X.rows(); X of full column rank; all cells finite. Not tested.
/// Errors:   none reported. A component that loses all weight, or fits its share exactly, spreads NaN or infinities.
///           Where the fit stops is a local maximum at best: the likelihood never falls, and can still rise when
///           maxIter ends it. With NaN at the start Post stays zero.
/// Cost:     a step makes two passes over X, with N G K(K+3)/2 multiply-adds; nothing is allocated in it. Memory 2 N G.
/// Source:   DeSarbo & Cron (1988), Journal of Classification 5, 249-282.
class QUARN_EXPORT OLSEM {
 public:
    MatrixXd Beta;  ///< K x G, coefficients in columns
    VectorXd Tau;   ///< G, precisions of the errors (inverse variances)
    VectorXd Pi;    ///< G, shares of the components
    MatrixXd Post;  ///< N x G, probability of each component for each observation
    int N = 0;
    int K = 0;
    int G = 0;

    OLSEM(const VectorXd& y, const MatrixXd& X, int G, int maxIter);
};

}  // namespace quarn
