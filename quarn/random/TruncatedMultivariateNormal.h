#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>
#include <quarn/random/Generators.h>

#include <vector>

/// Multivariate normal laws restricted to an orthant at 0, for samplers with latent variables. The names tell in which
/// form the covariance comes: L a lower-triangular factor (LL' is the covariance), V the covariance, P its inverse.
///
///   rng, unif, norm  the generator triple; all three may advance
///   mu     n         mean before truncation
///   codes  n         1: the coordinate is at least 0. 0: at most 0. Without codes, all are at most 0. With another
///                    code, the rejection leaves the coordinate free, and the scan takes it for 1
///
/// Requires: shapes as stated; V and P symmetric and positive definite. Not tested.
/// Threads:  as for the generators.
namespace quarn {

// ---- One vector ----

/// Rejection: draws from the law without truncation, until one lies in the orthant.
///
///   L   n x n; as for mvnormrnd
///   ok  out: whether the result is such a draw. For n = 1 nothing is drawn and ok stays as it was
///
/// At most floor(n^5 / 2) attempts are made: 0, 16, 121, 512, 1562, ... If they do not suffice, ok is false, and the
/// result is not to be used.
/// Draws: mvnormrnd of n, in each attempt.
QUARN_EXPORT VectorXd MVN_trunc_LV(Rng& rng, Norm& norm, const VectorXd& mu, const MatrixXd& L, bool& ok);
QUARN_EXPORT VectorXd MVN_trunc_LV(Rng& rng, Norm& norm, const VectorXd& mu, const MatrixXd& L, const VectorXi& codes,
                                   bool& ok);

/// Gibbs scan: 2n + 10 sweeps over the coordinates, each drawn from its law given the others, beginning at `start`. The
/// result is the state after the last sweep, which is a draw from the law if start is one, and else nearly.
///
///   P      n x n
///   W      n matrices of (n - 1) x (n - 1): W[i] is the inverse of V without row and column i
///   C, sd  n x (n - 1) and n, the conditional laws: coordinate i has mean mu(i) - C(i, .) d, with d the deviations
///          from mu of the other coordinates, in ascending order, and standard deviation sd(i). Of a precision P:
///          C(i, k) = P(i, j) / P(i, i), with j the k-th other coordinate, and sd(i) = 1 / sqrt(P(i, i))
///   start  n; start(0) is not used, and for n = 1 nothing of it
///
/// Draws:  tnormrnd_upper (for code 1, tnormrnd_lower) with bound 0 of coordinates 0, ..., n - 1 in each sweep; for n
///         = 1, a single one.
/// Errors: a start that is not finite is returned as it is, without a draw (n >= 2). A sweep that leaves a coordinate
///         that is not finite is the last.
/// Cost:   n draws and n^2 multiply-adds a sweep; nothing is allocated in it.
/// Source: Geweke (1991), Computing Science and Statistics 23, 571-578.
QUARN_EXPORT VectorXd MVN_trunc_P(Rng& rng, Unif& unif, Norm& norm, const VectorXd& mu, const MatrixXd& P,
                                  const VectorXd& start);
QUARN_EXPORT VectorXd MVN_trunc_P(Rng& rng, Unif& unif, Norm& norm, const VectorXd& mu, const MatrixXd& P,
                                  const VectorXd& start, const VectorXi& codes);
QUARN_EXPORT VectorXd MVN_trunc_P(Rng& rng, Unif& unif, Norm& norm, const VectorXd& mu, const MatrixXd& C,
                                  const VectorXd& sd, const VectorXd& start, const VectorXi& codes);
QUARN_EXPORT VectorXd MVN_trunc_V(Rng& rng, Unif& unif, Norm& norm, const VectorXd& mu, const MatrixXd& V,
                                  const std::vector<MatrixXd>& W, const VectorXd& start);

// ---- A latent matrix, one observation per column ----

// Each column in turn is drawn anew: by rejection, and by the scan from the old column where rejection fails.

/// Latent utilities J x N of J + 1 choices, relative to the base choice. Column t of X is drawn from the normal law of
/// mean mu.col(t) and covariance V, restricted to where choice y(t) is made.
///
///   mu    J x N
///   A, B  J + 1 matrices of J x J: A[c] maps a column to coordinates in which choice c is the negative orthant, B[c]
///         is its inverse. A[0] and B[0] are not read: the base choice is made where no utility is above 0
///   V, P  J x J, covariance and precision
///   X     J x N, updated
///   y     N choices, 0 to J
///
/// Ensures:  the same X in both forms, up to rounding.
/// Errors:   a column for which 21 draws in turn were not finite stays as it was.
/// Requires: V positive definite; P its inverse; X finite, and each column in its region. Not tested.
/// Cost:     J + 1 factorisations a call, in the second form J(J + 1) inverses; nothing is allocated per column.
QUARN_EXPORT void MNtrunc_VP(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, const std::vector<MatrixXd>& A,
                             const std::vector<MatrixXd>& B, const MatrixXd& V, const MatrixXd& P, MatrixXd& X,
                             VectorXi& y);
QUARN_EXPORT void MNtrunc_V(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, const std::vector<MatrixXd>& A,
                            const std::vector<MatrixXd>& B, const MatrixXd& V, MatrixXd& X, VectorXi& y);

/// Latent variables n x N of N observations of n binary outcomes: column t of X is drawn from the normal law of mean
/// mu.col(t) and covariance LL' restricted to the orthant of codes.col(t).
///
///   mu, codes  n x N      L, P  n x n, factor of the covariance, and precision      X  n x N, updated
///
/// Errors: none reported. A draw that is not finite is stored like any other, without another try.
/// Cost:   nothing is allocated per column.
QUARN_EXPORT void MVtrunc_LVP(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, const MatrixXd& L,
                              const MatrixXd& P, MatrixXd& X, const MatrixXi& codes);

}  // namespace quarn
