#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

/// Probability densities and distribution functions, and the multivariate gamma and beta functions.
///
/// Matrix forms compute each cell by the scalar form, of the same parameters for all cells, and resize out to the
/// shape of x; out may be x. A scale or standard deviation s is above 0, a location or mean m finite.
///
/// Requires: parameters in their domains; not tested, but for normcdf, weibullpdf, fisherpdf.
/// Ensures:  relative errors of a few units of the last place of the argument of the exponential, also far into the
///           tails, where written-out differences such as 1 - Phi would have lost all digits. truncncdf
///           alone is right to 1e-15 absolutely, not relatively, near x = 0.
/// Errors:   normcdf, weibullpdf and fisherpdf let through the std::domain_error that Boost raises for parameters (not
///           positive, not finite) and points outside the domain; weibullpdf and fisherpdf also the std::overflow_error
///           at x = 0 where the density is infinite there: shape or df1/2 below 1. The others give what the formulas
///           give, NaN for the most part.
namespace quarn {

/// Normal law: density exp(-z^2/2)/(s sqrt(2 pi)) with z = (x - m)/s, and distribution function Phi(z).
QUARN_EXPORT void normpdf(const MatrixXd& x, double m, double s, MatrixXd& out);
QUARN_EXPORT void normcdf(const MatrixXd& x, double m, double s, MatrixXd& out);

/// Law of 1/(1 + exp(-v)) for a normal v of mean m and standard deviation s: the normal density and distribution
/// function at log(x/(1 - x)), the former over x (1 - x). x outside [0, 1] gives NaN, as does the density at 0 and 1.
QUARN_EXPORT double logitnormpdf(const double& x, const double& m, const double& s);
QUARN_EXPORT void logitnormpdf(const MatrixXd& x, double m, double s, MatrixXd& out);
QUARN_EXPORT double logitnormcdf(const double& x, const double& m, const double& s);
QUARN_EXPORT void logitnormcdf(const MatrixXd& x, double m, double s, MatrixXd& out);

/// Normal law (m, s) restricted to [0, inf): density phi((x - m)/s)/s/Phi(m/s), distribution function
/// (F(x) - F(0))/(1 - F(0)). x below 0 is not set apart: the formulas go on there. m may be any number of s below 0.
QUARN_EXPORT double truncnpdf(const double& x, const double& m, const double& s);
QUARN_EXPORT void truncnpdf(const MatrixXd& x, double m, double s, MatrixXd& out);
QUARN_EXPORT double truncncdf(const double& x, const double& m, const double& s);
QUARN_EXPORT void truncncdf(const MatrixXd& x, double m, double s, MatrixXd& out);

/// Logistic law of location m and scale s: with u = (m - x)/s, density exp(u)/(s (1 + exp(u))^2), distribution function
/// 1/(1 + exp(u)). The density is NaN unless s > 0.
QUARN_EXPORT double logisticpdf(const double& x, const double& m, const double& s);
QUARN_EXPORT void logisticpdf(const MatrixXd& x, double m, double s, MatrixXd& out);
QUARN_EXPORT double logisticcdf(const double& x, const double& m, const double& s);
QUARN_EXPORT void logisticcdf(const MatrixXd& x, double m, double s, MatrixXd& out);

/// Weibull density of shape k and scale s: k/s (x/s)^(k-1) exp(-(x/s)^k).
QUARN_EXPORT double weibullpdf(const double& x, const double& shape, const double& scale);
QUARN_EXPORT void weibullpdf(const MatrixXd& x, double shape, double scale, MatrixXd& out);

/// Density of Fisher's F law with df1 (numerator) and df2 (denominator) degrees of freedom.
QUARN_EXPORT double fisherpdf(const double& x, const double& df1, const double& df2);
QUARN_EXPORT void fisherpdf(const MatrixXd& x, double df1, double df2, MatrixXd& out);

/// Multivariate normal density (2 pi)^(-k/2) det(V)^(-1/2) exp(-q/2), q = y'y with y = F (x - m)'. V is the covariance
/// matrix, F (k x k) any factor of its inverse, F'F = V^-1. x has k cells; X has a point in each row, and out becomes
/// N x 1.
///
/// Ensures: the density is right wherever it is in the range of doubles, even if det(V) is not.
/// Cost:    a factorisation of V; k^2 operations a point, no allocation.
QUARN_EXPORT double mvnormpdf(const RowVectorXd& x, const RowVectorXd& m, const MatrixXd& V, const MatrixXd& F);
QUARN_EXPORT void mvnormpdf(const MatrixXd& X, const RowVectorXd& m, const MatrixXd& V, const MatrixXd& F,
                            MatrixXd& out);

/// Logarithm of the p-variate gamma function, p (p - 1) log(pi)/4 + sum of lgamma(a - j/2) for j = 0 to p - 1, and the
/// function. p below 1 sums nothing.
QUARN_EXPORT double lmvgamma(double a, int p);
QUARN_EXPORT void lmvgamma(const MatrixXd& a, int p, MatrixXd& out);
QUARN_EXPORT double mvgamma(double a, int p);
QUARN_EXPORT void mvgamma(const MatrixXd& a, int p, MatrixXd& out);

/// Logarithm of the beta function, lgamma(a) + lgamma(b) - lgamma(a + b), and the function. Where an argument is large
/// these terms would cancel: Stirling's series then gives their difference.
/// Requires: matrices of one shape.
QUARN_EXPORT double lbeta(double a, double b);
QUARN_EXPORT void lbeta(const MatrixXd& a, const MatrixXd& b, MatrixXd& out);
QUARN_EXPORT double beta(double a, double b);
QUARN_EXPORT void beta(const MatrixXd& a, const MatrixXd& b, MatrixXd& out);

}  // namespace quarn
