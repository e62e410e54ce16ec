#include <quarn/base/FormatLine.h>
#include <quarn/base/TextWidth_detail.h>

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

namespace quarn {
namespace {

constexpr int SignificantDigits = 7;
constexpr double FixedNotationLimit = 1e11;  // eleven digits and a sign fill the twelve characters
constexpr double SmallestFixed = 1e-4;       // "-0.0001234567" would be 13 characters: see FixedDecimals

constexpr int ComparisonFirstWidth = 14;
constexpr int ComparisonTypeWidth = 21;
constexpr int ComparisonRestWidth = 15;
constexpr int ComparisonLastWidth = 20;

std::string ToText(double value, std::chars_format format, int precision) {
    std::array<char, 64> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, format, precision);
    return {buffer.data(), result.ptr};
}

/// Drops trailing zeros behind the decimal point of a mantissa or fixed number, and the point with the last of them.
std::string_view WithoutTrailingZeros(std::string_view number) {
    if (number.find('.') == std::string_view::npos) return number;
    number.remove_suffix(number.size() - 1 - number.find_last_not_of('0'));
    if (number.back() == '.') number.remove_suffix(1);
    return number;
}

/// Decimals that give a number in fixed notation its significant digits within the width of a cell.
int FixedDecimals(double magnitude) {
    const int exponent = static_cast<int>(std::floor(std::log10(magnitude)));
    const int wanted = SignificantDigits - 1 - exponent;
    const int fitting = NumberWidth - 3;  // sign, one digit and the point stand before the decimals
    return std::max(0, std::min(wanted, fitting));
}

std::string Scientific(double value) {
    for (int precision = SignificantDigits - 1;; --precision) {
        const std::string text = ToText(value, std::chars_format::scientific, precision);
        const auto exponentAt = text.find('e');
        std::string shortened =
            std::string(WithoutTrailingZeros(std::string_view(text).substr(0, exponentAt))) + text.substr(exponentAt);
        if (shortened.size() <= NumberWidth || precision == 0) return shortened;
    }
}

std::string FormatNumber(double value) {
    if (std::isnan(value)) return "NaN";
    if (std::isinf(value)) return value > 0 ? "Inf" : "-Inf";
    const double magnitude = std::abs(value);
    if (magnitude == 0.0) return "0";
    if (magnitude >= SmallestFixed && magnitude < FixedNotationLimit - 0.5) {
        const int decimals = value == std::trunc(value) ? 0 : FixedDecimals(magnitude);
        return std::string(WithoutTrailingZeros(ToText(value, std::chars_format::fixed, decimals)));
    }
    return Scientific(value);
}

std::string Cell(double value, int width) { return '\t' + FormatStringRightAlign(FormatNumber(value), width); }

std::string BringToWidth(std::string_view text, int width) {
    const auto wanted = static_cast<std::size_t>(std::max(width, 0));
    const std::size_t actual = detail::TextWidth(text);
    if (actual <= wanted) return std::string(text) + std::string(wanted - actual, ' ');
    if (wanted == 0) return {};
    return std::string(detail::Truncate(text, wanted - 1)) + '~';
}

}  // namespace

std::string FormatLine(const std::string& label, const RowVectorXd& numbers) {
    return FormatLine(label, numbers, LabelWidth);
}

std::string FormatLine(const std::string& label, const RowVectorXd& numbers, int labelWidth) {
    std::string line = BringToWidth(label, labelWidth);
    for (const double number : numbers) line += Cell(number, NumberWidth);
    return line + '\n';
}

std::string FormatLine(const std::string& name, const std::string& type, const RowVectorXd& first,
                       const RowVectorXd& rest) {
    std::string line = BringToWidth(name, LabelWidth);
    for (const double number : first) line += Cell(number, ComparisonFirstWidth);
    line += '\t' + FormatStringRightAlign(type, ComparisonTypeWidth);
    int width = ComparisonRestWidth;
    for (const double number : rest) {
        line += Cell(number, width);
        width = ComparisonLastWidth;
    }
    return line + '\n';
}

std::string ExpandContractString(const std::string& text) { return BringToWidth(text, LabelWidth); }

std::string FormatStringRightAlign(const std::string& text, int width) {
    const std::size_t actual = detail::TextWidth(text);
    const auto wanted = static_cast<std::size_t>(std::max(width, 0));
    return std::string(wanted > actual ? wanted - actual : 0, ' ') + text;
}

}  // namespace quarn
