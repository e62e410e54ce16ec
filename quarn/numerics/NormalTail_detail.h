#pragma once

#include <quarn/numerics/Elementary_detail.h>

/// The standard normal law far into its tails: density phi(t) = exp(-t^2/2)/sqrt(2 pi), distribution function Phi.
/// Without branches or calls, as Elementary_detail.h is.
namespace quarn::detail {

constexpr double InverseRootTwoPi = 0.3989422804014327;  ///< 1/sqrt(2 pi)
constexpr double LogRootTwoPi = 0.91893853320467274178;  ///< log(sqrt(2 pi))

/// Mills' ratio (1 - Phi(t))/phi(t), for t in [0, inf]. Relative error: below 4e-16.
///
/// (t + 5/4) times the ratio is a smooth function of u = (t - 5)/(t + 5) on [-1, 1]: 1.57 at t = 0, 1 at infinity. The
/// coefficients are those of its interpolation at 24 Chebyshev points, computed with 60 digits
/// (scripts/mills-ratio-coefficients).
__attribute__((always_inline)) inline double MillsRatio(double t) {
    constexpr double Even[] = {0x1.347e331ef9a3bp+0,   0x1.344239c03db1ap-3,   -0x1.28753797c0c3ep-5,
                               -0x1.095b20e61e4ebp-5,  -0x1.0a51b20237681p-8,  0x1.b789dfb390449p-12,
                               -0x1.5a517bcb25fabp-16, -0x1.41a3606ace555p-21, 0x1.8b96f8463afa2p-22,
                               -0x1.36ad28a2533dbp-24, 0x1.56d683a1efa64p-27,  -0x1.b04b90201e3b8p-31};
    constexpr double Odd[] = {-0x1.470d2f06ba6fap-2,  -0x1.a3aa0d6bc0c19p-6,  0x1.7fa6fefb30651p-5,
                              0x1.e6d9d74dc179bp-7,   0x1.b2d97cb557ccfp-14,  -0x1.188a51110b2b6p-13,
                              0x1.6fa883f1cc25ep-16,  -0x1.a37ef4d3c3f88p-19, 0x1.f6ad7d4a022cap-22,
                              -0x1.3fac430d953e8p-24, 0x1.728627c7f575dp-27,  -0x1.07c234f256cb5p-30};
    const double finite = t > 1e300 ? 1e300 : t;
    const double u = (finite - 5.0) / (finite + 5.0);
    const double u2 = u * u;
    double even = Even[11], odd = Odd[11];
#pragma GCC unroll 11
    for (int i = 10; i >= 0; --i) {
        even = even * u2 + Even[i];
        odd = odd * u2 + Odd[i];
    }
    return (even + u * odd) / (t + 1.25);
}

/// exp(-t^2/2) for t >= 0, relative error below 4e-16; 0 above t = 37.6. The square is taken in two parts, so that its
/// rounding, which the exponential would magnify, does not enter.
__attribute__((always_inline)) inline double NormalKernel(double t) {
    const double high = DoubleOf(BitsOf(t) & 0xfffffffff8000000);  // 26 bits: its square is exact
    return ExpOfNegative(-0.5 * high * high, -0.5 * (t - high) * (t + high));
}

struct NormalTail {
    double logCdf;  ///< log(Phi(q))
    double ratio;   ///< phi(q)/Phi(q)
};

/// Both for any finite q; relative errors below 8e-16 where the values are normal numbers.
__attribute__((always_inline)) inline NormalTail NormalTailAt(double q) {
    const double t = q < 0 ? -q : q;
    const double mills = MillsRatio(t);
    const double density = InverseRootTwoPi * NormalKernel(t);
    // Phi(q) is phi(t) mills on the left, 1 - phi(t) mills on the right. On the left phi(t) itself would underflow.
    const double beyond = density * mills;
    const double right = 1.0 - beyond;
    const double u = q < 0 ? mills : right;
    const double perU = 1.0 / u;
    const double lost = q < 0 ? 0.0 : -beyond - (right - 1.0);
    const double logDensity = q < 0 ? -LogRootTwoPi - 0.5 * t * t : 0.0;
    return {LogWithRest(u, lost * perU) + logDensity, (q < 0 ? 1.0 : density) * perU};
}

}  // namespace quarn::detail
