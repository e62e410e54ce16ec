#include <quarn/base/FormatLine.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>

namespace {

using quarn::RowVectorXd;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

std::string Formatted(double value) {
    const std::string line = quarn::FormatLine("", RowVectorXd::Constant(1, value));
    return line.substr(line.find_last_of("\t ") + 1, line.size() - line.find_last_of("\t ") - 2);
}

TEST(FormatLine, WritesNumbersAsTheirReaderExpects) {
    const struct {
        double value;
        const char* text;
    } cases[] = {
        {0.0, "0"},
        {-0.0, "0"},
        {220, "220"},
        {12345678901, "12345678901"},
        {-12345678901, "-12345678901"},
        {99999999999.7, "1e+11"},
        {317.6, "317.6"},
        {133.3119, "133.3119"},
        {1.0 / 3.0, "0.3333333"},
        {-2.0 / 3.0 * 1e-4, "-6.66667e-05"},
        {-1.23456789e-4, "-0.000123457"},
        {12345678.9, "12345679"},
        {9999999.96, "10000000"},
        {1e300, "1e+300"},
        {-1.23456789e-100, "-1.2346e-100"},
        {5e-324, "4.94066e-324"},
        {NaN, "NaN"},
        {Infinity, "Inf"},
        {-Infinity, "-Inf"},
    };
    for (const auto& c : cases) EXPECT_EQ(Formatted(c.value), c.text);
}

TEST(FormatLine, KeepsEveryNumberWithinItsCellAndNearItsValue) {
    std::mt19937_64 engine(1);
    for (int i = 0; i < 200000; ++i) {
        const std::uint64_t bits = engine();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        if (i % 2 == 0 && std::isfinite(value) && value != 0.0)
            value = std::ldexp(value, -std::ilogb(value) + static_cast<int>(engine() % 80) - 40);
        if (!std::isfinite(value)) continue;
        const std::string text = Formatted(value);
        ASSERT_LE(text.size(), 12U) << text;
        // Four digits behind the first are left where sign and a three-digit exponent take the most room.
        ASSERT_NEAR(std::strtod(text.c_str(), nullptr) / value, 1.0, 5.1e-5) << text;
    }
}

TEST(FormatLine, StandsUnderTheHeadersOfTheReports) {
    RowVectorXd five(5);
    five << 220, 145.95828, 216.8753, 0.93, 1486.7;
    EXPECT_EQ(quarn::FormatLine("invest", five),
              "invest         \t         220\t    145.9583\t    216.8753\t        0.93\t      1486.7\n");
    EXPECT_EQ(quarn::FormatLine("invest", five.head(1), 8), "invest  \t         220\n");
    EXPECT_EQ(quarn::FormatLine("Model1", "Lewis & Raftery", RowVectorXd::Constant(1, -1234.5), five.tail(2)),
              "Model1         \t       -1234.5\t      Lewis & Raftery\t           0.93\t              1486.7\n");
}

TEST(FormatLine, BringsLabelsToTheWidthOfTheirColumn) {
    EXPECT_EQ(quarn::ExpandContractString("x"), "x              ");
    EXPECT_EQ(quarn::ExpandContractString("exactly_fifteen"), "exactly_fifteen");
    EXPECT_EQ(quarn::ExpandContractString("one_more_than_15"), "one_more_than_~");
    EXPECT_EQ(quarn::ExpandContractString("\xC3\xA9t\xC3\xA9"), "\xC3\xA9t\xC3\xA9            ");
    EXPECT_EQ(quarn::ExpandContractString("1234567890123\xC3\xA9 and more"), "1234567890123\xC3\xA9~");
    EXPECT_EQ(quarn::FormatStringRightAlign("ab", 5), "   ab");
    EXPECT_EQ(quarn::FormatStringRightAlign("abcdef", 5), "abcdef");
}

}  // namespace
