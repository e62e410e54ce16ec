// Where memory runs out while an object of another size is written to, it can still be destroyed: the targets here are
// locals, which hold cells from before and end with the exception. Datasets are prepared in Allocations_test.cpp.

#include "../support/Matrices.h"
#include "../workspace/Workspaces.h"
#include "FailingAllocations.h"

#include <quarn/quarn.h>

#include <functional>

namespace {

using namespace quarn;
using quarn::testing::End;
using quarn::testing::FailEach;
using quarn::testing::NaN;

/// Of a size that no operation here writes.
template <class Object>
Object Filled() {
    constexpr int rows = Object::RowsAtCompileTime == 1 ? 1 : 7, columns = Object::ColsAtCompileTime == 1 ? 1 : 7;
    return Object::Ones(rows, columns);
}

struct Operation {
    const char* Name;
    std::function<void()> Run;
};

/// run writes to its last argument, of that type.
template <class Object, class Run>
Operation WritesTo(const char* name, Run run) {
    return {name, [run] {
                auto target = Filled<Object>();
                run(target);
            }};
}

void FailAll(const std::vector<Operation>& operations) {
    for (const auto& [name, run] : operations) {
        SCOPED_TRACE(name);
        EXPECT_GT(FailEach(run, [](End) {}), 1);
    }
}

Rng rng(1);
Unif unif;
Norm norm;
const MatrixXd x = MatrixXd::Random(20, 3).cwiseAbs();
const MatrixXd I = MatrixXd::Identity(3, 3);
const VectorXd first = x.col(0);

TEST(FilledTargets, OutliveAFailureOfNumerics) {
    FailAll({
        WritesTo<MatrixXd>("wishrnd", [](MatrixXd& out) { wishrnd(rng, unif, norm, I, 5.5, out); }),
        WritesTo<MatrixXd>("iwishrnd_intdf", [](MatrixXd& out) { iwishrnd_intdf(rng, unif, norm, I, 5, out); }),
        WritesTo<MatrixXd>("wishrnd, NaN", [](MatrixXd& out) { wishrnd(rng, unif, norm, I, 1.5, out); }),
        WritesTo<MatrixXd>("normpdf", [](MatrixXd& out) { normpdf(x, 0.0, 1.0, out); }),
        WritesTo<MatrixXd>("mvnormpdf", [](MatrixXd& out) { mvnormpdf(x, x.row(0), I, I, out); }),
        WritesTo<MatrixXd>("lbeta", [](MatrixXd& out) { lbeta(x, x, out); }),
        WritesTo<MatrixXd>("beta", [](MatrixXd& out) { beta(x, x, out); }),
        WritesTo<RowVectorXd>("vectorMinMax", [](RowVectorXd& out) { vectorMinMax(first, out); }),
        WritesTo<RowVectorXd>("vectorPerc5", [](RowVectorXd& out) { vectorPerc5(first, out); }),
        WritesTo<RowVectorXd>("vectorSummary", [](RowVectorXd& out) { vectorSummary(first, out); }),
        WritesTo<RowVectorXd>("vectorSummary, NaN",
                              [](RowVectorXd& out) { vectorSummary(VectorXd::Constant(2, NaN), out); }),
        WritesTo<RowVectorXd>("vectorSummary_mean_std_90ci",
                              [](RowVectorXd& out) { vectorSummary_mean_std_90ci(first, out); }),
        WritesTo<RowVectorXd>("matrixMean", [](RowVectorXd& out) { matrixMean(x, out); }),
        WritesTo<MatrixXd>("matrixSummary", [](MatrixXd& out) { matrixSummary(x, out); }),
        WritesTo<MatrixXd>("corr", [](MatrixXd& out) { corr(x, out); }),
        WritesTo<VectorXd>("vectorPower", [](VectorXd& out) { vectorPower(first, 2, out); }),
        WritesTo<MatrixXd>("matrixEPower", [](MatrixXd& out) { matrixEPower(x, x, out); }),
        WritesTo<MatrixXd>("dropMissing", [](MatrixXd& out) { dropMissing(x, out); }),
        WritesTo<VectorXi>("SortMatrixVarIndex",
                           [](VectorXi& order) {
                               order = VectorXi::LinSpaced(7, 0, 6);
                               SortMatrixVarIndex(x.topRows(5), VectorXi::Zero(1), order);
                           }),
        WritesTo<RowVectorXd>("MCMCdiagnostics", [](RowVectorXd& out) { MCMCdiagnostics(first, out, 0, 0); }),
        WritesTo<MatrixXd>("MCMCdiagnostics of all", [](MatrixXd& out) { MCMCdiagnostics(x, out, 0, 0); }),
    });
}

TEST(FilledTargets, OutliveAFailureOfFits) {
    FailAll({
        WritesTo<VectorXd>("logL_LM",
                           [](VectorXd& gradient) {
                               logL_LM objective;
                               objective.X = x;
                               objective.y = first;
                               objective.fg(VectorXd::Zero(4), gradient);
                           }),
        WritesTo<VectorXd>("TestFunction_Xd",
                           [](VectorXd& gradient) { TestFunction_Xd().fg(VectorXd::Zero(3), gradient); }),
        {"Optimize",
         [] {
             TestFunction_Xd objective;
             Optimize run(&objective);
             run.xmin = Filled<VectorXd>();
             run.BFGS(VectorXd::Zero(2), 1e-3, 100);
         }},
        {"OLSChol", [] { OLSChol(first, x); }},
        {"OLSEM", [] { OLSEM(first, x, 2, 3); }},
        {"MVNORMEM", [] { MVNORMEM(x, 2, 3, MatrixXd(), MatrixXd()); }},
        {"kmeansClassifier", [] { kmeansClassifier(std::make_shared<MatrixXd>(x.leftCols(2)), 2, 5); }},
        {"CompareModels",
         [] {
             CompareModels({"a", "b"}, {"", ""}, first.head(2), first.head(2));
         }},
    });
}

SummaryStructure TableOf(int rows) {
    SummaryStructure table;
    table.SetSummaryMatrix(MatrixXd::Ones(rows, 5));
    table.SetSpacesVector(VectorXi::Ones(rows));
    return table;
}

std::shared_ptr<Model> ModelOf(int rows) {
    auto model = quarn::testing::MakeModel();
    model->Summary = TableOf(rows);
    return model;
}

TEST(FilledTargets, OutliveAFailureOfTablesAndReports) {
    const SummaryStructure table = TableOf(4);
    const auto model = ModelOf(4);
    MatrixXd cells = x;
    cells.col(1).head(5).setConstant(NaN);
    const auto dataset = std::make_shared<Dataset>(quarn::testing::MakeTable("id x y", cells));
    FailAll({
        {"SetSummaryMatrix", [&] { TableOf(2).SetSummaryMatrix(table.SummaryMatrix); }},
        {"SetSpacesVector", [&] { TableOf(2).SetSpacesVector(table.SpacesVector); }},
        {"assignment", [&] { TableOf(2) = table; }},
        {"SetMembersShallow", [&] { ModelOf(2)->SetMembersShallow(model); }},
        {"SetMembersDeep", [&] { ModelOf(2)->SetMembersDeep(model); }},
        {"SummarizeModel", [&] { SummarizeModel(dataset, false); }},
        {"SummarizeModel, jointly", [&] { SummarizeModel(dataset, true); }},
    });
}

TEST(FilledTargets, OfContainersAreAsTheyWereAfterAFailure) {
    ChainDataStructure bag;
    bag.AddMatrix("m", x);
    bag.AddVector("m", first);
    bag.AddMatrixXi("m", MatrixXi::Ones(4, 4));
    FailAll({
        WritesTo<MatrixXd>("GetMatrix", [&](MatrixXd& target) { bag.GetMatrix("m", target); }),
        WritesTo<VectorXd>("GetVector", [&](VectorXd& target) { bag.GetVector("m", target); }),
        WritesTo<MatrixXi>("GetMatrixXi", [&](MatrixXi& target) { bag.GetMatrixXi("m", target); }),
        {"AddMatrix",
         [&] {
             ChainDataStructure other;
             other.AddMatrix("m", Filled<MatrixXd>());
             other.AddMatrix("m", x);
         }},
    });

    quarn::testing::Workspace workspace;
    workspace.AddMatrix("m", std::make_shared<MatrixXd>(x));
    // Names that need no memory of their own: see the operations of Allocations_test.cpp.
    const auto datasetOf = [](int rows) {
        return std::make_shared<Dataset>(quarn::testing::MakeTable("a b", MatrixXd::Ones(rows, 2)));
    };
    workspace.AddDataset("d", datasetOf(3));
    workspace.AddModel("m", ModelOf(4));
    MatrixXd matrix;
    EXPECT_GT(FailEach([&] { workspace.GetMatrix("m", matrix); },
                       [&](End end) { EXPECT_EQ(matrix, end == End::Complete ? x : Filled<MatrixXd>()); },
                       [&] { matrix = Filled<MatrixXd>(); }),
              1);
    const auto before = datasetOf(2), after = workspace.GetpDataset("d");
    Dataset dataset = *before;
    EXPECT_GT(FailEach([&] { workspace.GetDataset("d", dataset); },
                       [&](End end) {
                           const Dataset& expected = end == End::Complete ? *after : *before;
                           EXPECT_EQ(quarn::testing::Saved(dataset), quarn::testing::Saved(expected));
                           dataset = *before;
                       }),
              3);
    Model model = *ModelOf(2);
    EXPECT_GT(FailEach([&] { workspace.GetModel("m", model); },
                       [&](End end) {
                           EXPECT_EQ(model.Summary.SummaryMatrix.rows(), end == End::Complete ? 4 : 2);
                           model = *ModelOf(2);
                       }),
              3);
}

}  // namespace
