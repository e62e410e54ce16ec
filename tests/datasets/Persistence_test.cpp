#include "../support/CommaLocale.h"
#include "../support/Damage.h"
#include "../support/Matrices.h"
#include "../support/Tables.h"
#include "../support/TemporaryFile.h"

#include <quarn/models/Model.h>

#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <random>
#include <sstream>

namespace {

using namespace quarn;
using namespace quarn::testing;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

/// Quarters of one year with odd cells and texts.
Dataset Quarters() {
    MatrixXd data(4, 4);
    data << 1, 0, 0.1, NaN, 2, 0, -0.0, 5e-324, 7, 0, Infinity, -Infinity, 9, 0, 1.0 / 3, 1.7976931348623157e308;
    Dataset dataset = MakeTable("id date x word", data);
    SetText(dataset, 1, {"2001q1", "2001q2", "2001q4", "2001q3"});
    SetText(dataset, 3, {"a~b", "", "\"~~\"\r", " 17"});
    dataset.SaveId = "dataset12";
    return dataset;
}

Dataset Loaded(const std::string& passage) {
    std::istringstream stream(passage);
    return Dataset(stream);
}

TEST(Persistence, WritesThePassageLineByLine) {
    Dataset dataset = Quarters();
    ASSERT_EQ(dataset.SetTimeSeries("date", "yyyyqx"), "OK");
    dataset.TransformedSinceDeclaration = true;
    EXPECT_EQ(Saved(dataset),
              "4~4\n1~date~QuarnSystemVar_DefaultVarName~yyyyqx~1\nQuarnSystemVar_obsID~date~x~word\n"
              "1~0~0.10000000000000001~nan\n2~0~-0~4.9406564584124654e-324\n7~0~inf~-inf\n"
              "9~0~0.33333333333333331~1.7976931348623157e+308\n"
              "2\n1~date~1\n2001q1\n2001q2\n2001q4\n2001q3\n3~word~0\na~b\n\n\"~~\"\r\n 17\ndataset12\n");
    std::ostringstream failed;
    failed.setstate(std::ios::failbit);
    dataset.SaveDataset(failed);
    EXPECT_EQ(failed.str(), "");
}

TEST(Persistence, BringsBackAllThatThePassageHolds) {
    std::mt19937_64 engine(31);
    std::vector<Dataset> datasets(4, Quarters());
    ASSERT_EQ(datasets[1].SetTimeSeries("date", "yyyyqx"), "OK");
    datasets[2].Data.col(2) << 1, 1, 2, 2;
    ASSERT_EQ(datasets[2].SetPanelData("date", "x", "yyyyqx"), "OK");
    datasets[2].ChangeData(1, 1, "2001q1");  // the declaration holds no more
    datasets[3].RenameVariable("x", "zw\xC3\xB6lf");
    datasets.push_back(
        MakeTable("id a t", MatrixXd::NullaryExpr(20000, 3, [&] { return std::bit_cast<double>(engine()); })));
    std::vector<std::string> texts(20000);
    for (std::string& text : texts) text.assign(engine() % (engine() % 1000 == 0 ? 5000 : 30), '~');
    SetText(datasets.back(), 2, texts);
    for (const char* names : {"a b", ""}) datasets.push_back(MakeTable(names, MatrixXd(0, *names == 'a' ? 2 : 0)));
    datasets.push_back(MakeTable("", MatrixXd(3, 0)));

    std::string workspace;
    for (Dataset& dataset : datasets) {
        dataset.AddAssociatedModel(std::make_shared<Model>());
        workspace += "the key~" + Saved(dataset);
    }
    const TemporaryFile file(workspace + "rest");
    std::ifstream stream(file.Path());
    for (const Dataset& dataset : datasets) {
        const Dataset loaded(stream);
        EXPECT_EQ(Saved(loaded), Saved(dataset));
        EXPECT_EQ(loaded.VarNames, dataset.VarNames);
        EXPECT_TRUE(SameCells(loaded.Data, dataset.Data));
        EXPECT_EQ(loaded.Name, "the key");
        EXPECT_TRUE(loaded.Loaded && loaded.StatusText.empty() && loaded.AssociatedModels.empty());
    }
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), "rest");

    EXPECT_EQ(Loaded("d~" + Saved(datasets[1])).StringVars[1].TimeIndex, datasets[1].StringVars[1].TimeIndex);
    Dataset stale = Loaded("d~" + Saved(datasets[2]));
    int type = -1;
    EXPECT_NE(stale.CheckType(type), "OK");
    EXPECT_TRUE(type == 0 && stale.DatasetType == 2 && stale.TransformedSinceDeclaration);
}

TEST(Persistence, IsTheSameInAnyLocale) {
    Dataset dataset = Quarters();
    dataset.Data *= 1234567.8;
    const std::string plain = Saved(dataset);
    const TemporaryFile exported, again;
    ASSERT_TRUE(dataset.ExportData(exported.Path(), ';'));
    for (const char* name : {"de_DE.UTF-8", "tr_TR.UTF-8"}) {  // in Turkish, capitals have other small letters, too
        const ForeignNumbers foreign(name);
        EXPECT_EQ(Saved(dataset), plain) << name;
        EXPECT_EQ(Saved(Loaded("d~" + plain)), plain) << name;
        EXPECT_TRUE(dataset.ExportData(again.Path(), ';')) << name;
        EXPECT_EQ(again.Read(), exported.Read()) << name;
        if (!foreign.IsInC) GTEST_SKIP() << name << " is not installed";
    }
}

TEST(Persistence, ThrowsAtOnceForCountsThatCannotBeTrue) {
    const std::string rest = Saved(Quarters()).substr(4);
    for (const char* counts : {"-1~4", "4~-1", "-2~-3", "2147483647~2147483647", "70000~1", "1~70000", "0~99999999999",
                               "1000000000~1000000000", "-99999999999~0"})
        EXPECT_THROW(Loaded("d~" + std::string(counts) + "\n" + rest), std::bad_alloc) << counts;
}

TEST(Persistence, LoadsWhatACutPassageStillHolds) {
    const std::string passage = "d~" + Saved(Quarters());
    const Dataset cut = Loaded(passage.substr(0, passage.find("\n7~") + 6));  // "7~0~i"
    MatrixXd expected = Quarters().Data;
    expected.bottomRows(2) << 7, 0, 0, 0, 0, 0, 0, 0;
    EXPECT_TRUE(SameCells(cut.Data, expected));
    EXPECT_TRUE(cut.Loaded && cut.StringVars.empty() && cut.SaveId.empty());
    EXPECT_TRUE(Loaded("").Loaded);
    const Dataset inText = Loaded(passage.substr(0, passage.find("2001q2") + 4));
    EXPECT_EQ(inText.StringVars.at(1).Values, (std::vector<std::string>{"2001q1", "2001", "", ""}));
}

/// Loads a passage that need not be one, and what is saved of it: each must leave a whole dataset.
void LoadTwice(const std::string& passage) {
    const Dataset first = Loaded(passage), second = Loaded("d~" + Saved(first));
    for (const Dataset* const dataset : {&first, &second}) {
        EXPECT_TRUE(dataset->Data.rows() == dataset->NumObs && dataset->Data.cols() == dataset->NumVars);
        EXPECT_EQ(static_cast<int>(dataset->VarNames.size()), dataset->NumVars);
        for (const auto& [column, text] : dataset->StringVars)
            EXPECT_TRUE(column >= 0 && column < dataset->NumVars && std::ssize(text.Values) == dataset->NumObs);
    }
}

TEST(Persistence, SurvivesDamage) {
    Dataset dataset = Quarters();
    dataset.SetTimeSeries("date", "yyyyqx");
    const std::string passage = "d~" + Saved(dataset);
    for (std::size_t i = 0; i < passage.size(); ++i) IsRefused([&] { LoadTwice(passage.substr(0, i)); });
    std::mt19937_64 engine(32);
    int refused = 0;
    for (int i = 0; i < 6000; ++i) refused += IsRefused([&] { LoadTwice(Damaged(passage, engine)); }) ? 1 : 0;
    EXPECT_GT(refused, 20);
    // String variables that are not there, in any number; each would have a value for each observation.
    for (const char* absurd :
         {"d~60000~1\n\n\n\n2147483647\n", "d~0~1\n\nx\n\n2147483647\n", "d~2147483647~0\n\n\n\n99999\n5~x~0\n"})
        LoadTwice(absurd);
}

TEST(ExportData, WritesTextsAndSixDigitsAndIsImportedUnderFreshIds) {
    Dataset dataset = Quarters();
    const TemporaryFile file;
    ASSERT_TRUE(dataset.ExportData(file.Path(), ','));
    EXPECT_EQ(file.Read(), "date,x,word\n2001q1,0.1,a~b\n2001q2,-0,\n2001q4,inf,\"~~\"\r\n2001q3,0.333333, 17\n");
    const Dataset imported(file.Path(), ',');
    EXPECT_EQ(imported.VarNames, dataset.VarNames);
    EXPECT_EQ(imported.Data.col(0), VectorXd::LinSpaced(4, 1, 4));
    EXPECT_EQ(imported.StringVars.at(3).Values, dataset.StringVars.at(3).Values);

    dataset.StringVars.clear();
    dataset.Data.col(1) << -NaN, 1234565, 0.0000123456789, 999999.5;
    ASSERT_TRUE(dataset.ExportData(file.Path(), '\t'));
    EXPECT_EQ(file.Read(),
              "date\tx\tword\nnan\t0.1\tnan\n1.23456e+06\t-0\t4.94066e-324\n1.23457e-05\tinf\t-inf\n"
              "1e+06\t0.333333\t1.79769e+308\n");
    EXPECT_FALSE(dataset.ExportData("/nowhere/at/all", ','));
    ASSERT_TRUE(MakeTable("id", VectorXd::LinSpaced(2, 5, 6)).ExportData(file.Path(), ','));
    EXPECT_EQ(file.Read(), "QuarnSystemVar_obsID\n5\n6\n");
    ASSERT_TRUE(MakeTable("", MatrixXd(2, 0)).ExportData(file.Path(), ','));
    EXPECT_EQ(file.Read(), "\n\n\n");
}

TEST(CheckConstant, IsTrueForOnesAlone) {
    MatrixXd data = MatrixXd::Ones(3, 7);
    for (const auto& [column, value] : {std::pair{1, NaN}, {2, 1 + 1e-15}, {3, -1.0}, {4, Infinity}, {5, 0.0}})
        data(column % 3, column) = value;
    Dataset dataset = MakeTable("a b c d e f g", data);
    for (int column = 0; column < 7; ++column)
        EXPECT_EQ(dataset.CheckConstant(column), column == 0 || column == 6) << column;
    SetText(dataset, 0, {"1", "1", "1"});
    EXPECT_FALSE(dataset.CheckConstant(0));
    EXPECT_TRUE(MakeTable("a", MatrixXd(0, 1)).CheckConstant(0));
}

}  // namespace
