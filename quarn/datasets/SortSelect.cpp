#include <quarn/datasets/Dataset.h>
#include <quarn/numerics/CompleteRows_detail.h>
#include <quarn/numerics/SortKeys_detail.h>
#include <quarn/numerics/Sorting.h>

#include <map>
#include <utility>
#include <vector>

namespace quarn {
namespace {

using Eigen::Index;

bool IsIdentity(const VectorXi& order) {
    for (Index i = 0; i < order.size(); ++i)
        if (order[i] != i) return false;
    return true;
}

bool HasCodes(const StringVar& variable, int observations) {
    return variable.IsTimeVariable && variable.TimeIndex.size() == observations;
}

/// The numbers that stand for a string variable in a sort.
VectorXd SortableValues(const Dataset& dataset, const StringVar& variable) {
    const bool isDeclared = (dataset.DatasetType == 1 || dataset.DatasetType == 2) &&
                            variable.Column == dataset.GetVariableIndex(dataset.TimeVariable);
    // A dataset read from a file has no codes until it is declared again: its text can be sorted by all the same.
    if (isDeclared && HasCodes(variable, dataset.NumObs)) return variable.TimeIndex.cast<double>();
    return SortOrderToInt(variable.Values).cast<double>();
}

/// What lies beside the table, cut down to some of its rows. The constructor allocates all memory, so that nothing can
/// fail between the change of the table and that of its texts.
class StringSelection {
 public:
    StringSelection(const Dataset& dataset, Index rows) {
        for (const auto& [column, variable] : dataset.StringVars) {
            Part& part = m_parts.emplace_back();
            part.values.resize(static_cast<std::size_t>(rows));
            if (HasCodes(variable, dataset.NumObs)) part.codes.resize(rows);
        }
    }

    /// Puts the parts in place of the variables. Requires: as many old rows as announced, none twice.
    template <class Rows>
    void Apply(Dataset& dataset, const Rows& rows) {
        auto part = m_parts.begin();
        for (auto& [column, variable] : dataset.StringVars) {
            auto value = part->values.begin();
            for (const int row : rows) *value++ = std::move(variable.Values[static_cast<std::size_t>(row)]);
            variable.Values.swap(part->values);
            if (part->codes.size() > 0) {
                auto code = part->codes.begin();
                for (const int row : rows) *code++ = variable.TimeIndex[row];
            }
            variable.TimeIndex.swap(part->codes);
            ++part;
        }
    }

 private:
    struct Part {
        std::vector<std::string> values;
        VectorXi codes;
    };
    std::vector<Part> m_parts;
};

/// Makes the first cells of a table, in the order of its storage, a table of so many rows. As one long row it can give
/// memory back without moving: a new table would have to be cleared by the system first, page by page.
void ShrinkToFront(MatrixXd& table, Index rows) {
    const Index columns = table.cols();
    table.resize(1, table.size());
    table.conservativeResize(1, rows * columns);
    table.resize(rows, columns);
}

}  // namespace

void Dataset::SortData(const wxArrayString& names) {
    std::map<int, VectorXd> replaced;  // columns of numbers that are not sorted as they stand
    std::vector<const double*> keys;
    for (const wxString& name : names) {
        const int column = VarNames.Index(name);
        const auto variable = StringVars.find(column);
        if (variable != StringVars.end() && !replaced.contains(column))
            replaced[column] = SortableValues(*this, variable->second);
        keys.push_back(variable != StringVars.end() ? replaced[column].data() : Data.col(column).data());
    }
    const VectorXi order = detail::OrderOf(keys, NumObs);

    if (replaced.empty()) {
        for (const auto& [column, variable] : StringVars) replaced[column] = VectorXd::LinSpaced(NumObs, 0, NumObs - 1);
    }
    if (IsIdentity(order)) {
        for (const auto& [column, numbers] : replaced) Data.col(column) = numbers;
        return;
    }
    // Column by column through one that stays in the cache, not into a new table, whose memory the system would have to
    // clear. Everything is allocated by now.
    StringSelection strings(*this, NumObs);
    VectorXd sorted(NumObs);
    for (int column = 0; column < NumVars; ++column) {
        const auto numbers = replaced.find(column);
        const double* const source = numbers != replaced.end() ? numbers->second.data() : Data.col(column).data();
        for (Index i = 0; i < sorted.size(); ++i) sorted[i] = source[order[i]];
        Data.col(column) = sorted;
    }
    strings.Apply(*this, order);
}

void Dataset::DropKeep(const VectorXi& mask, bool keep) {
    // Without a branch: a row that is not kept is overwritten by the next one.
    const int kept = keep ? 1 : 0;
    std::vector<int> rows(static_cast<std::size_t>(NumObs) + 1);
    std::size_t count = 0;
    for (int row = 0; row < NumObs; ++row) {
        rows[count] = row;
        count += mask[row] == kept ? 1 : 0;
    }
    rows.resize(count);

    StringSelection strings(*this, static_cast<Index>(count));

    // Everything is allocated by now. Columns move towards the front of the table, never over a cell still to be read.
    for (int column = 0; column < NumVars; ++column)
        detail::CopyRows(rows, Data.col(column).data(), Data.data() + static_cast<Index>(count) * column);
    ShrinkToFront(Data, static_cast<Index>(count));
    strings.Apply(*this, rows);
    NumObs = static_cast<int>(count);
    MarkChanged();
}

}  // namespace quarn
