#pragma once

#include <quarn/base/Types.h>

#include <samplers/Export.h>

#include <functional>

/// Log marginal likelihoods, log p(y), from posterior draws.
namespace quarn::samplers {

inline constexpr double LogOf2Pi = 1.8378770664093454836;

/// Log p(y) by the Laplace-Metropolis estimator: k/2 log(2 pi) + 1/2 log |S| + log p(y | t) + log p(t), where t and S are
/// the mean and the covariance of the draws.
///
///   draws      n x k, n > k: parameters that are free to take any value, as the logarithm of a precision is
///   logKernel  log p(y | t) + log p(t), with the density of t in these parameters, Jacobian included
///
/// Returns NaN if S is not positive definite.
/// Cost:   n k^2 multiply-adds and one call of logKernel.
/// Source: Lewis & Raftery (1997), J. Am. Stat. Assoc. 92, 648-655, eq. 4, with mean and covariance in place of mode
///         and inverse Hessian.
QUARN_SAMPLERS_EXPORT double LaplaceMetropolis(const MatrixXd& draws,
                                               const std::function<double(const VectorXd&)>& logKernel);

/// log of the mean of exp(x), without overflow. For the ordinate of a posterior density that is known given the other
/// parameters: the mean of it over their draws, as in Chib (1995), J. Am. Stat. Assoc. 90, 1313-1321, eq. 9; Chib &
/// Jeliazkov (2001), J. Am. Stat. Assoc. 96, 270-281, extend it to parameters that are not.
/// Requires: at least one element. Not tested.
QUARN_SAMPLERS_EXPORT double LogMeanExp(const VectorXd& x);

// ---- Log densities, normalised ----

/// Of the gamma law with the given shape and rate.
QUARN_SAMPLERS_EXPORT double LogGammaDensity(double x, double shape, double rate);

/// Of the normal law with mean m and precision P = LL', at x. L is lower triangular, cells above are not read.
QUARN_SAMPLERS_EXPORT double LogNormalDensity(const VectorXd& x, const VectorXd& m, const MatrixXd& L);

/// Of the inverse Wishart law with df degrees of freedom and scale matrix S, p x p, at X: proportional to
/// |S|^(df/2) |X|^(-(df+p+1)/2) exp(-tr(S X^-1)/2). Both positive definite.
QUARN_SAMPLERS_EXPORT double LogInverseWishartDensity(const MatrixXd& X, double df, const MatrixXd& S);

}  // namespace quarn::samplers
