#pragma once

#include <cstdint>

/// exp and log without branches or calls, of which a compiler makes vector code. Only additions, multiplications,
/// divisions and operations on bits: the same digits with every width of vectors and on every processor. NaN gives NaN.
/// No library type enters, so that functions compiled for a newer processor can inline them.
namespace quarn::detail {

constexpr double Log2High = 0x1.62e42feep-1;       ///< ln 2 to 32 bits: its products with exponents are exact
constexpr double Log2Low = 0x1.a39ef35793c76p-33;  ///< the rest of it
constexpr double HighestBits = 0x1.8p52;           ///< added to a number below 2^51, rounds it to a whole one
constexpr double ExpFlushesBelow = -708.0;         ///< e^-708 is about 2^-1021.4

__attribute__((always_inline)) inline std::uint64_t BitsOf(double x) { return __builtin_bit_cast(std::uint64_t, x); }
__attribute__((always_inline)) inline double DoubleOf(std::uint64_t bits) { return __builtin_bit_cast(double, bits); }

/// e^(x + tail), for x in [-inf, 0] and a tail far below 1. Error: below 1 ulp. Below x = -708 the result is 0.
__attribute__((always_inline)) inline double ExpOfNegative(double x, double tail = 0.0) {
    constexpr double PerLog2 = 0x1.71547652b82fep+0;
    const double shifted = x * PerLog2 + HighestBits;
    const double k = shifted - HighestBits;
    const double r = (x - k * Log2High) + (tail - k * Log2Low);  // |r| < 0.35
    const double r2 = r * r;
    // Taylor's series to r^13, even and odd powers apart, so that the processor works on both at once.
    const double even =
        1.0 / 2 + r2 * (1.0 / 24 + r2 * (1.0 / 720 + r2 * (1.0 / 40320 + r2 * (1.0 / 3628800 + r2 / 479001600))));
    const double odd =
        1.0 / 6 +
        r2 * (1.0 / 120 + r2 * (1.0 / 5040 + r2 * (1.0 / 362880 + r2 * (1.0 / 39916800 + r2 / 6227020800.0))));
    const double power = 1.0 + (r + r2 * (even + r * odd));
    const double scale = DoubleOf((BitsOf(shifted) + 1023) << 52);  // 2^k: only the low bits of `shifted` stay
    return x < ExpFlushesBelow ? 0.0 : power * scale;
}

/// log(u) + c, for a normal u > 0 and a c far below 1. Error: below 1 ulp. What was lost in rounding u, divided by u,
/// is the c that makes it good.
__attribute__((always_inline)) inline double LogWithRest(double u, double c) {
    constexpr std::uint64_t RootHalf = 0x3fe6a09e667f3bcd, One = 0x3ff0000000000000, TwoTo52 = 0x4330000000000000;
    // u = 2^k m with m in [sqrt(1/2), sqrt(2))
    const std::uint64_t biased = (BitsOf(u) - RootHalf + One) >> 52;
    const double k = DoubleOf(biased | TwoTo52) - (0x1p52 + 1023);
    const double m = DoubleOf(BitsOf(u) - (biased << 52) + One);
    const double f = m - 1.0;
    const double s = f / (2.0 + f);
    const double w = s * s, w2 = w * w;
    // log(1 + f) = 2 atanh(s) = f - (f^2/2 - s (f^2/2 + R)), R = 2/3 w + 2/5 w^2 + ...; the next term is below 1e-18.
    const double even = 2.0 / 5 + w2 * (2.0 / 9 + w2 * (2.0 / 13 + w2 * (2.0 / 17 + w2 * (2.0 / 21))));
    const double odd = 2.0 / 3 + w2 * (2.0 / 7 + w2 * (2.0 / 11 + w2 * (2.0 / 15 + w2 * (2.0 / 19))));
    const double halfSquare = 0.5 * f * f;
    const double rest = s * (halfSquare + w * (odd + w * even)) + (k * Log2Low + c);
    // A NaN is lost among the bits, hence u - u.
    return (k * Log2High - ((halfSquare - rest) - f)) + (u - u);
}

/// What was lost in rounding sum = a + b, for a, b >= 0.
__attribute__((always_inline)) inline double RestOfSum(double sum, double a, double b) {
    const double larger = a < b ? b : a, smaller = a < b ? a : b;
    return smaller - (sum - larger);
}

}  // namespace quarn::detail
