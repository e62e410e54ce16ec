#include "../support/Matrices.h"
#include "../support/Messages.h"
#include "../support/Panels.h"

#include <gtest/gtest.h>

namespace {

using Eigen::Index;
using quarn::Dataset;
using quarn::MatrixXd;
using quarn::MatrixXi;
using quarn::VectorXd;
using namespace quarn::testing;
using Names = std::vector<std::string>;

struct Prepared {
    std::string status = "OK";
    MatrixXd X = MatrixXd::Ones(1, 1), ids = X;
    VectorXd y = VectorXd::Ones(1);
    MatrixXi structure = MatrixXi::Ones(1, 1);
};

/// Sorts rows by the listed columns, keeping the order of ties, by insertion.
void SortByHand(MatrixXd& table, const std::vector<Index>& columns) {
    const auto before = [&](Index a, Index b) {
        for (const Index column : columns)
            if (table(a, column) != table(b, column)) return table(a, column) < table(b, column);
        return false;
    };
    for (Index i = 1; i < table.rows(); ++i)
        for (Index j = i; j > 0 && before(j, j - 1); --j) table.row(j).swap(table.row(j - 1));
}

/// The steps one by one on a working matrix: block length, id, group, time, variables.
Prepared PrepareByHand(const Dataset& dataset, const std::vector<int>& columns, bool dropSingletons, bool isDynamic) {
    Prepared out;
    const auto names = static_cast<Index>(columns.size());
    MatrixXd work(dataset.NumObs, names + 4);
    Index n = 0;
    for (Index i = 0; i < dataset.NumObs; ++i) {
        work.row(n).head(4) << 0.0, dataset.Data(i, 0), dataset.Data(i, GroupColumn), TimeOf(dataset, i);
        for (Index k = 0; k < names; ++k) work(n, k + 4) = dataset.Data(i, columns[static_cast<std::size_t>(k)]);
        if (work.row(n).tail(names + 2).allFinite()) ++n;
    }
    out.status = "noData";
    if (n == 0) return out;
    work.conservativeResize(n, Eigen::NoChange);
    SortByHand(work, {2, 3});
    out.status = "OK";
    for (Index first = 0, i = 1; i <= n; ++i) {
        const bool sameGroup = i < n && work(i, 2) == work(first, 2);
        const bool successive = i < n && work(i, 3) == work(i - 1, 3) + 1.0;
        if (isDynamic && sameGroup && !successive) out.status = "groupsWithGaps";
        if (sameGroup && (successive || !isDynamic)) continue;
        work.col(0).segment(first, i - first).setConstant(static_cast<double>(i - first));
        first = i;
    }
    SortByHand(work, {0, 2, 3});
    const Index dropped = dropSingletons ? (work.col(0).array() < 2.0).count() : 0;
    work = work.bottomRows(n - dropped).eval();
    n -= dropped;
    if (n == 0) {
        out.status = "noData";
        return out;
    }
    out.X = work.middleCols(4, names - 1);
    out.y = work.col(names + 3);
    out.ids.resize(n, 2);
    out.ids.col(0) = work.col(1);
    out.structure.resize(0, 2);
    int block = 0;
    for (Index i = 0; i < n; ++block) {
        const auto length = static_cast<Index>(work(i, 0));
        out.ids.col(1).segment(i, length).setConstant(block);
        if (i == 0 || work(i, 0) != work(i - 1, 0)) {
            out.structure.conservativeResize(out.structure.rows() + 1, 2);
            out.structure.bottomRows(1) << static_cast<int>(length), 0;
        }
        ++out.structure(out.structure.rows() - 1, 1);
        i += length;
    }
    return out;
}

Prepared Prepare(Dataset& dataset, Names names, bool dropSingletons, bool isDynamic) {
    Prepared out;
    out.status = isDynamic
                     ? dataset.Prepare_DynamicPanelData(names, out.X, out.y, out.ids, out.structure, dropSingletons)
                     : dataset.Prepare_PanelData(names, out.X, out.y, out.ids, out.structure, dropSingletons);
    return out;
}

void ExpectSame(const Prepared& a, const Prepared& b) {
    EXPECT_EQ(a.status, b.status);
    EXPECT_TRUE(SameCells(a.X, b.X));
    EXPECT_TRUE(SameCells(a.y, b.y));
    EXPECT_TRUE(SameCells(a.ids, b.ids));
    EXPECT_EQ(a.structure, b.structure);
}

TEST(PreparePanel, FollowsTheStepsInEveryPanel) {
    std::mt19937_64 engine(91);
    const char* const variables[] = {"", "group", "time", "x", "y"};
    int withGaps = 0;
    for (int round = 0; round < 800; ++round) {
        Dataset dataset = RandomPanel(RandomKind(engine), int(engine() % 9), engine);
        std::vector<int> columns(1 + engine() % 4);
        Names names;
        for (int& column : columns) names.emplace_back(variables[column = 1 + static_cast<int>(engine() % 4)]);
        for (const bool dropSingletons : {false, true}) {
            for (const bool isDynamic : {false, true}) {
                SCOPED_TRACE(round);
                const Prepared expected = PrepareByHand(dataset, columns, dropSingletons, isDynamic);
                ExpectSame(Prepare(dataset, names, dropSingletons, isDynamic), expected);
                withGaps += expected.status == "groupsWithGaps" ? 1 : 0;
            }
        }
    }
    EXPECT_GT(withGaps, 400);
}

TEST(PreparePanel, SaysWhyItCannotAndTouchesNothing) {
    std::mt19937_64 engine(92);
    Dataset dataset = RandomPanel({}, 5, engine);
    const auto expect = [&dataset](const Names& names, const std::string& status) {
        for (const bool isDynamic : {false, true}) {
            Prepared untouched;
            untouched.status = status;
            ExpectSame(Prepare(dataset, names, true, isDynamic), untouched);
        }
    };
    expect({"x", "text"}, NonNumeric);
    BreakDeclaration(dataset);
    expect({"x"}, StalePanel);
    EXPECT_TRUE(dataset.TransformedSinceDeclaration);
    dataset.DatasetType = 1;
    expect({"x"},
           "Dataset \"d\" has not been declared as a panel dataset. Use the \"set_pd\" function to define the time and "
           "group variables, before running any panel models.");
    expect({"x", "text"}, NonNumeric);
}

}  // namespace
