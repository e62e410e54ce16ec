#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>
#include <quarn/random/Generators.h>

/// Random variates of univariate laws.
///
/// A function returns one draw, or fills `out`, R x C, sized by the caller: rows in the outer loop, columns in the
/// inner one. A matrix parameter has the shape of out and gives each cell its own law; a double is shared by all cells.
/// out may be one of the parameters. An out without cells draws nothing.
///
/// Requires: shapes of matrices as stated. Not tested.
/// Errors:   none reported. A cell with a parameter outside the law's domain is NaN, and nothing is drawn for it.
///           Shapes, rates, scales, degrees of freedom are positive and finite, locations finite. A rate r is also
///           outside where 1/r overflows (below 5.6e-309).
/// Draws:    the order of draws is part of each contract: z is NormalDraw, u UniformDraw. All forms of a family give
///           the same values for the same draws.
/// Cost:     scalar forms and, unless said otherwise, the others allocate nothing; constants of a shared law are worked
///           out once.
namespace quarn {

/// Gamma law of shape a and rate r (not scale): density proportional to x^(a-1) exp(-r x), mean a/r.
///
/// Draws:    a > 30:       one z; x = (z + sqrt(4a - 1))^2 / (4r). This is Fisher's approximation, not the exact law:
///                         its distribution function is off by up to 0.0061 at a of 30, by 0.0011 at 1000.
///           1 <= a <= 30: rounds of z, u until d ln v + z^2/2 + d - d v > ln u, with d = a - 1/3, c = 1/(3 sqrt(d)),
///                         v = (1 + c z)^3 > 0; x = d v / r.
///           a < 1:        the same with a + 1 in place of a, then one u; x = u^(1/a) d v / r.
/// Ensures:  x is the draw of rate 1 times the rounded 1/r. A draw below the range of doubles is 0 (a below 0.06).
/// Source:   Marsaglia & Tsang (2000), ACM Trans. Math. Softw. 26, 363-372, without their squeeze; Fisher's square
///           root: Johnson, Kotz & Balakrishnan (1994), Continuous Univariate Distributions 1, section 17.3.
QUARN_EXPORT double gamrnd(Rng& rng, Unif& unif, Norm& norm, const double& shape, const double& rate);
QUARN_EXPORT void gamrnd(Rng& rng, Unif& unif, Norm& norm, double shape, double rate, MatrixXd& out);
QUARN_EXPORT void gamrnd(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& shape, const MatrixXd& rate, MatrixXd& out);
QUARN_EXPORT void gamrnd(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& shape, double rate, MatrixXd& out);

/// Weibull law of shape k and scale s: distribution function 1 - exp(-(x/s)^k).
/// Draws:   one u; x = s (-ln(1 - u))^(1/k).
QUARN_EXPORT double weibullrnd(Rng& rng, Unif& unif, const double& shape, const double& scale);
QUARN_EXPORT void weibullrnd(Rng& rng, Unif& unif, double shape, double scale, MatrixXd& out);
QUARN_EXPORT void weibullrnd(Rng& rng, Unif& unif, const MatrixXd& shape, const MatrixXd& scale, MatrixXd& out);

/// One u in each cell, between the bounds of unif.
QUARN_EXPORT void unifrnd(Rng& rng, Unif& unif, MatrixXd& out);

/// Extreme-value (Gumbel) law of the largest value, location m and scale b: distribution function
/// exp(-exp(-(x - m)/b)), mean m + 0.5772 b.
/// Draws:   one u; x = m - b ln(-ln u).
QUARN_EXPORT double evrnd(Rng& rng, Unif& unif, const double& location, const double& scale);
QUARN_EXPORT void evrnd(Rng& rng, Unif& unif, double location, double scale, MatrixXd& out);
QUARN_EXPORT void evrnd(Rng& rng, Unif& unif, const MatrixXd& location, const MatrixXd& scale, MatrixXd& out);

/// Beta law of shapes a and b, mean a/(a + b).
/// Draws:    x by gamrnd(a, 80), then y by gamrnd(b, 80); x/(x + y). The rate has no effect on the law.
/// Ensures:  never NaN: where x and y are too small for doubles, they are divided by way of their logarithms.
QUARN_EXPORT double betarnd(Rng& rng, Unif& unif, Norm& norm, const double& a, const double& b);
QUARN_EXPORT void betarnd(Rng& rng, Unif& unif, Norm& norm, double a, double b, MatrixXd& out);
QUARN_EXPORT void betarnd(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& a, const MatrixXd& b, MatrixXd& out);

/// Chi-squared law of df degrees of freedom.
/// Draws:   gamrnd(df/2, 0.5).
QUARN_EXPORT double chi2rnd(Rng& rng, Unif& unif, Norm& norm, const double& df);
QUARN_EXPORT void chi2rnd(Rng& rng, Unif& unif, Norm& norm, double df, MatrixXd& out);
QUARN_EXPORT void chi2rnd(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& df, MatrixXd& out);

/// F law of df1 degrees of freedom in the numerator and df2 in the denominator.
/// Draws:    x by gamrnd(df1/2, 0.5), then y by gamrnd(df2/2, 0.5); (df2/df1)(x/y). Forms with out draw x of all cells
///           before y of the first.
/// Ensures:  where x or y is too small for doubles (df below 0.13), they are divided by way of their logarithms. A
///           df2/df1 beyond the range of doubles can give NaN.
/// Cost:     forms with out: one temporary of its size.
QUARN_EXPORT double frnd(Rng& rng, Unif& unif, Norm& norm, const double& df1, const double& df2);
QUARN_EXPORT void frnd(Rng& rng, Unif& unif, Norm& norm, double df1, double df2, MatrixXd& out);
QUARN_EXPORT void frnd(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& df1, const MatrixXd& df2, MatrixXd& out);

/// Student's t law of df degrees of freedom, centred at 0 with scale 1.
/// Draws:    g by gamrnd(df/2, df/2), then z; z/sqrt(g). Forms with out draw g of all cells before z of the first.
/// Ensures:  where g is too small for doubles (df below 0.13), its root is taken by way of its logarithm.
QUARN_EXPORT double trnd(Rng& rng, Unif& unif, Norm& norm, const double& df);
QUARN_EXPORT void trnd(Rng& rng, Unif& unif, Norm& norm, double df, MatrixXd& out);
QUARN_EXPORT void trnd(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& df, MatrixXd& out);

/// Poisson law of mean lambda; a whole number. NaN, without a draw, unless lambda is finite and not negative.
///
/// Draws:    lambda < 30:          u until their product is not above exp(-lambda); their number less one.
///           30 <= lambda < 1000:  rounds of u, and of v unless the proposal is negative, by logistic rejection.
///           lambda >= 1000:       one z; lambda + z sqrt(lambda), rounded with halves away from zero. This is
///                                 the normal approximation, not the exact law.
/// Source:   Atkinson (1979), Appl. Stat. 28, 29-35, algorithm PA.
QUARN_EXPORT double poissonrnd(Rng& rng, Unif& unif, Norm& norm, const double& lambda);

}  // namespace quarn
