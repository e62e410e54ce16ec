#pragma once

#include <quarn/workspace/QuarnStructure.h>

#include <string>

namespace quarn::cli {

/// A workspace file in memory, its models linked to their datasets.
class Workspace {
 public:
    QuarnStructure Top;

    /// Throws Failure where the file cannot be read, is none, or ends before all that it announces.
    explicit Workspace(const std::string& file);
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;
    ~Workspace() { Top.Clear(); }
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

}  // namespace quarn::cli
