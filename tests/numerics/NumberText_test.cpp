#include "../support/CommaLocale.h"
#include "../support/Matrices.h"

#include <quarn/numerics/NumberText_detail.h>

#include <gtest/gtest.h>

#include <bit>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using quarn::testing::SameCell;

std::mt19937_64 engine(20);

std::uint64_t Below(std::uint64_t limit) { return engine() % limit; }

template <class... Arguments>
std::string Formatted(const char* format, Arguments... arguments) {
    std::string text(static_cast<std::size_t>(std::snprintf(nullptr, 0, format, arguments...)), '\0');
    std::snprintf(text.data(), text.size() + 1, format, arguments...);
    return text;
}

std::string Digits(std::size_t count) {
    std::string text(count, '0');
    for (char& c : text) c = static_cast<char>('0' + Below(10));
    return text;
}

struct Prefix {
    double value;
    std::ptrdiff_t length;
};

Prefix Strtod(const std::string& text) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    return {value, end - text.c_str()};
}

/// Empty if every road to the number at the start of text agrees with what strtod made of it.
std::string Disagreement(const std::string& text, const Prefix& expected) {
    using namespace quarn::detail;
    // Around the text stands what must not be taken for a part of it.
    static const std::string before(64, '7'),
        behind = ",77777777e777777777.7777777777777777777777777777777777777777777";
    const std::string all = before + text + behind;
    const char* const begin = all.data() + before.size();
    const char* const end = begin + text.size();
    const auto differs = [&](double value, const char* stop) {
        return !SameCell(value, expected.value) || stop - begin != expected.length;
    };
    const NumberPrefix number = ReadNumber(begin, end);
    if (differs(number.Value, number.End)) return "ReadNumber: " + text;
    double value = 0.0;
    // The x of a hexadecimal number is left to the caller.
    const char* const stop = ReadDecimal(begin, value);
    if (stop != nullptr && (*stop | 0x20) != 'x' && differs(value, stop)) return "ReadDecimal: " + text;
    if (!text.empty() && ReadShortDecimal(begin, end, value) && differs(value, end)) return "ReadShortDecimal: " + text;
    return "";
}

void ExpectAgreement(const std::string& text) {
    const std::string disagreement = Disagreement(text, Strtod(text));
    if (!disagreement.empty()) ADD_FAILURE() << disagreement;
}

std::string RandomShortDecimal() {
    std::string text(Below(3) == 0 ? 1 : 0, '-');
    text += Digits(Below(10));
    if (Below(8) == 0) text.insert(text.size(), Below(20), '0');
    if (Below(4) != 0) text += '.';
    if (Below(8) == 0) text.insert(text.size(), Below(12), '0');
    return text + Digits(Below(22));
}

std::string RandomDouble() {
    const auto value = std::bit_cast<double>(engine());
    return Formatted("%.*g", static_cast<int>(1 + Below(21)), value);
}

std::string RandomScientific() {
    const char* const signs[] = {"", "-", "+"};
    std::string text = signs[Below(3)];
    text += Digits(1 + Below(21));
    if (Below(2) == 0) text.insert(Below(text.size()) + 1, 1, '.');
    return text + (Below(2) == 0 ? "e" : "E") + std::to_string(static_cast<int>(Below(700)) - 360);
}

/// Half way between two neighbours: odd * 2^k with an odd number of 54 bits, in few digits and as many as it takes.
std::string RandomHalfway() {
    const std::uint64_t odd = (std::uint64_t{1} << 53) | (engine() >> 11) | 1;
    const int exponent = static_cast<int>(Below(1900)) - 1000;
    std::uint64_t five = 1;
    switch (Below(4)) {
        case 0:
            return std::to_string(odd << Below(11));
        case 1:
            for (auto q = Below(5); q > 0; --q) five *= 5;
            return Formatted("%lue-%d", odd * five, static_cast<int>(std::lround(std::log(five) / std::log(5))));
        case 2: {
            const auto q = static_cast<int>(Below(23));
            for (int i = 0; i < q; ++i) five *= 5;
            return Formatted("%lue%d", (odd / five) | 1, q);
        }
        default:
            return Formatted("%.800Le", std::ldexp(static_cast<long double>(odd), exponent));
    }
}

std::string RandomJunk() {
    static const char* const parts[] = {"0x",   "0X1.8", "p",        "p-3", "inf", "INFINITY", "nan",  "NaN(12_a)",
                                        "nan(", "e",     "E",        "+",   "-",   ".",        " ",    "\t",
                                        "\r",   "1",     "0",        "9",   "x",   "e+",       "e-",   "\v\f",
                                        "a",    "\"",    "\xC3\xA9", "00",  ",",   "1e5",      "12.5", "\xA0"};
    std::string text;
    for (auto count = 1 + Below(6); count > 0; --count) text += parts[Below(std::size(parts))];
    if (Below(10) == 0) text.insert(Below(text.size()), 1, '\0');
    return text;
}

TEST(NumberText, AgreesWithStrtodOnHardCases) {
    // Each form that ends early; the edges of the range; ties; counts of digits around 19; Z stands for 400 zeros.
    std::istringstream cases(
        "- . -. e5 .e1 1e+ 1.2.3 1..2 --1 0x 0x.p1 0x1p-1074 -infinityx infinit -0 -0.000 +.5 5. 5.e1 0e99999 "
        "0e-99999999999999999999 1e18446744073709551617 1e-18446744073709551617 1e-20000 1.7976931348623157e308 "
        "1.7976931348623158e308 "
        "1.7976931348623159e308 179769313486231580793728971405301e276 2.2250738585072014e-308 2.2250738585072011e-308 "
        "2.2250738585072012e-308 4.9406564584124654e-324 2.4703282292062327e-324 2.4703282292062328e-324 "
        "9007199254740993 9007199254740992.5 18446744073709551615 18446744073709551616 9999999999999999999 "
        "10000000000000000000 8.5e22 6.0221407600000000000000000000000000000000001e23 Z Z1 0.Z1 1Ze-400 1.Z1 Z.Z "
        "0.Z123456789012345678901e390 9007199254740993.Z1 9007199254740993Ze-400 -Z12.5e-3");
    ExpectAgreement("");
    for (std::size_t length = 100; length < 140; ++length) ExpectAgreement(std::string(length, '0').replace(1, 1, "x"));
    for (std::string text; cases >> text; ExpectAgreement(text))
        while (text.find('Z') != std::string::npos) text.replace(text.find('Z'), 1, 400, '0');
}

TEST(NumberText, AgreesWithStrtodOnRandomCases) {
    for (int i = 0; i < 300000 && !HasFailure(); ++i) {
        ExpectAgreement(RandomShortDecimal());
        if (i % 2 == 0) ExpectAgreement(RandomDouble());
        ExpectAgreement(RandomScientific());
        ExpectAgreement(RandomJunk());
    }
}

TEST(NumberText, RoundsCasesHalfWayToEvenAndTheirNeighboursAwayFromThem) {
    for (int i = 0; i < 100000 && !HasFailure(); ++i) {
        const std::string text = RandomHalfway();
        const auto mantissa = text.find('e') == std::string::npos ? text.size() : text.find('e');
        ExpectAgreement(text);
        const std::string point = text.find('.') == std::string::npos ? "." : "";
        ExpectAgreement(std::string(text).insert(mantissa, point + "00000000000000000001"));
        std::string below = text;
        const auto last = below.find_last_not_of("0.", mantissa - 1);
        --below[last];
        ExpectAgreement(below.insert(mantissa, point + "99999999999999999999"));
    }
}

TEST(NumberText, IsTheSameInALocaleWithADecimalComma) {
    std::vector<std::pair<std::string, Prefix>> cases;
    for (int i = 0; i < 30000; ++i)
        for (const std::string& text : {RandomShortDecimal(), RandomScientific(), RandomJunk(), RandomHalfway()})
            cases.emplace_back(text, Strtod(text));
    if (!quarn::testing::SetCommaLocale()) GTEST_SKIP() << "no locale with a decimal comma is installed";
    EXPECT_EQ(Strtod("1.5").length, 1);
    for (const auto& [text, expected] : cases) EXPECT_EQ(Disagreement(text, expected), "");
    std::setlocale(LC_ALL, "C");
}

}  // namespace
