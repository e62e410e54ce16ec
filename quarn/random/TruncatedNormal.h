#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>
#include <quarn/random/Generators.h>

/// Univariate normal laws restricted to a half-line or an interval.
///
/// Arguments rng, unif, norm are the generator triple, unif on (0, 1), norm with mean 0 and standard deviation 1; all
/// three may advance. Scalar forms allocate nothing. Same triple, same arguments: same values.
/// Outside the domain (a NaN among the arguments, mu or sigma not finite, sigma <= 0, an empty interval) the result is
/// NaN at once, without a draw; in a matrix, that of the cell. No call loops without end.
namespace quarn {

/// Z ~ N(0, 1) restricted to [a, inf).
///
///   a  any bound; -inf gives a plain normal draw, +inf gives +inf without a draw
///
/// Ensures: z >= a, finite for finite a, exact in law up to the rounding of the result.
/// Draws:   a below TRUNCN_a_min: normals until one is at or above a. Above TRUNCN_a_max: pairs of uniforms, 1/a^2 more
///          than one pair in the mean at the most. Between: a uniform for the cell and one or two more, mostly one;
///          again after a rejection.
/// Source:  Chopin (2011), Stat. Comput. 21, 275-288, doi:10.1007/s11222-009-9168-1; the tail method is Marsaglia's
///          (1964), Technometrics 6, 101-102.
QUARN_EXPORT double Chopin2011_lower(Rng& rng, Unif& unif, Norm& norm, double a);

/// Z ~ N(0, 1) restricted to [a, b], of any width, at any distance; ends may be infinite.
///
/// Ensures: a <= z <= b. What rounding would put outside is put at the end.
/// Draws:   a > 0.66: as Botev2017_ntail(a, b); b < -0.66: as Botev2017_ntail(-b, -a), negated; else as Botev2017_tn.
/// Source:  Botev (2017), J. R. Statist. Soc. B 79, 125-148, doi:10.1111/rssb.12162.
QUARN_EXPORT double Botev2017(Rng& rng, Unif& unif, Norm& norm, double a, double b);

/// The same for 0 < a <= b, else NaN.
/// Draws: pairs of uniforms, 1 + 0.8/a of them or fewer in the mean. For a below 2^-10, one uniform that is inverted.
QUARN_EXPORT double Botev2017_ntail(Rng& rng, Unif& unif, double a, double b);

/// The same for intervals near the origin.
/// Draws: b - a > 2: normals until one is in [a, b]. Else one uniform, by inversion of the distribution function. An
///        interval beyond 5 standard deviations, for which neither will do, is handed to the tail method.
QUARN_EXPORT double Botev2017_tn(Rng& rng, Unif& unif, Norm& norm, double a, double b);

/// X ~ N(mu, sigma^2) restricted to [0, inf), [bound, inf), or (-inf, bound].
///
///   mu     mean before truncation
///   sigma  standard deviation (not variance) before truncation
///   bound  end of the support, may be infinite; 0 in forms that have none
///   out    R x C, or R, sized by the caller, overwritten; may be one of the arguments
/// A matrix argument has the shape of out, a double is shared by all cells.
///
/// Ensures: x = z sigma + mu with z = Chopin2011_lower(a) and a = (bound - mu)/sigma; the upper form is its mirror
///          image, x = mu - z sigma with z from -a. Where the rounding of these lines would leave the support, or a
///          overflows, x = bound.
/// Draws:   one call of Chopin2011_lower per cell, rows in the outer loop, columns in the inner one. The forms on
///          matrices and vectors with bound 0 compute a as (-1/sigma) mu, tnormrnd0 with doubles as -mu/sigma.
QUARN_EXPORT double tnormrnd0(Rng& rng, Unif& unif, Norm& norm, const double& mu, const double& sigma);
QUARN_EXPORT void tnormrnd0(Rng& rng, Unif& unif, Norm& norm, double mu, double sigma, MatrixXd& out);
QUARN_EXPORT void tnormrnd0(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, const MatrixXd& sigma, MatrixXd& out);

QUARN_EXPORT double tnormrnd_lower(Rng& rng, Unif& unif, Norm& norm, const double& mu, const double& sigma,
                                   const double& bound);
QUARN_EXPORT void tnormrnd_lower(Rng& rng, Unif& unif, Norm& norm, double mu, double sigma, double bound,
                                 MatrixXd& out);
QUARN_EXPORT void tnormrnd_lower(Rng& rng, Unif& unif, Norm& norm, double mu, double sigma, const MatrixXd& bound,
                                 MatrixXd& out);
QUARN_EXPORT void tnormrnd_lower(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, const MatrixXd& sigma,
                                 double bound, MatrixXd& out);
QUARN_EXPORT void tnormrnd_lower(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, const MatrixXd& sigma,
                                 const MatrixXd& bound, MatrixXd& out);
QUARN_EXPORT void tnormrnd_lower(Rng& rng, Unif& unif, Norm& norm, const VectorXd& mu, double sigma, VectorXd& out);
QUARN_EXPORT void tnormrnd_lower(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, double sigma, MatrixXd& out);

QUARN_EXPORT double tnormrnd_upper(Rng& rng, Unif& unif, Norm& norm, const double& mu, const double& sigma,
                                   const double& bound);
QUARN_EXPORT void tnormrnd_upper(Rng& rng, Unif& unif, Norm& norm, double mu, double sigma, double bound,
                                 MatrixXd& out);
QUARN_EXPORT void tnormrnd_upper(Rng& rng, Unif& unif, Norm& norm, double mu, double sigma, const MatrixXd& bound,
                                 MatrixXd& out);
QUARN_EXPORT void tnormrnd_upper(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, const MatrixXd& sigma,
                                 double bound, MatrixXd& out);
QUARN_EXPORT void tnormrnd_upper(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, const MatrixXd& sigma,
                                 const MatrixXd& bound, MatrixXd& out);
QUARN_EXPORT void tnormrnd_upper(Rng& rng, Unif& unif, Norm& norm, const VectorXd& mu, double sigma, VectorXd& out);
QUARN_EXPORT void tnormrnd_upper(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, double sigma, MatrixXd& out);

}  // namespace quarn
