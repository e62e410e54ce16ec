#include "Quarn.h"

#include <quarn/workspace/QuarnStructure.h>

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

namespace {

using quarn::MatrixXd;
using quarn::Model;
using quarn::QuarnStructure;
using quarn::testing::Outcome;
using quarn::testing::Quarn;
using quarn::testing::Row;
using quarn::testing::TemporaryFile;

std::shared_ptr<MatrixXd> Matrix(const MatrixXd& matrix) { return std::make_shared<MatrixXd>(matrix); }

std::shared_ptr<Model> MakeModel(double logML, double logMLCJ) {
    auto model = std::make_shared<Model>();
    model->ModelType = "Linear";
    model->ElapsedTime = "1.5";
    model->SetTableTop("A linear model");
    model->Samples = Matrix(MatrixXd::Random(100, 1).array() + 5);
    model->ObsId = Matrix(MatrixXd::Ones(2, 1));
    model->Summary.SetDepVars({"y"});
    model->Summary.SetIndVars({"beta"});
    model->Summary.SetSummaryMatrix(MatrixXd{{5.25, 5, 0.5, 4, 6}});
    model->Summary.SetSpacesVector(quarn::VectorXi::Ones(1));
    model->Elements["logML"] = Matrix(MatrixXd::Constant(1, 1, logML));
    if (logMLCJ != 0) model->Elements["logML_CJ"] = Matrix(MatrixXd::Constant(1, 1, logMLCJ));
    model->SetDatasetWasDeleted();
    return model;
}

std::string SavedWorkspace() {
    QuarnStructure top, &sub = *(top.Structures["sub"] = std::make_shared<QuarnStructure>());
    top.AddMatrix("b", Matrix(MatrixXd{{1, 1.0 / 3}, {-2, 1e10}}));
    wxArrayString names;
    names.Add("id");
    names.Add("x");
    top.AddDataset("b", std::make_shared<quarn::Dataset>(names, MatrixXd{{1, 2}, {2, 4}}));
    top.AddModel("m", MakeModel(-10000, -10));
    sub.AddModel("m/2", MakeModel(-10001, 0));
    sub.AddString("two words", std::make_shared<std::string>("text"));
    std::ostringstream stream;
    top.SaveStructure(stream);
    return stream.str();
}

TEST(QuarnShow, ListsTheTree) {
    const TemporaryFile file(SavedWorkspace());
    const Outcome list = Quarn("show " + file.Path());
    EXPECT_EQ(list.status, 0) << list.errors;
    EXPECT_EQ(list.output,
              "matrix     2 x 2                           b\n"
              "dataset    2 observations, 1 variable      b\n"
              "model      Linear, 100 draws, 1 parameter  m\n"
              "structure  2 items                         sub\n"
              "model      Linear, 100 draws, 1 parameter  sub/m/2\n"
              "string     4 bytes                         sub/two words\n");
    EXPECT_EQ(Quarn("show " + file.Path() + " sub").output,
              "model      Linear, 100 draws, 1 parameter  m/2\n"
              "string     4 bytes                         two words\n");
    EXPECT_EQ(Quarn("show /dev/stdin", "<" + file.Path()).output, list.output);
    const TemporaryFile output;
    std::system(("cat " + file.Path() + " | " QUARN_COMMAND " show /dev/stdin >" + output.Path()).c_str());
    EXPECT_EQ(output.Read(), list.output);
}

TEST(QuarnShow, PrintsAnItem) {
    const TemporaryFile file(SavedWorkspace());
    const std::string show = "show " + file.Path() + " ";
    EXPECT_EQ(Quarn(show + "b").output, "1\t0.333333\n-2\t1e+10\n");
    EXPECT_EQ(Quarn(show + "b --digits 11").output, "1\t0.33333333333\n-2\t10000000000\n");
    EXPECT_EQ(Row(Quarn(show + "b --kind dataset").output, "x"), "x 2 3 1.414214 2 4");
    EXPECT_EQ(Quarn(show + "'sub/two words'").output, "text\n");
    for (const char* path : {"m", "sub/m/2"}) {
        const Outcome results = Quarn(show + path), diagnostics = Quarn(show + path + " --diagnostics");
        EXPECT_EQ(Row(results.output, "beta"), "beta 5.25 5 0.5 4 6") << path;
        EXPECT_NE(results.output.find("A linear model"), std::string::npos);
        EXPECT_NE(diagnostics.output.find("MCMC Diagnostics"), std::string::npos) << diagnostics.errors;
        EXPECT_NE(Row(diagnostics.output, "beta"), Row(results.output, "beta"));
    }
}

TEST(QuarnCompare, PrintsPosteriorProbabilities) {
    const TemporaryFile file(SavedWorkspace());
    const std::string compare = "compare " + file.Path() + " m sub/m/2 ";
    const Outcome equal = Quarn(compare), prior = Quarn("compare " + file.Path() + " --prior 0.1,0.3 m sub/m/2");
    EXPECT_EQ(Row(equal.output, "m"), "m -10000 Lewis & Raftery 0.5 0.7310586") << equal.errors << equal.output;
    EXPECT_EQ(Row(equal.output, "sub/m/2"), "sub/m/2 -10001 Lewis & Raftery 0.5 0.2689414");
    EXPECT_EQ(Row(prior.output, "m"), "m -10000 Lewis & Raftery 0.1 0.4753669") << prior.errors;
    EXPECT_EQ(Row(Quarn("compare " + file.Path() + " m m --logml cj").output, "m"), "m -10 Chib & Jeliazkov 0.5 0.5");
}

TEST(QuarnWorkspaceCommands, PutMessagesOnStandardErrorAndTellByTheirStatus) {
    const std::string saved = SavedWorkspace();
    const TemporaryFile file(saved), table("a,b\n1,2\n3,4\n5,6\n7,8\n"), more(saved + "x\n"),
        cut(saved.substr(0, saved.size() / 2)), absurd("1\n0\n0\n0\n0\nx~-1~5\n");
    quarn::testing::ExpectToFail({
        {"show /nowhere/at/all", 1, "/nowhere/at/all: cannot open: no such file"},
        {"show /", 1, "/: cannot open: it is a directory"},
        {"show " + table.Path(), 1, table.Path() + ": it is not a workspace"},
        {"show /dev/null", 1, "not a workspace"},
        {"show " + cut.Path(), 1, cut.Path() + ": it is damaged: it ends early"},
        {"show " + more.Path(), 1, "text follows behind its end"},
        {"show " + absurd.Path(), 1, absurd.Path() + ": it is damaged"},
        {"show " + file.Path() + " nope", 1, file.Path() + ": there is no item nope"},
        {"show " + file.Path() + " b -k string", 1, "there is no string b"},
        {"show " + file.Path() + " b --diagnostics", 1, "there is no model b"},
        {"compare " + file.Path() + " m b", 1, file.Path() + ": there is no model b"},
        {"compare " + file.Path() + " m sub/m/2 --logml cj", 1, "sub/m/2 has no log marginal likelihood by Chib"},
        {"show", 2, "WORKSPACE"},
        {"show x --diagnostics", 2, "PATH"},
        {"show x y --kind z", 2, "--kind"},
        {"show x y --digits 18", 2, "--digits"},
        {"compare x", 2, "MODEL"},
        {"compare x m --logml z", 2, "--logml"},
        {"compare x m n --prior 0.5", 2, "as many priors as models"},
        {"compare x m n --prior 0.5,0", 2, "--prior"},
        {"compare x m n --prior 0.5,nan", 2, "--prior"},
    });
}

}  // namespace
