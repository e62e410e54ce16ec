#pragma once

/// What operations of datasets answer: "OK", a code that the calling layer interprets, or a finished message whose line
/// breaks are part of it. Nothing else is returned as a status; messages that name a variable start with a text from
/// here.
namespace quarn::StatusTexts {

inline constexpr char OK[] = "OK";

// Codes.
inline constexpr char NoData[] = "noData";

// Text import.
inline constexpr char DuplicateNames[] =
    "Duplicate variable names were found in the dataset. The first duplicate was: ";  // then the name
inline constexpr char SurplusValues[] = "More values were provided for some observations than the number of variables.";

// Estimation data.
inline constexpr char NonNumericVariables[] =
    "The list of selected variables contains variables with non-numeric data.";
inline constexpr char NothingLeft[] = "No data are left after dropping\nobservations with missing values.";

// Discrete dependent variables.
inline constexpr char NonInteger[] = "The dependent variable contains\nnon-integer values.";
inline constexpr char WrongMinimum[] = "The minimum value of the dependent\nvariable is not ";  // then its word
inline constexpr char NotConsecutive[] = "The dependent variable contains integers\nwhich are not consecutive.";

}  // namespace quarn::StatusTexts
