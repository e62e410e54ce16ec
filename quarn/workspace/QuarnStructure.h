#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>
#include <quarn/datasets/Dataset.h>
#include <quarn/models/Model.h>

#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace quarn {

/// A workspace: matrices, datasets, models, strings and further structures, each under a name, each kind in a map of its
/// own. One name can stand in several kinds. Objects are shared, not owned alone.
///
/// Beyond being maps, the containers keep datasets and their models true to each other: a model that loses its place,
/// or whose dataset loses its place, is cut from the dataset. Losing its place means being removed, or replaced by
/// another object. A structure that loses its place gives up the datasets, models and structures below it.
///
/// Requires: pointers are not null; no structure lies below itself. Not tested.
/// Errors:   std::bad_alloc; a name that is not there is told by false.
/// Threads:  one at a time.
/// Cost:     logarithmic in the items of the kind, apart from what is copied or cut. No operation recurses: trees may be
///           of any depth.
class QUARN_EXPORT QuarnStructure {
 public:
    /// The kinds, in the order in which a name is looked up.
    enum ItemKind : int { NoItem = -1, MatrixItem = 1, DatasetItem, ModelItem, StructureItem, StringItem };

    std::map<std::string, std::shared_ptr<MatrixXd>> Matrices;
    std::map<std::string, std::shared_ptr<Dataset>> Datasets;
    std::map<std::string, std::shared_ptr<Model>> Models;
    std::map<std::string, std::shared_ptr<QuarnStructure>> Structures;
    std::map<std::string, std::shared_ptr<std::string>> Strings;

    // ---- Construction and copying ----

    QuarnStructure() = default;

    /// Reads what SaveStructure wrote. Models come unlinked: call AssociateModelsToDatasets on the top structure.
    ///
    ///   datasets  takes each dataset of the tree under its SaveId; entries that are there already stay
    ///
    /// A string of several lines comes back as one, without its line ends; an empty matrix comes back too. A damaged file
    /// is not reported. The load ends where the stream does, whatever the counts say, and leaves what it has.
    /// Errors: std::bad_alloc also for counts that cannot be true: those of Dataset(stream) and Model(stream), and of
    ///         matrices by the same measure.
    QuarnStructure(std::istream& stream, std::map<std::string, std::shared_ptr<Dataset>>& datasets);

    // Copies of the container share its objects: for objects of their own, see Copy. Destroying a container cuts
    // nothing. Models and datasets that are linked keep each other alive unless they are removed before, by Clear.
    QuarnStructure(const QuarnStructure&) = default;
    QuarnStructure(QuarnStructure&&) = default;
    QuarnStructure& operator=(const QuarnStructure&) = default;
    QuarnStructure& operator=(QuarnStructure&&) = default;
    ~QuarnStructure();

    /// A new tree of new objects. The copy of a linked model is linked to the dataset of its source and not to the copy
    /// of that; the copy of a dataset lists the models of its source, as Dataset::Copy has it, so that removing it cuts
    /// these.
    std::shared_ptr<QuarnStructure> Copy() const;

    // ---- One item ----

    /// Stores an item. Another one under that name loses its place; the same one keeps it.
    void AddMatrix(const std::string& name, std::shared_ptr<MatrixXd> matrix);
    void AddDataset(const std::string& name, std::shared_ptr<Dataset> dataset);
    void AddModel(const std::string& name, std::shared_ptr<Model> model);
    void AddStructure(const std::string& name, std::shared_ptr<QuarnStructure> structure);
    void AddString(const std::string& name, std::shared_ptr<std::string> text);

    /// Removes an item. False if there is none.
    bool RemoveMatrix(const std::string& name);
    bool RemoveDataset(const std::string& name);
    bool RemoveModel(const std::string& name);
    bool RemoveStructure(const std::string& name);
    bool RemoveString(const std::string& name);

    /// Assigns the stored object, of a structure its five maps: it then shares their objects. False, and no assignment,
    /// if there is none.
    bool GetMatrix(const std::string& name, MatrixXd& matrix) const;
    bool GetDataset(const std::string& name, Dataset& dataset) const;
    bool GetModel(const std::string& name, Model& model) const;
    bool GetStructure(const std::string& name, QuarnStructure& structure) const;
    bool GetString(const std::string& name, std::string& text) const;

    /// The stored pointer, null if there is none.
    std::shared_ptr<MatrixXd> GetpMatrix(const std::string& name) const;
    std::shared_ptr<Dataset> GetpDataset(const std::string& name) const;
    std::shared_ptr<Model> GetpModel(const std::string& name) const;
    std::shared_ptr<QuarnStructure> GetpStructure(const std::string& name) const;
    std::shared_ptr<std::string> GetpString(const std::string& name) const;

    /// Whether an item of any kind has the name. kind becomes that of the first in the order of ItemKind, or NoItem.
    bool HasMember(const std::string& name, int& kind) const;

    // ---- All items of a kind ----

    /// Replaces names by those of the kind, in order.
    void GetMatrixNames(std::vector<std::string>& names) const;
    void GetDatasetNames(std::vector<std::string>& names) const;
    void GetModelNames(std::vector<std::string>& names) const;
    void GetStructureNames(std::vector<std::string>& names) const;
    void GetStringNames(std::vector<std::string>& names) const;

    bool HasMatrices() const;
    bool HasDatasets() const;
    bool HasModels() const;
    bool HasStructures() const;
    bool HasStrings() const;

    void RemoveMatrices();
    void RemoveDatasets();
    void RemoveModels();
    void RemoveStructures();
    void RemoveStrings();

    bool IsEmpty() const;
    void Clear();  ///< removes the items of all kinds, in the order of ItemKind

    // ---- Saving and links ----

    /// Gives each dataset of the tree its key in the file, "dataset" and a number, and passes it on to its models; other
    /// models of the tree lose what key they had. A model that two of them list, one the copy of the other, gets the key of
    /// the one that it is linked to. Call it on the top structure before SaveStructure. counter is the first number, and
    /// afterwards the next free one.
    void NotifyAssociatedModelsForSaving(int& counter);

    /// Writes the tree as lines, fields separated by "~": five counts, in the order of ItemKind, and then the items in
    /// this order.
    ///
    ///   matrix     name~, and the passage of SaveMatrix on the same line
    ///   dataset    name~, and the passage of SaveDataset on the same line
    ///   model      name, then the lines of SaveModel
    ///   structure  name, then its lines, as these
    ///   string     name, then the text with "_#_end_of_string_#_" behind it
    ///
    /// Errors: none reported. The caller looks at the stream afterwards.
    /// Requires: no "~" or line feed in a name; of a string of several lines, no end mark in its lines joined. Not tested.
    void SaveStructure(std::ostream& stream) const;

    /// Links the models of the tree to the datasets whose keys they bear, both ways; but no model that was cut, and none
    /// with a ModelCode below 11. A model whose key is not there stays as it is: Dataset empty, DatasetWasDeleted false.
    /// Call it once, after loading, on the top structure.
    void AssociateModelsToDatasets(std::map<std::string, std::shared_ptr<Dataset>>& datasets);
};

}  // namespace quarn
