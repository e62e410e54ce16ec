#include "../support/CommaLocale.h"
#include "../support/Damage.h"
#include "../support/Matrices.h"
#include "Workspaces.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <limits>
#include <map>
#include <random>
#include <sstream>
#include <vector>

namespace {

using quarn::Dataset;
using quarn::MatrixXd;
using quarn::Model;
using quarn::QuarnStructure;
using namespace quarn::testing;
using Text = std::string;

Text Saved(const QuarnStructure& structure) {
    std::ostringstream stream;
    structure.SaveStructure(stream);
    return stream.str();
}

struct Loaded {
    std::map<Text, std::shared_ptr<Dataset>> Datasets;
    std::istringstream Stream;
    Workspace Top;

    explicit Loaded(const Text& text) : Stream(text), Top(Stream, Datasets) { Top.AssociateModelsToDatasets(Datasets); }
};

void AddText(QuarnStructure& structure, const Text& name, const Text& text) {
    structure.AddString(name, std::make_shared<Text>(text));
}

TEST(WorkspacePersistence, WritesCountsThenKindsThenNestedStructures) {
    Workspace w;
    EXPECT_EQ(Saved(w), "0\n0\n0\n0\n0\n");
    w.AddMatrix("b", std::make_shared<MatrixXd>(MatrixXd{{1, 2.5}, {-3, 0.25}}));
    w.AddMatrix("a", std::make_shared<MatrixXd>(MatrixXd::Ones(1, 1)));
    w.AddDataset("d", MakeDataset(1));
    w.AddModel("m", MakeModel(w.GetpDataset("d")));
    w.AddStructure("nested", std::make_shared<QuarnStructure>());
    AddText(w, "empty", "");
    AddText(w, "s", "abc");
    const auto nested = std::make_shared<Dataset>(*MakeDataset(1));
    w.GetpStructure("nested")->AddDataset("e", nested);
    int counter = 8;
    w.NotifyAssociatedModelsForSaving(counter);
    EXPECT_EQ(counter, 10);
    EXPECT_EQ(nested->SaveId, "dataset9");

    std::ostringstream dataset, below, model;
    w.GetpDataset("d")->SaveDataset(dataset);
    nested->SaveDataset(below);
    w.GetpModel("m")->SaveModel(model);
    EXPECT_TRUE(dataset.str().ends_with("\ndataset8\n") && model.str().ends_with("\ndataset8\n"));
    EXPECT_EQ(Saved(w), "2\n1\n1\n1\n2\na~1~1\n1\nb~2~2\n1~2.5\n-3~0.25\nd~" + dataset.str() + "m\n" + model.str() +
                            "nested\n0\n1\n0\n0\n0\ne~" + below.str() +
                            "empty\n_#_end_of_string_#_\ns\nabc_#_end_of_string_#_\n");
}

TEST(WorkspacePersistence, EndsStringsByTheirMark) {
    const Text mark = "_#_end_of_string_#_";
    const struct {
        Text Saved, Loaded;
    } cases[] = {{"abc" + mark + "\n", "abc"},
                 {mark + "\n", ""},
                 {"a\nb" + mark + "\n", "ab"},
                 {"\n\n a~\r\n" + mark + "\n", " a~\r"},
                 {"a" + mark.substr(0, 5) + "\n" + mark.substr(5) + "\n", "a"},
                 {"a" + mark + "b\n", "ab"},
                 {"_#__#_end" + mark + "\n", "_#__#_end"},
                 {"a_#_end_of_string" + mark + "\n", "a_#_end_of_string"},
                 {mark + mark + "\n", mark}};
    for (const auto& c : cases) {
        Loaded loaded("0\n0\n0\n0\n2\ns\n" + c.Saved + "t\nnext" + mark + "\nrest");
        EXPECT_EQ(*loaded.Top.GetpString("s"), c.Loaded) << c.Saved;
        EXPECT_EQ(*loaded.Top.GetpString("t"), "next") << c.Saved;
        EXPECT_EQ(loaded.Stream.peek(), 'r') << c.Saved;
    }
    // A string without a mark, of as many lines as take hours if each is searched anew.
    Text lines;
    for (int i = 0; i < 1000000; ++i) lines += "x\n";
    EXPECT_EQ(Loaded("0\n0\n0\n0\n9\ns\n" + lines).Top.GetpString("s")->size(), 1000000U);
}

/// Three levels of everything that can be saved, three links among them, with names, texts and cells of many kinds.
void FillTree(QuarnStructure& top) {
    AddOneOfEach(top);
    QuarnStructure& below = *top.Structures.begin()->second;
    AddOneOfEach(below);
    using Limits = std::numeric_limits<double>;
    below.AddMatrix("\xC3\xA4 /\xFF",
                    std::make_shared<MatrixXd>(MatrixXd{{Limits::quiet_NaN(), -Limits::infinity(), -0.0},
                                                        {Limits::denorm_min(), 1e300, 1.0 / 3.0}}));
    below.AddMatrix("no rows", std::make_shared<MatrixXd>(0, 3));
    below.AddMatrix("no columns", std::make_shared<MatrixXd>(2, 0));
    AddText(below, "_#_", "7\xFF~_#_end");
    const auto withText = MakeDataset();
    SetText(*withText, 1, {"b c~", ""});
    below.AddDataset("7", withText);
    for (const char* name : {"another", "empty"}) top.AddStructure(name, std::make_shared<QuarnStructure>());
    top.GetpStructure("another")->AddModel("m", MakeModel(withText));
    top.GetpStructure("another")->GetpModel("m")->DatasetChanged = true;
}

/// The links of a tree and one that was loaded from it.
void ExpectSameLinks(const QuarnStructure& saved, const QuarnStructure& loaded, int& links) {
    for (const auto& [name, model] : saved.Models) {
        const auto& datasets = model->Dataset;
        const auto again = loaded.GetpModel(name);
        ASSERT_TRUE(again != nullptr && again->Dataset.size() == datasets.size());
        EXPECT_EQ(again->DatasetWasDeleted, model->DatasetWasDeleted);
        if (datasets.empty()) continue;
        EXPECT_EQ(again->Dataset.front()->SaveId, datasets.front()->SaveId);
        EXPECT_EQ(std::ranges::count(again->Dataset.front()->AssociatedModels, again), 1);
        ++links;
    }
    for (const auto& [name, nested] : saved.Structures) ExpectSameLinks(*nested, *loaded.GetpStructure(name), links);
}

TEST(WorkspacePersistence, BringsBackAllThatIsInATree) {
    Workspace saved;
    FillTree(saved);
    int counter = 17, links = 0;
    saved.NotifyAssociatedModelsForSaving(counter);
    const Text first = Saved(saved);
    Loaded loaded(first + "rest");
    EXPECT_EQ(loaded.Stream.peek(), 'r');
    ExpectSameLinks(saved, loaded.Top, links);
    EXPECT_EQ(links, 3);
    loaded.Top.NotifyAssociatedModelsForSaving(counter = 17);
    EXPECT_EQ(Saved(loaded.Top), first);
}

TEST(WorkspacePersistence, KeepsNamesOfAnyBytesInAnyLocale) {
    for (const char* locale : {"C", "C.UTF-8"}) {
        if (std::setlocale(LC_CTYPE, locale) == nullptr) continue;
        Workspace w;
        // Of the second, UTF-8 makes the character that stands for the last byte of the first.
        for (const char* name :
             {"caf\xE9", "caf\xEF\x9F\xA9", "caf\xC3\xA9", "caf\xC3\xA9\xE9", "\xED\xA0\x80", "\xEF"}) {
            const auto dataset = MakeDataset();
            dataset->RenameVariable("x", name);
            w.AddDataset(name, dataset);
        }
        const Loaded loaded(Saved(w));
        EXPECT_EQ(Saved(loaded.Top), Saved(w)) << locale;
        for (const auto& [name, dataset] : loaded.Top.Datasets) EXPECT_TRUE(dataset->VariableExists(name)) << locale;
    }
    std::setlocale(LC_CTYPE, "C");
}

TEST(WorkspacePersistence, WritesAndReadsTheSameInAnyLocale) {
    Workspace w;
    AddOneOfEach(w);
    w.AddMatrix("large", std::make_shared<MatrixXd>(MatrixXd::Constant(1200, 1, -1234567.25)));
    int counter = 1000;
    w.NotifyAssociatedModelsForSaving(counter);
    const Text expected = Saved(w);
    const ForeignNumbers foreign;
    w.NotifyAssociatedModelsForSaving(counter = 1000);
    EXPECT_EQ(Saved(w), expected);
    EXPECT_EQ(Saved(Loaded(expected).Top), expected);
}

TEST(WorkspacePersistence, LinksModelsToTheirDatasetBesideCopiesOfIt) {
    Workspace w, copies;
    w.AddDataset("d", MakeDataset());
    w.AddModel("m", MakeModel(w.GetpDataset("d")));
    for (const char* name : {"a", "e"}) w.AddDataset(name, w.GetpDataset("d")->Copy());
    int counter = 0;
    w.NotifyAssociatedModelsForSaving(counter);
    const Loaded loaded(Saved(w));
    EXPECT_EQ(loaded.Top.GetpModel("m")->Dataset, std::vector{loaded.Top.GetpDataset("d")});
    EXPECT_TRUE(loaded.Top.GetpDataset("a")->AssociatedModels.empty());

    // Without the dataset itself, a copy stands in for it.
    copies.AddDataset("e", w.GetpDataset("e"));
    copies.AddModel("m", w.GetpModel("m"));
    copies.NotifyAssociatedModelsForSaving(counter = 0);
    EXPECT_EQ(Loaded(Saved(copies)).Top.GetpModel("m")->Dataset.size(), 1U);
}

TEST(WorkspacePersistence, LinksNoModelWithoutItsDataset) {
    Workspace w, outside;
    const auto elsewhere = MakeDataset();
    outside.AddDataset("d", elsewhere);
    w.AddDataset("d", MakeDataset());
    for (const char* name : {"low code", "elsewhere", "lost key", "cut"})
        w.AddModel(name, MakeModel(Text(name) == "elsewhere" ? elsewhere : w.GetpDataset("d")));
    int counter = 0;
    outside.NotifyAssociatedModelsForSaving(counter);
    w.NotifyAssociatedModelsForSaving(counter = 0);
    w.GetpModel("low code")->ModelCode = Model::FirstCodeWithDataset - 1;
    w.GetpModel("lost key")->DatasetLink = "dataset7";
    w.GetpModel("cut")->SetDatasetWasDeleted();
    Loaded loaded(Saved(w));
    for (const auto& [name, model] : loaded.Top.Models) {
        EXPECT_TRUE(model->Dataset.empty()) << name;
        EXPECT_EQ(model->DatasetWasDeleted, name == "cut") << name;
    }
    EXPECT_TRUE(loaded.Top.GetpDataset("d")->AssociatedModels.empty());

    // A key that led nowhere in one file is not that of another dataset in the next.
    for (const char* name : {"low code", "lost key"}) {
        loaded.Top.GetpModel(name)->ModelCode = Model::FirstCodeWithDataset;
        loaded.Top.GetpModel(name)->DatasetLink = "dataset7";
    }
    loaded.Top.NotifyAssociatedModelsForSaving(counter = 7);
    EXPECT_EQ(loaded.Top.GetpDataset("d")->SaveId, "dataset7");
    Loaded next(Saved(loaded.Top));
    for (const auto& [name, model] : next.Top.Models) EXPECT_TRUE(model->Dataset.empty()) << name;

    // No keys at all: nothing is linked by the empty one.
    Workspace unnotified;
    unnotified.AddDataset("d", MakeDataset());
    unnotified.AddModel("m", MakeModel(unnotified.GetpDataset("d")));
    EXPECT_TRUE(Loaded(Saved(unnotified)).Top.GetpModel("m")->Dataset.empty());
}

/// Loads a file that need not be one and saves what is left of it. True if its counts could not be true.
bool IsDamageRefused(const Text& damaged) {
    return IsRefused([&damaged] {
        Loaded loaded(damaged);
        int counter = 0;
        loaded.Top.NotifyAssociatedModelsForSaving(counter);
        EXPECT_LE(Saved(loaded.Top).size(), 200 * damaged.size() + 5000000);
    });
}

TEST(WorkspacePersistence, SurvivesDamage) {
    Workspace w;
    FillTree(w);
    int counter = 0;
    w.NotifyAssociatedModelsForSaving(counter);
    const Text whole = Saved(w);
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(IsDamageRefused(whole.substr(0, length))) << length;
    std::mt19937_64 engine(58);
    int refused = 0;
    for (int i = 0; i < 3000; ++i) refused += IsDamageRefused(Damaged(whole, engine)) ? 1 : 0;
    EXPECT_GT(refused, 20);
}

TEST(WorkspacePersistence, EndsWhereTheStreamDoesWhateverTheCounts) {
    const Text most = "2147483647\n", least = "-2147483648\n";
    EXPECT_TRUE(Loaded("").Top.IsEmpty());
    EXPECT_TRUE(Loaded(most + most + most + most + most).Top.IsEmpty());
    EXPECT_TRUE(Loaded(least + least + least + least + least + "x").Top.IsEmpty());
    EXPECT_EQ(Loaded(most + "0\n0\n0\n0\nx~1~2\n5\n").Top.GetpMatrix("x")->sum(), 10);
    Text nested;
    for (int i = 0; i < 20000; ++i) nested += "0\n0\n0\n99\n99\ns\n";
    EXPECT_FALSE(IsDamageRefused(nested));
    for (const Text shape : {"-1~4", "4~-1", "-2~-3", "2147483647~2147483647", "70000~1", "1~70000"})
        EXPECT_TRUE(IsDamageRefused("1\n0\n0\n0\n0\nx~" + shape + "\n1\n")) << shape;
    // Many tables of which each alone would be believed.
    Text claims = most + "0\n0\n0\n0\n", claimsOfDatasets = "0\n" + most + "0\n0\n0\n";
    for (int i = 0; i < 20000; ++i) {
        claims += "x" + std::to_string(i) + "~1~60000\n\n";
        claimsOfDatasets += "d" + std::to_string(i) + "~1~60000\n0\n\n\n0\n\n";
    }
    EXPECT_TRUE(IsDamageRefused(claims));
    EXPECT_TRUE(IsDamageRefused(claimsOfDatasets));
}

}  // namespace
