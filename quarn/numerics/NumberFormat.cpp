#include <quarn/numerics/NumberFormat_detail.h>
#include <quarn/numerics/NumberText_detail.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstdint>
#include <cstring>

// The ordinary road scales the value by a power of ten, so that its integer part holds just the wanted digits, and
// rounds by the fraction. The scaled value is known to less than one unit in the 64th bit of its fraction; where that
// does not prove on which side of one half it lies, std::to_chars decides.
//
// What must change together: Layout, and the widths of the copies in PutFixed and PutExponent.

namespace quarn::detail {
namespace {

constexpr int LongestPrecision = 767;  // no double has more significant digits

/// Digits * 10^(Exponent - 16).
struct Decimal {
    std::uint64_t Digits;  ///< 17 digits, the first one not 0; zeros stand for those beyond the precision
    int Exponent;
};

/// floor(log10(2^e)) for |e| < 1100, and floor(log2(10^q)) for |q| <= 350.
constexpr int Log10OfPowerOfTwo(int e) { return (e * 78913) >> 18; }
constexpr int Log2OfPowerOfTen(int q) { return (q * 217706) >> 16; }

PowerOfFive PowerOf(int q) { return PowersOfFive[static_cast<std::size_t>(q - SmallestPowerOfFive)]; }

/// Exponent of the first decimal digit of significand / 2^63 * 2^exponent, exactly.
int DecimalExponent(std::uint64_t significand, int exponent) {
    // 10^next is the only power of ten that can lie in [2^exponent, 2^(exponent + 1)).
    const int next = Log10OfPowerOfTwo(exponent) + 1;
    const PowerOfFive power = PowerOf(next);
    const bool reached = (significand > power.High) | ((significand == power.High) & (power.Low == 0));
    return next - 1 + static_cast<int>((Log2OfPowerOfTen(next) == exponent) & reached);
}

/// The value of these bits, rounded to precision digits. False where it is no normal number, or the rounding is not
/// proven.
bool ToDecimal(std::uint64_t bits, int precision, Decimal& decimal) {
    constexpr int mantissaBits = 52;
    constexpr int exponentBias = 1023;
    const int field = static_cast<int>(bits >> mantissaBits) & 0x7FF;
    if (field == 0 || field == 0x7FF) return false;
    const std::uint64_t significand = bits << 11 | std::uint64_t{1} << 63;
    const int exponent = field - exponentBias;
    decimal.Exponent = DecimalExponent(significand, exponent);

    const int scale = precision - 1 - decimal.Exponent;
    if (scale > LargestPowerOfFive) return false;
    const PowerOfFive power = PowerOf(scale);
    const Uint128 product =
        Uint128{significand} * power.High + static_cast<std::uint64_t>(Uint128{significand} * power.Low >> 64);
    const auto high = static_cast<std::uint64_t>(product >> 64);
    const auto low = static_cast<std::uint64_t>(product);
    // The point stands shift bits above the end of high: 6 to 63, as high has 62 bits at least and the digits 57 at
    // most. The product is short of, or beyond, the true one by less than 2: less than 2^shift, a unit of fraction.
    const int shift = 62 - exponent - Log2OfPowerOfTen(scale);
    const std::uint64_t fraction = high << (64 - shift) | low >> shift;
    constexpr std::uint64_t half = std::uint64_t{1} << 63;
    if (fraction - (half - 2) <= 4) return false;
    decimal.Digits = (high >> shift) + (fraction >> 63);
    if (decimal.Digits == PowersOfTen[static_cast<std::size_t>(precision)]) {
        decimal.Digits /= 10;
        ++decimal.Exponent;
    }
    decimal.Digits *= PowersOfTen[static_cast<std::size_t>(ExactPrecision - precision)];
    return true;
}

/// Eight decimal digits of a number below 10^8, the first one in the lowest byte: halves, quarters, all.
std::uint64_t DigitBytes(std::uint64_t number) {
    std::uint64_t parts = number / 10000 | (number % 10000) << 32;
    const std::uint64_t hundreds = (parts * 10486 >> 20) & 0x0000007F0000007FU;
    parts = hundreds | (parts - hundreds * 100) << 16;
    const std::uint64_t tens = (parts * 103 >> 10) & 0x000F000F000F000FU;
    return tens | (parts - tens * 10) << 8;
}

void StoreEight(char* text, std::uint64_t bytes) { std::memcpy(text, &bytes, sizeof bytes); }

/// The digits as characters, behind four zeros for the numbers below 1.
struct Layout {
    static constexpr int First = 4;  ///< place of the first digit
    std::array<char, 48> Text;
    int Count;  ///< digits up to the last one that is not 0

    explicit Layout(std::uint64_t digits) {
        constexpr std::uint64_t zeros = 0x3030303030303030U;
        const std::uint64_t rest = digits % PowersOfTen[16];
        const std::uint64_t middle = DigitBytes(rest / PowersOfTen[8]);
        const std::uint64_t last = DigitBytes(rest % PowersOfTen[8]);
        std::memcpy(Text.data(), "0000", First);
        Text[First] = static_cast<char>('0' + digits / PowersOfTen[16]);
        StoreEight(Text.data() + First + 1, middle | zeros);
        StoreEight(Text.data() + First + 9, last | zeros);
        Count = last != 0 ? 17 - std::countl_zero(last) / 8 : middle != 0 ? 9 - std::countl_zero(middle) / 8 : 1;
    }
};

/// Copies 24 bytes, more than any part of a number has: a copy of fixed size needs no loop and no branch.
void CopyPart(char* text, const char* from) { std::memcpy(text, from, 24); }

/// 123.45, 0.0012345 or 12345000. Exponent from -4 to 16.
char* PutFixed(char* text, const Layout& layout, int exponent) {
    const int whole = exponent < 0 ? 1 : exponent + 1;  // digits before the point
    const char* const first = layout.Text.data() + Layout::First + (exponent < 0 ? exponent : 0);
    CopyPart(text, first);
    text += whole;
    const int decimals = layout.Count - 1 - exponent;
    CopyPart(text + 1, first + whole);
    *text = decimals > 0 ? '.' : *text;
    return decimals > 0 ? text + 1 + decimals : text;
}

/// 1.2345e-07
char* PutExponent(char* text, const Layout& layout, int exponent) {
    const char* const first = layout.Text.data() + Layout::First;
    *text++ = *first;
    if (layout.Count > 1) {
        *text++ = '.';
        CopyPart(text, first + 1);
        text += layout.Count - 1;
    }
    *text++ = 'e';
    *text++ = exponent < 0 ? '-' : '+';
    const int magnitude = exponent < 0 ? -exponent : exponent;
    if (magnitude >= 100) *text++ = static_cast<char>('0' + magnitude / 100);
    *text++ = static_cast<char>('0' + magnitude / 10 % 10);
    *text++ = static_cast<char>('0' + magnitude % 10);
    return text;
}

}  // namespace

char* WriteNumber(char* text, double value, int precision) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    Decimal decimal;
    if (std::endian::native == std::endian::little && precision <= ExactPrecision &&
        ToDecimal(bits, precision, decimal)) {
        *text = '-';
        text += bits >> 63;
        const Layout layout(decimal.Digits);
        if (decimal.Exponent >= -4 && decimal.Exponent < precision) return PutFixed(text, layout, decimal.Exponent);
        return PutExponent(text, layout, decimal.Exponent);
    }
    precision = std::min(precision, LongestPrecision);
    return std::to_chars(text, text + NumberRoom, value, std::chars_format::general, precision).ptr;
}

}  // namespace quarn::detail
