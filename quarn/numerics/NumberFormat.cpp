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

/// The 17 digits as characters, held in words: they are put where they belong by a few stores of whole words, which go
/// beyond the end of the number, since branches on its length would be guessed wrong too often.
struct Characters {
    char First;
    std::uint64_t Middle, Last;  ///< eight digits each
    int Count;                   ///< digits up to the last one that is not 0

    explicit Characters(std::uint64_t digits) {
        constexpr std::uint64_t zeros = 0x3030303030303030U;
        const std::uint64_t rest = digits % PowersOfTen[16];
        const std::uint64_t middle = DigitBytes(rest / PowersOfTen[8]);
        const std::uint64_t last = DigitBytes(rest % PowersOfTen[8]);
        First = static_cast<char>('0' + digits / PowersOfTen[16]);
        Middle = middle | zeros;
        Last = last | zeros;
        Count = last != 0 ? 17 - std::countl_zero(last) / 8 : 9 - std::countl_zero(middle) / 8;
    }
};

/// Mask of the first count bytes, 0 to 7.
std::uint64_t FirstBytes(int count) { return (std::uint64_t{1} << (8 * count)) - 1; }

/// Eight characters with a point behind those in the mask before; the last one falls out, unless all are in the mask.
std::uint64_t WithPoint(std::uint64_t bytes, std::uint64_t before) {
    return (bytes & before) | ((before + 1) * '.') | (bytes & ~before) << 8;
}

char LastByte(std::uint64_t bytes) { return static_cast<char>(bytes >> 56); }

/// 123.45 or 0.0012345, exponent from -4 to 7.
char* PutFixed(char* text, const Characters& digits, int exponent) {
    // All ones for numbers below 1, the commonest switch in data: as a number, it leaves no branch to be guessed.
    const int belowOne = exponent >> 31;
    constexpr std::uint64_t zeroPointZeros = 0x3030303030302E30U;
    StoreEight(text, zeroPointZeros);
    text += (1 - exponent) & belowOne;
    *text = digits.First;
    StoreEight(text + 1, WithPoint(digits.Middle, FirstBytes(exponent & 7) | static_cast<std::uint64_t>(belowOne)));
    text[9] = LastByte(digits.Middle);
    StoreEight(text + 10 + belowOne, digits.Last);
    const int whole = exponent + 1;
    return text + (digits.Count > whole ? digits.Count + 1 + belowOne : whole);
}

/// 1234567890.12345, exponent from 8 to 16.
char* PutLarge(char* text, const Characters& digits, int exponent) {
    const int whole = exponent + 1;
    *text = digits.First;
    StoreEight(text + 1, digits.Middle);
    StoreEight(text + 9, digits.Last);
    if (digits.Count <= whole) return text + whole;
    StoreEight(text + 9, WithPoint(digits.Last, FirstBytes(exponent - 8)));
    text[17] = LastByte(digits.Last);
    return text + digits.Count + 1;
}

/// 1.2345e-07
char* PutExponent(char* text, const Characters& digits, int exponent) {
    text = PutFixed(text, digits, 0);
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
        const Characters digits(decimal.Digits);
        if (decimal.Exponent < -4 || decimal.Exponent >= precision) return PutExponent(text, digits, decimal.Exponent);
        if (decimal.Exponent < 8) return PutFixed(text, digits, decimal.Exponent);
        return PutLarge(text, digits, decimal.Exponent);
    }
    precision = std::min(precision, LongestPrecision);
    return std::to_chars(text, text + NumberRoom, value, std::chars_format::general, precision).ptr;
}

}  // namespace quarn::detail
