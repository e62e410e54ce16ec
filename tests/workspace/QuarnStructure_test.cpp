#include "Workspaces.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <sstream>
#include <tuple>
#include <vector>

namespace {

using quarn::Dataset;
using quarn::MatrixXd;
using quarn::Model;
using quarn::QuarnStructure;
using quarn::testing::MakeDataset;
using quarn::testing::MakeModel;
using quarn::testing::Workspace;
using Names = std::vector<std::string>;

/// Sends two items of a kind through all of its operations. what(object) is a property in which the two differ.
template <class Item, class Operations, class What>
void ExpectMapOfKind(int code, Item one, Item other, const Operations& operations, const What& what) {
    const auto [add, remove, get, getp, getNames, has, removeAll] = operations;
    Workspace workspace;
    const auto first = std::make_shared<Item>(one), second = std::make_shared<Item>(other);
    int kind = 0;
    EXPECT_FALSE((workspace.*has)() || workspace.HasMember("b", kind) || (workspace.*remove)("b"));
    EXPECT_EQ(kind, -1);
    (workspace.*add)("b", first);
    (workspace.*add)("a", second);
    (workspace.*add)("b", second);
    (workspace.*add)("b", first);
    EXPECT_TRUE((workspace.*has)() && workspace.HasMember("b", kind) && !workspace.IsEmpty());
    EXPECT_EQ(kind, code);
    EXPECT_EQ((workspace.*getp)("b"), first);
    EXPECT_EQ((workspace.*getp)("c"), nullptr);
    Item target = one;
    EXPECT_FALSE((workspace.*get)("c", target));
    EXPECT_EQ(what(target), what(one));
    EXPECT_TRUE((workspace.*get)("a", target));
    EXPECT_EQ(what(target), what(other));
    Names names{"old"};
    (workspace.*getNames)(names);
    EXPECT_EQ(names, (Names{"a", "b"}));
    EXPECT_TRUE((workspace.*remove)("b") && !(workspace.*remove)("b") && (workspace.*has)());
    (workspace.*removeAll)();
    EXPECT_TRUE(workspace.IsEmpty() && !(workspace.*has)());
}

#define OPERATIONS(Kind, Kinds)                                                                             \
    std::tuple(&QuarnStructure::Add##Kind, &QuarnStructure::Remove##Kind, &QuarnStructure::Get##Kind,       \
               &QuarnStructure::Getp##Kind, &QuarnStructure::Get##Kind##Names, &QuarnStructure::Has##Kinds, \
               &QuarnStructure::Remove##Kinds)

TEST(QuarnStructure, KeepsEachKindInAMapOfItsOwn) {
    Model cut = *MakeModel(), named = cut;
    named.ModelName = "other";
    QuarnStructure nested;
    nested.AddString("s", std::make_shared<std::string>("text"));
    ExpectMapOfKind(1, MatrixXd(MatrixXd::Zero(1, 2)), MatrixXd(MatrixXd::Ones(3, 1)), OPERATIONS(Matrix, Matrices),
                    [](const MatrixXd& m) { return m.rows(); });
    ExpectMapOfKind(2, *MakeDataset(), *MakeDataset(5), OPERATIONS(Dataset, Datasets),
                    [](const Dataset& d) { return d.NumObs; });
    ExpectMapOfKind(3, cut, named, OPERATIONS(Model, Models), [](const Model& m) { return m.ModelName; });
    ExpectMapOfKind(4, QuarnStructure(), nested, OPERATIONS(Structure, Structures),
                    [](const QuarnStructure& s) { return s.GetpString("s"); });
    ExpectMapOfKind(5, std::string("one"), std::string("other"), OPERATIONS(String, Strings),
                    [](const std::string& s) { return s; });

    Workspace both;
    both.AddModel("x", MakeModel());
    both.AddMatrix("x", std::make_shared<MatrixXd>(1, 1));
    int kind = 0;
    EXPECT_TRUE(both.HasMember("x", kind) && kind == QuarnStructure::MatrixItem);
}

/// A dataset at the top with a model beside it and one two levels below, and a model below that no dataset has.
struct Linked : Workspace {
    std::shared_ptr<Dataset> Data = MakeDataset();
    std::shared_ptr<Model> Beside = MakeModel(Data), Below = MakeModel(Data), Unlinked = MakeModel();

    Linked() {
        Unlinked->DatasetWasDeleted = false;
        const auto outer = std::make_shared<QuarnStructure>(), inner = std::make_shared<QuarnStructure>();
        AddDataset("d", Data);
        AddModel("m", Beside);
        AddStructure("outer", outer);
        outer->AddStructure("inner", inner);
        inner->AddModel("m", Below);
        inner->AddModel("unlinked", Unlinked);
        inner->AddString("s", std::make_shared<std::string>("kept"));
    }
};

TEST(QuarnStructure, CutsModelsThatLoseTheirPlaceOrTheirDataset) {
    const auto nothing = std::make_shared<QuarnStructure>();
    const struct {
        const char* What;
        std::function<void(Linked&)> Do;
        bool CutsBeside, CutsBelow;
    } cases[] = {
        {"RemoveDataset", [](Linked& w) { w.RemoveDataset("d"); }, true, true},
        {"RemoveDatasets", [](Linked& w) { w.RemoveDatasets(); }, true, true},
        {"AddDataset", [](Linked& w) { w.AddDataset("d", MakeDataset()); }, true, true},
        {"the same dataset", [](Linked& w) { w.AddDataset("d", w.Data); }, false, false},
        {"another name", [](Linked& w) { w.AddDataset("e", MakeDataset()); }, false, false},
        {"RemoveModel", [](Linked& w) { w.RemoveModel("m"); }, true, false},
        {"RemoveModels", [](Linked& w) { w.RemoveModels(); }, true, false},
        {"AddModel", [](Linked& w) { w.AddModel("m", MakeModel()); }, true, false},
        {"the same model", [](Linked& w) { w.AddModel("m", w.Beside); }, false, false},
        {"RemoveStructure", [](Linked& w) { w.RemoveStructure("outer"); }, false, true},
        {"RemoveStructures", [](Linked& w) { w.RemoveStructures(); }, false, true},
        {"AddStructure", [=](Linked& w) { w.AddStructure("outer", nothing); }, false, true},
        {"the same structure", [](Linked& w) { w.AddStructure("outer", w.GetpStructure("outer")); }, false, false},
        {"ReleaseDataset", [](Linked& w) { w.ReleaseDataset("d"); }, false, false},
        {"ReleaseModel", [](Linked& w) { w.ReleaseModel("m"); }, false, false},
        {"ReleaseStructure", [](Linked& w) { w.ReleaseStructure("outer"); }, false, false},
        {"Clear", [](Linked& w) { w.Clear(); }, true, true},
    };
    for (const auto& c : cases) {
        Linked w;
        const auto inner = w.GetpStructure("outer")->GetpStructure("inner");
        c.Do(w);
        EXPECT_TRUE(w.Beside->DatasetWasDeleted == c.CutsBeside && w.Beside->Dataset.empty() == c.CutsBeside) << c.What;
        EXPECT_TRUE(w.Below->DatasetWasDeleted == c.CutsBelow && w.Below->Dataset.empty() == c.CutsBelow) << c.What;
        EXPECT_EQ(w.Data->AssociatedModels.size(), (c.CutsBeside ? 0U : 1U) + (c.CutsBelow ? 0U : 1U)) << c.What;
        EXPECT_EQ(*inner->GetpString("s"), "kept");
        w.Data->NotifyAssociatedModels(1, "");
    }
    Linked w;
    const auto added = MakeModel(w.Data);
    w.AddModel("m", added);
    EXPECT_EQ(w.Data->AssociatedModels, (std::vector{w.Below, added}));
}

TEST(QuarnStructure, AssignsAStructureFromWithinItself) {
    Linked w;
    EXPECT_TRUE(w.GetStructure("outer", w));
    EXPECT_TRUE(w.GetStructure("inner", w));
    EXPECT_TRUE(w.HasModels() && w.HasStrings() && !w.HasDatasets() && !w.HasStructures());
    w.Data->NotifyAssociatedModels(1, "");
}

TEST(QuarnStructure, CopiesAllTheWayDown) {
    Linked w;
    w.AddMatrix("x", std::make_shared<MatrixXd>(MatrixXd::Ones(1, 1)));
    const auto copy = w.Copy();
    const auto inner = copy->GetpStructure("outer")->GetpStructure("inner");
    const auto below = inner->GetpModel("m");
    EXPECT_TRUE(below != w.Below && below->Dataset.front() == w.Data && copy->GetpDataset("d") != w.Data);
    EXPECT_EQ(w.Data->AssociatedModels, (std::vector{w.Beside, w.Below, copy->GetpModel("m"), below}));
    *inner->GetpString("s") = "changed";
    copy->GetpMatrix("x")->setZero();
    copy->GetpDataset("d")->Data.setZero();
    (*below->Samples)(0, 0) = 7;
    EXPECT_EQ(*w.GetpStructure("outer")->GetpStructure("inner")->GetpString("s"), "kept");
    EXPECT_TRUE((*w.GetpMatrix("x"))(0, 0) == 1 && w.Data->Data(0, 0) == 0.1 && (*w.Below->Samples)(0, 0) == 0.5);
    copy->RemoveStructures();
    EXPECT_FALSE(w.Below->DatasetWasDeleted);
    copy->Clear();
}

TEST(QuarnStructure, BearsTreesOfAnyDepth) {
    constexpr int depth = 100000;
    const auto top = std::make_shared<QuarnStructure>();
    QuarnStructure* deepest = top.get();
    for (int i = 0; i < depth; ++i) {
        const auto nested = std::make_shared<QuarnStructure>();
        deepest->AddStructure("s", nested);
        deepest = nested.get();
    }
    deepest->AddModel("m", MakeModel());
    const auto copy = top->Copy();
    std::stringstream first, second;
    int counter = 0;
    copy->NotifyAssociatedModelsForSaving(counter);
    copy->SaveStructure(first);
    std::map<std::string, std::shared_ptr<Dataset>> datasets;
    QuarnStructure loaded(first, datasets);
    loaded.AssociateModelsToDatasets(datasets);
    loaded.SaveStructure(second);
    EXPECT_EQ(first.str(), second.str());
    copy->Clear();
    EXPECT_FALSE(copy->HasStructures());
}

TEST(QuarnOrderStructure, KeepsARecordOfItsOwn) {
    Workspace w;
    w.AddElementOrder(2, 5);
    w.AddElementOrder(-1, 3);
    w.AddElementOrder(2, 4);
    EXPECT_TRUE(w.IsEmpty());
    EXPECT_EQ(w.NumberOfElements(), 2);
    EXPECT_EQ(w.GetItemCode(2), 4);
    EXPECT_EQ(w.GetItemCode(0), -1);
    EXPECT_FALSE(w.ReleaseDataset("a") || w.ReleaseModel("a") || w.ReleaseStructure("a"));
    w.Clear();
    EXPECT_EQ(w.NumberOfElements(), 0);
}

}  // namespace
