#include <quarn/workspace/QuarnOrderStructure.h>

namespace quarn {

void QuarnOrderStructure::AddElementOrder(int position, int code) { ElementOrder[position] = code; }

int QuarnOrderStructure::GetItemCode(int position) const {
    const auto entry = ElementOrder.find(position);
    return entry == ElementOrder.end() ? -1 : entry->second;
}

int QuarnOrderStructure::NumberOfElements() const { return static_cast<int>(ElementOrder.size()); }

bool QuarnOrderStructure::ReleaseDataset(const std::string& name) { return Datasets.erase(name) != 0; }

bool QuarnOrderStructure::ReleaseModel(const std::string& name) { return Models.erase(name) != 0; }

bool QuarnOrderStructure::ReleaseStructure(const std::string& name) { return Structures.erase(name) != 0; }

void QuarnOrderStructure::Clear() {
    QuarnStructure::Clear();
    ElementOrder.clear();
}

}  // namespace quarn
