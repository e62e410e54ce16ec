#include <quarn/base/Resizing_detail.h>
#include <quarn/workspace/QuarnStructure.h>

#include <utility>

namespace quarn {
namespace {

template <class Item>
using Items = std::map<std::string, std::shared_ptr<Item>>;

/// Empties the map and, for the structures that visit says true of, theirs, all the way down. Allocates nothing.
template <class Visit>
void TakeApart(Items<QuarnStructure>& structures, const Visit& visit) {
    std::multimap<std::string, std::shared_ptr<QuarnStructure>> rest;
    rest.merge(structures);
    while (!rest.empty()) {
        const auto node = rest.extract(rest.begin());
        if (visit(node.mapped())) rest.merge(node.mapped()->Structures);
    }
}

// ---- What it means for an item of each kind to lose its place ----

template <class Item>
void LosePlace(const std::shared_ptr<Item>& /*item*/) {}

void LosePlace(const std::shared_ptr<Dataset>& dataset) { dataset->NotifyAssociatedModels(1, ""); }

void LosePlace(const std::shared_ptr<Model>& model) {
    if (model->DatasetWasDeleted) return;
    for (const auto& dataset : model->Dataset) dataset->RemoveAssociatedModel(model);
    model->SetDatasetWasDeleted();
}

void LosePlace(const std::shared_ptr<QuarnStructure>& structure) {
    const auto giveUpItems = [](const std::shared_ptr<QuarnStructure>& each) {
        each->RemoveDatasets();
        each->RemoveModels();
        return true;
    };
    giveUpItems(structure);
    TakeApart(structure->Structures, giveUpItems);
}

// ---- The operations, for any kind ----

template <class Item>
void Add(Items<Item>& items, const std::string& name, std::shared_ptr<Item> item) {
    std::shared_ptr<Item>& place = items[name];
    if (place == item) return;
    const auto replaced = std::exchange(place, std::move(item));
    if (replaced != nullptr) LosePlace(replaced);
}

template <class Item>
bool Remove(Items<Item>& items, const std::string& name) {
    const auto node = items.extract(name);
    if (node.empty()) return false;
    LosePlace(node.mapped());
    return true;
}

template <class Item>
void RemoveAll(Items<Item>& items) {
    while (!items.empty()) LosePlace(items.extract(items.begin()).mapped());
}

template <class Item>
std::shared_ptr<Item> Find(const Items<Item>& items, const std::string& name) {
    const auto entry = items.find(name);
    return entry == items.end() ? nullptr : entry->second;
}

template <class Item>
void CopyTo(Item& target, const Item& item) {
    target = item;
}

void CopyTo(MatrixXd& target, const MatrixXd& item) { detail::Assign(target, item); }

template <class Item>
bool Get(const Items<Item>& items, const std::string& name, Item& target) {
    // Holds the item, which the target may be all that owns.
    const std::shared_ptr<Item> item = Find(items, name);
    if (item == nullptr) return false;
    CopyTo(target, *item);
    return true;
}

template <class Item>
void GetNames(const Items<Item>& items, std::vector<std::string>& names) {
    names.clear();
    for (const auto& entry : items) names.push_back(entry.first);
}

/// Calls visit for the five maps in the order of ItemKind.
template <class Structure, class Visit>
void ForEachKind(Structure& structure, const Visit& visit) {
    visit(structure.Matrices);
    visit(structure.Datasets);
    visit(structure.Models);
    visit(structure.Structures);
    visit(structure.Strings);
}

// ---- Deep copies ----

template <class Item>
std::shared_ptr<Item> CopyOf(const Item& item) {
    return std::make_shared<Item>(item);
}

std::shared_ptr<Dataset> CopyOf(const Dataset& dataset) { return dataset.Copy(); }

std::shared_ptr<Model> CopyOf(Model& model) { return model.Copy(); }

template <class Item>
void CopyItems(const Items<Item>& source, Items<Item>& target) {
    for (const auto& [name, item] : source) {
        // The place first: once there is a copy of a linked model, which its dataset lists, nothing may fail before it is
        // in the target.
        Items<Item> copied;
        std::shared_ptr<Item>& place = copied[name];
        place = CopyOf(*item);
        target.merge(copied);
    }
}

void CopyTree(const QuarnStructure& top, QuarnStructure& copyOfTop) {
    std::vector<std::pair<const QuarnStructure*, QuarnStructure*>> toDo{{&top, &copyOfTop}};
    while (!toDo.empty()) {
        const auto [source, target] = toDo.back();
        toDo.pop_back();
        CopyItems(source->Matrices, target->Matrices);
        CopyItems(source->Datasets, target->Datasets);
        CopyItems(source->Models, target->Models);
        CopyItems(source->Strings, target->Strings);
        for (auto nested = source->Structures.rbegin(); nested != source->Structures.rend(); ++nested) {
            auto copy = std::make_shared<QuarnStructure>();
            toDo.emplace_back(nested->second.get(), copy.get());
            target->Structures[nested->first] = std::move(copy);
        }
    }
}

/// Cuts the models of a tree, and leaves its datasets alone. Allocates nothing.
void CutModels(QuarnStructure& top) {
    top.RemoveModels();
    TakeApart(top.Structures, [](const std::shared_ptr<QuarnStructure>& nested) {
        nested->RemoveModels();
        return true;
    });
}

}  // namespace

// The operations of one kind, once for all kinds.
// NOLINTBEGIN(bugprone-macro-parentheses): a type cannot stand in parentheses.
#define QUARN_DEFINE_KIND(Kind, Kinds, Item)                                                                         \
    void QuarnStructure::Add##Kind(const std::string& name, std::shared_ptr<Item> item) {                            \
        Add(Kinds, name, std::move(item));                                                                           \
    }                                                                                                                \
    bool QuarnStructure::Remove##Kind(const std::string& name) { return Remove(Kinds, name); }                       \
    bool QuarnStructure::Get##Kind(const std::string& name, Item& target) const { return Get(Kinds, name, target); } \
    std::shared_ptr<Item> QuarnStructure::Getp##Kind(const std::string& name) const { return Find(Kinds, name); }    \
    void QuarnStructure::Get##Kind##Names(std::vector<std::string>& names) const { GetNames(Kinds, names); }         \
    bool QuarnStructure::Has##Kinds() const { return !Kinds.empty(); }                                               \
    void QuarnStructure::Remove##Kinds() { RemoveAll(Kinds); }

QUARN_DEFINE_KIND(Matrix, Matrices, MatrixXd)
QUARN_DEFINE_KIND(Dataset, Datasets, Dataset)
QUARN_DEFINE_KIND(Model, Models, Model)
QUARN_DEFINE_KIND(Structure, Structures, QuarnStructure)
QUARN_DEFINE_KIND(String, Strings, std::string)
#undef QUARN_DEFINE_KIND
// NOLINTEND(bugprone-macro-parentheses)

QuarnStructure::~QuarnStructure() {
    // Only what nothing else holds: shared structures stay whole.
    TakeApart(Structures, [](const std::shared_ptr<QuarnStructure>& nested) { return nested.use_count() == 1; });
}

std::shared_ptr<QuarnStructure> QuarnStructure::Copy() const {
    auto top = std::make_shared<QuarnStructure>();
    try {
        CopyTree(*this, *top);
    } catch (...) {
        // Datasets of the source list the copies of their models, and would keep them. Not Clear: the copied datasets list
        // the models of the source.
        CutModels(*top);
        throw;
    }
    return top;
}

bool QuarnStructure::HasMember(const std::string& name, int& kind) const {
    kind = NoItem;
    int next = MatrixItem;
    ForEachKind(*this, [&](const auto& items) {
        if (kind == NoItem && items.contains(name)) kind = next;
        ++next;
    });
    return kind != NoItem;
}

bool QuarnStructure::IsEmpty() const {
    bool isEmpty = true;
    ForEachKind(*this, [&](const auto& items) { isEmpty = isEmpty && items.empty(); });
    return isEmpty;
}

void QuarnStructure::Clear() {
    ForEachKind(*this, [](auto& items) { RemoveAll(items); });
}

}  // namespace quarn
