#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>
#include <quarn/random/Generators.h>

/// Probabilities of orthants of a multivariate normal law, by the simulator of Geweke, Hajivassiliou and Keane: the
/// coordinates are drawn one after the other, each truncated by the condition that it has to meet, and the
/// probabilities of the conditions are multiplied.
///
///   rng, unif, norm  the generator triple; all three may advance
///   L  n x n         lower-triangular factor of the covariance LL', n >= 1; cells above its diagonal are not read
///   b  n             upper bounds, of any size, infinite too
///   R                number of replications
///
/// With e of n independent standard normals, one replication draws e(0), ..., e(n-2), each from the normal law
/// restricted to e(j) <= t(j) = (b(j) - sum over k < j of L(j,k) e(k)) / L(j,j); its weight is the product of the
/// Phi(t(j)) over all j. The results are means over R independent replications: unbiased, with a standard error that
/// falls with the square root of R.
///
/// Requires: shapes as stated; a positive diagonal of L. Not tested.
/// Draws:    tnormrnd_upper(0, 1, t(j)) for j = 0, ..., n - 2, in each replication; none for n = 1, which is exact.
/// Ensures:  each Phi(t) to 3 units in the last place for t >= -6, and each replication with such t within 1e-13 of the
///           formula above. At t below -6, and for Phi(t(0)) and in GHK_mfx already below 0, the rounding of t/sqrt(2)
///           costs up to about t^2 2^-52 of Phi: 16 units in the last place at -3, 1700 at -37.
/// Errors:   R = 0 gives NaN, R < 0 a zero; for n = 1, R is not read. NaN in, NaN out.
/// Cost:     n^2/2 multiply-adds and n draws a replication; nothing is allocated in them.
/// Source:   Geweke (1991), Computing Science and Statistics 23, 571-578; Hajivassiliou, McFadden & Ruud (1996),
///           J. Econometrics 72, 85-134.
namespace quarn {

/// P(Le <= b).
QUARN_EXPORT double GHK(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& L, const VectorXd& b, int R);
/// P(x <= 0) for x normal with mean mu, n, and covariance LL'. As above with b = -mu.
QUARN_EXPORT double GHK(Rng& rng, Unif& unif, Norm& norm, const VectorXd& mu, const MatrixXd& L, int R);
/// P(Ax <= c) for x normal with mean mu, k, and covariance S, k x k; A is n x k, c n x 1. As above with b = c - A mu
/// and L the Cholesky factor of ASA'. Requires: ASA' positive definite. Not tested.
QUARN_EXPORT double GHK(Rng& rng, Unif& unif, Norm& norm, const VectorXd& mu, const MatrixXd& S, const MatrixXd& A,
                        const MatrixXd& c, int R);

/// P(the last coordinate's condition | the conditions of the others): the mean of Phi(t(n-1)) over draws that follow
/// the conditions of the others, each with weight 1.
QUARN_EXPORT double GHK_last_conditional(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& L, const VectorXd& b, int R);

/// The mean over replications of the ratio of the weights of (L1, b1) and (L2, b2), whose dimensions may differ: the
/// mean of the ratios, not the ratio of the means.
///
/// Draws:  in each replication the path of (L1, b1), then that of (L2, b2).
/// Errors: a weight of 0 in the second path makes the result infinite or NaN. R is read in any case: R = 0 gives NaN,
///         R < 0 a zero, also where both dimensions are 1 and nothing is drawn.
QUARN_EXPORT double GHK_ratio(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& L1, const MatrixXd& L2,
                              const VectorXd& b1, const VectorXd& b2, int R);

/// X g', M x 1, for X of n columns, one row per case: g is the derivative of the simulated probability with respect to
/// b, which is smooth in b as the draws are made by inversion. For n = 1, phi(b/L) X: not divided by L, so that it is
/// the derivative with respect to the standardised bound.
///
/// Draws:  UniformDraw u for j = 0, ..., n - 2 in each replication; e(j) is the normal quantile of u Phi(t(j)), which
///         is kept inside (0, 1). norm is not used.
/// Errors: R < 1 gives g = 0 (n >= 2). A replication of weight 0 contributes 0.
/// Cost:   n^3/6 multiply-adds and n quantiles a replication; nothing is allocated in them.
QUARN_EXPORT MatrixXd GHK_mfx(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& L, const VectorXd& b, MatrixXd X,
                              int R);

}  // namespace quarn
