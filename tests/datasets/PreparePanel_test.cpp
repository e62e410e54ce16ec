#include "../support/Matrices.h"
#include "../support/Messages.h"
#include "../support/Panels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

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

/// The rows of the blocks in the order of the outputs; sets the status.
std::vector<std::vector<Index>> BlocksByHand(const Dataset& dataset, const std::vector<int>& columns,
                                             bool dropSingletons, bool isDynamic, std::string& status) {
    std::multimap<std::pair<double, double>, Index> ordered;  // complete rows by group and time
    for (Index i = 0; i < dataset.NumObs; ++i) {
        const std::pair key(dataset.Data(i, GroupColumn), TimeOf(dataset, i));
        if (std::isfinite(key.first) && std::isfinite(key.second) && dataset.Data(i, columns).allFinite())
            ordered.emplace(key, i);
    }
    std::vector<std::vector<Index>> blocks;
    std::pair<double, double> last;
    for (const auto& [key, row] : ordered) {
        const bool sameGroup = !blocks.empty() && key.first == last.first;
        const bool isGap = isDynamic && sameGroup && key.second != last.second + 1.0;
        if (isGap) status = "groupsWithGaps";
        if (!sameGroup || isGap) blocks.emplace_back();
        blocks.back().push_back(row);
        last = key;
    }
    if (dropSingletons) std::erase_if(blocks, [](const auto& block) { return block.size() < 2; });
    if (blocks.empty()) status = "noData";
    std::ranges::stable_sort(blocks, {}, &std::vector<Index>::size);
    return blocks;
}

Prepared PrepareByHand(const Dataset& dataset, const std::vector<int>& columns, bool dropSingletons, bool isDynamic) {
    Prepared out;
    const auto blocks = BlocksByHand(dataset, columns, dropSingletons, isDynamic, out.status);
    if (blocks.empty()) return out;
    std::vector<Index> rows;
    std::vector<double> numbers;  // of the blocks
    std::map<int, int> counts;    // of blocks by length
    for (const auto& block : blocks) {
        numbers.insert(numbers.end(), block.size(), static_cast<double>(&block - blocks.data()));
        rows.insert(rows.end(), block.begin(), block.end());
        ++counts[static_cast<int>(block.size())];
    }
    out.X = dataset.Data(rows, columns).leftCols(std::ssize(columns) - 1);
    out.y = dataset.Data(rows, columns.back());
    out.ids.resize(std::ssize(rows), 2);
    out.ids << dataset.Data(rows, 0), VectorXd::Map(numbers.data(), std::ssize(numbers));
    out.structure.resize(std::ssize(counts), 2);
    Index next = 0;
    for (const auto& [length, count] : counts) out.structure.row(next++) << length, count;
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
    dataset.Name = wxString::FromUTF8("gr\xC3\xB6\xC3\x9F");  // which has no form in "C"
    expect({"x"},
           "Dataset \"gr\xC3\xB6\xC3\x9F\" has not been declared as a panel dataset. Use the \"set_pd\" function to "
           "define the time and group variables, before running any panel models.");
    expect({"x", "text"}, NonNumeric);
}

}  // namespace
