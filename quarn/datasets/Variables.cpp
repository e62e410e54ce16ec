#include <quarn/datasets/Dataset.h>
#include <quarn/datasets/Names_detail.h>
#include <quarn/numerics/Sorting.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace quarn {
namespace {

/// Appends variables whose cells are then to be written. Where memory runs out the dataset stays as it was.
void AddColumns(Dataset& dataset, const std::vector<std::string>& names) {
    wxArrayString& varNames = dataset.VarNames;
    const std::size_t before = varNames.size();
    const int numVars = dataset.NumVars + static_cast<int>(names.size());
    try {
        for (const std::string& name : names) varNames.Add(detail::ToTableName(name));
        // Leaves the columns where they are if their block can grow in place, and untouched if it cannot grow at all.
        dataset.Data.conservativeResize(dataset.NumObs, numVars);
    } catch (...) {
        while (varNames.size() > before) varNames.RemoveAt(varNames.size() - 1);
        throw;
    }
    dataset.NumVars = numVars;
}

}  // namespace

int Dataset::GetVariableIndex(const std::string& name) const {
    const int column = detail::FindColumn(VarNames, name);
    return column < static_cast<int>(VarNames.size()) ? column : NumVars;
}

bool Dataset::VariableExists(const std::string& name) const { return GetVariableIndex(name) != NumVars; }

MatrixXd Dataset::GetVariable(const std::string& name) const {
    const int column = GetVariableIndex(name);
    if (column == NumVars) return {};
    return Data.col(column);
}

MatrixXd Dataset::GetVariables(const std::vector<std::string>& names) const {
    const std::vector<int> columns = detail::FindColumns(VarNames, names);
    MatrixXd variables(NumObs, static_cast<Eigen::Index>(names.size()));
    for (Eigen::Index k = 0; k < variables.cols(); ++k)
        variables.col(k) = Data.col(columns[static_cast<std::size_t>(k)]);
    return variables;
}

void Dataset::AddVariable(const VectorXd& values, const std::string& name) {
    AddColumns(*this, {name});
    Data.rightCols<1>() = values;
}

void Dataset::ReplaceVariable(const VectorXd& values, const std::string& name) {
    const int column = GetVariableIndex(name);
    Data.col(column) = values;
    StringVars.erase(column);
    MarkChanged();
}

void Dataset::RenameVariable(const std::string& oldName, const std::string& newName) {
    const int column = GetVariableIndex(oldName);
    wxString tableName = detail::ToTableName(newName);
    std::string textName = newName;
    VarNames[static_cast<std::size_t>(column)].swap(tableName);
    if (const auto found = StringVars.find(column); found != StringVars.end()) found->second.Name.swap(textName);
}

void Dataset::DeleteVariable(const std::string& name) {
    const int column = GetVariableIndex(name);
    MatrixXd remaining(NumObs, NumVars - 1);
    remaining.leftCols(column) = Data.leftCols(column);
    remaining.rightCols(NumVars - 1 - column) = Data.rightCols(NumVars - 1 - column);
    wxArrayString names;  // not by RemoveAt, which copies name by name in place
    names.Alloc(VarNames.size());
    for (std::size_t i = 0; i < VarNames.size(); ++i)
        if (i != static_cast<std::size_t>(column)) names.Add(VarNames[i]);
    Data.swap(remaining);
    VarNames.swap(names);
    --NumVars;

    StringVars.erase(column);
    for (auto at = StringVars.upper_bound(column); at != StringVars.end();) {
        auto moved = StringVars.extract(at++);
        moved.mapped().Column = --moved.key();
        StringVars.insert(std::move(moved));
    }
    MarkChanged();
}

void Dataset::ChangeData(int row, int col, int rows, int cols, MatrixXd& block) {
    MarkChanged();
    Data.block(row, col + 1, rows, cols) = block;
}

void Dataset::ChangeData(int row, int column, const std::string& text) {
    MarkChanged();
    StringVars.at(column).Values[static_cast<std::size_t>(row)] = text;
}

// ---- Merging by observation id ----

namespace {

/// The ids of the observations, before a merge of ids changes any; none where nothing is to be merged, or the table has
/// no column.
VectorXd IdsToMeet(const MatrixXd& ids, const Dataset& dataset) {
    if (ids.rows() == 0 || dataset.NumVars == 0) return {};
    return dataset.Data.col(0);
}

/// The rows of a column of ids, by id.
class RowsById {
 public:
    explicit RowsById(VectorXd ids) : m_ids(std::move(ids)), m_order(SortIndex(m_ids)) {
        // NaN ids come last and equal nothing.
        m_end = std::find_if(m_order.begin(), m_order.end(), [this](int row) { return !(m_ids(row) == m_ids(row)); });
    }

    /// The rows with that id, in ascending order.
    auto Find(double id) const {
        if (!(id == id)) return std::pair(m_end, m_end);  // every comparison with NaN is false: it would match all rows
        return std::equal_range(m_order.begin(), m_end, id, Less{m_ids});
    }

 private:
    struct Less {
        const VectorXd& Ids;
        bool operator()(int row, double id) const { return Ids(row) < id; }
        bool operator()(double id, int row) const { return id < Ids(row); }
    };

    VectorXd m_ids;
    VectorXi m_order;
    decltype(std::as_const(m_order).begin()) m_end;
};

}  // namespace

std::vector<int> Dataset::PrepareTargets(const std::vector<std::string>& names) {
    std::vector<int> targets = detail::FindColumns(VarNames, names);
    const int none = static_cast<int>(VarNames.size()), firstNew = NumVars;
    std::vector<std::string> newNames;
    for (std::size_t k = 0; k < names.size(); ++k) {
        if (targets[k] != none) continue;
        targets[k] = firstNew + static_cast<int>(newNames.size());
        newNames.push_back(names[k]);
    }
    AddColumns(*this, newNames);
    // Nothing can fail from here on.
    Data.rightCols(NumVars - firstNew).setConstant(std::numeric_limits<double>::quiet_NaN());
    for (const int target : targets) StringVars.erase(target);
    if (newNames.size() < names.size()) MarkChanged();
    return targets;
}

void Dataset::MatchOservations_One2One(const MatrixXd& ids, const VectorXd& values, const std::string& name) {
    MatchOservations_One2One(ids, MatrixXd(values), std::vector<std::string>{name});
}

void Dataset::MatchOservations_One2One(const MatrixXd& ids, const MatrixXd& values,
                                       const std::vector<std::string>& names) {
    const RowsById rowsById(IdsToMeet(ids, *this));
    const std::vector<int> targets = PrepareTargets(names);
    for (Eigen::Index k = 0; k < ids.rows(); ++k) {
        const auto [first, last] = rowsById.Find(ids(k, 0));
        if (first == last) continue;
        for (std::size_t m = 0; m < targets.size(); ++m)
            Data(*first, targets[m]) = values(k, static_cast<Eigen::Index>(m));
    }
}

void Dataset::MatchOservations_One2Many(const MatrixXd& ids, const VectorXd& values, const std::string& name) {
    const RowsById rowsById(IdsToMeet(ids, *this));
    const int target = PrepareTargets({name}).front();
    for (Eigen::Index k = 0; k < ids.rows(); ++k) {
        const auto [first, last] = rowsById.Find(ids(k, 0));
        std::for_each(first, last, [&](int row) { Data(row, target) = values(static_cast<Eigen::Index>(ids(k, 1))); });
    }
}

}  // namespace quarn
