#pragma once

#include <quarn/base/Export.h>
#include <quarn/workspace/QuarnStructure.h>

#include <map>
#include <string>

namespace quarn {

/// A QuarnStructure with a record of the order of its items. The two know nothing of each other: whoever adds or removes
/// an item keeps the record. Copy gives the items without it, and it is not saved. Clear is not virtual.
class QUARN_EXPORT QuarnOrderStructure : public QuarnStructure {
 public:
    std::map<int, int> ElementOrder;  ///< by position, the code of the item; positions and codes are the caller's

    using QuarnStructure::QuarnStructure;

    void AddElementOrder(int position, int code);  ///< replaces a code that stands there
    int GetItemCode(int position) const;           ///< -1 where there is none
    int NumberOfElements() const;                  ///< of ElementOrder

    /// Takes an item out without telling any object: links stay as they are. False if there is none.
    bool ReleaseDataset(const std::string& name);
    bool ReleaseModel(const std::string& name);
    bool ReleaseStructure(const std::string& name);

    void Clear();  ///< also of ElementOrder
};

}  // namespace quarn
