#pragma once

/// What operations of datasets and reports on them answer: "OK", a code that the calling layer interprets, or a finished
/// message whose line breaks are part of it. Nothing else is returned as a status; messages that name a variable start
/// with a text from here.
namespace quarn::StatusTexts {

inline constexpr char OK[] = "OK";

// Codes.
inline constexpr char NoData[] = "noData";
inline constexpr char GroupsWithGaps[] = "groupsWithGaps";  // a notice: the outputs are complete
inline constexpr char NoTimeVariable[] = "noTimeVar";
inline constexpr char NoGroupVariable[] = "noGroupVar";
inline constexpr char NoTimeFormat[] = "TSVariableHasNoFormat";

// Text import.
inline constexpr char DuplicateNames[] =
    "Duplicate variable names were found in the dataset. The first duplicate was: ";  // then the name
inline constexpr char SurplusValues[] = "More values were provided for some observations than the number of variables.";

// Import over HTTP.
inline constexpr char NoConnection[] = "Quarn could not connect to \"";  // then the host, then
inline constexpr char CauseOfNoConnection[] =
    "\". This could be due to an invalid URL or problems with the machine's Ineternet connection.";
inline constexpr char RequestTo[] = "The request to \"";              // then the host, then
inline constexpr char IsRedirected[] = "\" is being redirected ";     // then the status code, below
inline constexpr char NoAccessToFile[] = "Could not access file \"";  // then the file, then
inline constexpr char OnServer[] = "\" on server \"";                 // then the host, then
inline constexpr char EndOfServer[] = "\" ";                          // then the status code
inline constexpr char Server[] = "Server \"";                         // then the host, then
inline constexpr char ReturnedError[] = "\" returned an error ";
inline constexpr char RequestToServer[] = "The request to server \"";         // then the host, then
inline constexpr char FailedWithCode[] = "\" failed with HTTP status code ";  // then the code, then
inline constexpr char HttpStatusCode[] = "\n(HTTP status code: ";             // then the code, then
inline constexpr char EndOfStatusCode[] = ").";
inline constexpr char Exception[] = "Exception: \"";  // then its text, then
inline constexpr char EndOfException[] = "\".";

// Time formats.
inline constexpr char UnknownTimeFormat[] = "Unknown time-series format.";
inline constexpr char NonIntegerTimes[] = "The time variable contains non-integer values.";
inline constexpr char NonIntegerGroups[] = "The group-id variable contains non-integer values.";
inline constexpr char DuplicateTimes[] =
    "The time variable contains duplicate values. If the dataset is a panel, use the \"set_pd\" function.";
inline constexpr char DuplicateGroupTimes[] = "The combinations of group and time variables contain duplicates.";
inline constexpr char NotOfFormat[] =
    "The values in the time variable do not conform to the time-series format provided (";  // then the format, then
inline constexpr char FirstNotOfFormat[] = "). The first entry that does not match the format is \"";  // then the entry
inline constexpr char EndOfEntry[] = "\".";                                                            // or
inline constexpr char EndOfInvalidDate[] = "\": this is an invalid date.";                             // or, above
inline constexpr char SomeOfThe[] = "). Some of the ";  // then the pieces of a value
inline constexpr char ValuesNotIntegers[] = " values are not integers.";

// Declaration of a time structure.
inline constexpr char TimeVariableOf[] = "The time variable passed as argument to \"";  // then the function, then
inline constexpr char IsString[] =
    "\" is a string variable. Use the \"format\" option to indicate the format of the time variable.";
inline constexpr char IsNumerical[] =
    "\" is a numerical variable. Set the \"format\" option to \"index\" to indicate the format of the time variable.";
inline constexpr char UnknownDatasetType[] = "Unknown dataset type (time-series, panel-data, etc.).";
inline constexpr char StaleTimeSeries[] =
    "The dataset has undergone transformations since it was last declared as a time-series dataset, which invalidate "
    "this designation. Use the \"set_ts\" function again to get more information.";
inline constexpr char StalePanel[] =
    "The dataset has undergone transformations since it was last declared as a panel dataset, which invalidate this "
    "designation. Use the \"set_pd\" function again to get more information.";
inline constexpr char DatasetNamed[] = "Dataset \"";  // then the name, then
inline constexpr char NoTimeStructure[] =
    "\" has not been declared as a time-series or panel dataset. Use the \"set_ts\" or \"set_pd\" functions before "
    "calling ";  // then what was called
inline constexpr char NoPanelStructure[] =
    "\" has not been declared as a panel dataset. Use the \"set_pd\" function before calling ";  // the same
inline constexpr char NoPanelForModels[] =
    "\" has not been declared as a panel dataset. Use the \"set_pd\" function to define the time and group variables, "
    "before running any panel models.";

// Functions of variables that a user calls by name.
inline constexpr char VariableNamed[] = "Variable \"";                            // then the name, then
inline constexpr char InDataset[] = "\" in dataset \"";                           // then the name, then
inline constexpr char IsStringVariable[] = "\" is a string variable and the \"";  // then the function, then
inline constexpr char CannotBeUsed[] = "\" function cannot be used on it.";
inline constexpr char TheFunction[] = "the \"";  // then the function, then
inline constexpr char EndOfFunction[] = "\" function.";
inline constexpr char UnknownStatistic[] = "Unknown group statistic: ";  // then its name

// Estimation data.
inline constexpr char NonNumericVariables[] =
    "The list of selected variables contains variables with non-numeric data.";
inline constexpr char NothingLeft[] = "No data are left after dropping\nobservations with missing values.";

// Estimation data with lags.
inline constexpr char ModelThatNeedsTime[] = "a model that requires a time-structure to be set.";  // of NoTimeStructure
inline constexpr char InternalTimeSeries[] = "This is a Quarn internal error: (Prepare_TimeSeries)";
inline constexpr char MissingIndependent[] =
    "One or more independent variables contain missing values. Consider dropping these observations and redefining the "
    "time index such that time observations are consecutive.";
inline constexpr char IndependentNotImputed[] =
    "The values of the independent variables for missing time observations cannot be imputed using the model "
    "specification. Consider imputing these missing values before running the model or setting the \"impute\" option "
    "to "
    "false.";
// Warnings, which end nothing.
inline constexpr char GapsAreIgnored[] =
    "There are missing time observations according to the dataset's time index. Gaps in the data are ignored and "
    "observations are treated as if they were consecutive (even when taking lags/leads/differences). Redefine the "
    "dataset's time index variable to silence this warning. Also, consider setting the \"impute\" option to true so "
    "that "
    "values for the dependent variable(s) are imputed.";
inline constexpr char DependentAreImputed[] =
    "One or more dependent variables contain missing values. These values are imputed using the model specification.";

// Discrete dependent variables.
inline constexpr char NonInteger[] = "The dependent variable contains\nnon-integer values.";
inline constexpr char WrongMinimum[] = "The minimum value of the dependent\nvariable is not ";  // then its word
inline constexpr char NotConsecutive[] = "The dependent variable contains integers\nwhich are not consecutive.";

// Summary statistics, behind DatasetNamed and the name.
inline constexpr char NoVariable[] = "\" does not have a variable \"";  // then the name, then
inline constexpr char EndOfVariable[] = "\".";
inline constexpr char NoCompleteOfSpecified[] =
    "\" has no observations without missing data in the specified variables.";
inline constexpr char NoComplete[] = "\" has no observations without missing data.";

}  // namespace quarn::StatusTexts
