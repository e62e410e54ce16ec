#include "../workspace/Workspaces.h"
#include "FailingAllocations.h"

#include <map>
#include <optional>
#include <sstream>

namespace {

using namespace quarn;
using quarn::testing::End;
using quarn::testing::FailEach;
using quarn::testing::Workspace;

std::string Saved(const Model& model) {
    std::ostringstream stream;
    model.SaveModel(stream);
    return stream.str();
}

std::string Saved(QuarnStructure& structure) {
    std::ostringstream stream;
    int counter = 0;
    structure.NotifyAssociatedModelsForSaving(counter);
    structure.SaveStructure(stream);
    return stream.str();
}

std::istream& FromItsStart(std::istream& stream) {
    stream.clear();
    return stream.seekg(0);
}

TEST(FailingAllocations, EndTheLoadAndTheCopyOfAModelByBadAlloc) {
    Workspace tree;
    quarn::testing::AddOneOfEach(tree);
    const Model& model = *tree.Models.begin()->second;
    const std::string expected = Saved(model);
    std::istringstream stream("the name of the model, which needs memory\n" + expected);
    std::optional<Model> loaded;
    std::shared_ptr<Model> copy;
    const auto check = [&](End end) {
        EXPECT_EQ(loaded.has_value() || copy != nullptr, end == End::Complete);
        EXPECT_TRUE(!loaded || Saved(*loaded) == expected);
        EXPECT_TRUE(!copy || Saved(*copy) == expected);
        loaded.reset();
        copy = nullptr;
        EXPECT_EQ(Saved(model), expected);
    };
    EXPECT_GT(FailEach([&] { loaded.emplace(FromItsStart(stream)); }, check), 60);
    EXPECT_GT(FailEach([&] { copy = model.Copy(); }, check), 40);
}

TEST(FailingAllocations, EndTheLoadOfAWorkspaceByBadAlloc) {
    Workspace tree;
    quarn::testing::AddOneOfEach(tree);
    const std::string expected = Saved(tree);
    std::istringstream stream(expected);
    std::optional<std::map<std::string, std::shared_ptr<Dataset>>> datasets;
    std::optional<Workspace> loaded;
    const long points = FailEach(
        [&] {
            datasets.emplace();
            loaded.emplace(FromItsStart(stream), *datasets);
            loaded->AssociateModelsToDatasets(*datasets);
        },
        [&](End end) {
            EXPECT_TRUE(end == End::BadAlloc || Saved(*loaded) == expected);
            loaded.reset();
            datasets.reset();
        });
    EXPECT_GT(points, 200);
}

TEST(FailingAllocations, EndTheCopyOfAWorkspaceByBadAllocWithoutATrace) {
    Workspace tree;
    quarn::testing::AddOneOfEach(tree);
    const auto dataset = tree.Datasets.begin()->second;
    // Too short to need memory: the copy constructor of wxArrayString leaks what it has where that of a string runs out.
    for (const auto& each : {dataset, tree.Structures.begin()->second->Datasets.begin()->second})
        each->VarNames[0] = "i";
    for (const char* name : {"a linked model that comes before", "a linked model that comes behind"})
        tree.AddModel(name, quarn::testing::MakeModel(dataset));
    const std::string expected = Saved(tree);
    const auto models = dataset->AssociatedModels;
    std::shared_ptr<QuarnStructure> copy;
    const long points = FailEach([&] { copy = tree.Copy(); },
                                 [&](End end) {
                                     EXPECT_EQ(dataset->AssociatedModels.size(), end == End::Complete ? 6U : 3U);
                                     if (copy != nullptr) {
                                         copy->Datasets.clear();  // which list the models of their sources
                                         copy->Clear();
                                     }
                                     copy = nullptr;
                                     EXPECT_EQ(dataset->AssociatedModels, models);
                                     EXPECT_EQ(Saved(tree), expected);
                                 });
    EXPECT_GT(points, 100);
}

TEST(FailingAllocations, EndTheSaveOfAWorkspaceByBadAllocOrAFailedStream) {
    Workspace tree;
    quarn::testing::AddOneOfEach(tree);
    const std::string expected = Saved(tree);
    std::optional<std::ostringstream> stream;
    const long points = FailEach(
        [&] {
            stream.emplace();
            int counter = 0;
            tree.NotifyAssociatedModelsForSaving(counter);
            tree.SaveStructure(*stream);
        },
        [&](End end) {
            EXPECT_TRUE(end == End::BadAlloc || !stream->good() || stream->str() == expected);
            stream.reset();
            EXPECT_EQ(Saved(tree), expected);
        });
    EXPECT_GT(points, 10);
}

}  // namespace
