#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

#include <string>
#include <vector>

/// From the raw values of a time variable to an integer time index, and the checks of a time structure.
///
///   format         a value                                        one period
///   "yyyyqx"       year, q, quarter 1 to 4: "2001q3"              a quarter
///   "yyyymxx"      year, m, month 1 to 12: "2001m07", "2001m7"    a month
///   "yyyy/mm/dd"   year, /, month, /, day: "2001/02/09"           a day of the proleptic Gregorian calendar, years 1400
///                                                                 to 9999
/// Numeric time variables have the format "index": their whole numbers are the time index.
namespace quarn {

/// Whether no element has a fractional part; NaN and infinities have none.
QUARN_EXPORT bool CheckIntegers(const VectorXd& x);

/// Whether no two elements are equal. NaN equals nothing, an infinity equals itself. Cost: linear for whole
/// numbers that lie close together, else one sort.
QUARN_EXPORT bool CheckDuplicates(const VectorXd& x);

/// Whether no two adjacent rows are equal in all columns; for rows that are sorted, whether all of them differ. Rows
/// with an element that is not finite equal no other row, and the rows from the first NaN in column 0 on are not
/// compared. Two rows or more without columns are equal.
QUARN_EXPORT bool CheckDuplicates(const MatrixXd& x);
QUARN_EXPORT bool CheckDuplicates(const MatrixXi& x);

/// Checks the time variable of a time series (TS) or of a panel (PD), and converts it if it is text. Rows may stand in
/// any order and have gaps.
///
///   time, values  N, one per observation
///   group         N, the group ids, whole numbers
///   index         N, the number of periods from the earliest date of all groups to that of the row; written on success
///                 only. Numeric time variables need none.
///   message       "OK", or what is wrong: of several faults the first one in the order in which they stand here
///
/// Faults of text: an unknown format; a value that is not of the format (quoted, the first one in row order); a
/// fraction; then, as for numbers: a fraction in the time variable, one in the group variable; a time that occurs
/// twice, in a panel within a group; then an impossible date (quoted, the first one in ascending order). Numbers inside
/// a value are read as strtod in the "C" locale does, and an empty piece of a value as 0. A delimiter at the very end
/// of a value starts no further piece; a value with too few pieces, with "nan" in it, or with a year below -100000000,
/// is not of the format. Group ids that are NaN or infinite are groups of one observation each.
///
/// Returns: whether message is "OK". Requires: time or values and group of one size. Not tested. Cost: linear where
/// groups and periods lie close together, else one sort.
QUARN_EXPORT bool SetTSFormat_TS(const VectorXd& time, std::string& message);
QUARN_EXPORT bool SetTSFormat_TS(const std::vector<std::string>& values, const std::string& format, VectorXi& index,
                                 std::string& message);
QUARN_EXPORT bool SetTSFormat_PD(const VectorXd& time, const VectorXd& group, std::string& message);
QUARN_EXPORT bool SetTSFormat_PD(const std::vector<std::string>& values, const VectorXd& group,
                                 const std::string& format, VectorXi& index, std::string& message);

/// Every calendar day from the first date to the last one, both included, one per row: year, month, day. No rows if one
/// of the two is no date of the years 1400 to 9999, or the last one comes before the first one.
QUARN_EXPORT MatrixXi CompleteTSIndex_yyyymmdd(int firstYear, int lastYear, int firstMonth, int lastMonth, int firstDay,
                                               int lastDay);

}  // namespace quarn
