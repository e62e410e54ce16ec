#include "../support/CommaLocale.h"
#include "../support/Matrices.h"
#include "../support/TemporaryFile.h"

#include <quarn/datasets/Dataset.h>
#include <quarn/models/Model.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <clocale>
#include <cmath>
#include <fstream>
#include <limits>
#include <locale>
#include <new>
#include <random>
#include <sstream>
#include <string>
#include <tuple>

namespace {

using quarn::Dataset;
using quarn::MatrixXd;
using quarn::StringVar;
using quarn::VectorXd;
using quarn::VectorXi;
using quarn::testing::SameCells;
using quarn::testing::TemporaryFile;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

wxArrayString Names(std::initializer_list<const char*> names) {
    wxArrayString array;
    for (const char* name : names) array.Add(wxString::FromUTF8(name));
    return array;
}

void AddText(Dataset& dataset, int column, std::vector<std::string> values) {
    const std::string name = dataset.VarNames[static_cast<std::size_t>(column)].ToStdString();
    dataset.StringVars[column] = {column, name, std::move(values), false, {}};
}

std::string Saved(const Dataset& dataset) {
    std::ostringstream stream;
    dataset.SaveDataset(stream);
    return stream.str();
}

Dataset Loaded(const std::string& passage) {
    std::istringstream stream(passage);
    return Dataset(stream);
}

/// Quarters of one year with odd cells and texts.
Dataset Quarters() {
    MatrixXd data(4, 4);
    data << 1, 0, 0.1, NaN, 2, 0, -0.0, 5e-324, 7, 0, Infinity, -Infinity, 9, 0, 1.0 / 3, 1.7976931348623157e308;
    Dataset dataset(Names({"QuarnSystemVar_obsID", "date", "x", "word"}), data);
    AddText(dataset, 1, {"2001q1", "2001q2", "2001q4", "2001q3"});
    AddText(dataset, 3, {"a~b", "", "\"~~\"\r", " 17"});
    dataset.SaveId = "dataset12";
    return dataset;
}

void ExpectSame(const Dataset& a, const Dataset& b) {
    EXPECT_EQ(a.VarNames, b.VarNames);
    EXPECT_TRUE(SameCells(a.Data, b.Data));
    const auto fields = [](const Dataset& dataset) {
        return std::tie(dataset.NumObs, dataset.NumVars, dataset.DatasetType, dataset.TimeVariable,
                        dataset.GroupVariable, dataset.TimeFormat, dataset.TransformedSinceDeclaration, dataset.SaveId);
    };
    EXPECT_EQ(fields(a), fields(b));
    const auto sameText = [](const auto& x, const auto& y) {
        const StringVar &s = x.second, &t = y.second;
        return x.first == y.first && s.Column == t.Column && s.Name == t.Name && s.Values == t.Values &&
               s.IsTimeVariable == t.IsTimeVariable && s.TimeIndex.size() == t.TimeIndex.size() &&
               s.TimeIndex == t.TimeIndex;
    };
    EXPECT_TRUE(
        std::equal(a.StringVars.begin(), a.StringVars.end(), b.StringVars.begin(), b.StringVars.end(), sameText));
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

TEST(Persistence, BringsBackEveryFieldButNameAndModels) {
    std::mt19937_64 engine(31);
    const auto random = [&] { return std::bit_cast<double>(engine()); };
    std::vector<Dataset> datasets(6, Quarters());
    datasets[1].SetTimeSeries("date", "yyyyqx");
    datasets[2].SetTimeSeries("date", "yyyyqx");
    datasets[2].TransformedSinceDeclaration = true;
    datasets[3].Data.col(2) << 1, 1, 2, 2;
    datasets[3].StringVars[1].Values = {"2001m1", "2001m2", "2001m2", "2001m1"};
    ASSERT_EQ(datasets[3].SetPanelData("date", "x", "yyyymxx"), "OK");
    datasets[4].RenameVariable("x", "zw\xC3\xB6lf");
    // Large: blocks of text of every kind.
    datasets[5] = Dataset(Names({"id", "a", "t"}), MatrixXd::NullaryExpr(20000, 3, random));
    std::vector<std::string> texts(20000);
    for (std::string& text : texts) text.assign(engine() % (engine() % 1000 == 0 ? 5000 : 30), '~');
    AddText(datasets[5], 2, texts);
    // Without observations, without variables, without both.
    for (const auto& [n, k] : {std::pair{0, 2}, {3, 0}, {0, 0}}) {
        datasets.emplace_back(k == 0 ? wxArrayString() : Names({"a", "b"}), MatrixXd::Zero(n, k));
        datasets.back().SaveId = "empty";
    }
    std::string workspace;
    for (Dataset& dataset : datasets) {
        dataset.AddAssociatedModel(std::make_shared<quarn::Model>());
        workspace += "the key~" + Saved(dataset);
    }
    const TemporaryFile file(workspace + "rest");
    std::ifstream stream(file.Path());
    for (const Dataset& dataset : datasets) {
        const Dataset loaded(stream);
        ExpectSame(loaded, dataset);
        EXPECT_EQ(loaded.Name, "the key");
        EXPECT_TRUE(loaded.Loaded && loaded.StatusText.empty() && loaded.AssociatedModels.empty());
        EXPECT_EQ(Saved(loaded), Saved(dataset));
    }
    std::string rest;
    EXPECT_TRUE(std::getline(stream, rest) && rest == "rest");
    EXPECT_EQ(Loaded("d~" + Saved(datasets[1])).StringVars[1].TimeIndex, VectorXi({{0, 1, 3, 2}}));
}

TEST(Persistence, KeepsADeclarationThatHoldsNoMore) {
    Dataset dataset = Quarters();
    ASSERT_EQ(dataset.SetTimeSeries("date", "yyyyqx"), "OK");
    dataset.ChangeData(1, 1, "2001q1");
    Dataset loaded = Loaded("d~" + Saved(dataset));
    EXPECT_TRUE(loaded.TransformedSinceDeclaration);
    EXPECT_EQ(loaded.TimeVariable, "date");
    int type = -1;
    EXPECT_NE(loaded.CheckType(type), "OK");
    EXPECT_EQ(type, 0);
}

TEST(Persistence, IsTheSameInAnyLocale) {
    Dataset dataset = Quarters();
    dataset.Data *= 1234567.8;
    const std::string plain = Saved(dataset);
    const TemporaryFile exported, again;
    ASSERT_TRUE(dataset.ExportData(exported.Path(), ';'));
    if (!quarn::testing::SetCommaLocale()) GTEST_SKIP() << "no locale with a decimal comma is installed";
    struct Grouped : std::numpunct<char> {
        std::string do_grouping() const override { return "\3"; }
    };
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouped));
    EXPECT_EQ(Saved(dataset), plain);
    ExpectSame(Loaded("d~" + plain), dataset);
    EXPECT_TRUE(dataset.ExportData(again.Path(), ';'));
    EXPECT_EQ(again.Read(), exported.Read());
    std::locale::global(before);
    std::setlocale(LC_ALL, "C");
}

TEST(Persistence, ThrowsAtOnceForCountsThatCannotBeTrue) {
    const std::string rest = Saved(Quarters()).substr(4);
    for (const char* counts : {"-1~4", "4~-1", "-2~-3", "2147483647~2147483647", "70000~1", "1~70000", "0~99999999999",
                               "1000000000~1000000000", "-99999999999~0"})
        EXPECT_THROW(Loaded("d~" + std::string(counts) + "\n" + rest), std::bad_alloc) << counts;
    EXPECT_EQ(Loaded("d~2147483647~0\n" + rest).NumObs, 2147483647);
}

TEST(Persistence, LoadsWhatACutPassageStillHolds) {
    const std::string passage = "d~" + Saved(Quarters());
    const auto body = passage.find("\n7~") + 1;
    const Dataset cut = Loaded(passage.substr(0, body + 5));  // "7~0~i"
    EXPECT_TRUE(cut.Loaded);
    EXPECT_EQ(cut.NumObs, 4);
    MatrixXd expected = Quarters().Data;
    expected.bottomRows(2) << 7, 0, 0, 0, 0, 0, 0, 0;
    EXPECT_TRUE(SameCells(cut.Data, expected));
    EXPECT_TRUE(cut.StringVars.empty() && cut.SaveId.empty());
    const Dataset nothing = Loaded("");
    EXPECT_TRUE(nothing.Loaded && nothing.NumObs == 0 && nothing.NumVars == 0 && nothing.VarNames.empty());
    const Dataset inText = Loaded(passage.substr(0, passage.find("2001q2") + 4));
    EXPECT_EQ(inText.StringVars.at(1).Values, (std::vector<std::string>{"2001q1", "2001", "", ""}));
}

/// What every load must leave, whatever the bytes were.
void ExpectWhole(const Dataset& dataset) {
    EXPECT_EQ(dataset.Data.rows(), dataset.NumObs);
    EXPECT_EQ(dataset.Data.cols(), dataset.NumVars);
    EXPECT_EQ(static_cast<int>(dataset.VarNames.size()), dataset.NumVars);
    for (const auto& [column, text] : dataset.StringVars) {
        EXPECT_TRUE(column >= 0 && column < dataset.NumVars && text.Column == column);
        EXPECT_EQ(static_cast<int>(text.Values.size()), dataset.NumObs);
    }
}

TEST(Persistence, SurvivesDamage) {
    Dataset dataset = Quarters();
    dataset.SetTimeSeries("date", "yyyyqx");
    const std::string passage = "d~" + Saved(dataset);
    std::mt19937_64 engine(32);
    const std::string bytes("~\n0129-.naifqe\0\xC3\xFF ", 18);
    int refused = 0;
    for (int i = 0; i < 6000; ++i) {
        std::string damaged = passage.substr(0, i < 2 * static_cast<int>(passage.size()) ? i / 2 : std::string::npos);
        for (auto changes = i % 2 == 0 ? 0 : 1 + engine() % 4; changes > 0 && !damaged.empty(); --changes) {
            const auto at = engine() % (engine() % 2 == 0 ? damaged.size() : std::min<std::size_t>(damaged.size(), 12));
            damaged.replace(at, engine() % 2, 1 + engine() % 2 * 5, bytes[engine() % bytes.size()]);
        }
        try {
            const Dataset loaded = Loaded(damaged);
            ExpectWhole(loaded);
            ExpectWhole(Loaded("d~" + Saved(loaded)));
        } catch (const std::bad_alloc&) {
            ++refused;
        }
    }
    EXPECT_GT(refused, 20);
    // Many string variables that are not there; each would have as many values as there are observations.
    for (const char* absurd :
         {"d~60000~1\n\n\n\n2147483647\n", "d~0~1\n\nx\n\n2147483647\n", "d~2147483647~0\n\n\n\n99999\n5~x~0\n"})
        ExpectWhole(Loaded(absurd));
}

TEST(ExportData, WritesTextsAndSixDigitsWithoutIds) {
    Dataset dataset = Quarters();
    const TemporaryFile file;
    ASSERT_TRUE(dataset.ExportData(file.Path(), ','));
    EXPECT_EQ(file.Read(), "date,x,word\n2001q1,0.1,a~b\n2001q2,-0,\n2001q4,inf,\"~~\"\r\n2001q3,0.333333, 17\n");
    dataset.StringVars.clear();
    dataset.Data.col(1) << -NaN, 1234565, 0.0000123456789, 999999.5;
    ASSERT_TRUE(dataset.ExportData(file.Path(), '\t'));
    EXPECT_EQ(file.Read(),
              "date\tx\tword\nnan\t0.1\tnan\n1.23456e+06\t-0\t4.94066e-324\n1.23457e-05\tinf\t-inf\n"
              "1e+06\t0.333333\t1.79769e+308\n");
    EXPECT_FALSE(dataset.ExportData("/nowhere/at/all", ','));

    const Dataset idsOnly(Names({"id"}), VectorXd::LinSpaced(2, 5, 6));
    ASSERT_TRUE(idsOnly.ExportData(file.Path(), ','));
    EXPECT_EQ(file.Read(), "id\n5\n6\n");
    ASSERT_TRUE(Dataset(wxArrayString(), MatrixXd(2, 0)).ExportData(file.Path(), ','));
    EXPECT_EQ(file.Read(), "\n\n\n");
}

TEST(ExportData, IsImportedAgainUnderFreshIds) {
    Dataset dataset = Quarters();
    dataset.Data(2, 2) = NaN;
    const TemporaryFile file;
    ASSERT_TRUE(dataset.ExportData(file.Path(), ','));
    const Dataset imported(file.Path(), ',');
    ASSERT_TRUE(imported.Loaded);
    EXPECT_EQ(imported.VarNames, dataset.VarNames);
    EXPECT_EQ(imported.Data.col(0), VectorXd::LinSpaced(4, 1, 4));
    EXPECT_EQ(imported.StringVars.at(3).Values, dataset.StringVars.at(3).Values);
    EXPECT_TRUE(std::isnan(imported.Data(2, 2)));
}

TEST(CheckConstant, IsTrueForOnesAlone) {
    MatrixXd data = MatrixXd::Ones(3, 7);
    data(2, 1) = NaN;
    data(1, 2) = 1 + 1e-15;
    data(0, 3) = -1;
    data(2, 4) = Infinity;
    data(0, 5) = 0;
    Dataset dataset(Names({"a", "b", "c", "d", "e", "f", "g"}), data);
    for (int column = 0; column < 7; ++column)
        EXPECT_EQ(dataset.CheckConstant(column), column == 0 || column == 6) << column;
    AddText(dataset, 0, {"1", "1", "1"});
    EXPECT_FALSE(dataset.CheckConstant(0));
    EXPECT_TRUE(Dataset(Names({"a"}), MatrixXd(0, 1)).CheckConstant(0));
}

}  // namespace
