#include "../support/Matrices.h"

#include <quarn/datasets/Dataset.h>
#include <quarn/models/Model.h>

#include <gtest/gtest.h>

namespace {

using quarn::Dataset;
using quarn::MatrixXd;
using quarn::Model;
using quarn::testing::SameCells;
using Models = std::vector<std::shared_ptr<Model>>;

TEST(Association, KeepsModelsInOrderAndRemovesEveryEntry) {
    Dataset dataset;
    const auto a = std::make_shared<Model>(), b = std::make_shared<Model>(), stranger = std::make_shared<Model>();
    for (const auto& model : {a, b, a}) dataset.AddAssociatedModel(model);
    EXPECT_EQ(dataset.GetAssociatedModels(), (Models{a, b, a}));
    dataset.RemoveAssociatedModel(stranger);
    dataset.RemoveAssociatedModel(dataset.AssociatedModels[0]);  // an entry of the list itself
    EXPECT_EQ(dataset.GetAssociatedModels(), Models{b});
    dataset.SetAssociatedModels({b, a});
    EXPECT_EQ(dataset.GetAssociatedModels(), (Models{b, a}));
}

TEST(Association, TellsModelsWhatTheCodeSays) {
    for (const int code : {-1, 0, 1, 2, 3}) {
        const auto dataset = std::make_shared<Dataset>();
        const auto a = std::make_shared<Model>(), b = std::make_shared<Model>();
        for (const auto& model : {a, b}) {
            model->SetDataset(dataset);
            dataset->AddAssociatedModel(model);
        }
        for (int time = 0; time < 2; ++time) {
            dataset->NotifyAssociatedModels(code, "dataset7");
            for (const auto& model : {a, b}) {
                EXPECT_EQ(model->DatasetChanged, code == 0);
                EXPECT_EQ(model->DatasetWasDeleted, code == 1);
                EXPECT_EQ(model->Dataset.empty(), code == 1);
                EXPECT_EQ(model->DatasetLink, code == 2 ? "dataset7" : "");
            }
            EXPECT_EQ(dataset->GetAssociatedModels().size(), code == 1 ? 0U : 2U);
        }
        dataset->NotifyAssociatedModels(1, "");  // cuts the cycle
    }
}

TEST(Association, OutlivesTheLastPointerToTheDataset) {
    const auto model = std::make_shared<Model>();
    auto dataset = std::make_shared<Dataset>();
    const std::weak_ptr<Dataset> watched = dataset;
    model->SetDataset(dataset);
    dataset->AddAssociatedModel(model);
    std::exchange(dataset, nullptr).get()->NotifyAssociatedModels(1, "");
    EXPECT_TRUE(watched.expired());
    EXPECT_TRUE(model->DatasetWasDeleted);
}

TEST(Association, LinksAModelToOneDataset) {
    Model model;
    const auto first = std::make_shared<Dataset>(), second = std::make_shared<Dataset>();
    model.SetDatasetWasDeleted();
    model.SetDataset(first);
    model.SetDataset(second);
    EXPECT_EQ(model.Dataset, std::vector{second});
    EXPECT_FALSE(model.DatasetWasDeleted);
}

TEST(Dataset, StartsAsThePlaceholder) {
    const Dataset dataset;
    EXPECT_EQ(dataset.Name, "__QuarnEmptyDataset__");
    ASSERT_EQ(dataset.VarNames.size(), 1U);
    EXPECT_EQ(dataset.VarNames[0], "");
    EXPECT_TRUE(SameCells(dataset.Data, MatrixXd::Zero(1, 1)));
    EXPECT_EQ(std::pair(dataset.NumObs, dataset.NumVars), std::pair(1, 1));
    EXPECT_EQ(dataset.DatasetType, 0);
    EXPECT_EQ(dataset.TimeVariable + dataset.GroupVariable,
              "QuarnSystemVar_DefaultVarNameQuarnSystemVar_DefaultVarName");
    EXPECT_EQ(dataset.TimeFormat, "none");
    EXPECT_TRUE(dataset.StatusText.empty() && dataset.StringVars.empty() && dataset.AssociatedModels.empty());
    EXPECT_FALSE(dataset.TransformedSinceDeclaration || dataset.Loaded);
}

std::shared_ptr<Dataset> Filled(const std::shared_ptr<Model>& model) {
    wxArrayString names;
    for (const char* name : {"QuarnSystemVar_obsID", "a"}) names.Add(name);
    const auto dataset = std::make_shared<Dataset>(names, MatrixXd::Identity(2, 2));
    EXPECT_TRUE(dataset->Loaded && dataset->Name.empty() && !dataset->TransformedSinceDeclaration);
    dataset->Name = "d";
    dataset->StringVars[1] = {1, "a", {"x", "y"}, true, quarn::VectorXi::LinSpaced(2, 4, 5)};
    dataset->AssociatedModels = {model};
    dataset->TransformedSinceDeclaration = true;
    dataset->StatusText = "text";
    dataset->SaveId = "dataset3";
    return dataset;
}

void ExpectFilled(const Dataset& dataset, const std::shared_ptr<Model>& model) {
    EXPECT_TRUE(dataset.Loaded && dataset.TransformedSinceDeclaration);
    EXPECT_EQ(dataset.Name, "d");
    EXPECT_EQ(dataset.VarNames.size(), 2U);
    EXPECT_TRUE(SameCells(dataset.Data, MatrixXd::Identity(2, 2)));
    EXPECT_EQ(dataset.StatusText + dataset.SaveId + dataset.TimeFormat, "textdataset3none");
    EXPECT_EQ(dataset.AssociatedModels, Models{model});
    ASSERT_TRUE(dataset.StringVars.contains(1));
    const quarn::StringVar& a = dataset.StringVars.at(1);
    EXPECT_EQ(a.Values, (std::vector<std::string>{"x", "y"}));
    EXPECT_TRUE(a.IsTimeVariable && a.TimeIndex == quarn::VectorXi::LinSpaced(2, 4, 5));
}

TEST(Dataset, IsCopiedWithItsModelsButOwnsItsTable) {
    const auto model = std::make_shared<Model>();
    const auto source = Filled(model);
    const auto copy = source->Copy();
    Dataset assigned;
    assigned = *source;
    Dataset& itself = assigned;
    assigned = itself;
    source->Data.setZero();
    source->StringVars.at(1).Values[0] = "changed";
    source->AddAssociatedModel(model);
    source->VarNames.Clear();
    ExpectFilled(*copy, model);
    ExpectFilled(assigned, model);
    copy->NotifyAssociatedModels(0, "");
    EXPECT_TRUE(model->DatasetChanged);
}

}  // namespace
