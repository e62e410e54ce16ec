#include <quarn/base/Resizing_detail.h>
#include <quarn/datasets/PanelOrder_detail.h>
#include <quarn/datasets/StatusTexts.h>
#include <quarn/datasets/TimeFormats.h>
#include <quarn/numerics/NumberText_detail.h>
#include <quarn/numerics/Sorting.h>

#include <boost/date_time/gregorian/gregorian_types.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string_view>

namespace quarn {
namespace {

using Eigen::Index;

// ---- Values and their pieces ----

/// How the values of a string time variable are written. A value is read to one whole number, its ordinal, whose order
/// is that of the dates: its pieces behind the year count from 0 and are digits to the bases of their numbers of values.
struct TimeFormat {
    std::string_view Name;
    char Delimiter;
    int Pieces;
    std::array<int, 3> Highest;  ///< value of each piece
    std::string_view PieceNames;
};

constexpr std::array Formats = {
    TimeFormat{"yyyyqx", 'q', 2, {9999, 4, 0}, "year or quarter"},
    TimeFormat{"yyyymxx", 'm', 2, {9999, 12, 0}, "year or month"},
    TimeFormat{"yyyy/mm/dd", '/', 3, {9999, 12, 31}, "year, month or day"},
};
constexpr const TimeFormat* Days = &Formats[2];

/// Keeps the months from any year to the year 9999 inside a 32-bit index, and ordinals of days exact.
constexpr double LowestYear = -1e8;

/// All of the piece as a number; an empty piece is 0. False if a character is left over.
bool ReadPiece(const char* begin, const char* end, double& number) {
    constexpr std::ptrdiff_t plainDigits = 9;  // fit an int
    if (end - begin <= plainDigits &&
        std::all_of(begin, end, [](char character) { return character >= '0' && character <= '9'; })) {
        int digits = 0;
        for (; begin != end; ++begin) digits = digits * 10 + (*begin - '0');
        number = digits;
        return true;
    }
    const detail::NumberPrefix read = detail::ReadNumber(begin, end);
    number = read.Value;
    return read.End == end;
}

/// The ordinal of one value. False if it is not of the format; NaN is in no range.
bool ReadValue(const std::string& value, const TimeFormat& format, double& ordinal, bool& hasFraction) {
    const char* at = value.data();
    const char* const end = at + value.size();
    int piece = 0;
    ordinal = 0.0;
    for (; at != end; ++piece) {
        if (piece == format.Pieces) return false;
        const char* const cut = std::find(at, end, format.Delimiter);
        const double lowest = piece == 0 ? LowestYear : 1.0;
        const double highest = format.Highest[static_cast<std::size_t>(piece)];
        double number = 0.0;
        if (!ReadPiece(at, cut, number) || !(number >= lowest && number <= highest)) return false;
        hasFraction |= number != std::trunc(number);
        ordinal = piece == 0 ? number : ordinal * highest + (number - 1.0);
        at = cut == end ? end : cut + 1;
    }
    return piece == format.Pieces;
}

std::string FirstMismatch(const TimeFormat& format, const std::string& value, const char* end) {
    return StatusTexts::NotOfFormat + std::string(format.Name) + StatusTexts::FirstNotOfFormat + value + end;
}

/// The ordinals of all values. Returns "OK" or what is wrong with the first value that is.
std::string ReadValues(const std::vector<std::string>& values, const TimeFormat& format, VectorXd& ordinals) {
    ordinals.resize(static_cast<Index>(values.size()));
    bool hasFraction = false;
    for (std::size_t row = 0; row < values.size(); ++row) {
        if (!ReadValue(values[row], format, ordinals(static_cast<Index>(row)), hasFraction))
            return FirstMismatch(format, values[row], StatusTexts::EndOfEntry);
    }
    if (!hasFraction) return StatusTexts::OK;
    return StatusTexts::NotOfFormat + std::string(format.Name) + StatusTexts::SomeOfThe +
           std::string(format.PieceNames) + StatusTexts::ValuesNotIntegers;
}

// ---- Calendar ----

struct Date {
    int Year, Month, Day;
};

Date ToDate(double ordinal) {
    constexpr int days = Days->Highest[2], months = Days->Highest[1];
    const double year = std::floor(ordinal / (days * months));
    const int day = static_cast<int>(ordinal - year * (days * months));
    return {static_cast<int>(year), day / days + 1, day % days + 1};
}

/// Days from an arbitrary origin. Throws: std::out_of_range for what is no date.
int DayNumber(const Date& date) {
    // The calendar's numbers are unsigned: others would wrap around, perhaps to a date. It rejects both ends.
    const auto narrow = [](int number) { return static_cast<unsigned short>(std::clamp(number, 0, 0xFFFF)); };
    return static_cast<int>(
        boost::gregorian::date(narrow(date.Year), narrow(date.Month), narrow(date.Day)).day_number());
}

bool IsDate(const Date& date) {
    try {
        DayNumber(date);
        return true;
    } catch (const std::out_of_range&) {
        return false;
    }
}

/// Replaces ordinals of dates by their day numbers. False, with some of them replaced, if one is no date.
bool ToDayNumbers(VectorXd& ordinals) {
    try {
        for (double& ordinal : ordinals) ordinal = DayNumber(ToDate(ordinal));
        return true;
    } catch (const std::out_of_range&) {
        return false;
    }
}

/// The message on the first of the ordinals, in ascending order of group and date, that is no date.
std::string FirstInvalid(const Eigen::Ref<const VectorXd>& sorted) {
    const auto* const ordinal = std::find_if_not(sorted.data(), sorted.data() + sorted.size(),
                                                 [](double candidate) { return IsDate(ToDate(candidate)); });
    const Date date = ToDate(*ordinal);
    const std::string text =
        std::to_string(date.Year) + '/' + std::to_string(date.Month) + '/' + std::to_string(date.Day);
    return FirstMismatch(*Days, text, StatusTexts::EndOfInvalidDate);
}

// ---- Series and panels in one ----

/// What sets a panel apart: its groups, and what a repeated time is called.
struct Structure {
    const VectorXd* Group;  ///< null in a time series
    const char* Duplicates;
};

constexpr Structure Series = {nullptr, StatusTexts::DuplicateTimes};
Structure Panel(const VectorXd& group) { return {&group, StatusTexts::DuplicateGroupTimes}; }

/// The times, behind the groups of a panel, with rows in lexicographic order.
MatrixXd SortedKeys(const Structure& structure, const VectorXd& times) {
    if (structure.Group == nullptr) return SortVector(times);
    MatrixXd keys(times.size(), 2);
    keys << *structure.Group, times;
    return SortMatrixVarIndex(keys, Eigen::Vector2i(0, 1));
}

/// Whether no combination of group and time occurs twice. Those that are not finite in both occur once.
bool AllDiffer(const Structure& structure, const VectorXd& times) {
    const bool isPanel = structure.Group != nullptr;
    if (!times.allFinite() || (isPanel && !structure.Group->allFinite()))
        return CheckDuplicates(SortedKeys(structure, times));
    const VectorXd one = VectorXd::Zero(isPanel ? 0 : times.size());
    const detail::PanelOrder order(isPanel ? structure.Group->data() : one.data(), times.data(), times.size());
    const double* const sorted = order.Times();
    if (order.IsInOrder() || sorted == nullptr) return true;  // else it would have been sorted
    for (std::size_t group = 1; group < order.Starts().size(); ++group) {
        const double* const end = sorted + order.Starts()[group];
        if (std::adjacent_find(sorted + order.Starts()[group - 1], end) != end) return false;
    }
    return true;
}

std::string ToIndex(const std::vector<std::string>& values, const Structure& structure, const std::string& format,
                    VectorXi& index) {
    const auto* const found = std::find_if(Formats.begin(), Formats.end(),
                                           [&format](const TimeFormat& known) { return known.Name == format; });
    if (found == Formats.end()) return StatusTexts::UnknownTimeFormat;

    VectorXd periods;
    if (std::string status = ReadValues(values, *found, periods); status != StatusTexts::OK) return status;
    if (structure.Group != nullptr && !CheckIntegers(*structure.Group)) return StatusTexts::NonIntegerGroups;
    if (!AllDiffer(structure, periods)) return structure.Duplicates;
    if (found == Days) {
        const VectorXd dates = periods;
        if (!ToDayNumbers(periods)) return FirstInvalid(SortedKeys(structure, dates).rightCols<1>());
    }
    if (periods.size() > 0) periods.array() -= periods.minCoeff();
    detail::Assign(index, periods.cast<int>());
    return StatusTexts::OK;
}

template <class Scalar>
bool AreEqual(Scalar a, Scalar b) {
    return a == b;
}
/// The difference of infinities is no number.
template <>
bool AreEqual(double a, double b) {
    return a - b == 0.0;
}

template <class Matrix>
bool AdjacentRowsDiffer(const Matrix& x) {
    for (Index row = 0; row + 1 < x.rows(); ++row) {
        if (x.cols() > 0 && std::isnan(static_cast<double>(x(row, 0)))) return true;
        Index column = 0;
        while (column < x.cols() && AreEqual(x(row, column), x(row + 1, column))) ++column;
        if (column == x.cols()) return false;
    }
    return true;
}

}  // namespace

bool CheckIntegers(const VectorXd& x) {
    // The fraction of an infinity is NaN, which is neither below nor above 0.
    return std::none_of(x.begin(), x.end(), [](double value) {
        const double fraction = value - std::trunc(value);
        return fraction < 0.0 || fraction > 0.0;
    });
}

bool CheckDuplicates(const VectorXd& x) {
    if (x.allFinite()) return AllDiffer(Series, x);
    const VectorXd sorted = SortVector(x);  // NaN cells are last and unequal to everything
    return std::adjacent_find(sorted.begin(), sorted.end()) == sorted.end();
}

bool CheckDuplicates(const MatrixXd& x) { return AdjacentRowsDiffer(x); }
bool CheckDuplicates(const MatrixXi& x) { return AdjacentRowsDiffer(x); }

bool SetTSFormat_TS(const VectorXd& time, std::string& message) {
    message = !CheckIntegers(time)     ? StatusTexts::NonIntegerTimes
              : !CheckDuplicates(time) ? StatusTexts::DuplicateTimes
                                       : StatusTexts::OK;
    return message == StatusTexts::OK;
}

bool SetTSFormat_TS(const std::vector<std::string>& values, const std::string& format, VectorXi& index,
                    std::string& message) {
    message = ToIndex(values, Series, format, index);
    return message == StatusTexts::OK;
}

bool SetTSFormat_PD(const VectorXd& time, const VectorXd& group, std::string& message) {
    message = !CheckIntegers(time)             ? StatusTexts::NonIntegerTimes
              : !CheckIntegers(group)          ? StatusTexts::NonIntegerGroups
              : !AllDiffer(Panel(group), time) ? StatusTexts::DuplicateGroupTimes
                                               : StatusTexts::OK;
    return message == StatusTexts::OK;
}

bool SetTSFormat_PD(const std::vector<std::string>& values, const VectorXd& group, const std::string& format,
                    VectorXi& index, std::string& message) {
    message = ToIndex(values, Panel(group), format, index);
    return message == StatusTexts::OK;
}

MatrixXi CompleteTSIndex_yyyymmdd(int firstYear, int lastYear, int firstMonth, int lastMonth, int firstDay,
                                  int lastDay) {
    const Date first{firstYear, firstMonth, firstDay}, last{lastYear, lastMonth, lastDay};
    if (!IsDate(first) || !IsDate(last)) return MatrixXi(0, 3);
    const int days = DayNumber(last) - DayNumber(first) + 1;
    MatrixXi calendar(std::max(days, 0), 3);
    Date date = first;
    for (Index row = 0; row < calendar.rows(); ++row) {
        calendar.row(row) << date.Year, date.Month, date.Day;
        using boost::gregorian::gregorian_calendar;
        const int monthEnd = gregorian_calendar::end_of_month_day(static_cast<unsigned short>(date.Year),
                                                                  static_cast<unsigned short>(date.Month));
        if (++date.Day <= monthEnd) continue;
        date.Day = 1;
        if (++date.Month <= 12) continue;
        date.Month = 1;
        ++date.Year;
    }
    return calendar;
}

}  // namespace quarn
