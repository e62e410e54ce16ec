#include "../support/CommaLocale.h"
#include "../support/RecordingSink.h"

#include <quarn/models/Model.h>

#include <gtest/gtest.h>

namespace {

using namespace quarn;
using quarn::testing::RecordingSink;

const std::string rule = std::string(92, '-') + "\n";
const std::string header = "               \t        Mean\t      Median\t     Sd.dev.\t          5%\t         95%\n";
const std::string diagnosticsHeader =
    "               \t            \t  Spectral  \t      MCMC  \t  Relative  \tInefficiency\n"
    "               \t        Mean\tdensity at 0\t   sd. error\t Numer. Eff.\t   factor   \n";

/// A model of blocks of rows; row r holds r.1, r.2, ... and the label "x" and r.
Model Tabulated(const std::vector<std::string>& headings, const std::vector<int>& rows) {
    Model model;
    model.ModelType = "Probit: ";
    model.ModelName = "m1";
    model.ElapsedTime = "1.25";
    model.SetTableTop("");
    model.Summary.SetDepVars(headings);
    model.Summary.SetSpacesVector(Eigen::Map<const VectorXi>(rows.data(), static_cast<Eigen::Index>(rows.size())));
    const int count = model.Summary.SpacesVector.sum();
    for (int r = 0; r < count; ++r) model.Summary.IndVars.push_back("x" + std::to_string(r));
    model.Summary.SetSummaryMatrix(MatrixXd::NullaryExpr(
        count, 5, [](auto r, auto c) { return static_cast<double>(r) + static_cast<double>(c + 1) / 10; }));
    return model;
}

std::string Row(int r) {
    std::string line = "x" + std::to_string(r) + "             ";
    for (int c = 1; c <= 5; ++c) line += "\t         " + std::to_string(r) + "." + std::to_string(c);
    return line + "\n";
}

/// What PrintResults writes behind the header, one letter for each piece: e emphasised, s shaded, p plain.
std::string Styles(const Model& model, std::string& text) {
    const auto sink = std::make_shared<RecordingSink>();
    model.PrintResults(EventDispatcher(sink));
    std::string styles;
    bool isBody = false;
    text.clear();
    for (const auto& [piece, style] : sink->Pieces) {
        if (isBody) {
            text += piece;
            styles += style.Emphasis ? 'e' : style.Background ? 's' : 'p';
            EXPECT_TRUE(!style.Background || *style.Background == Colour(230, 230, 240, 255));
        }
        if (piece == header) isBody = true;
    }
    return styles;
}

TEST(ModelPrinting, PutsThePageTogether) {
    Model model = Tabulated({"y"}, {2});
    model.SetTableTop("Probit model\nObs.: 10\n");
    model.Elements[Model::LogMLKey] = std::make_shared<MatrixXd>(MatrixXd::Constant(1, 1, -1234.5678));
    model.Elements[Model::LogMLCJKey] = std::make_shared<MatrixXd>(MatrixXd::Constant(1, 1, -1.5e-7));
    const std::string top =
        "Probit model\nObs.: 10\n\nlog-ML (Lewis & Raftery): \t    -1234.57\t   \t"
        "\nlog-ML (Chib & Jeliazkov):\t    -1.5e-07\t   \t\n" +
        rule;
    const MatrixXd summary = model.Summary.SummaryMatrix;
    const auto sink = std::make_shared<RecordingSink>(), diagnostics = std::make_shared<RecordingSink>();
    {
        const quarn::testing::ForeignNumbers foreign;
        model.PrintResults(EventDispatcher(sink));
        model.PrintDiagnostics(summary.colwise().reverse(), EventDispatcher(diagnostics));
    }
    EXPECT_EQ(sink->Text(),
              "Probit: m1\n" + top + header + rule + Row(0) + Row(1) + rule + "Elapsed time (sec.):   1.25\n");
    std::string second = Row(1), first = Row(0);
    std::swap(first[1], second[1]);
    EXPECT_EQ(diagnostics->Text(), "MCMC Diagnostics: m1\n" + top + diagnosticsHeader + rule + second + first + rule);
    EXPECT_EQ(model.Summary.SummaryMatrix, summary);
    for (const auto& [text, style] : sink->Pieces)
        EXPECT_EQ(style.Emphasis, text == header || text.starts_with("Probit: ")) << text;

    // Without anything above and below; the width is that of the last block's labels.
    model.Summary.SetSpacesVector(VectorXi::Ones(2));
    const auto bare = std::make_shared<RecordingSink>();
    model.PrintTable("", "", "", "h\n", model.Summary, EventDispatcher(bare), 4);
    const std::string last = Row(1);
    EXPECT_EQ(bare->Text(), "m1\n\n" + rule + "h\n" + rule + Row(0) + " \t \t \t \t \t\n" + last.substr(0, 4) +
                                last.substr(last.find('\t')) + rule);
}

TEST(ModelPrinting, ShadesEverySecondRowAndTheFirstBelowAHeading) {
    const std::string separator = " \t \t \t \t \t\n", end = rule + "Elapsed time (sec.):   1.25\n";
    const std::string y = "y              \t \t \t \t \t\n";
    const struct {
        std::vector<std::string> headings;
        std::vector<int> rows;
        std::string styles;  ///< of the rows, headings and separators
        std::string text;
    } cases[] = {
        {{"y"}, {3}, "psp", Row(0) + Row(1) + Row(2)},
        {{}, {1, 2}, "ppsp", Row(0) + separator + Row(1) + Row(2)},
        {{"y", "a long name of a variable"},
         {2, 2},
         "esppesp",
         y + Row(0) + Row(1) + separator + "a long name of~\t \t \t \t \t\n" + Row(2) + Row(3)},
        {{"y", "", "y"}, {1, 1, 1}, "espppes", y + Row(0) + separator + Row(1) + separator + y + Row(2)},
        {{"y", "y"}, {0, 1}, "epes", y + separator + y + Row(0)},
        {{}, {}, "", ""},
    };
    for (const auto& c : cases) {
        std::string text;
        const std::string styles = Styles(Tabulated(c.headings, c.rows), text);
        EXPECT_EQ(text, rule + c.text + end);
        EXPECT_EQ(styles, "p" + c.styles + "ppp") << text;
    }
}

TEST(ModelPrinting, LeavesOutWhatATableLacks) {
    Model model = Tabulated({"y"}, {2, 3});
    model.Summary.IndVars.resize(3);
    model.Summary.SummaryMatrix.conservativeResize(4, 5);
    std::string text;
    EXPECT_EQ(Styles(model, text), "ppsppsppp");
    model.Summary.DepVars = {"y", "z"};
    model.Summary.SpacesVector = VectorXi::Constant(3, -1);
    model.Summary.IndVars.clear();
    EXPECT_EQ(Styles(model, text), "pepepppp");
    model.TableTop = nullptr;
    model.Elements[Model::LogMLKey] = std::make_shared<MatrixXd>();
    model.Summary = {};
    EXPECT_EQ(Styles(model, text), "pppp");
}

}  // namespace
