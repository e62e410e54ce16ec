// Truncated normals between two bounds: Botev2017 and its two methods.

#include <quarn/numerics/NormalProbability_detail.h>
#include <quarn/random/TruncatedNormal.h>

#include <boost/math/constants/constants.hpp>
#include <boost/math/special_functions/erf.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace quarn {

namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

/// Up to this width the distribution function is straight: the inverse differs from the chord by less than w^2/8 of
/// itself, half a unit of the last digit, while differences of probabilities keep half the digits or fewer.
constexpr double straightWidth = 0x1p-27;

/// z with P(Z > z) = p. In the middle, one rational function for both signs (Wichura 1988, Appl. Statist. 37, 477-484,
/// PPND16, to 16 digits), as branches on the sign would be guessed wrong; else Boost's inverse, in double instead of
/// long double arithmetic, which differs by less than 2 units of the last digit and takes a quarter of the time.
double UpperQuantile(double p) {
    using InDouble = boost::math::policies::policy<boost::math::policies::promote_double<false>>;
    const double q = 0.5 - p;
    if (!(std::abs(q) <= 0.425))
        return boost::math::constants::root_two<double>() * boost::math::erfc_inv(2.0 * p, InDouble());
    const double r = 0.180625 - q * q, r2 = r * r, r4 = r2 * r2;
    const double numerator = ((3.3871328727963666080e0 + 1.3314166789178437745e2 * r) +
                              (1.9715909503065514427e3 + 1.3731693765509461125e4 * r) * r2) +
                             ((4.5921953931549871457e4 + 6.7265770927008700853e4 * r) +
                              (3.3430575583588128105e4 + 2.5090809287301226727e3 * r) * r2) *
                                 r4;
    const double denominator =
        ((1.0 + 4.2313330701600911252e1 * r) + (6.8718700749205790830e2 + 5.3941960214247511077e3 * r) * r2) +
        ((2.1213794301586595867e4 + 3.9307895800092710610e4 * r) +
         (2.8729085735721942674e4 + 5.2264952788528545610e3 * r) * r2) *
            r4;
    return q * numerator / denominator;
}

/// The point of [a, b] that has the share u of the interval's probability to its left.
double Inverse(double u, double a, double b) {
    if (b - a < straightWidth) return std::min(a + u * (b - a), b);
    const detail::NormalCells& cells = detail::NormalProbabilityCells();
    const double pl = detail::NormalProbability(cells, -a), pu = detail::NormalProbability(cells, -b);
    const double p = pl - u * (pl - pu);
    // p is 0 only for an infinite b and a uniform of 1.
    return std::clamp(UpperQuantile(std::max(p, std::numeric_limits<double>::min())), a, b);
}

/// exp(x) - 1 for x <= 0: below -1 the difference loses nothing, and takes half the time.
double ExpMinus1(double x) { return x < -1.0 ? std::exp(x) - 1.0 : std::expm1(x); }

}  // namespace

double Botev2017(Rng& rng, Unif& unif, Norm& norm, double a, double b) {
    if (a > 0.66) return Botev2017_ntail(rng, unif, a, b);
    if (b < -0.66) return -Botev2017_ntail(rng, unif, -b, -a);
    return Botev2017_tn(rng, unif, norm, a, b);
}

double Botev2017_ntail(Rng& rng, Unif& unif, double a, double b) {
    if (!(a > 0.0 && a <= b)) return NaN;
    // The loop takes 0.8/a rounds in the mean if b is far away.
    if (a < 0x1p-10) return Inverse(UniformDraw(rng, unif), a, b);
    const double c = a * a / 2.0;
    const double q = ExpMinus1(c < Infinity ? c - b * b / 2.0 : -Infinity);  // inf - inf otherwise
    double e, u2;
    do {
        e = c - std::log(1.0 + UniformDraw(rng, unif) * q);
        u2 = UniformDraw(rng, unif);
    } while (!(u2 * u2 * e <= c));
    const double z = std::sqrt(2.0 * e);
    return z < Infinity ? std::min(z, b) : a;  // as for one bound: never below a, and at a where squares overflow
}

double Botev2017_tn(Rng& rng, Unif& unif, Norm& norm, double a, double b) {
    if (!(a <= b)) return NaN;
    if (a > 5.0 || b < -5.0) return Botev2017(rng, unif, norm, a, b);
    if (!(std::abs(b - a) > 2.0)) return Inverse(UniformDraw(rng, unif), a, b);
    double z;
    do z = NormalDraw(rng, norm);
    while (!(z >= a && z <= b));
    return z;
}

}  // namespace quarn
