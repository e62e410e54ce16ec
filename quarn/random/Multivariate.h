#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>
#include <quarn/random/Generators.h>

/// Random variates of multivariate laws.
///
/// L, p x p, is a lower-triangular factor that the caller has at hand, since samplers use one factorisation for many
/// draws; cells above its diagonal count as zero and are not read. Nothing here factorises or checks it.
///
/// Requires: L of full rank; shapes as stated. Not tested.
/// Errors:   none reported. With a df or an alpha outside the law's domain the result is NaN, and nothing is drawn for
///           it. NaN in a mean or in L goes through to the elements that it touches, with the usual draws.
/// Draws:    the order of draws is part of each contract: z is NormalDraw, gamrnd that of the univariate laws.
/// Accuracy: sums have one documented order, so that the same draws give the same digits on every processor.
namespace quarn {

/// Normal law of the given mean, p, and covariance LL'. out has p elements, or p columns and one independent draw in
/// each row.
///
/// Draws:    z of p elements, the first first; out = mean + Lz, for each row in turn. The elements of Lz are summed
///           from the diagonal to the left.
/// Requires: out is neither mean nor L.
/// Cost:     p(p+1)/2 multiply-adds and p normals a draw; the vector forms allocate nothing.
QUARN_EXPORT void mvnormrnd(Rng& rng, Norm& norm, const VectorXd& mean, const MatrixXd& L, RowVectorXd& out);
QUARN_EXPORT void mvnormrnd(Rng& rng, Norm& norm, const VectorXd& mean, const MatrixXd& L, VectorXd& out);
QUARN_EXPORT void mvnormrnd(Rng& rng, Norm& norm, const VectorXd& mean, const MatrixXd& L, MatrixXd& out);

/// Wishart law of scale matrix LL' and df degrees of freedom: mean df LL'. out becomes p x p; it may be L.
///
/// Domain:   df finite and above p - 1.
/// Draws:    Bartlett's decomposition: A(i,j) = z below the diagonal, row by row, then A(i,i) = sqrt(g) for i = 0..p-1,
///           with g by gamrnd((df - i)/2, 0.5). out = ZZ' with Z = LA, exactly symmetric.
/// Cost:     p(p-1)/2 normals, p gamma variates, and about p^3/3 multiply-adds.
/// Source:   Bartlett (1933), Proc. R. Soc. Edinburgh 53, 260-283.
QUARN_EXPORT void wishrnd_intdf(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& L, int df, MatrixXd& out);
QUARN_EXPORT void wishrnd(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& L, double df, MatrixXd& out);

/// The inverse of the draw of wishrnd. Its scale matrix as an inverse Wishart law is (LL')^-1: for a scale matrix S, L
/// is the factor of S^-1, and the mean is S / (df - p - 1).
///
/// Draws:    as wishrnd. out = Y'Y, where Y solves the triangular system ZY = I.
QUARN_EXPORT void iwishrnd_intdf(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& L, int df, MatrixXd& out);
QUARN_EXPORT void iwishrnd(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& L, double df, MatrixXd& out);

/// Dirichlet law of parameters alpha, k: mean alpha / sum(alpha). out has the size of alpha; or k columns and one
/// independent draw in each row, with the one alpha or with that of the same row.
///
/// Domain:   all elements of alpha positive and finite. A sum of them beyond the range of doubles gives zeros.
/// Draws:    x(j) by gamrnd(alpha(j), 1), the first first; out(j) = x(j) (1 / sum of x). A row is finished before the
///           next is begun.
/// Ensures:  out is in [0, 1] with sum 1 up to rounding, however small alpha: where all x are too small for doubles,
///           the same draws are divided by way of their logarithms.
QUARN_EXPORT void drchrnd(Rng& rng, Unif& unif, Norm& norm, const RowVectorXd& alpha, RowVectorXd& out);
QUARN_EXPORT void drchrnd(Rng& rng, Unif& unif, Norm& norm, const RowVectorXd& alpha, MatrixXd& out);
QUARN_EXPORT void drchrnd(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& alpha, MatrixXd& out);

}  // namespace quarn
