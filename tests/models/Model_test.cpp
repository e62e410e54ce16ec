#include <quarn/models/Model.h>

#include <gtest/gtest.h>

#include <optional>

namespace {

using namespace quarn;
using Names = std::vector<std::string>;

std::shared_ptr<MatrixXd> Filled(double value) { return std::make_shared<MatrixXd>(MatrixXd::Constant(2, 2, value)); }

std::shared_ptr<Model> Finished() {
    const auto model = std::make_shared<Model>();
    model->ModelCode = Model::FirstCodeWithDataset;
    model->ModelName = "m";
    model->SetTableTop("top");
    model->Summary.SetIndVars({"a", "b"});
    model->Samples = Filled(1);
    model->ObsId = Filled(2);
    model->Elements["e"] = Filled(3);
    model->HiddenElements = {{"h", Filled(4)}, {"null", nullptr}};
    model->ActionsParser = {"p"};
    model->ActionsGUI = {"g"};
    return model;
}

/// Whether a model has the results of another, and whether the matrices are the same objects.
void ExpectResults(const Model& a, const Model& b, bool shared) {
    EXPECT_EQ(a.ModelName, b.ModelName);
    EXPECT_EQ(*a.TableTop, *b.TableTop);
    EXPECT_EQ(a.Summary.IndVars, b.Summary.IndVars);
    EXPECT_EQ(a.HiddenElements.at("null"), nullptr);
    for (const auto& [mine, its] : {std::pair(a.Samples, b.Samples), std::pair(a.ObsId, b.ObsId),
                                    std::pair(a.Elements.at("e"), b.Elements.at("e")),
                                    std::pair(a.HiddenElements.at("h"), b.HiddenElements.at("h"))})
        EXPECT_TRUE(*mine == *its && (mine == its) == shared);
}

TEST(Model, CopiesDeeplyAndTellsTheDataset) {
    const auto source = Finished();
    const auto dataset = std::make_shared<Dataset>();
    source->SetDataset(dataset);
    source->DatasetLink = "dataset0";
    source->DatasetChanged = true;
    const auto copy = source->Copy();
    ExpectResults(*copy, *source, false);
    EXPECT_NE(copy->TableTop, source->TableTop);
    EXPECT_TRUE(copy->ModelCode == source->ModelCode && copy->DatasetChanged && copy->DatasetLink.empty());
    EXPECT_TRUE(copy->ActionsParser == Names{"p"} && copy->ActionsGUI == Names{"g"});
    EXPECT_EQ(copy->Dataset, source->Dataset);

    --source->ModelCode;  // a type without a dataset
    EXPECT_TRUE(source->Copy()->Dataset.empty() && !source->Copy()->DatasetWasDeleted);
    source->SetDatasetWasDeleted();
    EXPECT_TRUE(source->Copy()->Dataset.empty() && source->Copy()->DatasetWasDeleted);
    EXPECT_EQ(dataset->AssociatedModels, std::vector{copy});
    copy->SetDatasetWasDeleted();
    EXPECT_EQ(Model().Copy()->TableTop, nullptr);
}

TEST(Model, IsDoneWithItsLinkBeforeTheOldDatasetGoes) {
    for (const bool cut : {true, false}) {
        const auto other = std::make_shared<Dataset>();
        std::optional<bool> done;  // as the model is when it goes
        auto source = std::make_shared<Dataset>();
        struct Plain final : Model {};
        std::shared_ptr<Model> model(new Plain, [&](Plain* gone) {
            const auto linked = cut ? std::vector<std::shared_ptr<Dataset>>() : std::vector{other};
            done = gone->DatasetWasDeleted == cut && gone->Dataset == linked;
            delete gone;
        });
        model->SetDataset(source);
        model->DatasetWasDeleted = !cut;
        source->AddAssociatedModel(model);
        Model& last = *model;  // held by its dataset alone, which it alone holds
        model.reset();
        source.reset();
        if (cut)
            last.SetDatasetWasDeleted();
        else
            last.SetDataset(other);
        EXPECT_EQ(done, true) << cut;
    }
}

TEST(Model, TakesResultsOverSharedOrCopied) {
    const auto source = Finished();
    for (const bool shared : {false, true}) {
        Model model;
        model.Elements = {{"e", Filled(8)}, {"own", Filled(9)}};
        if (shared)
            model.SetMembersShallow(source);
        else
            model.SetMembersDeep(source);
        ExpectResults(model, *source, shared);
        EXPECT_TRUE(model.TableTop == source->TableTop && model.Elements.size() == 2);
        EXPECT_TRUE(model.ModelCode == -1 && model.ActionsParser.empty());
        model.SetElementsDeep(source->HiddenElements);
        EXPECT_EQ(model.Elements.size(), 4U);
        model.SetElementsShallow(source->HiddenElements);
        EXPECT_EQ(model.Elements, source->HiddenElements);
    }
}

TEST(Model, ProvidesNoOperationsAndOnlyTheActionsOfTheCommandLanguage) {
    Model model;
    std::string message, detail;
    EXPECT_EQ(model.ModelAction4(message, detail, model.SamplesNames), -1);
    EXPECT_TRUE(message == "Generic" && detail.empty());
    EXPECT_FALSE(model.Forecast(1, nullptr, nullptr, message, detail, nullptr));
    EXPECT_TRUE(message == "GENERIC" && detail == "GENERIC");
    model.SetAdditionalActionsParser({"roc"});
    model.SetAdditionalActionsParser(model.ActionsParser);
    model.SetAdditionalActionsGUI({"ROC curve"});
    EXPECT_EQ(model.ActionsParser, (Names{"roc", "roc"}));
    EXPECT_TRUE(model.ProvidesAction("roc") && !model.ProvidesAction("Roc") && !model.ProvidesAction("ROC curve"));
}

}  // namespace
