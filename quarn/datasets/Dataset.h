#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

#include <wx/arrstr.h>
#include <wx/string.h>

#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace quarn {

class Model;

namespace detail {
class ByteSource;
}

namespace ReservedNames {
inline constexpr char ObservationId[] = "QuarnSystemVar_obsID";  ///< the observation-id column
inline constexpr char NoVariable[] =
    "QuarnSystemVar_DefaultVarName";                             ///< in TimeVariable, GroupVariable: none declared
inline constexpr char EmptyDataset[] = "__QuarnEmptyDataset__";  ///< Name of a default-constructed dataset
}  // namespace ReservedNames

/// The text of a string variable, beside its column of numbers in Dataset::Data.
struct StringVar {
    int Column = 0;                   ///< in Data; equal to its key in Dataset::StringVars
    std::string Name;                 ///< equal to VarNames[Column]
    std::vector<std::string> Values;  ///< one per observation, in row order, as it stood in the source
    bool IsTimeVariable = false;      ///< the declared time variable, its text converted to TimeIndex
    VectorXi TimeIndex;               ///< one entry per observation while IsTimeVariable, else empty
};

/// The table of the system: named columns of numbers, one row per observation, with string variables beside them, a
/// declared structure (cross-section, time series or panel), and the models that were estimated from it.
///
/// Shapes: N = NumObs rows, K = NumVars columns. Column 0 identifies the observations. It is numbered 1 to N by the
/// text import, unless the source brings its own, and never renumbered: sorting moves ids with their rows, and
/// selecting rows leaves gaps. A missing value is NaN. A string variable has a StringVar and a column, which holds no
/// codes but what number conversion made of its text.
///
/// Invariants: Data is N x K; VarNames has K entries, each name once; keys of StringVars lie in 0 to K - 1; the Values
/// of each StringVar have N entries. The fields are public: whoever writes to them keeps the invariants.
///
/// Errors:  constructors leave Loaded and StatusText; operations whose failure a user reads return a status, one of
///          StatusTexts; the rest have preconditions, which are not tested. Nothing is thrown but std::bad_alloc, and a
///          new table is complete before it replaces the old one.
/// Threads: one at a time.
class QUARN_EXPORT Dataset {
 public:
    wxString Name;                             ///< as used in messages; set by whoever stores the dataset
    wxArrayString VarNames;                    ///< K names
    MatrixXd Data;                             ///< N x K
    int NumObs = 1;                            ///< N
    int NumVars = 1;                           ///< K, the observation-id column included
    int DatasetType = 0;                       ///< 0 cross-section, 1 time series, 2 panel
    std::string TimeVariable;                  ///< declared time variable, or ReservedNames::NoVariable
    std::string GroupVariable;                 ///< declared group variable of a panel, or ReservedNames::NoVariable
    std::string TimeFormat;                    ///< of the declared time variable, or "none"
    bool TransformedSinceDeclaration = false;  ///< an operation may have invalidated the declared structure
    bool Loaded = false;                       ///< a constructor has finished building the table
    std::string StatusText;               ///< message of a failed constructor, else empty; only constructors write it
    std::map<int, StringVar> StringVars;  ///< by column
    std::vector<std::shared_ptr<Model>> AssociatedModels;  ///< in order of association
    std::string SaveId;  ///< key of this dataset in a workspace file, given just before saving

    // ---- Construction and copying ----

    /// The placeholder: one cell of zero under an empty name, not loaded.
    Dataset();

    Dataset(const Dataset&) = default;
    Dataset(Dataset&&) = default;
    Dataset& operator=(Dataset&&) = default;
    /// Errors: std::bad_alloc, with the dataset as it was.
    Dataset& operator=(const Dataset& other);

    /// Imports delimited text: a header line of names, then one line per observation.
    ///
    ///   path       a regular file, or a pipe, which is read to its end
    ///   delimiter  any one character, taken literally; only it and the line feed have a meaning
    ///
    /// A delimiter at the very end of a line ends the last token and starts no other. Names pass through ProcessID. If
    /// the first header token is QuarnSystemVar_obsID, its column holds the ids; otherwise a column of ids 1 to N is
    /// put in front. A token ".", "\".\"", "nan", "NA", "Inf", "inf" or without any character is missing. Any other is
    /// read as strtod in the "C" locale does; if part of it is left over, its column becomes a string variable, whose
    /// cells keep the numbers read. Cells that a short line does not reach are 0, and "" in a string variable; an empty
    /// line is an observation too.
    ///
    /// Errors: Loaded false and an empty StatusText if the source cannot be opened or read: a directory, a device, a
    ///         pipe silent for 10 seconds, a file cut short under way. Loaded false and a message for duplicate names
    ///         (VarNames and NumVars are set) and for a line with more tokens than variables (Data holds what came
    ///         before). std::bad_alloc, also for more than 2^31 - 1 rows or columns.
    /// Cost:   two passes over the text in blocks, a third one over the rows before the first text token of a string
    ///         variable; memory for the table and its strings, and for a block or the longest line. A pipe is held in
    ///         memory as a whole.
    Dataset(const std::string& path, const char& delimiter);

    /// Imports delimited text from a web server by plain HTTP. The table is that of the same file on disk, but for two
    /// things: CR LF and CR end a line too, and a byte-order mark is dropped (a text in UTF-16 or UTF-32 that has one
    /// becomes UTF-8).
    ///
    ///   host       a name, an IPv4 address, or an IPv6 address in brackets; ":" and a port may follow, else it is 80
    ///   file       the path on the server. "/" in front may be left out; blanks, "#" and bytes outside ASCII are
    ///              escaped, a "%" is not
    ///
    /// The name is looked up three times, with a pause of a second after each failure, and its first address is asked.
    /// Redirections are not followed; neither proxies nor passwords are known.
    ///
    /// Precondition: an application that uses wxWidgets has initialised it, and has called wxSocketBase::Initialize() on
    /// its main thread if others call this. Any other calls this from one thread at a time, and wxWidgets is in use
    /// for as long as the call lasts.
    ///
    /// Errors: Loaded false and a message, in every case. One tells the status of the reply where that is not 200 to 299,
    ///         or where the file does not come whole: the reply ends before the length that it announced, is silent for
    ///         10 seconds, or slower than 1000 bytes a second once a minute has passed. Then those of the text import;
    ///         and "Exception: ..." with the text of any std::exception, std::bad_alloc for a file of 2 GiB or more
    ///         among them. Data and VarNames are empty, but after the messages of the text import.
    /// Cost:   blocks the calling thread for the whole transfer, and for a connection that nobody answers: 10 seconds,
    ///         or as long as the system tries, some minutes, on another thread than the main one and where the main loop
    ///         runs. The file is held in memory.
    Dataset(const std::string& host, const std::string& file, const char& delimiter);

    /// A cross-section of the given columns, as they come: the caller passes the id column first, and as many names as
    /// there are columns. Not tested.
    Dataset(const wxArrayString& names, const MatrixXd& data);

    /// Loads what SaveDataset wrote, behind a "~" and the key of the dataset, which becomes its Name. Models are not
    /// stored, nor are time codes: the declaration that made them is run again. TransformedSinceDeclaration is as it was.
    ///
    /// A damaged passage is not reported: a field that is no number is 0, what a short line or a stream that ends early
    /// lacks is empty or 0, and the text of a string variable beyond the columns of the table is dropped.
    /// Errors: std::bad_alloc, at once, also for counts that cannot be true: negative ones, more cells than bytes follow
    ///         (and more than 65536), or, unless the stream ends there, more than 64 cells or names per byte of the text
    ///         that should hold them. A stream that cannot tell what follows, a pipe, is taken at its word.
    explicit Dataset(std::istream& stream);

    // Copy construction and assignment copy every field; the models are shared. None of them, nor the destructor, tells
    // the models.

    /// A new dataset with the same table, flags and models. Its structure is declared anew, and is a cross-section if
    /// that fails.
    std::shared_ptr<Dataset> Copy() const;

    // ---- Saving ----

    /// Writes the passage of this dataset in a workspace file, lines of fields separated by "~", and flushes the stream;
    /// nothing if that has failed before. No locale shows, but in names beyond ASCII, which go through wxConvLibc.
    ///
    ///   N~K
    ///   DatasetType~TimeVariable~GroupVariable~TimeFormat~TransformedSinceDeclaration
    ///   VarNames, or an empty line
    ///   N lines of Data with 17 significant digits, or an empty line if N or K is 0
    ///   number of string variables; for each: Column~Name~IsTimeVariable, then N lines of Values
    ///   SaveId
    ///
    /// Requires: no "~" in a name or format, no line feed in any text. Not tested.
    void SaveDataset(std::ostream& stream) const;

    /// Writes delimited text, a header of names and a line per observation, without the observation ids (unless they
    /// are all there is): the texts of string variables, and six significant digits of numbers, "nan" where missing.
    /// False if the file cannot be opened for writing; what fails later, as on a full disk, is not told. Nothing is
    /// quoted: a delimiter inside a text stays bare.
    bool ExportData(const std::string& path, const char& delimiter) const;

    // ---- Association with models ----

    void AddAssociatedModel(std::shared_ptr<Model> model);            ///< appends, whether or not it is there already
    void RemoveAssociatedModel(const std::shared_ptr<Model>& model);  ///< removes every entry of this object
    std::vector<std::shared_ptr<Model>> GetAssociatedModels() const;
    void SetAssociatedModels(std::vector<std::shared_ptr<Model>> models);

    /// Tells each model, in order: with code 0 that the data changed, with 1 that the dataset is gone (the list is
    /// emptied afterwards), with 2 that text is the dataset's key in a workspace file. Other codes have no effect.
    void NotifyAssociatedModels(int code, const std::string& text);

    // ---- Declared structure ----

    // Says which variable is the time, and which one tells the groups of a panel apart. No row moves: rows may stand in
    // any order and have gaps. Operations that can break a declaration set TransformedSinceDeclaration; those that rest
    // on it declare it again first, and refuse if it no longer holds.

    /// Declares a cross-section, which nothing can invalidate. Time codes of a string variable stay.
    void SetCrossSection();

    /// Declares a time series, or a panel. A string variable is converted to the time codes in its StringVar, the only
    /// one that then has any.
    ///
    ///   format         "yyyyqx", "yyyymxx" or "yyyy/mm/dd" for a string variable (see TimeFormats.h), "index" for a
    ///                  numeric one
    ///   groupVariable  read as numbers, also where it is a string variable
    ///
    /// Returns "OK"; "noTimeVar", "noGroupVar" for a name that does not exist; or what is wrong with the format or the
    /// values. Ensures: after any status but "OK", nothing has changed. Cost: one sort.
    std::string SetTimeSeries(const std::string& timeVariable, const std::string& format);
    std::string SetPanelData(const std::string& timeVariable, const std::string& groupVariable,
                             const std::string& format);

    /// The structure that can be relied on, as DatasetType has it: declares it again if the dataset was transformed
    /// since. type is 0 after any status but "OK", with DatasetType and the declaration as they were.
    /// Returns "OK", the status of SetTimeSeries or SetPanelData, "TSVariableHasNoFormat" for a declaration to be
    /// repeated whose TimeFormat is "none", or a message on an unknown DatasetType.
    std::string CheckType(int& type);

    // ---- String variables ----

    bool GetVariableIsString(const std::string& name) const;  ///< false for an unknown name
    bool GetVariableIsString(int column) const;
    /// Whether one of the names is a string variable; unknown names are not. The list is left unchanged.
    bool ListContainsStringVariables(std::vector<std::string>& names) const;

    /// Drops the text of one variable, or of all; the columns of numbers stay. Sets TransformedSinceDeclaration and
    /// tells the models, also where there was no text.
    void DisassociateStringVar(int column);
    void DisassociateStringVars();

    // ---- Variables ----
    // Names are compared exactly, case included; of several variables of one name the leftmost is meant.
    //
    //                            drops the StringVar   sets TransformedSinceDeclaration   tells the models
    //   AddVariable              no                    no                               no
    //   ReplaceVariable          of that column        yes                              yes
    //   RenameVariable           renames it            no                               no
    //   DeleteVariable           of that column        yes                              yes
    //   ChangeData, both         no                    yes                              yes
    //   MatchOservations_*       of that column        yes                              yes, once
    //     for a new variable     no                    no                               no

    /// Column of the variable, or NumVars if there is none.
    int GetVariableIndex(const std::string& name) const;
    bool VariableExists(const std::string& name) const;

    MatrixXd GetVariable(const std::string& name) const;  ///< N x 1, or empty for an unknown name
    /// N x number of names, in the order of the names. Requires: the names exist. Not tested.
    MatrixXd GetVariables(const std::vector<std::string>& names) const;

    /// Appends a column. Requires: N values. Not tested, nor is the name for being free.
    void AddVariable(const VectorXd& values, const std::string& name);
    /// Overwrites a column, which is numeric from then on. Requires: N values; the name exists. Not tested.
    void ReplaceVariable(const VectorXd& values, const std::string& name);
    /// TimeVariable and GroupVariable keep the old name. Requires: the old name exists; the new one is free. Not
    /// tested.
    void RenameVariable(const std::string& oldName, const std::string& newName);
    /// Requires: the name exists. Not tested.
    void DeleteVariable(const std::string& name);

    /// Overwrites a block of cells. col counts the variables behind the observation ids: 0 is column 1 of Data. The
    /// text of a string variable stays. Requires: block is rows x cols and lies inside the table. Not tested.
    void ChangeData(int row, int col, int rows, int cols, MatrixXd& block);
    /// Overwrites one text of a string variable; the number in its cell stays. Here column is the column of Data
    /// itself. Requires: 0 <= row < N; the column is a string variable. Not tested.
    void ChangeData(int row, int column, const std::string& text);

    /// Merges values into variables by observation id. ids is M x 1 or wider; its first column is compared with column
    /// 0 of Data, by equality of doubles, so that NaN matches nothing. Rows of ids work in order, later ones over
    /// earlier. A variable that exists keeps its cells where no id leads, a new one gets NaN there. The ids of Data are
    /// those of before the call, should column 0 itself be merged into.
    ///
    ///   One2One   values(k), or row k of the M x names matrix, goes to the first observation with id ids(k, 0)
    ///   One2Many  values(i) with i = ids(k, 1), cut to an integer, goes to every observation with id ids(k, 0)
    ///
    /// Requires: sizes as stated; ids(k, 1) an index of values; names each once; neither ids nor values is Data itself.
    ///           Not tested.
    /// Cost:     (N + M) log N, apart from the cells written.
    void MatchOservations_One2One(const MatrixXd& ids, const VectorXd& values, const std::string& name);
    void MatchOservations_One2Many(const MatrixXd& ids, const VectorXd& values, const std::string& name);
    void MatchOservations_One2One(const MatrixXd& ids, const MatrixXd& values, const std::vector<std::string>& names);

    // ---- Sorting and selecting observations ----
    // The text and the time codes of every string variable stay with their observations, and so do the ids.

    /// Puts the observations in the order of the named variables, the first being the main key, as SortMatrixVarIndex
    /// does: observations that tie keep their order. A string variable among the names is sorted by its time codes if
    /// it is the declared time variable and has them, else by its text in byte order; its cells in Data are then those
    /// codes or the ranks of SortOrderToInt. Where no string variable is among the names, the cells of all of them are
    /// the former row numbers, from 0. Neither the declared structure nor the models are told.
    /// Requires: the names exist. Not tested.
    /// Cost:     linear in the rows for each numeric key, n log n for text; the table is moved through one column, unless
    ///           its rows were in order before.
    void SortData(const wxArrayString& names);

    /// Keeps the observations with 1 in mask and drops those with 0, or the other way round if keep is false. Sets
    /// TransformedSinceDeclaration and tells the models, also where nothing is dropped.
    /// Requires: N entries of mask, each 0 or 1. Not tested.
    void DropKeep(const VectorXi& mask, bool keep);

    // ---- New variables of time series and panels ----
    // Each returns a vector with one entry per observation, in the order of the dataset, or an empty one after a message
    // other than "OK". The dataset is not changed, apart from a declaration that is run again. datasetName is used in
    // messages only. A string variable is refused. Requires: the variable exists; message is none of the other arguments.
    // Not tested.
    // Cost: linear where the observations stand in the order of group and time, or where group ids and times lie close
    //       together; else that of one sort of group ids and times.

    /// The values lag periods earlier, or, if lag is negative, -lag periods later, in the same group: by date, not by
    /// row. NaN where there is no observation of that date, and in an observation that has no time or no group. A lag of
    /// 0 gives the variable itself.
    VectorXd TakeLags(const std::string& variable, const std::string& datasetName, int lag, std::string& message);

    /// Applies x - (its lag, as above) order times over; below 1, the variable itself. lag is the seasonal span: order 1
    /// and lag 4 give the seasonal difference of quarters. Cost: also of one linear pass for each order.
    VectorXd TakeDiffs(const std::string& variable, const std::string& datasetName, int order, int lag,
                       std::string& message);

    /// A statistic of the variable over the group of the observation in a panel. It is taken of the observations that
    /// are finite in the variable, the group and the time variable, in ascending order of time, and given to all
    /// observations of the group. Others, and where nothing could be taken: NaN, or 0 for counts.
    ///
    ///   statistic  "groupmeans", "groupvars", "groupsds", "groupmedians": vectorMean, vectorVar, vectorSd and
    ///              vectorMedian, NaN for variances and standard deviations of one value; "groupsums", "groupcounts".
    ///              Any other name gives a message.
    VectorXd CalculateGroupStats(const std::string& variable, const std::string& datasetName,
                                 const std::string& statistic, std::string& message);

    // ---- Estimation data ----
    // Cross-sections: an observation is kept if each of the listed variables is finite in it; its id is not tested. Rows
    // of all outputs are the n kept observations, in the order of the dataset. Outputs are resized; after any status but
    // "OK" they hold nothing to be used. Requires: the names exist. Not tested.

    /// data: n x names. Takes string variables for the numbers in their columns.
    /// Returns "OK", or "noData" if no observation is kept.
    std::string Prepare_Summarize(std::vector<std::string>& names, MatrixXd& data) const;

    /// Matrices for an estimator that knows no time structure. The dependent variable, where there is one, is the last
    /// name of names or namesX, which then has at least that name.
    ///
    ///   data  n x names      X  n x (names - 1), the regressors     y  n, the dependent variable
    ///   Z     n x namesZ     ids  n x 1, the observation ids
    ///
    /// Returns "OK", "noData", or the message on non-numeric data if a string variable is among the names.
    std::string Prepare_CrossSection(std::vector<std::string>& names, MatrixXd& data, MatrixXd& ids) const;
    std::string Prepare_CrossSection(std::vector<std::string>& names, MatrixXd& X, VectorXd& y, MatrixXd& ids) const;
    std::string Prepare_CrossSection(std::vector<std::string>& namesZ, std::vector<std::string>& namesX, MatrixXd& Z,
                                     MatrixXd& X, VectorXd& y, MatrixXd& ids) const;

    /// The data of a model that treats missing dependent values as unknowns: every observation in order of time, missing
    /// cells included. The preparation does not move the observations of the dataset.
    ///
    ///   names           the variables, independent ones last
    ///   lags            for each variable, the columns that are wanted of it: 0 itself, L its L-th lag, -L its L-th lead.
    ///                   These go by rows, so that they close up gaps; with periods put in they go by dates
    ///   numIndependent  how many names at the end are of independent variables, whose lists are {0}
    ///   impute          0 for no; else every period without an observation is put in, and this is the number of names
    ///                   before those that must be columns of 1 then
    ///   data            n x columns wanted: for each dependent variable its list, then the independent variables. A lag
    ///                   or lead beyond the ends is NaN. In a period put in, dependent variables are NaN and independent
    ///                   ones 1
    ///   ids, time       n x 1 and n: observation ids, -1 in a period put in; the time index
    ///   missing         appended for each dependent variable: rows at which its first column is not finite
    ///   warnings        appended: gaps (if impute is 0), missing dependent values; also before a status but "OK"
    ///
    /// An observation whose time is NaN stands behind all others and is no period. The MatrixXi is neither read nor
    /// written.
    ///
    /// Returns "OK", "noData" for a dataset without observations, or a message: non-numeric data, no time structure or
    /// one that no longer holds, a panel or a lagged independent variable (an internal error), missing independent
    /// values, independent variables that cannot be put in. After any status but "OK" outputs hold nothing to be used.
    /// Requires: the names exist; a list for each; 0 <= numIndependent <= names. Not tested.
    /// Errors:   std::bad_alloc, also for periods put in beyond 2^31 - 2 rows.
    /// Cost:     one sort; linear in the rows of data beyond that.
    std::string Prepare_TimeSeries(std::vector<std::string>& names, std::vector<VectorXi>& lags, int numIndependent,
                                   MatrixXd& data, MatrixXd& ids, VectorXd& time, MatrixXi& unused,
                                   std::vector<std::vector<int>>& missing, std::vector<std::string>& warnings,
                                   int impute);

    /// The lags and leads of time-series or panel variables by date, within groups, as TakeLags has them, in order of
    /// time. The rows that the longest lag takes from the top and the longest lead from the end are left out, whatever
    /// stands in them; other missing cells stay.
    ///
    ///   names, lags  as above; there are no independent variables here
    ///   data         the columns wanted, one variable behind the other. Observations of one time keep their order
    ///
    /// The other matrices are neither read nor written. Returns "OK", "noData" if no row is left, or a message:
    /// non-numeric data, no time structure, or one that no longer holds.
    /// Requires: the names exist; a list for each. Not tested. Cost: the order of the rows is found twice; each column
    /// costs two or three passes over it.
    std::string Prepare_TimeSeries2(std::vector<std::string>& names, std::vector<VectorXi>& lags, MatrixXd& data,
                                    MatrixXd& unused, MatrixXi& alsoUnused);

    /// Matrices for panel estimators. The n kept observations are finite in the group, the time and each of the named
    /// variables. They come in blocks of T rows each, in ascending order of T, then group, then time. A block is a group,
    /// or, in the dynamic form, a spell: rows of a group with successive times.
    ///
    ///   X  n x (names - 1)    y  n, the last name    ids  n x 2: observation id; number of the block, from 0
    ///   structure  a row (T, number of blocks of T rows) for each T that occurs, ascending
    ///   dropSingletons  leave out blocks of one row
    ///
    /// Returns "OK"; "groupsWithGaps" for complete outputs of the dynamic form where a group has more than one spell;
    /// "noData" if no row is kept or left; or the message on non-numeric data, on a dataset that is not declared as a
    /// panel, or on a declaration that no longer holds. After these the outputs are untouched.
    /// Requires: at least one name. Cost: as for new variables of a panel, above.
    std::string Prepare_PanelData(std::vector<std::string>& names, MatrixXd& X, VectorXd& y, MatrixXd& ids,
                                  MatrixXi& structure, bool dropSingletons);
    std::string Prepare_DynamicPanelData(std::vector<std::string>& names, MatrixXd& X, VectorXd& y, MatrixXd& ids,
                                         MatrixXi& structure, bool dropSingletons);

    /// Whether the dependent variable (the last name) takes just the integers minValue, minValue + 1, ..., maxValue
    /// over the observations that are complete in all names.
    ///
    ///   maxValue  its largest value
    ///   counts    maxValue - minValue + 1 frequencies, of minValue first
    ///
    /// Returns "OK", or a message that says what is wrong with it; then maxValue is as before.
    /// Requires: minValue + N < 2^31. Not tested.
    std::string CheckIntegral(std::vector<std::string>& names, int& maxValue, VectorXi& counts, int minValue) const;

    /// Whether a column is a constant term: numeric, and 1 in every observation. Requires: the column exists. Not tested.
    bool CheckConstant(int column) const;

 private:
    void Import(detail::ByteSource& source, char delimiter);
    void ImportOverHttp(const std::string& host, const std::string& file, char delimiter);
    void LoadStringVar(std::istream& stream);
    void RestoreTimeCodes();
    /// Sets TransformedSinceDeclaration and tells the models that the data changed.
    void MarkChanged();
    std::string PreparePanel(std::vector<std::string>& names, MatrixXd& X, VectorXd& y, MatrixXd& ids,
                             MatrixXi& structure, bool dropSingletons, bool isDynamic);
    /// The columns of variables that are to be merged into: numeric from then on, and NaN where they are new.
    std::vector<int> PrepareTargets(const std::vector<std::string>& names);
    /// Declares a time series or panel. Arguments are values, as callers pass the fields that are written.
    std::string Declare(int type, std::string timeVariable, std::string groupVariable, std::string format);
};

}  // namespace quarn
