#include "../support/CommaLocale.h"
#include "../support/Damage.h"
#include "../support/Matrices.h"
#include "../support/TemporaryFile.h"

#include <quarn/base/Globals.h>
#include <quarn/numerics/MatrixText.h>
#include <quarn/numerics/MatrixText_detail.h>
#include <quarn/numerics/NumberFormat_detail.h>
#include <quarn/numerics/SavedText_detail.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <iomanip>
#include <limits>
#include <locale>
#include <new>
#include <random>
#include <sstream>

namespace {

using namespace quarn;
using quarn::testing::SameCells;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

void ExpectAsPrintf(double value, int precision) {
    char expected[detail::NumberRoom], written[detail::NumberRoom];
    std::snprintf(expected, sizeof expected, "%.*g", precision, value);
    *detail::WriteNumber(written, value, precision) = '\0';
    if (std::string_view(written) != expected) ADD_FAILURE() << written << " is not " << expected;
}

/// Zeros, ends of the range, missing values, powers of ten and two with their neighbours, ties, carries; both signs.
std::vector<double> SpecialValues() {
    std::vector<double> values = {0.0, NaN, Infinity, 0.1, 1.0 / 3, 1234565, 123456789012345.125, 99999999999999999.0};
    for (int e = -1074; e <= 1024; ++e)
        for (const double power : {std::ldexp(1.0, e), std::strtod(("1e" + std::to_string(e)).c_str(), nullptr)})
            values.insert(values.end(), {power, std::nextafter(power, 0.0), std::nextafter(power, Infinity)});
    for (std::size_t i = values.size(); i-- > 0;) values.push_back(-values[i]);
    return values;
}

TEST(NumberFormat, AgreesWithPrintf) {
    for (const double value : SpecialValues())
        for (const int precision : {1, 6, 16, 17, 18}) ExpectAsPrintf(value, precision);
    for (const double value : {5e-324, 1.7976931348623157e308, 0.1, NaN}) ExpectAsPrintf(value, 100000);
    std::mt19937_64 engine(21);
    for (int i = 0; i < 400000 && !HasFailure(); ++i) {
        const double ordinary = std::ldexp(static_cast<double>(engine()), -static_cast<int>(engine() % 84));
        const double decimal = static_cast<double>(engine() % 10000000) / std::pow(10.0, engine() % 8);
        for (const double value : {std::bit_cast<double>(engine()), ordinary, -decimal}) ExpectAsPrintf(value, 17);
        ExpectAsPrintf(ordinary, 6);
        ExpectAsPrintf(decimal, static_cast<int>(1 + engine() % 17));
    }
}

MatrixXd RandomMatrix(Eigen::Index rows, Eigen::Index columns) {
    std::mt19937_64 engine(22);
    const std::vector<double> special = SpecialValues();
    return MatrixXd::NullaryExpr(rows, columns, [&] {
        if (engine() % 3 == 0) return special[engine() % special.size()];
        return engine() % 2 == 0 ? std::bit_cast<double>(engine()) : static_cast<double>(engine() >> 33) / 65536;
    });
}

std::string Saved(const MatrixXd& matrix) {
    std::ostringstream stream;
    SaveMatrix(matrix, stream);
    return stream.str();
}

MatrixXd Sized(std::istream&& stream, int rows, int columns, char delimiter = '~') {
    MatrixXd matrix = MatrixXd::Constant(rows, columns, -7.0);
    LoadMatrix(stream, matrix, rows, columns, delimiter);
    return matrix;
}

MatrixXd WholeFile(const std::string& text, char delimiter = '~') {
    std::istringstream stream(text);
    return LoadMatrix(stream, delimiter);
}

TEST(MatrixText, IsWhatAStreamPrintsAndComesBackBitByBit) {
    for (const auto& [rows, columns] : {std::pair{1, 1}, {5000, 3}, {300, 1}, {20000, 1}, {2, 9000}}) {
        const MatrixXd matrix = RandomMatrix(rows, columns);
        std::ostringstream printed;
        printed << rows << "~" << columns << "\n" << matrix.format(Quarn_SYSTEM_NAMESPACE::GLOBAL_IOFormatWorkspace);
        const std::string text = Saved(matrix);
        ASSERT_EQ(text, printed.str() + "\n");
        // What follows in the file is left for others.
        const quarn::testing::TemporaryFile file(text + "next line");
        std::ifstream stream(file.Path());
        stream.ignore(100, '\n');
        const MatrixXd loaded = Sized(std::move(stream), rows, columns);
        EXPECT_TRUE(SameCells(loaded, matrix) && Saved(loaded) == text);  // the text shows the signs of NaN too
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), "next line");
        const std::string body = text.substr(text.find('\n') + 1);
        for (const std::size_t size : {body.size(), body.size() - 1})  // a file need not end in a line feed
            EXPECT_TRUE(SameCells(WholeFile(body.substr(0, size)), matrix));
    }
}

TEST(MatrixText, ReadsOddLinesAsTheTableSays) {
    std::ifstream cases(QUARN_SOURCE_DIR "/tests/cases/matrix_lines.txt");
    std::string line, sized, whole, text;
    std::getline(cases, line);
    int rows = 0;
    for (; std::getline(std::getline(std::getline(cases, line, '|'), sized, '|'), whole); ++rows) {
        EXPECT_TRUE(SameCells(Sized(std::istringstream(line), 1, 3), WholeFile(sized, ' '))) << line;
        const MatrixXd two = WholeFile("9~8~7\n" + line + "\n");
        EXPECT_TRUE(two.rows() == 2 && SameCells(two.bottomRows(1), WholeFile(whole, ' '))) << line;
        for (char& c : line) c = c == '~' ? ';' : c;
        EXPECT_TRUE(SameCells(Sized(std::istringstream(line), 1, 3, ';'), WholeFile(sized, ' '))) << line;
    }
    EXPECT_EQ(rows, 14);
    EXPECT_EQ(Sized(std::istringstream("1\n2"), 4, 1), Eigen::Vector4d(1, 2, 0, 0));  // lines that are not there
    EXPECT_EQ(WholeFile("1e2e-3", 'e'), Eigen::RowVector3d(1, 2, -3));                // not the number 1e2
}

TEST(MatrixText, TakesItsShapeFromTheCallerOrTheText) {
    for (const auto& [rows, columns, text] : {std::tuple{0, 0, "0~0\n\n"}, {0, 3, "0~3\n\n"}, {2, 0, "2~0\n\n"}})
        EXPECT_EQ(Saved(MatrixXd(rows, columns)), text);
    for (const auto& [rows, columns, rest] :
         {std::tuple{0, 2, 'a'}, {-1, 2, 'a'}, {2, 0, 'c'}, {INT_MAX, -1, '\xFF'}}) {
        std::istringstream stream("a\nb\nc");
        MatrixXd matrix;
        LoadMatrix(stream, matrix, rows, columns, '~');
        EXPECT_EQ(static_cast<char>(stream.get()), rest);
    }
    for (const auto& [text, rows, columns] :
         {std::tuple{"", 0, 0}, {"\n", 1, 0}, {"\n1~2\n", 2, 0}, {"1~2~\n3", 2, 2}, {"~", 1, 1}, {"1~2~3~~\n\n", 2, 4}})
        EXPECT_TRUE(WholeFile(text).rows() == rows && WholeFile(text).cols() == columns) << text;
    EXPECT_THROW(WholeFile(std::string(50000, '~') + std::string(50000, '\n')), std::bad_alloc);
}

TEST(VectorText, ComesBackAndStopsAtWhatCannotBe) {
    for (const VectorXi& vector :
         {VectorXi(), VectorXi(VectorXi::LinSpaced(70000, -35000, 34999)), VectorXi{{INT_MIN}}}) {
        std::stringstream stream;
        SaveVectorXi(vector, stream);
        EXPECT_EQ(stream.str().substr(0, 3), vector.size() == 0 ? "0\n" : vector.size() == 1 ? "1\n-" : "700");
        stream << "7\n";
        EXPECT_EQ(LoadVectorXi(stream), vector);
        VectorXi next = VectorXi::Ones(3);
        LoadVectorXi(stream, next, -1);
        LoadVectorXi(stream, next, 3);
        EXPECT_EQ(next, VectorXi({{7, 0, 0}}));
    }
    const auto load = [](const char* text) {
        std::istringstream stream(text);
        return LoadVectorXi(stream);
    };
    for (const char* text : {"", "-3\n1\n2\n3\n", "x\n1\n", "0"}) EXPECT_EQ(load(text).size(), 0) << text;
    for (const char* text : {"2147483647\n1\n", "99999999999999999999\n"}) EXPECT_THROW(load(text), std::bad_alloc);
    EXPECT_EQ(load("4\n 1x\n+2"), VectorXi({{1, 2, 0, 0}}));
}

struct GroupedDigits : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

/// Counts how often it is asked where it is.
struct CountingBuffer : std::stringbuf {
    int Seeks = 0;
    using std::stringbuf::stringbuf;
    pos_type seekoff(off_type offset, std::ios::seekdir from, std::ios::openmode which) override {
        ++Seeks;
        return std::stringbuf::seekoff(offset, from, which);
    }
};

TEST(MatrixText, AsksForTheBytesOfAStreamOnlyWhereAShapeCanBeRefused) {
    using namespace quarn::detail;
    std::istringstream good, ended;
    ended.setstate(std::ios::eofbit);
    for (const int rows : {-1, 1, 2, 1023, 1024, 1025, 65536, 65537, INT_MAX})
        for (const int columns : {-1, 0, 1, 2, 63, 64, 65, 70000, INT_MAX}) {
            const std::int64_t cells = std::int64_t{rows} * columns;
            const bool refused = quarn::testing::IsRefused([&] {
                RequireRoom(rows, columns, 0);
                RequireText(good, cells, rows);  // a line feed for each row
                RequireText(ended, cells, 0);
            });
            EXPECT_EQ(IsAlwaysAllowed(rows, columns), !refused) << rows << " x " << columns;
            if (cells > 70000) continue;
            CountingBuffer buffer(std::string(static_cast<std::size_t>(std::clamp(rows, 1, 70000)), '\n'),
                                  std::ios::in);
            std::istream stream(&buffer);
            quarn::testing::IsRefused([&] { LoadBody(stream, rows, columns); });
            EXPECT_EQ(buffer.Seeks != 0, refused) << rows << " x " << columns;
        }
}

TEST(MatrixText, ShowsNoLocaleAndNoFlagOfTheStream) {
    const MatrixXd matrix = RandomMatrix(2000, 2);
    const VectorXi vector{{1234567, -1234567}};
    const std::locale grouping(std::locale::classic(), new GroupedDigits);
    const auto write = [&](std::stringstream& stream) {
        SaveMatrix(matrix, stream);
        SaveVectorXi(vector, stream);
    };
    std::stringstream plain, imbued;
    write(plain);
    if (!quarn::testing::SetCommaLocale()) GTEST_SKIP() << "no locale with a decimal comma is installed";
    imbued.imbue(grouping);
    imbued << std::fixed << std::showpos << std::hex << std::setw(30);
    write(imbued);
    EXPECT_EQ(imbued.str(), plain.str());
    imbued.ignore(100, '\n');
    EXPECT_TRUE(SameCells(Sized(std::move(imbued), 2000, 2), matrix));
    EXPECT_EQ(LoadVectorXi(imbued), vector);
    std::setlocale(LC_ALL, "C");
}

}  // namespace
