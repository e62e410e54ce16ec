#include "../support/Tables.h"

#include <quarn/models/Model.h>

#include <gtest/gtest.h>

namespace {

using quarn::Dataset;
using quarn::Model;
using Models = std::vector<std::shared_ptr<Model>>;

void Link(const std::shared_ptr<Model>& model, const std::shared_ptr<Dataset>& dataset) {
    model->SetDataset(dataset);
    dataset->AddAssociatedModel(model);
}

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
        const Models models = {std::make_shared<Model>(), std::make_shared<Model>()};
        for (const auto& model : models) Link(model, dataset);
        for (int time = 0; time < 2; ++time) {
            dataset->NotifyAssociatedModels(code, "dataset7");
            for (const auto& model : models) {
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
    Link(model, dataset);
    std::exchange(dataset, nullptr).get()->NotifyAssociatedModels(1, "");
    EXPECT_TRUE(watched.expired() && model->DatasetWasDeleted);
    const auto second = std::make_shared<Dataset>();
    for (const auto& next : {std::make_shared<Dataset>(), second}) model->SetDataset(next);
    EXPECT_EQ(model->Dataset, std::vector{second});
    EXPECT_FALSE(model->DatasetWasDeleted);
}

TEST(Dataset, StartsAsThePlaceholder) {
    const Dataset dataset;
    EXPECT_EQ(dataset.Name, "__QuarnEmptyDataset__");
    EXPECT_EQ(quarn::testing::Saved(dataset),
              "1~1\n0~QuarnSystemVar_DefaultVarName~QuarnSystemVar_DefaultVarName~none~0\n\n0\n0\n\n");
    EXPECT_EQ(dataset.VarNames.size(), 1U);
    EXPECT_TRUE(dataset.StatusText.empty() && dataset.AssociatedModels.empty() && !dataset.Loaded);
}

}  // namespace
