#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

namespace quarn {

/// A mixture of G multivariate normal laws by expectation-maximisation: with probability Pi(g), row i of Y is normal
/// with mean Mu(:, g) and covariance block g of Sigma. The constructor does the whole fit; the fields are the result.
///
///   Y  N x D
///   G             number of components, >= 1
///   maxIter       at most maxIter + 1 steps are made; 0 makes one
///   Mu0, Sigma0   the start, shaped as Mu and Sigma; if either is empty, both are ignored
///
/// Start:    without one of the caller's, Mu(:, g) = (1.1 w + 0.9 (1 - w)) m and block g of Sigma the same multiple of
///           C, with m the column means of Y, C their covariance and w = g/G. Pi(g) = 1/G. Nothing is random.
/// Step:     Post(i, g) proportional to Pi(g) det(S)^(1/2) exp(-e'S e / 2), S the inverse of block g and e the distance
///           of row i from Mu(:, g); then for each g with weights w = Post(:, g) the weighted mean and, about it, the
///           weighted covariance with divisor sum w; Pi(g) = sum w / N. An observation far from all components keeps
///           shares that sum to 1: the largest exponent is taken out first.
/// Stop:     when the sum of squared changes of Mu, the lower triangles of Sigma, and Pi is at most 0.000001, when a
///           parameter is NaN, or after maxIter + 1 steps. Post is that of the last E-step, from the parameters before
///           the last M-step.
/// Requires: shapes as stated; all cells finite; symmetric positive definite blocks in Sigma0. Not tested.
/// Errors:   none reported. A component that collapses spreads NaN. Where the fit stops is a local maximum at best: the
///           likelihood never falls, and can still rise when maxIter ends it. With NaN at the start Post stays zero.
/// Cost:     a step makes two passes over Y, with about N G D(D + 3) multiply-adds; nothing is allocated in it.
/// Source:   Dempster, Laird & Rubin (1977), J. R. Statist. Soc. B 39, 1-38, section 4.3.
class QUARN_EXPORT MVNORMEM {
 public:
    MatrixXd Mu;     ///< D x G, means in columns
    MatrixXd Sigma;  ///< D x DG, covariances side by side: block g is columns g D, ..., (g + 1) D - 1
    VectorXd Pi;     ///< G, shares of the components
    MatrixXd Post;   ///< N x G, probability of each component for each observation
    int N = 0;
    int D = 0;
    int G = 0;

    MVNORMEM(const MatrixXd& Y, int G, int maxIter, const MatrixXd& Mu0, const MatrixXd& Sigma0);

    /// The lower triangle of M with its diagonal, column by column: D(D + 1)/2 entries for M of size D.
    static VectorXd triangMat2Vec(const MatrixXd& M);
};

}  // namespace quarn
