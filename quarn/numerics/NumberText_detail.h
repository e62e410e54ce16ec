#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#ifdef __x86_64__
#include <emmintrin.h>
#endif

/// Decimal text to the nearest double, exactly as strtod in the "C" locale has it, whatever the locale of the process.
///
/// Three roads lead to the same value. ReadNumber is the general one. ReadDecimal reads plain decimals eight digits at
/// a time and rounds by one product of 64 by 64 bits in most cases. ReadShortDecimal is for the numbers that data files
/// are full of, -12.3456: given where the number ends, it reads all parts of it at once rather than one behind the
/// other. The fast roads answer only where their answer is certain.
///
/// What must change together: the digit limits of the fast roads, the range of PowersOfFive, and the conditions under
/// which RoundDecimal refuses.
namespace quarn::detail {

/// Bytes behind a number, and before it, that the fast roads may look at.
inline constexpr int NumberReadAhead = 16;
inline constexpr int NumberReadBehind = 32;

struct NumberPrefix {
    double Value;     ///< 0.0 where the text does not begin with a number
    const char* End;  ///< first byte behind the number; the begin where there is none
};

/// The number at the start of [begin, end), in all forms of strtod: leading white space, sign, decimal or hexadecimal,
/// "inf", "infinity", "nan", "nan(...)", overflow to infinity, gradual underflow. A NUL byte ends the number.
/// Cost: linear; allocates only for numbers of over 120 characters that are not plain decimals.
NumberPrefix ReadNumber(const char* begin, const char* end);

/// 5^q as a normalised 128-bit fraction, High:Low with the top bit set: truncated for q >= 0, rounded up for q < 0.
struct PowerOfFive {
    std::uint64_t High, Low;
};
inline constexpr int SmallestPowerOfFive = -342;  // below, a product with 19 digits is nearer to 0 than to any double
inline constexpr int LargestPowerOfFive = 308;    // above, any product is beyond the largest double
extern const std::array<PowerOfFive, LargestPowerOfFive - SmallestPowerOfFive + 1> PowersOfFive;

__extension__ using Uint128 = unsigned __int128;

enum class Range { Any, Normal };

/// The double nearest to digits * 10^exponent, ties to even. False, with value untouched, where the result is not a
/// normal number or one product of 128 bits cannot decide. Range::Normal spares the tests of a result known to be
/// normal.
/// Requires: digits != 0. Not tested.
/// Source:   Lemire (2021), Number parsing at a gigabyte per second, Softw. Pract. Exp. 51, 1700-1727.
template <Range range = Range::Any>
inline bool RoundDecimal(std::uint64_t digits, std::int64_t exponent, double& value) {
    if (range == Range::Any && (exponent < SmallestPowerOfFive || exponent > LargestPowerOfFive)) return false;
    constexpr int mantissaBits = 52;
    constexpr int exponentBias = 1023;
    const int leadingZeros = std::countl_zero(digits);
    const std::uint64_t significand = digits << leadingZeros;
    const PowerOfFive power = PowersOfFive[static_cast<std::size_t>(exponent - SmallestPowerOfFive)];

    Uint128 product = Uint128{significand} * power.High;
    auto high = static_cast<std::uint64_t>(product >> 64);
    auto low = static_cast<std::uint64_t>(product);
    // Nine bits follow those that the mantissa and the rounding use: only if all are ones can the low half of the power
    // carry into them.
    if ((high & 0x1FF) == 0x1FF) {
        const auto carry = static_cast<std::uint64_t>((Uint128{significand} * power.Low) >> 64);
        low += carry;
        if (low < carry) ++high;
        // The truncated rest could still carry, except where the power of five is exact.
        if (low == ~std::uint64_t{0} && (exponent < -27 || exponent > 55)) return false;
    }
    const int upperBit = static_cast<int>(high >> 63);
    const int shift = upperBit + 64 - mantissaBits - 3;
    std::uint64_t mantissa = high >> shift;
    // floor(log2(10^exponent)) + 63 = floor(exponent * 217706 / 2^16) + 63 over the whole range.
    const int binaryExponent =
        static_cast<int>((217706 * exponent) >> 16) + 63 + upperBit - leadingZeros + exponentBias;
    if (range == Range::Any && binaryExponent <= 0) return false;
    // A tie to an even mantissa can only come from a power of five that divides, or is, a small number.
    if (low <= 1 && exponent >= -4 && exponent <= 23 && (mantissa & 3) == 1 && (mantissa << shift) == high)
        mantissa &= ~std::uint64_t{1};
    mantissa += mantissa & 1;
    mantissa >>= 1;
    // A carry out of the mantissa adds one to the exponent field, as it should.
    const std::uint64_t bits = (static_cast<std::uint64_t>(binaryExponent - 1) << mantissaBits) + mantissa;
    if (range == Range::Any && bits >= std::uint64_t{0x7FF} << mantissaBits) return false;
    value = std::bit_cast<double>(bits);
    return true;
}

/// Eight bytes of text, the first one in the lowest byte.
inline std::uint64_t LoadEight(const char* text) {
    std::uint64_t bytes;
    std::memcpy(&bytes, text, sizeof bytes);
    return bytes;
}

/// Bytes at the start of the eight that are decimal digits, in eight parts minus '0'.
/// The sum marks 10 to 127, the bytes themselves mark 128 and above; a carry only reaches bytes behind a marked one.
inline int LeadingDigits(std::uint64_t parts) {
    const std::uint64_t marks = ((parts + 0x7676767676767676U) | parts) & 0x8080808080808080U;
    return marks == 0 ? 8 : std::countr_zero(marks) >> 3;
}

/// Whether all eight bytes are decimal digits, in eight parts minus '0'.
inline bool AllDigits(std::uint64_t parts) {
    return (((parts + 0x7676767676767676U) | parts) & 0x8080808080808080U) == 0;
}

/// Value of eight decimal digits, first digit in the lowest byte: pairs, then fours, then all.
inline std::uint64_t EightDigits(std::uint64_t parts) {
    parts = parts * 10 + (parts >> 8);
    constexpr std::uint64_t mask = 0x000000FF000000FFU;
    return ((parts & mask) * 0x000F424000000064U + ((parts >> 16) & mask) * 0x0000271000000001U) >> 32;
}

/// All powers of ten below 2^64.
inline constexpr auto PowersOfTen = [] {
    std::array<std::uint64_t, 20> powers{1};
    for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = powers[i - 1] * 10;
    return powers;
}();

/// The first digitCount parts of eight, from 1 to 8, moved behind zeros, for EightDigits.
inline std::uint64_t FirstDigits(std::uint64_t parts, int digitCount) { return parts << (64 - 8 * digitCount); }

/// Appends the run of digits at text to value (modulo 2^64) and returns its end.
inline const char* ReadDigits(const char* text, std::uint64_t& value) {
    for (;;) {
        const std::uint64_t parts = LoadEight(text) ^ 0x3030303030303030U;
        const int count = LeadingDigits(parts);
        if (count == 8) {
            value = value * PowersOfTen[8] + EightDigits(parts);
            text += 8;
            continue;
        }
        if (count > 0)
            value = value * PowersOfTen[static_cast<std::size_t>(count)] + EightDigits(FirstDigits(parts, count));
        return text + count;
    }
}

/// Digits of [begin, end), a decimal mantissa, behind its leading zeros.
std::int64_t SignificantDigits(const char* begin, const char* end);

/// A plain decimal number at text: optional sign, digits with an optional point, optional exponent. Returns its end,
/// with value exact, or null where the text is of another form or the fast road cannot decide. Requires: a byte that is
/// no digit at or behind the end of the text, and NumberReadAhead readable bytes behind that.
inline const char* ReadDecimal(const char* text, double& value) {
    if constexpr (std::endian::native != std::endian::little) return nullptr;
    constexpr std::int64_t exactDigits = 19;  // 10^19 < 2^64
    const bool negative = *text == '-';
    const char* const begin = text + (negative || *text == '+' ? 1 : 0);

    std::uint64_t digits = 0;
    const char* at = ReadDigits(begin, digits);
    std::int64_t digitCount = at - begin;
    std::int64_t exponent = 0;
    if (*at == '.') {
        const char* const fraction = at + 1;
        at = ReadDigits(fraction, digits);
        exponent = fraction - at;
        digitCount -= exponent;
    }
    if (digitCount == 0) return nullptr;
    if (digitCount > exactDigits && SignificantDigits(begin, at) > exactDigits) return nullptr;
    if ((*at | 0x20) == 'e') {
        const bool negativeExponent = at[1] == '-';
        const char* const first = at + 1 + (negativeExponent || at[1] == '+' ? 1 : 0);
        std::uint64_t power = 0;
        at = ReadDigits(first, power);
        if (at == first || at - first > 4) return nullptr;
        exponent += negativeExponent ? -static_cast<std::int64_t>(power) : static_cast<std::int64_t>(power);
    }
    double magnitude = 0.0;
    if (digits != 0 && !RoundDecimal(digits, exponent, magnitude)) return nullptr;
    value = std::bit_cast<double>(std::bit_cast<std::uint64_t>(magnitude) | (std::uint64_t{negative} << 63));
    return at;
}

/// The digitCount bytes before end, from 1 to 8, behind zeros, in parts minus '0'.
inline std::uint64_t PartsBefore(const char* end, int digitCount) {
    return (LoadEight(end - 8) ^ 0x3030303030303030U) & (~std::uint64_t{0} << (64 - 8 * digitCount));
}

/// Value of the digitCount digits before end, from 1 to 16. Sets invalid if one of them is no digit.
inline std::uint64_t DigitsBefore(const char* end, int digitCount, bool& invalid) {
#ifdef __x86_64__
    // Sixteen bytes at once: digits to pairs, fours and eights, as in EightDigits, with the unwanted ones in front
    // zeroed.
    static constexpr auto masks = [] {
        std::array<unsigned char, 32> bytes{};
        for (std::size_t i = 16; i < bytes.size(); ++i) bytes[i] = 0xFF;
        return bytes;
    }();
    const auto load = [](const void* from) { return _mm_loadu_si128(static_cast<const __m128i*>(from)); };
    const __m128i digits =
        _mm_and_si128(_mm_xor_si128(load(end - 16), _mm_set1_epi8('0')), load(masks.data() + digitCount));
    const __m128i beyondNine = _mm_subs_epu8(digits, _mm_set1_epi8(9));
    invalid |= _mm_movemask_epi8(_mm_cmpeq_epi8(beyondNine, _mm_setzero_si128())) != 0xFFFF;
    const __m128i tens = _mm_mullo_epi16(_mm_and_si128(digits, _mm_set1_epi16(0xFF)), _mm_set1_epi16(10));
    const __m128i pairs = _mm_add_epi16(tens, _mm_srli_epi16(digits, 8));
    const __m128i fours = _mm_madd_epi16(pairs, _mm_set1_epi32(100 | 1 << 16));
    const __m128i eights = _mm_madd_epi16(_mm_packs_epi32(fours, fours), _mm_set1_epi32(10000 | 1 << 16));
    const auto both = static_cast<std::uint64_t>(_mm_cvtsi128_si64(eights));
    return (both & 0xFFFFFFFFU) * PowersOfTen[8] + (both >> 32);
#else
    const std::uint64_t last = PartsBefore(end, digitCount < 8 ? digitCount : 8);
    const std::uint64_t first = digitCount > 8 ? PartsBefore(end - 8, digitCount - 8) : 0;
    invalid |= !AllDigits(last) || !AllDigits(first);
    return EightDigits(first) * PowersOfTen[8] + EightDigits(last);
#endif
}

/// digits / 10^decimals, rounded once, since both numbers are exact doubles.
/// Requires: digits <= 2^53; 0 <= decimals <= 22. Not tested.
inline double ExactQuotient(std::uint64_t digits, int decimals) {
    static constexpr auto powers = [] {
        std::array<double, 23> table{1.0};
        for (std::size_t i = 1; i < table.size(); ++i) table[i] = table[i - 1] * 10.0;
        return table;
    }();
    return static_cast<double>(static_cast<std::int64_t>(digits)) / powers[static_cast<std::size_t>(decimals)];
}

/// A number without sign, of length 1 to 8, its point included: all of it in one word, from which the point is taken
/// out.
inline bool ReadOneWord(const char* end, int length, double& magnitude) {
    std::uint64_t parts = PartsBefore(end, length);
    constexpr std::uint64_t points = 0x1E1E1E1E1E1E1E1EU;  // '.' minus '0', bit by bit
    const std::uint64_t notPoint = parts ^ points;
    const std::uint64_t marks = (notPoint - 0x0101010101010101U) & ~notPoint & 0x8080808080808080U;
    int decimals = 0;
    if (marks != 0) {
        const int below = std::countr_zero(marks) - 7;  // bits of the digits before the point
        const std::uint64_t before = parts & ((std::uint64_t{1} << below) - 1);
        parts = (parts & (~std::uint64_t{0xFF} << below)) | (before << 8);
        decimals = 7 - (below >> 3);
        if (length == 1) return false;
    }
    magnitude = ExactQuotient(EightDigits(parts), decimals);
    return AllDigits(parts);
}

/// A number without sign: 1 to 7 digits, a point and 1 to 19 decimals.
inline bool ReadManyDecimals(const char* begin, const char* end, double& magnitude) {
    const std::uint64_t parts = LoadEight(begin) ^ 0x3030303030303030U;
    const int wholeDigits = LeadingDigits(parts);
    const std::int64_t decimals = end - begin - wholeDigits - 1;
    if (wholeDigits == 0 || wholeDigits > 7 || begin[wholeDigits] != '.' || decimals < 1 || decimals > 19) return false;
    std::uint64_t digits = EightDigits(FirstDigits(parts, wholeDigits));
    if (wholeDigits + decimals > 19 && digits != 0) return false;
    const int count = static_cast<int>(decimals);
    digits *= PowersOfTen[static_cast<std::size_t>(count)];
    bool invalid = false;
    digits += DigitsBefore(end, count < 16 ? count : 16, invalid);
    if (count > 16) digits += DigitsBefore(end - 16, count - 16, invalid) * PowersOfTen[16];
    if (invalid) return false;
    if (wholeDigits + count <= 15) {
        magnitude = ExactQuotient(digits, count);
        return true;
    }
    return digits == 0 || RoundDecimal<Range::Normal>(digits, -count, magnitude);
}

/// Whether [begin, end) is wholly a number of up to 7 digits, a point and up to 19 decimals, or of up to 8 digits, with
/// an optional minus; sets value to it, exactly rounded, if so. Requires: NumberReadBehind and NumberReadAhead readable
/// bytes before and behind the text.
inline bool ReadShortDecimal(const char* begin, const char* end, double& value) {
    if constexpr (std::endian::native != std::endian::little) return false;
    const bool negative = *begin == '-';
    begin += static_cast<int>(negative);
    const std::int64_t length = end - begin;
    if (length < 1) return false;
    double magnitude = 0.0;
    const bool read =
        length <= 8 ? ReadOneWord(end, static_cast<int>(length), magnitude) : ReadManyDecimals(begin, end, magnitude);
    // The sign goes in without a branch: it is the least predictable part of data.
    value = std::bit_cast<double>(std::bit_cast<std::uint64_t>(magnitude) | (std::uint64_t{negative} << 63));
    return read;
}

}  // namespace quarn::detail
