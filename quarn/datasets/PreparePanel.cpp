// Panels for estimators. What must change together: the order of the blocks (length, group, time), the structure matrix
// and the block numbers in ids, which all say the same; and the cells that PanelSample tests for being finite.

#include <quarn/base/LargeTables_detail.h>
#include <quarn/datasets/Dataset.h>
#include <quarn/datasets/Declaration_detail.h>
#include <quarn/datasets/Names_detail.h>
#include <quarn/datasets/PanelSample_detail.h>
#include <quarn/datasets/StatusTexts.h>
#include <quarn/numerics/SortKeys_detail.h>

#include <algorithm>
#include <numeric>
#include <utility>

namespace quarn {
namespace {

using Eigen::Index;

/// Adjacent rows of the sample in the order of group and time.
struct Blocks {
    std::vector<int> firsts;   ///< first row of each block
    std::vector<int> lengths;  ///< its number of rows
    bool hasGaps = false;

    void Append(int first, int end) {
        firsts.push_back(first);
        lengths.push_back(end - first);
    }
    void SplitWhereTimesJump(const double* time, const std::vector<int>& rows);
    void SortByLength(bool dropSingletons);
};

Blocks GroupsOf(const std::vector<int>& starts) {
    Blocks blocks;
    for (std::size_t k = 0; k + 1 < starts.size(); ++k)
        if (starts[k] < starts[k + 1]) blocks.Append(starts[k], starts[k + 1]);
    return blocks;
}

void Blocks::SplitWhereTimesJump(const double* time, const std::vector<int>& rows) {
    Blocks spells;
    for (std::size_t b = 0; b < firsts.size(); ++b) {
        int first = firsts[b];
        const int end = first + lengths[b];
        double last = time[rows[static_cast<std::size_t>(first)]];
        for (int i = first + 1; i < end; ++i) {
            const double now = time[rows[static_cast<std::size_t>(i)]];
            if (now != last + 1.0) {
                spells.Append(first, i);
                spells.hasGaps = true;
                first = i;
            }
            last = now;
        }
        spells.Append(first, end);
    }
    *this = std::move(spells);
}

/// Blocks of equal length keep their order: group, then time.
void Blocks::SortByLength(bool dropSingletons) {
    const VectorXi order = detail::OrderOf(std::vector<const int*>{lengths.data()}, static_cast<Index>(lengths.size()));
    Blocks sorted;
    for (const int b : order) {
        const auto block = static_cast<std::size_t>(b);
        if (!dropSingletons || lengths[block] > 1) sorted.Append(firsts[block], firsts[block] + lengths[block]);
    }
    firsts.swap(sorted.firsts);
    lengths.swap(sorted.lengths);
}

MatrixXi StructureOf(const std::vector<int>& lengths) {
    std::vector<int> kinds, counts;
    for (const int length : lengths) {
        if (kinds.empty() || kinds.back() != length) {
            kinds.push_back(length);
            counts.push_back(0);
        }
        ++counts.back();
    }
    MatrixXi structure(static_cast<Index>(kinds.size()), 2);
    structure.col(0) = VectorXi::Map(kinds.data(), structure.rows());
    structure.col(1) = VectorXi::Map(counts.data(), structure.rows());
    return structure;
}

void Gather(const double* column, const std::vector<int>& rows, double* target) {
    for (const int row : rows) *target++ = column[row];
}

}  // namespace

std::string Dataset::Prepare_PanelData(std::vector<std::string>& names, MatrixXd& X, VectorXd& y, MatrixXd& ids,
                                       MatrixXi& structure, bool dropSingletons) {
    return PreparePanel(names, X, y, ids, structure, dropSingletons, false);
}

std::string Dataset::Prepare_DynamicPanelData(std::vector<std::string>& names, MatrixXd& X, VectorXd& y, MatrixXd& ids,
                                              MatrixXi& structure, bool dropSingletons) {
    return PreparePanel(names, X, y, ids, structure, dropSingletons, true);
}

std::string Dataset::PreparePanel(std::vector<std::string>& names, MatrixXd& X, VectorXd& y, MatrixXd& ids,
                                  MatrixXi& structure, bool dropSingletons, bool isDynamic) {
    if (ListContainsStringVariables(names)) return StatusTexts::NonNumericVariables;
    if (DatasetType != detail::PanelType)
        return StatusTexts::DatasetNamed + detail::ToSavedName(Name) + StatusTexts::NoPanelForModels;
    if (std::string status = detail::RefreshDeclaration(*this); status != StatusTexts::OK) return status;

    const std::vector<int> columns = detail::FindColumns(VarNames, names);
    const detail::PanelSample sample(*this, columns);
    if (sample.Count() == 0) return StatusTexts::NoData;
    std::vector<int> starts, ordered = sample.Order().Rows(starts);
    Blocks blocks = GroupsOf(starts);
    if (isDynamic) blocks.SplitWhereTimesJump(sample.Time(), ordered);
    blocks.SortByLength(dropSingletons);
    if (blocks.lengths.empty()) return StatusTexts::NoData;

    const auto n = static_cast<Index>(std::accumulate(blocks.lengths.begin(), blocks.lengths.end(), std::size_t{0}));
    std::vector<int> rows(static_cast<std::size_t>(n));  // of the dataset, in the order of the outputs
    MatrixXd newX, newIds;
    VectorXd newY(n);
    detail::ResizeUninitialised(newX, n, static_cast<Index>(columns.size()) - 1);
    detail::ResizeUninitialised(newIds, n, 2);
    double* blockNumber = newIds.col(1).data();
    auto row = rows.begin();
    for (std::size_t b = 0; b < blocks.firsts.size(); ++b) {
        const auto first = ordered.begin() + blocks.firsts[b];
        row = std::transform(first, first + blocks.lengths[b], row, [&sample](int i) { return sample.Row(i); });
        blockNumber = std::fill_n(blockNumber, blocks.lengths[b], static_cast<double>(b));
    }
    Gather(Data.col(0).data(), rows, newIds.col(0).data());
    for (Index k = 0; k < newX.cols(); ++k)
        Gather(Data.col(columns[static_cast<std::size_t>(k)]).data(), rows, newX.col(k).data());
    Gather(Data.col(columns.back()).data(), rows, newY.data());

    structure = StructureOf(blocks.lengths);
    X.swap(newX);
    y.swap(newY);
    ids.swap(newIds);
    return blocks.hasGaps ? StatusTexts::GroupsWithGaps : StatusTexts::OK;
}

}  // namespace quarn
