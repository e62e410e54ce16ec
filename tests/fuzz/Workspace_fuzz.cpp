#include "../workspace/Workspaces.h"
#include "Property.h"

#include <algorithm>
#include <optional>

namespace {

using namespace quarn;
using DatasetsByKey = std::map<std::string, std::shared_ptr<Dataset>>;

/// A tree as an application loads one.
struct Loaded {
    DatasetsByKey Datasets;
    testing::Workspace Top;

    explicit Loaded(std::istream& stream) : Top(stream, Datasets) { Top.AssociateModelsToDatasets(Datasets); }
};

/// With the keys that a save begins with.
std::string Saved(Loaded& loaded, int counter) {
    loaded.Top.NotifyAssociatedModelsForSaving(counter);
    return fuzz::Passage([&](std::ostream& stream) { loaded.Top.SaveStructure(stream); });
}

template <class Visit>
void ForEachStructure(const QuarnStructure& structure, const Visit& visit) {
    visit(structure);
    for (const auto& entry : structure.Structures) ForEachStructure(*entry.second, visit);
}

bool Lists(const Dataset& dataset, const std::shared_ptr<Model>& model) {
    return std::ranges::count(dataset.AssociatedModels, model) == 1;
}

/// Right after a load: a model is linked if there is a dataset of its key, and both ways.
void RequireLinks(const Loaded& loaded) {
    ForEachStructure(loaded.Top, [&](const QuarnStructure& structure) {
        for (const auto& [name, model] : structure.Models) {
            fuzz::Require(name == model->ModelName);
            const auto found = loaded.Datasets.find(model->DatasetLink);
            const bool isLinked = found != loaded.Datasets.end() && !model->DatasetLink.empty() &&
                                  !model->DatasetWasDeleted && model->ModelCode >= Model::FirstCodeWithDataset;
            fuzz::Require(model->Dataset.size() == (isLinked ? 1U : 0U));
            if (isLinked) fuzz::Require(model->Dataset.front() == found->second && Lists(*found->second, model));
        }
    });
}

/// The keys of the datasets that the models of a tree are linked to, and "" for the others, in order.
std::vector<std::string> Links(const QuarnStructure& top) {
    std::vector<std::string> links;
    ForEachStructure(top, [&](const QuarnStructure& structure) {
        for (const auto& [name, model] : structure.Models)
            links.push_back(model->Dataset.empty() ? "" : model->Dataset.front()->SaveId);
    });
    return links;
}

bool LiesIn(const QuarnStructure& top, const std::shared_ptr<Dataset>& dataset) {
    bool lies = false;
    ForEachStructure(top, [&](const QuarnStructure& structure) {
        for (const auto& entry : structure.Datasets) lies = lies || entry.second == dataset;
    });
    return lies;
}

/// The links that a save keeps: those to a dataset of the tree, and not of one that has lost its place to another.
void CutLinksOutOf(const QuarnStructure& top) {
    ForEachStructure(top, [&](const QuarnStructure& structure) {
        for (const auto& [name, model] : structure.Models)
            if (!model->Dataset.empty() && !LiesIn(top, model->Dataset.front())) {
                model->Dataset.front()->RemoveAssociatedModel(model);
                model->Dataset.clear();
            }
    });
}

}  // namespace

/// Any bytes as a workspace, behind the first number of the keys under which it is saved.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    fuzz::Input input(data, size);
    const int counter = input.Byte();
    std::istringstream stream(input.Rest());
    std::optional<Loaded> loaded;
    if (fuzz::IsRefused([&] { loaded.emplace(stream); })) return 0;
    RequireLinks(*loaded);
    CutLinksOutOf(loaded->Top);
    const std::string saved = Saved(*loaded, counter);
    std::istringstream second(saved + "rest");
    Loaded again(second);
    fuzz::Require(fuzz::Rest(second) == "rest");
    RequireLinks(again);
    fuzz::Require(Links(again.Top) == Links(loaded->Top));
    fuzz::Require(Saved(again, counter) == saved);
    const auto copy = again.Top.Copy();
    again.Top.Clear();
    fuzz::Require(again.Top.IsEmpty() && copy->Models.size() == loaded->Top.Models.size());
    copy->Clear();
    return 0;
}
