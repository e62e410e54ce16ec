#include <quarn/numerics/NumberText_detail.h>

#include <clocale>
#include <cstdlib>
#include <locale.h>
#include <string>
#include <string_view>

namespace quarn::detail {
namespace {

/// An unsigned whole number of 1088 bits, least significant limb first: wide enough for 5^308 (716 bits), and for
/// 2^1024 in units of which 5^342 (795 bits) still leaves 229 bits of quotient.
struct WideNumber {
    static constexpr std::size_t Limbs = 17;
    std::array<std::uint64_t, Limbs> Limb{};

    constexpr void MultiplyByFive() {
        std::uint64_t carry = 0;
        for (std::uint64_t& limb : Limb) {
            const Uint128 product = Uint128{limb} * 5 + carry;
            limb = static_cast<std::uint64_t>(product);
            carry = static_cast<std::uint64_t>(product >> 64);
        }
    }

    constexpr void DivideByFive() {
        std::uint64_t remainder = 0;
        for (std::size_t i = Limbs; i-- > 0;) {
            const Uint128 dividend = (Uint128{remainder} << 64) | Limb[i];
            Limb[i] = static_cast<std::uint64_t>(dividend / 5);
            remainder = static_cast<std::uint64_t>(dividend % 5);
        }
    }

    /// The 128 bits from the highest set bit down.
    constexpr PowerOfFive Leading() const {
        std::size_t top = Limbs - 1;
        while (Limb[top] == 0) --top;
        const auto at = [this, top](std::size_t below) { return below > top ? 0 : Limb[top - below]; };
        const int shift = std::countl_zero(Limb[top]);
        if (shift == 0) return {at(0), at(1)};
        return {(at(0) << shift) | (at(1) >> (64 - shift)), (at(1) << shift) | (at(2) >> (64 - shift))};
    }
};

/// Positive powers by repeated multiplication; negative ones as floor(2^1024 / 5^n), where dividing n times by 5 with
/// truncation gives the same as dividing once by 5^n. These are rounded up: no power of five divides a power of two.
constexpr auto MakePowersOfFive() {
    std::array<PowerOfFive, LargestPowerOfFive - SmallestPowerOfFive + 1> table{};
    const auto entry = [&table](int q) -> PowerOfFive& {
        return table[static_cast<std::size_t>(q - SmallestPowerOfFive)];
    };
    WideNumber power;
    power.Limb[0] = 1;
    for (int q = 0; q <= LargestPowerOfFive; ++q, power.MultiplyByFive()) entry(q) = power.Leading();
    WideNumber reciprocal;
    reciprocal.Limb[WideNumber::Limbs - 1] = 1;
    for (int q = -1; q >= SmallestPowerOfFive; --q) {
        reciprocal.DivideByFive();
        entry(q) = reciprocal.Leading();
        if (++entry(q).Low == 0) ++entry(q).High;
    }
    return table;
}

/// strtod of a NUL-terminated text in the "C" locale.
double StrtodInCLocale(const char* text, char** end) {
    static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
    return strtod_l(text, end, cLocale);
}

bool IsWhiteSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool CanStartNumber(char c) {
    return (c >= '0' && c <= '9') || std::string_view("+-.iInN").find(c) != std::string_view::npos;
}

NumberPrefix FromTerminated(const char* copy, const char* begin) {
    char* stop = nullptr;
    const double value = StrtodInCLocale(copy, &stop);
    return {value, begin + (stop - copy)};
}

}  // namespace

constinit const std::array<PowerOfFive, LargestPowerOfFive - SmallestPowerOfFive + 1> PowersOfFive = MakePowersOfFive();

std::int64_t SignificantDigits(const char* begin, const char* end) {
    const char* first = begin;
    while (first != end && (*first == '0' || *first == '.')) ++first;
    bool pointBehind = false;
    for (const char* at = first; at != end && !pointBehind; ++at) pointBehind = *at == '.';
    return end - first - (pointBehind ? 1 : 0);
}

NumberPrefix ReadNumber(const char* begin, const char* end) {
    const char* first = begin;
    while (first != end && IsWhiteSpace(*first)) ++first;
    if (first == end || !CanStartNumber(*first)) return {0.0, begin};
    // strtod wants a terminated text, and the byte at end may well continue the number.
    std::array<char, 128> small;
    const auto length = static_cast<std::size_t>(end - first);
    NumberPrefix result{};
    if (length < small.size()) {
        std::memcpy(small.data(), first, length);
        small[length] = '\0';
        result = FromTerminated(small.data(), first);
    } else {
        result = FromTerminated(std::string(first, length).c_str(), first);
    }
    return result.End == first ? NumberPrefix{0.0, begin} : result;
}

}  // namespace quarn::detail
