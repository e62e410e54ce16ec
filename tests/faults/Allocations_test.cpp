#include "../support/Matrices.h"
#include "../support/Panels.h"
#include "../support/TemporaryFile.h"
#include "FailingAllocations.h"

#include <quarn/datasets/TimeFormats.h>
#include <quarn/numerics/MatrixText.h>

#include <functional>
#include <optional>
#include <sstream>

namespace {

using namespace quarn;
using quarn::testing::End;
using quarn::testing::FailEach;
using quarn::testing::TemporaryFile;

std::string Saved(const Dataset& dataset) {
    std::ostringstream stream;
    dataset.SaveDataset(stream);
    return stream.str();
}

/// Months of a panel as text, with a long text variable and missing cells.
Dataset Panel() {
    std::mt19937_64 engine(51);
    Dataset dataset = quarn::testing::RandomPanel({.hasTextTimes = true}, 12, engine);
    for (std::string& text : dataset.StringVars[quarn::testing::TextColumn].Values) text.insert(0, 20, '0');
    EXPECT_EQ(dataset.SetPanelData("text", "group", "yyyymxx"), "OK");
    dataset.SaveId = "the key of the dataset in its file";
    return dataset;
}

/// Quarters without gaps but one missing cell.
Dataset Series() {
    wxArrayString names;
    for (const char* name : {"QuarnSystemVar_obsID", "time", "x", "y"}) names.Add(name);
    MatrixXd data(40, 4);
    for (int i = 0; i < 40; ++i) data.row(i) << i + 1, (i * 7) % 40, i % 5, i * i;
    Dataset dataset(names, data);
    EXPECT_EQ(dataset.SetTimeSeries("time", "index"), "OK");
    return dataset;
}

/// All of a dataset that can be seen, the time codes too, which a passage does not hold.
std::string Whole(const Dataset& dataset) {
    std::ostringstream text;
    // Not by a conversion of the string library, which keeps in the name what it asked malloc for uncounted.
    for (const wchar_t c : dataset.Name.ToStdWstring()) text << static_cast<char>(c);
    text << dataset.Loaded << dataset.StatusText << '\n' << Saved(dataset);
    for (const auto& [column, variable] : dataset.StringVars) text << variable.TimeIndex.transpose() << '\n';
    return text.str();
}

TEST(FailingAllocations, EndAnImportByBadAlloc) {
    std::string text = "a,some_variable_of_a_long_name,c,d\n";
    for (int i = 0; i < 60; ++i)
        text += std::to_string(i) + (i < 30 ? ",1,nan" : ",a text beyond any short form,x") + (i % 7 ? ",2\n" : "\n");
    text += "1," + std::string(300000, 'x') + ",1,1\n";  // longer than a block
    const TemporaryFile file(text);
    const std::string expected = Whole(Dataset(file.Path(), ','));
    std::optional<Dataset> dataset;
    const long points = FailEach([&] { dataset.emplace(file.Path(), ','); },
                                 [&](End end) {
                                     EXPECT_EQ(dataset.has_value(), end == End::Complete);
                                     EXPECT_TRUE(!dataset || Whole(*dataset) == expected);
                                     dataset.reset();
                                 });
    EXPECT_GT(points, 100);
}

TEST(FailingAllocations, EndALoadByBadAlloc) {
    const Dataset panel = Panel();
    std::istringstream stream("the panel~" + Saved(panel));
    const std::string expected = Whole(Dataset(stream));
    std::optional<Dataset> dataset;
    const long points = FailEach(
        [&] {
            stream.clear();
            stream.seekg(0);
            dataset.emplace(stream);
        },
        [&](End end) {
            EXPECT_EQ(dataset.has_value(), end == End::Complete);
            EXPECT_TRUE(!dataset || Whole(*dataset) == expected);
            dataset.reset();
        });
    EXPECT_GT(points, 100);
}

TEST(FailingAllocations, EndTheLoadOfAMatrixOrVectorByBadAlloc) {
    std::string rows, elements = "300\n";
    for (int i = 0; i < 300; ++i) rows += std::to_string(i) + "~0.5~" + std::string(100, '1') + "\n";
    for (int i = 0; i < 300; ++i) elements += std::string(40, ' ') + std::to_string(i) + "\n";
    std::istringstream rowStream(rows), elementStream(elements);
    MatrixXd matrix, body(300, 3);
    VectorXi vector;
    const auto again = [](std::istringstream& stream) -> std::istream& {
        stream.clear();
        return stream.seekg(0);
    };
    EXPECT_GT(FailEach([&] { LoadMatrix(again(rowStream), body, 300, 3, '~'); },
                       [&](End end) {
                           EXPECT_TRUE(end == End::BadAlloc || body.col(0) == VectorXd::LinSpaced(300, 0, 299));
                           body.setZero();
                       }),
              3);
    EXPECT_GT(FailEach([&] { matrix = LoadMatrix(again(rowStream), '~'); },
                       [&](End end) {
                           EXPECT_EQ(matrix.rows(), end == End::Complete ? 300 : 0);
                           matrix.resize(0, 0);
                       }),
              3);
    EXPECT_GT(FailEach([&] { vector = LoadVectorXi(again(elementStream)); },
                       [&](End end) {
                           EXPECT_EQ(vector.sum(), end == End::Complete ? 299 * 150 : 0);
                           vector.resize(0);
                       }),
              1);
}

TEST(FailingAllocations, EndASaveByBadAllocOrAFailedStream) {
    const Dataset panel = Panel();
    const std::string expected = Saved(panel), before = Whole(panel);
    std::optional<std::ostringstream> stream;
    FailEach(
        [&] {
            stream.emplace();
            panel.SaveDataset(*stream);
        },
        [&](End end) {
            EXPECT_TRUE(end == End::BadAlloc || !stream->good() || stream->str() == expected);
            stream.reset();
            EXPECT_EQ(Whole(panel), before);
        });
    const TemporaryFile file;
    bool exported = false;
    FailEach([&] { exported = panel.ExportData(file.Path(), ','); },
             [&](End end) {
                 EXPECT_TRUE(end == End::BadAlloc || exported);
                 EXPECT_EQ(Whole(panel), before);
             });
}

struct Operation {
    const char* Name;
    std::function<void(Dataset&)> Run;
};

std::vector<std::string> Some() { return {"x", "y"}; }

/// Of another size than what is prepared: it must end well with the exception.
MatrixXd Filled() { return MatrixXd::Ones(7, 7); }

// Not Copy: the copy constructor of wxArrayString loses its block where memory runs out among the names.
const Operation operations[] = {
    {"SetPanelData", [](Dataset& d) { d.SetPanelData("text", "group", "yyyymxx"); }},
    {"SetTimeSeries", [](Dataset& d) { d.SetTimeSeries("QuarnSystemVar_obsID", "index"); }},
    {"CheckType",
     [](Dataset& d) {
         int type = 0;
         d.CheckType(type);
     }},
    {"AddVariable", [](Dataset& d) { d.AddVariable(VectorXd::Ones(d.NumObs), "a_new_variable_of_a_long_name"); }},
    {"ReplaceVariable", [](Dataset& d) { d.ReplaceVariable(VectorXd::Ones(d.NumObs), "y"); }},
    {"RenameVariable",
     [](Dataset& d) { d.RenameVariable(d.DatasetType == 2 ? "text" : "x", "another_variable_of_a_long_name"); }},
    {"DeleteVariable", [](Dataset& d) { d.DeleteVariable("x"); }},
    {"MatchOservations_One2One",
     [](Dataset& d) {
         const MatrixXd ids = d.Data.topLeftCorner(9, 1);
         d.MatchOservations_One2One(ids, VectorXd(VectorXd::Ones(9)), "a_new_variable_of_a_long_name");
     }},
    {"MatchOservations_One2One of several",
     [](Dataset& d) {
         const MatrixXd ids = d.Data.topLeftCorner(9, 1);
         const std::string first = d.StringVars.empty() ? "x" : "text";
         d.MatchOservations_One2One(ids, MatrixXd(MatrixXd::Ones(9, 3)),
                                    {first, "a_new_variable_of_a_long_name", "another_variable_of_a_long_name"});
     }},
    {"SortData",
     [](Dataset& d) {
         wxArrayString names;
         names.Add("x");
         d.SortData(names);
     }},
    {"SortData by text",
     [](Dataset& d) {
         wxArrayString names;
         names.Add(d.DatasetType == 2 ? "text" : "time");
         names.Add("y");
         d.SortData(names);
     }},
    {"DropKeep",
     [](Dataset& d) {
         VectorXi mask = VectorXi::Ones(d.NumObs);
         mask.head(5).setZero();
         d.DropKeep(mask, true);
     }},
    {"TakeLags",
     [](Dataset& d) {
         std::string message;
         d.TakeLags("x", "d", 1, message);
     }},
    {"CalculateGroupStats",
     [](Dataset& d) {
         std::string message;
         d.CalculateGroupStats("x", "d", "groupmedians", message);
     }},
    {"Prepare_Summarize",
     [](Dataset& d) {
         auto names = Some();
         MatrixXd data = Filled();
         d.Prepare_Summarize(names, data);
     }},
    {"Prepare_CrossSection",
     [](Dataset& d) {
         auto namesZ = Some(), namesX = Some();
         MatrixXd Z = Filled(), X = Filled(), ids = Filled();
         VectorXd y = Filled().col(0);
         d.Prepare_CrossSection(namesZ, namesX, Z, X, y, ids);
     }},
    {"CheckIntegral",
     [](Dataset& d) {
         std::vector<std::string> names = {"x"};
         int maxValue = 0;
         VectorXi counts = VectorXi::Ones(7);
         d.CheckIntegral(names, maxValue, counts, 0);
     }},
    {"Prepare_TimeSeries",
     [](Dataset& d) {
         auto names = Some();
         std::vector<VectorXi> lags = {VectorXi::LinSpaced(4, -1, 2), VectorXi::Zero(1)};
         MatrixXd data = Filled(), ids = Filled();
         VectorXd time = Filled().col(0);
         MatrixXi unused;
         std::vector<std::vector<int>> missing;
         std::vector<std::string> warnings;
         d.Prepare_TimeSeries(names, lags, 1, data, ids, time, unused, missing, warnings, 1);
     }},
    {"Prepare_TimeSeries2",
     [](Dataset& d) {
         auto names = Some();
         std::vector<VectorXi> lags = {VectorXi::LinSpaced(3, 0, 2), VectorXi::Zero(1)};
         MatrixXd data = Filled(), unused;
         MatrixXi alsoUnused;
         d.Prepare_TimeSeries2(names, lags, data, unused, alsoUnused);
     }},
    {"Prepare_DynamicPanelData",
     [](Dataset& d) {
         auto names = Some();
         MatrixXd X = Filled(), ids = Filled();
         VectorXd y = Filled().col(0);
         MatrixXi structure = MatrixXi::Ones(7, 7);
         d.Prepare_DynamicPanelData(names, X, y, ids, structure, true);
     }},
    {"SetTSFormat_TS",
     [](Dataset&) {
         VectorXi index = VectorXi::Ones(7);
         std::string message;
         SetTSFormat_TS({"2001q1", "2001q2"}, "yyyyqx", index, message);
     }},
};

TEST(FailingAllocations, LeaveADatasetAsItWas) {
    for (Dataset original : {Panel(), Series()}) {
        // Declared anew on the way, where a declaration is needed.
        original.TransformedSinceDeclaration = true;
        const std::string before = Whole(original);
        Dataset declared = original;
        int type = 0;
        declared.CheckType(type);
        const std::string orDeclared = Whole(declared);
        for (const auto& [name, run] : operations) {
            SCOPED_TRACE(name);
            std::optional<Dataset> dataset = original;
            run(*dataset);
            const std::string after = Whole(*dataset);
            dataset.reset();
            FailEach([&] { run(*dataset); },
                     [&](End end) {
                         const std::string whole = Whole(*dataset);
                         const bool isRight =
                             end == End::Complete ? whole == after : whole == before || whole == orDeclared;
                         EXPECT_TRUE(isRight);
                         dataset.reset();
                     },
                     [&] { dataset = original; });
        }
    }
}

}  // namespace
