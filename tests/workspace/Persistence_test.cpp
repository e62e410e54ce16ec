#include "../support/CommaLocale.h"
#include "../support/Matrices.h"
#include "Workspaces.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <locale>
#include <map>
#include <new>
#include <random>
#include <sstream>
#include <vector>

namespace {

using quarn::Dataset;
using quarn::MatrixXd;
using quarn::Model;
using quarn::QuarnStructure;
using quarn::testing::MakeDataset;
using quarn::testing::MakeModel;
using quarn::testing::Workspace;
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

    const auto passage = [](const auto& save) {
        std::ostringstream stream;
        save(stream);
        return stream.str();
    };
    const Text dataset = passage([&](auto& stream) { w.GetpDataset("d")->SaveDataset(stream); });
    const Text model = passage([&](auto& stream) { w.GetpModel("m")->SaveModel(stream); });
    EXPECT_TRUE(dataset.ends_with("\ndataset8\n") && model.ends_with("\ndataset8\n"));
    EXPECT_EQ(Saved(w), "2\n1\n1\n1\n2\na~1~1\n1\nb~2~2\n1~2.5\n-3~0.25\nd~" + dataset + "m\n" + model +
                            "nested\n0\n1\n0\n0\n0\ne~" + passage([&](auto& stream) { nested->SaveDataset(stream); }) +
                            "empty\n_#_end_of_string_#_\ns\nabc_#_end_of_string_#_\n");
    EXPECT_EQ(Saved(w), Saved(w));
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

/// Draws trees in which everything that can be saved occurs.
class Trees {
 public:
    explicit Trees(std::uint64_t seed) : m_engine(seed) {}

    void Fill(QuarnStructure& structure, int depth = 0) {
        for (auto left = Below(4); left > 0; --left) structure.AddMatrix(Name(), Matrix(Below(4), Below(4)));
        for (auto left = Below(3); left > 0; --left) {
            m_datasets.push_back(RandomDataset());
            structure.AddDataset(Name(), m_datasets.back());
        }
        for (auto left = Below(4); left > 0; --left) structure.AddModel(Name(), RandomModel());
        for (auto left = Below(3); left > 0; --left) AddText(structure, Name(), Name() + Name() + "_#_end~");
        for (auto left = depth < 3 ? Below(3) + (depth == 0 ? 1 : 0) : 0; left > 0; --left) {
            const auto nested = std::make_shared<QuarnStructure>();
            structure.AddStructure(Name(), nested);
            Fill(*nested, depth + 1);
        }
    }

 private:
    int Below(int n) { return static_cast<int>(m_engine() % static_cast<unsigned>(n)); }

    Text Name() {
        const char* const pieces[] = {"a", "b c", " ", "/", "\xC3\xA4", "\xFF", "7", "Name", "_#_"};
        Text name;
        for (int left = 1 + Below(4); left > 0; --left) name += pieces[Below(9)];
        return name + std::to_string(m_names++);
    }

    std::shared_ptr<MatrixXd> Matrix(int rows, int columns) {
        using Limits = std::numeric_limits<double>;
        const double odd[] = {Limits::quiet_NaN(), -Limits::infinity(), -0.0, Limits::denorm_min(), 1e300, 1.0 / 3.0};
        auto matrix = std::make_shared<MatrixXd>(rows, columns);
        for (double& cell : matrix->reshaped()) cell = Below(2) == 0 ? odd[Below(6)] : Below(100);
        return matrix;
    }

    std::shared_ptr<Dataset> RandomDataset() {
        auto dataset = MakeDataset(1 + Below(4));
        if (Below(2) == 0) dataset->AddVariable(Matrix(dataset->NumObs, 1)->col(0), "y" + Name());
        if (Below(2) == 0) return dataset;
        quarn::StringVar text{1, "x", {}, false, {}};
        for (int i = 0; i < dataset->NumObs; ++i) text.Values.push_back(Name() + "~");
        dataset->StringVars[1] = text;
        return dataset;
    }

    std::shared_ptr<Model> RandomModel() {
        const bool linked = !m_datasets.empty() && Below(4) != 0;
        auto model = MakeModel(linked ? m_datasets[m_engine() % m_datasets.size()] : nullptr);
        model->ModelCode += Below(3);
        model->ModelCommand = Name();
        model->ModelFlag = Below(2) == 0;
        model->SetTableTop(Below(2) == 0 ? Name() : "\n" + Name() + "\n\n" + Name());
        model->SamplesNames.assign(m_engine() % 3, Name());
        model->Samples = Matrix(1 + Below(4), 1 + Below(2));
        model->IntLists.assign(m_engine() % 3, std::vector<int>(m_engine() % 3, -Below(9)));
        model->Summary.SetIndVars({"x", Name()});
        model->Summary.SetSummaryMatrix(*Matrix(2, 5));
        model->Elements["e"] = Matrix(Below(3), Below(3));
        model->HiddenElements[Name()] = Matrix(1 + Below(2), 2);
        model->DatasetChanged = Below(2) == 0;
        return model;
    }

    std::mt19937_64 m_engine;
    int m_names = 0;  ///< so far: no two are the same
    std::vector<std::shared_ptr<Dataset>> m_datasets;
};

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
    int links = 0;
    for (std::uint64_t seed = 0; seed < 60; ++seed) {
        Workspace saved;
        Trees(seed).Fill(saved);
        int counter = static_cast<int>(seed);
        saved.NotifyAssociatedModelsForSaving(counter);
        const Text first = Saved(saved);
        Loaded loaded(first + "rest");
        EXPECT_EQ(loaded.Stream.peek(), 'r');
        ExpectSameLinks(saved, loaded.Top, links);
        for (const auto& [name, matrix] : saved.Matrices)
            EXPECT_TRUE(quarn::testing::SameCells(*matrix, *loaded.Top.GetpMatrix(name)));
        counter = static_cast<int>(seed);
        loaded.Top.NotifyAssociatedModelsForSaving(counter);
        ASSERT_EQ(Saved(loaded.Top), first) << seed;
    }
    EXPECT_GT(links, 100);
}

TEST(WorkspacePersistence, WritesAndReadsTheSameInAnyLocale) {
    struct German : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\1"; }
    };
    Workspace w;
    quarn::testing::AddOneOfEach(w);
    w.AddMatrix("large", std::make_shared<MatrixXd>(MatrixXd::Constant(1200, 1, -1234567.25)));
    int counter = 1000;
    w.NotifyAssociatedModelsForSaving(counter);
    const Text expected = Saved(w);
    const bool hasComma = quarn::testing::SetCommaLocale();
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new German));
    w.NotifyAssociatedModelsForSaving(counter = 1000);
    EXPECT_EQ(Saved(w), expected);
    Loaded loaded(expected);
    EXPECT_EQ(Saved(loaded.Top), expected);
    const Text large = "large";
    EXPECT_TRUE(quarn::testing::SameCells(*loaded.Top.GetpMatrix(large), *w.GetpMatrix(large)));
    std::locale::global(before);
    if (hasComma) std::setlocale(LC_ALL, "C");
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

/// Saves what is left of a file; true if its counts could not be true.
bool IsRefused(const Text& damaged) {
    try {
        Loaded loaded(damaged);
        int counter = 0;
        loaded.Top.NotifyAssociatedModelsForSaving(counter);
        EXPECT_LE(Saved(loaded.Top).size(), 200 * damaged.size() + 5000000);
        return false;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

TEST(WorkspacePersistence, SurvivesDamage) {
    Workspace w;
    Trees trees(3);
    while (!w.HasDatasets() || !w.HasModels() || !w.HasStrings()) trees.Fill(w);
    int counter = 0;
    w.NotifyAssociatedModelsForSaving(counter);
    const Text whole = Saved(w), bytes("~\n0129-.naif#_\0\xC3\xFF ", 18);
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(IsRefused(whole.substr(0, length))) << length;
    std::mt19937_64 engine(58);
    int refused = 0;
    for (int i = 0; i < 3000; ++i) {
        Text damaged = whole;
        for (auto changes = 1 + engine() % 4; changes > 0; --changes) {
            const auto at = engine() % (engine() % 4 != 0 ? damaged.size() : 30);
            damaged.replace(at, engine() % 2, 1 + engine() % 2 * 5, bytes[engine() % bytes.size()]);
        }
        refused += IsRefused(damaged) ? 1 : 0;
    }
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
    EXPECT_FALSE(IsRefused(nested));
    for (const Text shape : {"-1~4", "4~-1", "-2~-3", "2147483647~2147483647", "70000~1", "1~70000"})
        EXPECT_TRUE(IsRefused("1\n0\n0\n0\n0\nx~" + shape + "\n1\n")) << shape;
    // Many tables of which each alone would be believed.
    Text claims = most + "0\n0\n0\n0\n", claimsOfDatasets = "0\n" + most + "0\n0\n0\n";
    for (int i = 0; i < 20000; ++i) {
        claims += "x" + std::to_string(i) + "~1~60000\n\n";
        claimsOfDatasets += "d" + std::to_string(i) + "~1~60000\n0\n\n\n0\n\n";
    }
    EXPECT_TRUE(IsRefused(claims));
    EXPECT_TRUE(IsRefused(claimsOfDatasets));
}

}  // namespace
