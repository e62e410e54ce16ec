#pragma once

#include <quarn/workspace/QuarnStructure.h>

#include <memory>
#include <string>

namespace quarn::cli {

/// A workspace file in memory, its models linked to their datasets.
class Workspace {
 public:
    QuarnStructure Top;

    /// Throws Failure where the file cannot be read, is none, or ends before all that it announces.
    explicit Workspace(const std::string& file);
    Workspace() = default;  ///< an empty one
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;
    ~Workspace() { Top.Clear(); }

    /// Adds a model, in place of one of the same name, and its dataset, to which it is linked. A dataset here with the
    /// same name and the same data serves instead, and takes the time structure of the new one if that has any; beside
    /// one with other data, the new one gets a number behind its name.
    void AddModel(const std::string& name, const std::shared_ptr<Model>& model,
                  const std::shared_ptr<Dataset>& dataset);

    /// Writes the whole to a file beside the named one, and then puts it in its place, so that a save that fails leaves
    /// the old file as it was. Throws Failure.
    void Save(const std::string& file);
};

/// Where an item stands.
struct Place {
    const QuarnStructure* Structure = nullptr;  ///< that holds it, or null if there is no such item
    std::string Name;
    int Kind = QuarnStructure::NoItem;
};

/// The item under a path: names of structures, and that of the item, with "/" between. A name can hold a "/" itself; the
/// longest names are tried first. kind is the one wanted, or NoItem for the first in the order of kinds.
Place FindItem(const QuarnStructure& top, const std::string& path, int kind = QuarnStructure::NoItem);

/// The model under a path. Throws Failure, with the name of the file, if there is none.
std::shared_ptr<Model> FindModel(const QuarnStructure& top, const std::string& file, const std::string& path);

}  // namespace quarn::cli
