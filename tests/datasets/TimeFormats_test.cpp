#include <quarn/datasets/TimeFormats.h>

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <numeric>
#include <random>
#include <sstream>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::MatrixXi;
using quarn::VectorXd;
using quarn::VectorXi;
using Texts = std::vector<std::string>;

constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

Texts Split(const std::string& text, char delimiter) {
    Texts parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, delimiter);) parts.push_back(part);
    return parts;
}

VectorXd Numbers(const Texts& texts) {
    VectorXd numbers(static_cast<Index>(texts.size()));
    std::transform(texts.begin(), texts.end(), numbers.begin(),
                   [](const std::string& text) { return std::stod(text); });
    return numbers;
}

std::string Joined(const VectorXi& index) {
    std::string text;
    for (const int entry : index) text += (text.empty() ? "" : " ") + std::to_string(entry);
    return text.empty() ? "-" : text;
}

/// A field of a case without the blank behind the bar and those that fill the column.
std::string Trimmed(const std::string& field) {
    const std::size_t end = field.find_last_not_of(' ');
    return end == std::string::npos ? "" : field.substr(field[0] == ' ' ? 1 : 0, end + 1 - (field[0] == ' ' ? 1 : 0));
}

std::string Expanded(const std::string& result, const std::string& format) {
    const std::string start =
        "The values in the time variable do not conform to the time-series format provided (" + format + "). ";
    const std::string first = start + "The first entry that does not match the format is \"";
    if (result.starts_with("?")) return first + (result.size() > 2 ? result.substr(2) : "") + "\".";
    if (result.starts_with("! ")) return first + result.substr(2) + "\": this is an invalid date.";
    if (result.starts_with("fraction in "))
        return start + "Some of the " + result.substr(12) + " values are not integers.";
    return result;
}

TEST(TimeFormats, ReadTheValuesOrSayWhatIsWrong) {
    std::ifstream cases(QUARN_SOURCE_DIR "/tests/cases/time_formats.txt");
    int count = 0;
    for (std::string line; std::getline(cases, line);) {
        if (line.empty() || line[0] == '#') continue;
        SCOPED_TRACE(line);
        Texts fields = Split(line, '|');
        const std::string format = Trimmed(fields.at(0)), result = Trimmed(fields.at(3));
        const bool isPanel = !Trimmed(fields.at(1)).empty();
        const VectorXd group = Numbers(Split(Trimmed(fields.at(1)), ' '));
        const Texts values = Split(Trimmed(fields.at(2)), ';');
        VectorXi index = VectorXi::Constant(1, 77);
        std::string message = "none";
        bool success = false;
        if (format == "index")
            success = isPanel ? quarn::SetTSFormat_PD(Numbers(values), group, message)
                              : quarn::SetTSFormat_TS(Numbers(values), message);
        else
            success = isPanel ? quarn::SetTSFormat_PD(values, group, format, index, message)
                              : quarn::SetTSFormat_TS(values, format, index, message);
        EXPECT_EQ(success, message == "OK");
        EXPECT_EQ(success && format != "index" ? Joined(index) : message, Expanded(result, format));
        if (!success) {
            EXPECT_EQ(Joined(index), "77");
        }
        ++count;
    }
    EXPECT_GT(count, 60);
}

// ---- Against the calendar of the standard library ----

using std::chrono::sys_days;

int DayNumber(int year, int month, int day) {
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day))};
    return date.ok() ? static_cast<int>(sys_days(date).time_since_epoch().count()) : -10000000;
}

TEST(TimeFormats, KnowEveryDayFrom1400To9999) {
    const MatrixXi calendar = quarn::CompleteTSIndex_yyyymmdd(1400, 9999, 1, 12, 1, 31);
    const int first = DayNumber(1400, 1, 1);
    ASSERT_EQ(calendar.rows(), DayNumber(9999, 12, 31) - first + 1);
    for (int i = 0; i < calendar.rows(); ++i)
        ASSERT_EQ(DayNumber(calendar(i, 0), calendar(i, 1), calendar(i, 2)), first + i);

    EXPECT_EQ(quarn::CompleteTSIndex_yyyymmdd(2000, 2000, 2, 3, 28, 1), (MatrixXi(3, 3) << 2000, 2, 28,  //
                                                                         2000, 2, 29,                    //
                                                                         2000, 3, 1)
                                                                            .finished());
    const int noRows[][6] = {{2000, 2000, 3, 2, 1, 28}, {1399, 2000, 1, 1, 1, 1},   {2000, 10000, 1, 1, 1, 1},
                             {2001, 2002, 2, 1, 29, 1}, {67536, 67536, 1, 1, 1, 2}, {2000, 2001, 1, -65535, 1, 1}};
    for (const auto& d : noRows)
        EXPECT_EQ(quarn::CompleteTSIndex_yyyymmdd(d[0], d[1], d[2], d[3], d[4], d[5]).rows(), 0);
}

TEST(TimeFormats, CountPeriodsFromTheEarliestDateOfAllGroups) {
    std::mt19937_64 engine(12);
    for (int round = 0; round < 60; ++round) {
        const std::size_t n = round < 55 ? engine() % 60 : 20000;
        const int firstYear = round % 2 == 0 ? 1896 : 1400, years = round % 2 == 0 ? 9 : 8600;
        Texts days, months, quarters;
        VectorXi day(static_cast<Index>(n)), month(day), quarter(day);
        VectorXd group(day.size());
        for (Index i = 0; i < day.size(); ++i) {
            const int y = firstYear + static_cast<int>(engine() % static_cast<unsigned>(years));
            const int m = 1 + static_cast<int>(engine() % 12), d = 1 + static_cast<int>(engine() % 28);
            days.push_back(std::to_string(y) + (m < 10 ? "/0" : "/") + std::to_string(m) + "/" + std::to_string(d));
            months.push_back(std::to_string(y) + "m" + std::to_string(m));
            quarters.push_back(std::to_string(y) + "q" + std::to_string(1 + m % 4));
            day(i) = DayNumber(y, m, d);
            month(i) = 12 * y + m;
            quarter(i) = 4 * y + m % 4;
            group(i) = static_cast<double>(i) - 10.0;  // every date is free
        }
        std::shuffle(group.begin(), group.end(), engine);
        const struct {
            const Texts& values;
            const char* format;
            const VectorXi& number;
        } cases[] = {{days, "yyyy/mm/dd", day}, {months, "yyyymxx", month}, {quarters, "yyyyqx", quarter}};
        for (const auto& c : cases) {
            const VectorXi expected = n == 0 ? c.number : VectorXi(c.number.array() - c.number.minCoeff());
            VectorXi index;
            std::string message;
            ASSERT_TRUE(quarn::SetTSFormat_PD(c.values, group, c.format, index, message)) << message;
            EXPECT_EQ(index, expected);
            // As one series the same dates are duplicates if any two of them are equal.
            const bool unique = quarn::CheckDuplicates(VectorXd(c.number.cast<double>()));
            EXPECT_EQ(quarn::SetTSFormat_TS(c.values, c.format, index, message), unique);
            if (unique) {
                EXPECT_EQ(index, expected);
            }
        }
    }
}

TEST(CheckDuplicates, ComparesAdjacentRowsAndAllElements) {
    const auto vector = [](std::initializer_list<double> x) { return VectorXd::Map(x.begin(), std::ssize(x)); };
    const auto rows = [](std::initializer_list<double> x) { return MatrixXd::Map(x.begin(), 2, std::ssize(x) / 2); };
    EXPECT_TRUE(quarn::CheckDuplicates(VectorXd(vector({3, NaN, 1, NaN, Infinity, -Infinity, 2}))));
    EXPECT_FALSE(quarn::CheckDuplicates(VectorXd(vector({3, NaN, 1, 3}))));
    EXPECT_FALSE(quarn::CheckDuplicates(VectorXd(vector({Infinity, 1, Infinity}))));
    EXPECT_TRUE(quarn::CheckDuplicates(VectorXd()));
    EXPECT_FALSE(quarn::CheckDuplicates(MatrixXd(rows({1, 1, 2, 2}))));
    EXPECT_TRUE(quarn::CheckDuplicates(MatrixXd(rows({1, 1, 2, 3}))));
    EXPECT_TRUE(quarn::CheckDuplicates(MatrixXd(rows({1, 1, Infinity, Infinity}))));
    EXPECT_TRUE(quarn::CheckDuplicates(MatrixXd(rows({1, 1, NaN, NaN}))));
    EXPECT_TRUE(quarn::CheckDuplicates(MatrixXd((MatrixXd(3, 1) << NaN, 1, 1).finished())));  // ends at the NaN
    EXPECT_FALSE(quarn::CheckDuplicates(MatrixXd(2, 0)));
    EXPECT_TRUE(quarn::CheckDuplicates(MatrixXd(1, 0)));
    EXPECT_FALSE(quarn::CheckDuplicates(MatrixXi(2, 0)));
    EXPECT_FALSE(quarn::CheckDuplicates(MatrixXi((MatrixXi(3, 2) << 1, 2, 3, 4, 3, 4).finished())));
    EXPECT_TRUE(quarn::CheckDuplicates(MatrixXi((MatrixXi(3, 2) << 1, 2, 3, 4, 1, 2).finished())));  // not adjacent
    EXPECT_TRUE(quarn::CheckIntegers(vector({NaN, Infinity, -0.0, 1e300, -7})));
    EXPECT_FALSE(quarn::CheckIntegers(vector({1, -0.5})));
}

}  // namespace
