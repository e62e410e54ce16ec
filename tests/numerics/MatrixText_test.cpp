#include "../support/CommaLocale.h"
#include "../support/Matrices.h"
#include "../support/TemporaryFile.h"

#include <quarn/base/Globals.h>
#include <quarn/numerics/MatrixText.h>
#include <quarn/numerics/NumberFormat_detail.h>
#include <quarn/numerics/SavedText_detail.h>

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <limits>
#include <locale>
#include <new>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using quarn::LoadMatrix;
using quarn::LoadVectorXi;
using quarn::MatrixXd;
using quarn::SaveMatrix;
using quarn::SaveVectorXi;
using quarn::VectorXi;
using quarn::detail::WriteNumber;
using quarn::testing::SameCell;
using quarn::testing::SameCells;
using quarn::testing::TemporaryFile;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

std::string Written(double value, int precision) {
    std::array<char, quarn::detail::NumberRoom> text;
    return {text.data(), WriteNumber(text.data(), value, precision)};
}

void ExpectAsPrintf(double value, int precision) {
    std::array<char, quarn::detail::NumberRoom> text;
    const int length = std::snprintf(text.data(), text.size(), "%.*g", precision, value);
    const std::string expected(text.data(), static_cast<std::size_t>(length));
    const std::string written = Written(value, precision);
    if (written != expected) ADD_FAILURE() << written << " is not " << expected << " of precision " << precision;
}

/// Zeros, ends of the range, missing values of both signs, powers of ten, ties, carries into the next digit.
std::vector<double> SpecialValues() {
    std::vector<double> values = {0.0,
                                  5e-324,
                                  2.2250738585072009e-308,
                                  2.2250738585072014e-308,
                                  1.7976931348623157e308,
                                  NaN,
                                  Infinity,
                                  0.1,
                                  0.5,
                                  2.5,
                                  1.0 / 3.0,
                                  9007199254740993.0,
                                  123456789012345.125,
                                  1234565.0,
                                  0.00012345650000000001,
                                  99999999999999999.0,
                                  0.99999999999999989};
    for (int q = -323; q <= 308; ++q) {
        const double power = std::strtod(("1e" + std::to_string(q)).c_str(), nullptr);
        values.insert(values.end(), {power, std::nextafter(power, 0.0), std::nextafter(power, Infinity)});
    }
    for (int e = -1074; e <= 1023; ++e) values.push_back(std::ldexp(1.0, e));
    for (std::size_t i = values.size(); i-- > 0;) values.push_back(-values[i]);
    return values;
}

TEST(NumberFormat, AgreesWithPrintf) {
    for (const double value : SpecialValues())
        for (const int precision : {1, 6, 16, 17, 18}) ExpectAsPrintf(value, precision);
    for (const double value : {5e-324, 1.7976931348623157e308, 0.1, NaN}) ExpectAsPrintf(value, 100000);
    std::mt19937_64 engine(21);
    for (int i = 0; i < 400000 && !HasFailure(); ++i) {
        const auto any = std::bit_cast<double>(engine());
        const double ordinary = std::ldexp(static_cast<double>(engine()), -static_cast<int>(engine() % 84));
        const double digits = static_cast<double>(engine() % 10000000) / std::pow(10.0, engine() % 8);
        for (const double value : {any, ordinary, -digits}) ExpectAsPrintf(value, 17);
        ExpectAsPrintf(ordinary, 6);
        ExpectAsPrintf(digits, static_cast<int>(1 + engine() % 17));
    }
}

/// Rows over several blocks of text, of all kinds of numbers.
MatrixXd RandomMatrix(Eigen::Index rows, Eigen::Index columns, std::mt19937_64& engine) {
    const std::vector<double> special = SpecialValues();
    return MatrixXd::NullaryExpr(rows, columns, [&] {
        switch (engine() % 4) {
            case 0:
                return special[engine() % special.size()];
            case 1:
                return std::bit_cast<double>(engine());
            case 2:
                return static_cast<double>(engine() % 1000) / 8.0;
            default:
                return std::generate_canonical<double, 53>(engine);
        }
    });
}

std::string Saved(const MatrixXd& matrix) {
    std::ostringstream stream;
    SaveMatrix(matrix, stream);
    return stream.str();
}

MatrixXd Sized(std::istream& stream, int rows, int columns, char delimiter = '~') {
    MatrixXd matrix = MatrixXd::Constant(rows, columns, -7.0);
    LoadMatrix(stream, matrix, rows, columns, delimiter);
    return matrix;
}

MatrixXd WholeFile(const std::string& text, char delimiter = '~') {
    std::istringstream stream(text);
    return LoadMatrix(stream, delimiter);
}

TEST(MatrixText, IsWhatAStreamPrintsAndComesBackBitByBit) {
    std::mt19937_64 engine(22);
    for (const auto& [rows, columns] : {std::pair{1, 1}, {3, 4}, {5000, 3}, {300, 1}, {20000, 1}, {2, 9000}}) {
        const MatrixXd matrix = RandomMatrix(rows, columns, engine);
        const std::string header = std::to_string(rows) + "~" + std::to_string(columns) + "\n";
        std::ostringstream printed;
        printed << header << matrix.format(quarn::Quarn_SYSTEM_NAMESPACE::GLOBAL_IOFormatWorkspace) << "\n";
        const std::string text = Saved(matrix);
        ASSERT_EQ(text, printed.str());

        // What follows is left to whoever reads it; a file need not end in a line feed.
        const TemporaryFile file(text + "next line\n");
        std::ifstream stream(file.Path());
        std::string line;
        std::getline(stream, line);
        const MatrixXd loaded = Sized(stream, rows, columns);
        EXPECT_TRUE(SameCells(loaded, matrix));
        EXPECT_EQ(Saved(loaded), text);  // the signs of missing values too
        std::getline(stream, line);
        EXPECT_EQ(line, "next line");
        const std::string body = text.substr(header.size());
        EXPECT_TRUE(SameCells(WholeFile(body), matrix));
        EXPECT_TRUE(SameCells(WholeFile(body.substr(0, body.size() - 1)), matrix));
    }
}

TEST(MatrixText, OfNothingIsAHeaderAndAnEmptyLine) {
    for (const auto& [rows, columns, text] : {std::tuple{0, 0, "0~0\n\n"}, {0, 3, "0~3\n\n"}, {2, 0, "2~0\n\n"}})
        EXPECT_EQ(Saved(MatrixXd(rows, columns)), text);
    for (const auto& [rows, columns, rest] :
         {std::tuple{0, 2, "a\nb\nc"}, {-1, 2, "a\nb\nc"}, {2, 0, "c"}, {2, -1, "c"}}) {
        std::istringstream stream("a\nb\nc");
        MatrixXd matrix = MatrixXd::Constant(1, 1, 5.0);
        LoadMatrix(stream, matrix, rows, columns, '~');
        EXPECT_EQ(matrix, MatrixXd::Constant(1, 1, 5.0));
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), rest);
    }
    std::istringstream nothing;
    MatrixXd skipped(0, 0);
    LoadMatrix(nothing, skipped, INT_MAX, 0, '~');
}

struct LineCase {
    const char* Line;
    std::array<double, 3> InSized, InWhole;  ///< of three columns
};

TEST(MatrixText, ReadsOddLinesAsAgreed) {
    const LineCase cases[] = {
        {"1~2~3", {1, 2, 3}, {1, 2, 3}},
        {"1~2~3~4~5", {1, 2, 3}, {1, 2, 3}},
        {"1~2", {1, 2, 2}, {1, 2, NaN}},
        {"1~2~", {1, 2, 0}, {1, 2, NaN}},
        {"", {0, 0, 0}, {NaN, NaN, NaN}},
        {"1~~3", {1, 0, 3}, {1, 0, 3}},
        {"~2", {0, 2, 2}, {0, 2, NaN}},
        {"nan~inf~-inf", {NaN, Infinity, -Infinity}, {NaN, Infinity, -Infinity}},
        {".~-nan~ 1", {0, -NaN, 1}, {NaN, -NaN, 1}},
        {"abc~1e-07~-2x", {0, 1e-07, -2}, {0, 1e-07, -2}},
        {"0x10~+5~1.5.2", {16, 5, 1.5}, {16, 5, 1.5}},
        {"1~2~3\r", {1, 2, 3}, {1, 2, 3}},
        {"~~", {0, 0, 0}, {0, 0, NaN}},
        {"1e999~-0~1,5", {Infinity, -0.0, 1}, {Infinity, -0.0, 1}},
    };
    for (const char delimiter : {'~', ';', '\t', 'e', '-'}) {
        std::string text;
        MatrixXd sized(0, 3), whole(1, 3);
        whole << 9, 8, 7;
        for (const LineCase& each : cases) {
            std::string line = each.Line;
            // A delimiter that is part of numbers splits them.
            if (line.find(delimiter) != std::string::npos && delimiter != '~') continue;
            for (char& c : line) c = c == '~' ? delimiter : c;
            text += line + "\n";
            sized.conservativeResize(sized.rows() + 1, 3);
            sized.bottomRows(1) = Eigen::Map<const Eigen::RowVector3d>(each.InSized.data());
            whole.conservativeResize(whole.rows() + 1, 3);
            whole.bottomRows(1) = Eigen::Map<const Eigen::RowVector3d>(each.InWhole.data());
        }
        std::istringstream stream(text);
        const int rows = static_cast<int>(sized.rows()) + 2;  // two lines more than there are
        sized.conservativeResize(rows, 3);
        sized.bottomRows(2).setZero();
        EXPECT_TRUE(SameCells(Sized(stream, rows, 3, delimiter), sized)) << delimiter;
        EXPECT_TRUE(SameCells(
            WholeFile(std::string("9~8~7\n").replace(1, 1, 1, delimiter).replace(3, 1, 1, delimiter) + text, delimiter),
            whole))
            << delimiter;
    }
}

TEST(MatrixText, OfAWholeFileTakesItsShapeFromTheFirstLineAndTheNumberOfLines) {
    for (const auto& [text, rows, columns] : {std::tuple{"", 0, 0},
                                              {"\n", 1, 0},
                                              {"\n1~2\n", 2, 0},
                                              {"1~2~\n3", 2, 2},
                                              {"~", 1, 1},
                                              {"1", 1, 1},
                                              {"1\n\n", 2, 1},
                                              {"1~2~3~~\n", 1, 4}}) {
        const MatrixXd matrix = WholeFile(text);
        EXPECT_EQ(matrix.rows(), rows) << text;
        EXPECT_EQ(matrix.cols(), columns) << text;
    }
    std::istringstream failed("1~2");
    failed.setstate(std::ios::failbit);
    EXPECT_EQ(LoadMatrix(failed, '~').size(), 0);
    EXPECT_THROW(WholeFile(std::string(50000, '~') + std::string(50000, '\n')), std::bad_alloc);
}

TEST(VectorText, ComesBackAndStopsAtWhatCannotBe) {
    for (const VectorXi& vector :
         {VectorXi(), VectorXi(VectorXi::LinSpaced(70000, -35000, 34999)), VectorXi{{INT_MIN, INT_MAX}}}) {
        std::stringstream stream;
        SaveVectorXi(vector, stream);
        stream << "7\n";
        EXPECT_EQ(LoadVectorXi(stream), vector);
        VectorXi next = VectorXi::Zero(3);
        LoadVectorXi(stream, next, 0);
        LoadVectorXi(stream, next, 3);
        EXPECT_EQ(next, VectorXi({{7, 0, 0}}));
    }
    for (const char* text : {"", "-3\n1\n2\n3\n", "x\n1\n", "0"}) {
        std::istringstream stream(text);
        EXPECT_EQ(LoadVectorXi(stream).size(), 0) << text;
    }
    std::istringstream absurd("2147483647\n1\n"), tooLong("99999999999999999999\n1\n"), cut("4\n 1x\n+2");
    EXPECT_THROW(LoadVectorXi(absurd), std::bad_alloc);
    EXPECT_THROW(LoadVectorXi(tooLong), std::bad_alloc);
    EXPECT_EQ(LoadVectorXi(cut), VectorXi({{1, 2, 0, 0}}));
}

struct GroupedDigits : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
    std::string do_truename() const override { return "ja"; }
};

TEST(MatrixText, ShowsNoLocaleAndNoFlagOfTheStream) {
    std::mt19937_64 engine(23);
    const MatrixXd matrix = RandomMatrix(2000, 2, engine);
    const VectorXi vector{{1234567, -1234567}};
    const auto bytes = [&](std::ios::fmtflags flags, const std::locale& locale) {
        std::ostringstream stream;
        stream.imbue(locale);
        stream.flags(flags);
        stream << std::setw(30);
        SaveMatrix(matrix, stream);
        SaveVectorXi(vector, stream);
        return stream.str();
    };
    const std::string plain = bytes({}, std::locale::classic());
    const std::locale grouping(std::locale::classic(), new GroupedDigits);
    EXPECT_EQ(bytes(std::ios::fixed | std::ios::showpos | std::ios::hex, grouping), plain);
    std::istringstream stream(plain);
    stream.imbue(grouping);
    stream.ignore(100, '\n');
    if (!quarn::testing::SetCommaLocale()) GTEST_SKIP() << "no locale with a decimal comma is installed";
    EXPECT_EQ(bytes({}, std::locale::classic()), plain);
    EXPECT_TRUE(SameCells(Sized(stream, 2000, 2), matrix));
    EXPECT_EQ(LoadVectorXi(stream), vector);
    std::setlocale(LC_ALL, "C");
}

}  // namespace
