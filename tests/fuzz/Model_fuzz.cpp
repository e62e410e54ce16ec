#include "../support/Matrices.h"
#include "Property.h"

#include <quarn/models/Model.h>

#include <algorithm>
#include <memory>
#include <optional>

namespace {

using namespace quarn;
using quarn::testing::SameCells;

std::string Saved(const SummaryStructure& summary) {
    return fuzz::Passage([&](std::ostream& stream) { summary.SaveSummaryStructure(stream); });
}

std::string Saved(const Model& model) {
    return fuzz::Passage([&](std::ostream& stream) { model.SaveModel(stream); });
}

bool Same(const SummaryStructure& a, const SummaryStructure& b) {
    return a.DepVars == b.DepVars && a.IndVars == b.IndVars && SameCells(a.SummaryMatrix, b.SummaryMatrix) &&
           a.SpacesVector == b.SpacesVector;
}

bool Same(const MatrixMap& a, const MatrixMap& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto& left, const auto& right) {
        return left.first == right.first && SameCells(*left.second, *right.second);
    });
}

/// Whether two loaded models are equal in all that a passage holds. The names stand before it.
bool Same(const Model& a, const Model& b) {
    return a.ModelCode == b.ModelCode && a.ModelType == b.ModelType && a.ModelCommand == b.ModelCommand &&
           a.ModelFlag == b.ModelFlag && *a.TableTop == *b.TableTop && a.ElapsedTime == b.ElapsedTime &&
           a.SamplesNames == b.SamplesNames && SameCells(*a.Samples, *b.Samples) && SameCells(*a.ObsId, *b.ObsId) &&
           Same(a.Summary, b.Summary) && a.IntList == b.IntList && a.IntLists == b.IntLists &&
           Same(a.Elements, b.Elements) && Same(a.HiddenElements, b.HiddenElements) &&
           a.DatasetChanged == b.DatasetChanged && a.DatasetWasDeleted == b.DatasetWasDeleted &&
           a.DatasetLink == b.DatasetLink;
}

template <class Object>
void RequireComesBack(const Object& object, const std::string& before) {
    std::istringstream stream(before + Saved(object) + "rest");
    const Object again(stream);
    fuzz::Require(Same(again, object) && Saved(again) == Saved(object));
    fuzz::Require(fuzz::Rest(stream) == "rest");
}

/// Copies, and what is taken over from another model, are saved alike; the link is not copied.
void RequireCopies(const Model& model) {
    Model unlinked = model;
    unlinked.DatasetLink.clear();
    fuzz::Require(Saved(*model.Copy()) == Saved(unlinked));
    Model taker;
    taker.ModelCode = model.ModelCode;
    taker.DatasetChanged = model.DatasetChanged;
    taker.DatasetWasDeleted = model.DatasetWasDeleted;
    taker.SetMembersDeep(std::make_shared<Model>(model));
    fuzz::Require(Saved(taker) == Saved(unlinked));
}

/// A table is printed of whatever is there, and as often as one likes.
void RequirePrints(const Model& model) {
    const auto print = [&](std::ostream& page) {
        const EventDispatcher dispatcher(MakeStreamSink(page, TerminalStyle::Ansi));
        model.PrintResults(dispatcher);
        const auto& numbers = model.Summary.SummaryMatrix;
        model.PrintDiagnostics(MatrixXd::Ones(numbers.cols() != 0 ? numbers.rows() : 1, 5), dispatcher);
    };
    fuzz::Require(fuzz::Passage(print) == fuzz::Passage(print));
}

}  // namespace

/// Any bytes as the passage of a summary or, with an odd byte in front, of a model.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    fuzz::Input input(data, size);
    const bool isModel = input.Byte() % 2 != 0;
    std::istringstream stream(input.Rest());
    std::optional<SummaryStructure> summary;
    std::optional<Model> model;
    const auto load = [&] { isModel ? void(model.emplace(stream)) : void(summary.emplace(stream)); };
    if (fuzz::IsRefused(load)) return 0;
    if (summary) RequireComesBack(*summary, "");
    if (!model) return 0;
    fuzz::Require(model->Dataset.empty() && model->Threads.empty() && model->ActionsParser.empty());
    RequireComesBack(*model, "name\n");
    RequireCopies(*model);
    RequirePrints(*model);
    return 0;
}
