#include <quarn/models/Model.h>

#include <boost/thread/thread.hpp>
#include <gtest/gtest.h>

namespace {

using namespace quarn;
using Names = std::vector<std::string>;

std::shared_ptr<MatrixXd> Filled(double value) { return std::make_shared<MatrixXd>(MatrixXd::Constant(2, 2, value)); }

std::shared_ptr<Model> Finished() {
    const auto model = std::make_shared<Model>();
    model->ModelCode = 11;
    model->ModelType = "Probit";
    model->ModelName = "m";
    model->ModelCommand = "probit(y ~ x)";
    model->ModelFlag = true;
    model->SetTableTop("top");
    model->ElapsedTime = "0.5";
    model->SamplesNames = {"a", "b"};
    model->Summary.SetIndVars({"a", "b"});
    model->IntList = {1};
    model->IntLists = {{2}, {}};
    model->Samples = Filled(1);
    model->ObsId = Filled(2);
    model->Elements["e"] = Filled(3);
    model->HiddenElements = {{"h", Filled(4)}, {"null", nullptr}};
    model->ActionsParser = {"p"};
    model->ActionsGUI = {"g"};
    return model;
}

/// Whether all texts, lists and matrices that a model takes over are equal.
void ExpectSameResults(const Model& a, const Model& b) {
    EXPECT_EQ(std::tie(a.ModelType, a.ModelName, a.ModelCommand, a.ModelFlag, *a.TableTop, a.ElapsedTime),
              std::tie(b.ModelType, b.ModelName, b.ModelCommand, b.ModelFlag, *b.TableTop, b.ElapsedTime));
    EXPECT_EQ(std::tie(a.SamplesNames, a.Summary.IndVars, a.IntList, a.IntLists, *a.Samples, *a.ObsId),
              std::tie(b.SamplesNames, b.Summary.IndVars, b.IntList, b.IntLists, *b.Samples, *b.ObsId));
    EXPECT_EQ(*a.Elements.at("e"), *b.Elements.at("e"));
    EXPECT_EQ(*a.HiddenElements.at("h"), *b.HiddenElements.at("h"));
    EXPECT_EQ(a.HiddenElements.at("null"), nullptr);
}

/// Whether the four matrices are the same objects.
bool SharesMatrices(const Model& a, const Model& b) {
    const bool shares = a.Samples == b.Samples;
    EXPECT_EQ(a.ObsId == b.ObsId, shares);
    EXPECT_EQ(a.Elements.at("e") == b.Elements.at("e"), shares);
    EXPECT_EQ(a.HiddenElements.at("h") == b.HiddenElements.at("h"), shares);
    return shares;
}

TEST(Model, CopiesDeeplyAndTellsTheDataset) {
    const auto source = Finished();
    const auto dataset = std::make_shared<Dataset>();
    source->SetDataset(dataset);
    source->DatasetChanged = true;
    source->DatasetLink = "dataset0";
    source->Threads.push_back(std::make_shared<boost::thread>());
    const auto copy = source->Copy();
    ExpectSameResults(*copy, *source);
    EXPECT_FALSE(SharesMatrices(*copy, *source));
    EXPECT_NE(copy->TableTop, source->TableTop);
    EXPECT_TRUE(copy->ModelCode == 11 && copy->DatasetChanged && copy->DatasetLink.empty() && copy->Threads.empty());
    EXPECT_EQ(copy->ActionsParser, Names{"p"});
    EXPECT_EQ(copy->ActionsGUI, Names{"g"});
    EXPECT_EQ(copy->Dataset, source->Dataset);
    EXPECT_EQ(dataset->AssociatedModels, std::vector{copy});

    source->ModelCode = 10;  // a type without a dataset
    EXPECT_TRUE(source->Copy()->Dataset.empty());
    EXPECT_FALSE(source->Copy()->DatasetWasDeleted);
    source->ModelCode = 11;
    source->SetDatasetWasDeleted();
    EXPECT_TRUE(source->Copy()->Dataset.empty());
    EXPECT_TRUE(source->Copy()->DatasetWasDeleted);
    EXPECT_EQ(dataset->AssociatedModels.size(), 1U);
    EXPECT_EQ(Model().Copy()->TableTop, nullptr);
    dataset->NotifyAssociatedModels(1, "");
}

TEST(Model, TakesResultsOverSharedOrCopied) {
    const auto source = Finished();
    for (const bool deep : {false, true}) {
        Model model;
        model.Elements = {{"e", Filled(8)}, {"own", Filled(9)}};
        model.DatasetLink = "kept";
        if (deep)
            model.SetMembersDeep(source);
        else
            model.SetMembersShallow(source);
        ExpectSameResults(model, *source);
        EXPECT_EQ(SharesMatrices(model, *source), !deep);
        EXPECT_EQ(model.TableTop, source->TableTop);
        EXPECT_EQ(model.Elements.size(), 2U);
        EXPECT_TRUE(model.ModelCode == -1 && model.ActionsParser.empty() && model.DatasetLink == "kept");
    }
}

TEST(Model, ReplacesElementsWhenSharedAndAddsThemWhenCopied) {
    Model model;
    const MatrixMap one = {{"one", Filled(1)}}, two = {{"two", Filled(2)}};
    model.SetElementsDeep(one);
    model.SetElementsDeep(two);
    EXPECT_EQ(model.Elements.size(), 2U);
    EXPECT_NE(model.Elements["two"], two.at("two"));
    model.SetElementsShallow(one);
    EXPECT_EQ(model.Elements, one);
    model.SetElementsShallow(model.Elements);
    model.SetHiddenElementsDeep(model.Elements);
    model.SetHiddenElementsDeep(model.HiddenElements);
    EXPECT_EQ(model.Elements, one);
    EXPECT_EQ(*model.HiddenElements.at("one"), *one.at("one"));
}

TEST(Model, ProvidesTheActionsOfTheCommandLanguage) {
    Model model;
    EXPECT_FALSE(model.ProvidesAction(""));
    model.SetAdditionalActionsParser({"roc"});
    model.SetAdditionalActionsParser(model.ActionsParser);
    model.SetAdditionalActionsParser({});
    model.SetAdditionalActionsGUI({"ROC curve"});
    EXPECT_EQ(model.ActionsParser, (Names{"roc", "roc"}));
    EXPECT_TRUE(model.ProvidesAction("roc"));
    for (const char* name : {"Roc", "ro", "roc ", "ROC curve"}) EXPECT_FALSE(model.ProvidesAction(name)) << name;
}

TEST(Model, SaysThatItIsGeneric) {
    Model model;
    EXPECT_TRUE(model.ModelCode == -1 && model.ModelType == "Generic");
    Names arguments = {"x"};
    for (const auto action : {&Model::ModelAction1, &Model::ModelAction2, &Model::ModelAction3, &Model::ModelAction4}) {
        std::string message, detail = "d";
        EXPECT_EQ((model.*action)(message, detail, arguments), -1);
        EXPECT_TRUE(message == "Generic" && detail == "d" && arguments == Names{"x"});
    }
    std::string m, d;
    EXPECT_EQ(model.CalculateDiagnostics(m).size(), 1);
    EXPECT_EQ(m, "Generic");
    const auto generic = [&](bool provided) {
        EXPECT_TRUE(!provided && m == "GENERIC" && d == "GENERIC");
        m.clear(), d.clear();
    };
    generic(model.Store("", "", m, d));
    generic(model.CalculateMFX(1, nullptr, 1, nullptr, m, d, nullptr));
    generic(model.Predict(true, true, nullptr, 1, "", nullptr, m, d, nullptr));
    generic(model.Forecast(1, nullptr, nullptr, m, d, nullptr));
    generic(model.TestStability(nullptr, m, d, nullptr));
    generic(model.CalculateIRFs(1, true, true, nullptr, m, d));
    model.DefineAdditionalActions();
    EXPECT_TRUE(model.ActionsParser.empty() && model.ActionsGUI.empty());
}

TEST(Model, StopsItsThreads) {
    Model model;
    bool wasInterrupted = false;
    model.Threads.push_back(std::make_shared<boost::thread>([&] {
        try {
            boost::this_thread::sleep(boost::posix_time::hours(1));
        } catch (const boost::thread_interrupted&) {
            wasInterrupted = true;
        }
    }));
    model.InterruptThreads();
    EXPECT_TRUE(wasInterrupted && model.Threads.empty());
}

}  // namespace
