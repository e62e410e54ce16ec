#pragma once

#include <quarn/base/EventDispatcher.h>
#include <quarn/base/Export.h>
#include <quarn/base/Types.h>
#include <quarn/datasets/Dataset.h>
#include <quarn/models/SummaryStructure.h>

#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace boost {
class thread;
}

namespace quarn {

/// Matrices by name, in the order of the names.
using MatrixMap = std::map<std::string, std::shared_ptr<MatrixXd>>;

// The destructor is public and not virtual: see below.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// What stays of a finished estimation: results that can be printed, copied, saved, and linked to their dataset. The
/// models of an application derive from this class; they fill the fields from an estimator with results, and override
/// the operations that they provide.
///
/// A model is held by a std::shared_ptr made by std::make_shared of the concrete type: its dataset holds such pointers
/// to it, and the destructor is not virtual. The cycle of the two pointers is cut by SetDatasetWasDeleted.
///
/// Threads: one at a time, apart from those of Threads, which the model starts itself.
class QUARN_EXPORT Model {
 public:
    /// Model types from this code on are tied to a dataset.
    static constexpr int FirstCodeWithDataset = 11;
    // Keys of Elements: log marginal likelihoods, 1 x 1, of models that have them. All other keys are the subclasses'.
    static constexpr char LogMLKey[] = "logML";       ///< after Lewis and Raftery
    static constexpr char LogMLCJKey[] = "logML_CJ";  ///< after Chib and Jeliazkov

    int ModelCode = -1;                      ///< number of the model type
    std::string ModelType = "Generic";       ///< name of the model type: heading of the results
    std::string ModelName;                   ///< under which the user stores the model
    std::string ModelCommand;                ///< for subclasses; not read here
    bool ModelFlag = false;                  ///< for subclasses; not read here
    std::shared_ptr<std::string> TableTop;   ///< text over the table of results, or null; may have several lines
    std::string ElapsedTime;                 ///< of the estimation, in seconds, as text
    std::vector<std::string> SamplesNames;   ///< one per column of Samples
    SummaryStructure Summary;                ///< table of posterior summaries
    std::vector<int> IntList;                ///< for subclasses
    std::vector<std::vector<int>> IntLists;  ///< for subclasses
    std::shared_ptr<MatrixXd> Samples;       ///< the draws, a row each, a column per parameter; or null
    std::shared_ptr<MatrixXd> ObsId;         ///< identifiers of the estimation sample, a row each; or null
    MatrixMap Elements;                      ///< results that a user can reach by name
    MatrixMap HiddenElements;                ///< results for the operations of a subclass
    std::vector<std::shared_ptr<boost::thread>> Threads;   ///< of a running operation
    std::vector<std::shared_ptr<quarn::Dataset>> Dataset;  ///< the linked dataset: at most one entry
    bool DatasetChanged = false;                           ///< the dataset was changed after estimation
    bool DatasetWasDeleted = false;                        ///< the dataset is gone, or there never was one
    std::string DatasetLink;                 ///< key of the dataset in a workspace file, valid while saving and loading
    std::vector<std::string> ActionsParser;  ///< further actions by their names in the command language
    std::vector<std::string> ActionsGUI;     ///< the same by their names in the graphical front end

    // ---- Construction, copying, saving ----

    Model() = default;
    Model(const Model&) = default;
    Model(Model&&) = default;
    Model& operator=(Model&&) = default;
    /// Errors: std::bad_alloc, with the model as it was.
    Model& operator=(const Model& other) { return *this = Model(other); }

    /// Reads what SaveModel wrote, behind a line with the name. Neither Dataset nor actions are set: who loads a
    /// workspace links by DatasetLink, and a subclass takes this model over by SetMembersShallow.
    ///
    /// A damaged passage is not reported: a field that is no number is 0, what a short line or a stream that ends early
    /// lacks is empty or 0, and lists end where the stream does.
    /// Errors: std::bad_alloc, at once, also for counts that cannot be true: negative shapes, more cells than bytes follow
    ///         (and more than 65536), or, unless the stream ends there, more than 64 cells or names per byte of the text
    ///         that should hold them. A stream that cannot tell what follows, a pipe, is taken at its word.
    explicit Model(std::istream& stream);

    /// A new model that shares nothing but the dataset, which is told of it. It is a plain Model, not of the concrete
    /// type. Threads and DatasetLink are empty; the dataset is only taken over with a code from FirstCodeWithDataset on.
    std::shared_ptr<Model> Copy() const;

    /// Writes the passage of this model in a workspace file and flushes the stream; nothing if that has failed before.
    /// Fields of a line are separated by "~", booleans are "true" and "false", matrices as in MatrixText.h. The name is
    /// not written.
    ///
    ///   ModelCode, ModelType, ModelCommand, ModelFlag               a line each
    ///   TableTop                                                    a line with its number of line feeds, then the text
    ///   ElapsedTime
    ///   SamplesNames                                                a line with their number, a line with them if any
    ///   Samples, ObsId                                              each "R~C", then its rows
    ///   Summary                                                     see SaveSummaryStructure
    ///   IntList                                                     "m", then "~" and the entry for each
    ///   IntLists                                                    a line with their number, a line like the last for each
    ///   Elements, HiddenElements                                    a line with their number; for each "name~R~C", then
    ///                                                               its rows if R and C are at least 1
    ///   DatasetChanged, DatasetWasDeleted, DatasetLink or "empty"   a line each
    ///
    /// An empty matrix has one empty line for its rows, a null one is like 0 x 0, and a null text like "".
    /// Requires: no "~" in a name, no line feed in any text but TableTop. Not tested.
    void SaveModel(std::ostream& stream) const;

    /// Writes delimited text: a line of SamplesNames, then a line per draw, with six significant digits. Nothing is
    /// quoted. False if the file cannot be opened, or not be written as a whole.
    bool ExportSamples(const std::string& path, const char& delimiter) const;

    /// Takes the results of another model over: all fields from ModelType to ObsId, and the entries of both maps, which
    /// join those that are there and replace those of the same key. Shallow: the matrices are shared; deep: copied.
    /// TableTop is shared in both forms. Code, threads, dataset, link and actions stay.
    void SetMembersShallow(const std::shared_ptr<Model>& other);
    void SetMembersDeep(const std::shared_ptr<Model>& other);

    // ---- Fields ----
    // Shallow: the matrices of the argument are shared; deep: copied. Null pointers stay null.

    void SetTableTop(const std::string& text);  ///< TableTop points to a new string
    void SetSamplesShallow(const std::shared_ptr<MatrixXd>& matrix);
    void SetSamplesDeep(const std::shared_ptr<MatrixXd>& matrix);
    void SetObsIdShallow(const std::shared_ptr<MatrixXd>& matrix);
    void SetObsIdDeep(const std::shared_ptr<MatrixXd>& matrix);
    void SetElementsShallow(const MatrixMap& elements);  ///< replaces the map
    void SetElementsDeep(const MatrixMap& elements);     ///< entries under other keys stay
    void SetHiddenElementsShallow(const MatrixMap& elements);
    void SetHiddenElementsDeep(const MatrixMap& elements);
    void SetAdditionalActionsParser(const std::vector<std::string>& names);  ///< appends
    void SetAdditionalActionsGUI(const std::vector<std::string>& names);     ///< appends
    bool ProvidesAction(const std::string& name) const;                      ///< whether ActionsParser holds that name

    // ---- Link to the dataset, and threads ----

    void SetDataset(std::shared_ptr<quarn::Dataset> dataset);  ///< makes it the only entry of Dataset
    void SetDatasetWasDeleted();                               ///< empties Dataset
    void InterruptThreads();                                   ///< see EstimatorBase::InterruptThreads

    // ---- Printing ----

    /// Prints a table: a heading with ModelName, the text top if there is any, and between rules a header line and the
    /// rows of summary; then the text tail if there is any. Rows are plain and shaded in turn, over the whole table; a
    /// blank line stands between blocks. With more than one DepVars, each block that is not unnamed has a heading line,
    /// and a shaded row below it.
    ///
    ///   width  of the label column in the last block; LabelWidth elsewhere
    ///
    /// Rows that summary lacks are left out; a label that it lacks is empty.
    void PrintTable(const std::string& heading, const std::string& top, const std::string& tail,
                    const std::string& header, const SummaryStructure& summary, const EventDispatcher& dispatcher,
                    int width) const;

    /// The table of results: TableTop, the log marginal likelihoods in Elements, Summary, the elapsed time.
    void PrintResults(const EventDispatcher& dispatcher) const;

    /// The table of diagnostics, in place of the numbers of Summary.
    ///
    ///   diagnostics  a row per row of Summary, as MCMCdiagnostics gives them: mean, spectral density at 0, numerical
    ///                standard error, relative numerical efficiency, inefficiency factor
    void PrintDiagnostics(const MatrixXd& diagnostics, const EventDispatcher& dispatcher) const;

    // ---- Operations of the concrete models ----
    // Here they do nothing but say so: "Generic" or "GENERIC" in the strings of their report, and -1 or false.

    virtual void PrintMFX(const MatrixXd& effects, int type, const EventDispatcher& dispatcher);
    virtual void PrintStabTest(const MatrixXd& statistics, const EventDispatcher& dispatcher);
    virtual void DefineAdditionalActions();
    virtual MatrixXd CalculateDiagnostics(std::string& message);  ///< 1 x 1 here
    virtual int ModelAction1(std::string& message, std::string& detail, std::vector<std::string>& arguments);
    virtual int ModelAction2(std::string& message, std::string& detail, std::vector<std::string>& arguments);
    virtual int ModelAction3(std::string& message, std::string& detail, std::vector<std::string>& arguments);
    virtual int ModelAction4(std::string& message, std::string& detail, std::vector<std::string>& arguments);
    virtual bool Store(std::string what, std::string name, std::string& message, std::string& detail);
    virtual bool CalculateMFX(int type, std::shared_ptr<MatrixXd> points, int at, std::shared_ptr<MatrixXd> effects,
                              std::string& message, std::string& detail, EventDispatcher* dispatcher);
    virtual bool Predict(bool first, bool second, std::shared_ptr<MatrixXd> points, int type, std::string name,
                         std::shared_ptr<MatrixXd> predictions, std::string& message, std::string& detail,
                         EventDispatcher* dispatcher);
    virtual bool Forecast(int periods, std::shared_ptr<MatrixXd> points, std::shared_ptr<MatrixXd> forecasts,
                          std::string& message, std::string& detail, EventDispatcher* dispatcher);
    virtual bool TestStability(std::shared_ptr<MatrixXd> statistics, std::string& message, std::string& detail,
                               EventDispatcher* dispatcher);
    virtual bool CalculateIRFs(int periods, bool first, bool second, std::shared_ptr<MatrixXd> responses,
                               std::string& message, std::string& detail);

 private:
    /// TableTop and below it a line for each log marginal likelihood.
    std::string TopWithLogML() const;
};

#pragma GCC diagnostic pop

}  // namespace quarn
