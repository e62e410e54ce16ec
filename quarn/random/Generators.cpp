#include <quarn/random/Generators.h>

#include <cmath>
#include <cstring>

namespace quarn::detail {

#ifdef __GLIBCXX__
namespace {
/// The word that follows from the upper bits of `high`, the lower bits of `low`, and the word `shift_size` further on.
/// A mask of the bit that decides, not a branch, adds the matrix.
std::uint64_t Twist(std::uint64_t high, std::uint64_t low, std::uint64_t further) {
    constexpr std::uint64_t lowerMask = (std::uint64_t{1} << Rng::mask_bits) - 1;
    const std::uint64_t y = (high & ~lowerMask) | (low & lowerMask);
    return further ^ (y >> 1) ^ ((std::uint64_t{0} - (y & 1)) & Rng::xor_mask);
}

// Two words at a time, in any register of 16 bytes.
using TwoWords [[gnu::vector_size(16)]] = std::uint64_t;
using TwoDoubles [[gnu::vector_size(16)]] = double;

/// 2 w - 1 of each word, w = x 2^-64 rounded to a double. The upper half of x is put into the lowest bits of 2^21, the
/// lower half into those of 2^-11; these then drop out exactly, and the one sum that rounds is that of the halves.
TwoDoubles SignedFractions(TwoWords x) {
    constexpr std::uint64_t above = 0x4140000000000000, below = 0x3F40000000000000;  // bits of 2^21 and of 2^-11
    const auto high = reinterpret_cast<TwoDoubles>((x >> 32) | above);
    const auto low = reinterpret_cast<TwoDoubles>((x & 0xFFFFFFFF) | below);
    return ((high - (0x1p21 + 0x1p-11)) + low) - 1.0;
}

/// A point of the square [-1, 1]^2 from two words. Both are scrambled and converted at once, unless they are not stored
/// side by side, at the end of the engine's words.
void DrawPoint(Rng& rng, double& u, double& v) {
    const std::size_t k = rng.*nextIndex;
    if (k + 2 <= Rng::state_size) {
        TwoWords x;
        std::memcpy(&x, &(rng.*words)[k], sizeof x);
        rng.*nextIndex = k + 2;
        const TwoDoubles point = SignedFractions(Temper(x));
        u = point[0];
        v = point[1];
    } else {
        u = 2.0 * Fraction(NextWord(rng)) - 1.0;
        v = 2.0 * Fraction(NextWord(rng)) - 1.0;
    }
}
}  // namespace

void RefillWords(Rng::result_type (&x)[Rng::state_size]) {
    constexpr std::size_t n = Rng::state_size, m = Rng::shift_size;
    for (std::size_t k = 0; k < n - m; ++k) x[k] = Twist(x[k], x[k + 1], x[k + m]);
    for (std::size_t k = n - m; k < n - 1; ++k) x[k] = Twist(x[k], x[k + 1], x[k + m - n]);
    x[n - 1] = Twist(x[n - 1], x[0], x[m - 1]);
}

double NormalPair(Rng& rng, double& second) {
    double u, v, s;
    do {
        DrawPoint(rng, u, v);
        s = u * u + v * v;
    } while (!(s > 0.0 && s <= 1.0));
    const double f = std::sqrt(-2.0 * std::log(s) / s);
    second = v * f;
    return u * f;
}
#endif

}  // namespace quarn::detail
