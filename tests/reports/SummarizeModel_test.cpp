#include "../support/Matrices.h"
#include "../support/RecordingSink.h"
#include "../support/TemporaryFile.h"

#include <quarn/reports/SummarizeModel.h>

#include <gtest/gtest.h>

#include <clocale>
#include <limits>

namespace {

using quarn::Dataset;
using quarn::MatrixXd;
using quarn::SummarizeModel;
using quarn::testing::RecordingSink;
using Names = std::vector<std::string>;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

std::shared_ptr<Dataset> Imported(const std::string& text) {
    const auto dataset = std::make_shared<Dataset>(quarn::testing::TemporaryFile(text).Path(), ',');
    dataset->Name = "d";
    return dataset;
}

std::shared_ptr<Dataset> Grunfeld() {
    const auto dataset = std::make_shared<Dataset>(QUARN_SOURCE_DIR "/examples/data/grunfeld.csv", ',');
    dataset->Name = "grunfeld";
    return dataset;
}

MatrixXd Table(const std::vector<std::vector<double>>& rows) {
    return MatrixXd::NullaryExpr(static_cast<Eigen::Index>(rows.size()), 5, [&](auto i, auto j) {
        return rows[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
    });
}

void ExpectTable(const MatrixXd& table, const MatrixXd& expected) {
    ASSERT_EQ(std::pair(table.rows(), table.cols()), std::pair(expected.rows(), expected.cols()));
    for (Eigen::Index i = 0; i < table.rows(); ++i)
        for (Eigen::Index j = 0; j < 5; ++j)
            if (!(std::isnan(table(i, j)) && std::isnan(expected(i, j)))) {
                EXPECT_NEAR(table(i, j), expected(i, j), 1e-14 * std::abs(expected(i, j))) << i << ", " << j;
            }
}

// a: 1 2 . 4 3   s: a string variable with one missing literal   m: all missing   i: with an infinity
const std::string mixed = "a,s,m,i\n1,x,NA,1\n2,3,NA,-inf\nNA,y,NA,3\n4,NA,NA,5\n3,z,NA,7\n";

TEST(SummarizeModel, TakesEachVariableByItself) {
    const SummarizeModel summary(Imported(mixed), false);
    EXPECT_EQ(summary.Status, "OK");
    EXPECT_EQ(summary.DatasetName, "d");
    EXPECT_EQ(summary.VarNames, (Names{"a", "s", "m", "i"}));
    ExpectTable(summary.Table, Table({{4, 2.5, std::sqrt(5.0 / 3), 1, 4},
                                      {4, NaN, NaN, NaN, NaN},
                                      {0, NaN, NaN, NaN, NaN},
                                      {4, 4, std::sqrt(20.0 / 3), 1, 7}}));
}

TEST(SummarizeModel, TakesOneJointSampleCasewise) {
    Names names = {"i", "s", "a", "i"};
    const SummarizeModel summary(Imported(mixed), names, true);
    EXPECT_EQ(summary.Status, "OK");
    EXPECT_EQ(summary.VarNames, names);
    const double sd = std::sqrt(18.0);
    ExpectTable(summary.Table,
                Table({{2, 4, sd, 1, 7}, {2, NaN, NaN, NaN, NaN}, {2, 2, std::sqrt(2.0), 1, 3}, {2, 4, sd, 1, 7}}));
}

TEST(SummarizeModel, SaysWhyThereIsNoTable) {
    const std::string unknown = "Dataset \"d\" does not have a variable \"B\".";
    const std::string noneListed = "Dataset \"d\" has no observations without missing data in the specified variables.";
    const std::string none = "Dataset \"d\" has no observations without missing data.";
    const struct {
        std::string text;
        Names names;  ///< empty: all
        bool casewise;
        std::string status;
        int rows;
    } cases[] = {
        {mixed, {"a", "B", "C"}, false, unknown, 0},
        {mixed, {"a", "B", "m"}, true, unknown, 0},
        {mixed, {"a", "m"}, true, noneListed, 0},
        {mixed, {"a", "m"}, false, "OK", 2},
        {mixed, {}, true, none, 0},
        {"a\n", {}, true, none, 0},
        {"a\n", {"a"}, true, noneListed, 0},
        {"a\n", {}, false, "OK", 1},
        {"QuarnSystemVar_obsID\n1\n2\n", {}, false, "OK", 0},
        {"QuarnSystemVar_obsID\n1\n2\n", {}, true, "OK", 0},
        {"QuarnSystemVar_obsID\n", {}, true, none, 0},
        {"QuarnSystemVar_obsID\n1\n2\n", {"QuarnSystemVar_obsID"}, true, "OK", 1},
        {"", {}, false, "OK", 0},
        {"", {}, true, none, 0},
    };
    for (const auto& c : cases) {
        Names names = c.names;
        const auto dataset = Imported(c.text);
        const SummarizeModel summary =
            names.empty() ? SummarizeModel(dataset, c.casewise) : SummarizeModel(dataset, names, c.casewise);
        EXPECT_EQ(summary.Status, c.status) << c.text;
        EXPECT_EQ(summary.Table.rows(), c.rows) << c.text;
        EXPECT_TRUE(c.status != "OK" || summary.Table.cols() == 5) << c.text;
    }
}

TEST(SummarizeModel, HasNoNameWhereTheLocaleHasNoFormForItButNamesItInItsStatus) {
    const auto dataset = Imported(mixed);
    Names unknown{"B"};
    for (const char* locale : {"C", "C.UTF-8"}) {
        if (std::setlocale(LC_CTYPE, locale) == nullptr) continue;
        dataset->Name = wxString::FromUTF8("\xC3\xA9t\xC3\xA9");
        EXPECT_EQ(SummarizeModel(dataset, false).DatasetName, locale == std::string("C") ? "" : "\xC3\xA9t\xC3\xA9");
        EXPECT_EQ(SummarizeModel(dataset, unknown, false).Status,
                  "Dataset \"\xC3\xA9t\xC3\xA9\" does not have a variable \"B\".");
        dataset->Name = L"\xF7E9t";  // as a name of other bytes is held
        EXPECT_EQ(SummarizeModel(dataset, false).DatasetName, "\xE9t");
    }
    std::setlocale(LC_CTYPE, "C");
}

TEST(SummarizeModel, AgreesWithRForTheGrunfeldData) {
    Names names = {"firm_id", "year", "invest", "value", "capital"};
    for (const bool casewise : {false, true})
        ExpectTable(SummarizeModel(Grunfeld(), names, casewise).Table,
                    Table({{220, 6, 3.169489249146717, 1, 11},
                           {220, 1944.5, 5.7794313287743337, 1935, 1954},
                           {220, 133.31190000000001, 210.5871863561417, 0.93000000000000005, 1486.7},
                           {220, 988.57780454545457, 1287.30117187874, 30.283999999999999, 6241.6999999999998},
                           {220, 257.10854090909089, 293.22791446935702, 0.80000000000000004, 2226.3000000000002}}));
}

TEST(SummarizeModel, PrintsABandedTable) {
    const auto sink = std::make_shared<RecordingSink>();
    SummarizeModel(Grunfeld(), false).Print(quarn::EventDispatcher(sink));
    const std::string rule = std::string(92, '-') + "\n";
    EXPECT_EQ(sink->Text(),
              "SUMMARY STATISTICS: grunfeld\n\n" + rule +
                  "Variable       \t        Obs.\t        Mean\t     Sd.dev.\t     Minimum\t     Maximum\n" + rule +
                  "firm_id        \t         220\t           6\t    3.169489\t           1\t          11\n"
                  "firm           \t         220\t         NaN\t         NaN\t         NaN\t         NaN\n"
                  "year           \t         220\t      1944.5\t    5.779431\t        1935\t        1954\n"
                  "invest         \t         220\t    133.3119\t    210.5872\t        0.93\t      1486.7\n"
                  "value          \t         220\t    988.5778\t    1287.301\t      30.284\t      6241.7\n"
                  "capital        \t         220\t    257.1085\t    293.2279\t         0.8\t      2226.3\n" +
                  rule + "\n\n");
    std::vector<bool> banded;
    for (const auto& [text, style] : sink->Pieces) {
        EXPECT_EQ(style.Emphasis, text.starts_with("SUMMARY") || text.starts_with("Variable")) << text;
        if (text.find("220") == std::string::npos) continue;
        banded.push_back(style.Background.has_value());
        if (style.Background) {
            EXPECT_EQ(*style.Background, quarn::Colour(230, 230, 240, 255));
        }
    }
    EXPECT_EQ(banded, (std::vector<bool>{false, true, false, true, false, true}));
}

}  // namespace
