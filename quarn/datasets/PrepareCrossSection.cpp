#include <quarn/base/LargeTables_detail.h>
#include <quarn/base/Resizing_detail.h>
#include <quarn/datasets/CompleteTable_detail.h>
#include <quarn/datasets/Dataset.h>
#include <quarn/datasets/Names_detail.h>
#include <quarn/datasets/StatusTexts.h>
#include <quarn/numerics/CompleteRows_detail.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace quarn {
namespace {

using Columns = std::vector<const double*>;

Columns DataOf(const Dataset& dataset, const std::vector<int>& columns) {
    Columns data;
    data.reserve(columns.size());
    for (const int column : columns) data.push_back(dataset.Data.col(column).data());
    return data;
}

Columns FindData(const Dataset& dataset, const std::vector<std::string>& names) {
    return DataOf(dataset, detail::FindColumns(dataset.VarNames, names));
}

/// The complete rows of columns, as a matrix.
void CopyTable(const detail::CompleteRows& rows, const Columns& columns, MatrixXd& out) {
    detail::ResizeUninitialised(out, rows.Count(), static_cast<Eigen::Index>(columns.size()));
    for (std::size_t k = 0; k < columns.size(); ++k)
        rows.Copy(columns[k], out.data() + static_cast<Eigen::Index>(k) * rows.Count());
}

/// "zero." to "ten.", or nothing for other values.
std::string NumberWord(int value) {
    static constexpr std::array words = {"zero.", "one.",   "two.",   "three.", "four.", "five.",
                                         "six.",  "seven.", "eight.", "nine.",  "ten."};
    return value >= 0 && value < static_cast<int>(words.size()) ? words[static_cast<std::size_t>(value)] : "";
}

}  // namespace

bool detail::CopyCompleteObservations(const Dataset& dataset, const std::vector<int>& columns, MatrixXd& data) {
    const Columns source = DataOf(dataset, columns);
    const CompleteRows rows(dataset.NumObs, source);
    if (rows.Count() == 0) return false;
    CopyTable(rows, source, data);
    return true;
}

std::string Dataset::Prepare_Summarize(std::vector<std::string>& names, MatrixXd& data) const {
    const bool any = detail::CopyCompleteObservations(*this, detail::FindColumns(VarNames, names), data);
    return any ? StatusTexts::OK : StatusTexts::NoData;
}

std::string Dataset::Prepare_CrossSection(std::vector<std::string>& names, MatrixXd& data, MatrixXd& ids) const {
    if (ListContainsStringVariables(names)) return StatusTexts::NonNumericVariables;
    const Columns columns = FindData(*this, names);
    const detail::CompleteRows rows(NumObs, columns);
    if (rows.Count() == 0 || NumVars == 0) return StatusTexts::NoData;  // without a column there are no ids
    CopyTable(rows, columns, data);
    CopyTable(rows, {Data.data()}, ids);
    return StatusTexts::OK;
}

std::string Dataset::Prepare_CrossSection(std::vector<std::string>& names, MatrixXd& X, VectorXd& y,
                                          MatrixXd& ids) const {
    std::vector<std::string> none;
    MatrixXd Z;
    return Prepare_CrossSection(none, names, Z, X, y, ids);
}

std::string Dataset::Prepare_CrossSection(std::vector<std::string>& namesZ, std::vector<std::string>& namesX,
                                          MatrixXd& Z, MatrixXd& X, VectorXd& y, MatrixXd& ids) const {
    if (ListContainsStringVariables(namesZ) || ListContainsStringVariables(namesX))
        return StatusTexts::NonNumericVariables;
    const Columns columnsZ = FindData(*this, namesZ);
    Columns columnsX = FindData(*this, namesX);
    Columns all = columnsZ;
    all.insert(all.end(), columnsX.begin(), columnsX.end());
    const detail::CompleteRows rows(NumObs, all);
    if (rows.Count() == 0) return StatusTexts::NoData;

    detail::Resize(y, rows.Count());
    rows.Copy(columnsX.back(), y.data());
    columnsX.pop_back();
    CopyTable(rows, columnsX, X);
    CopyTable(rows, columnsZ, Z);
    CopyTable(rows, {Data.data()}, ids);
    return StatusTexts::OK;
}

std::string Dataset::CheckIntegral(std::vector<std::string>& names, int& maxValue, VectorXi& counts,
                                   int minValue) const {
    MatrixXd X, ids;
    VectorXd y;
    std::string status = Prepare_CrossSection(names, X, y, ids);
    if (status == StatusTexts::NoData) return StatusTexts::NothingLeft;
    if (status != StatusTexts::OK) return status;

    if (!std::all_of(y.begin(), y.end(), [](double value) { return value == std::trunc(value); }))
        return StatusTexts::NonInteger;
    if (y.minCoeff() != minValue) return StatusTexts::WrongMinimum + NumberWord(minValue);

    // More values than observations leave a hole, however large the largest value.
    const double largest = y.maxCoeff() - minValue;
    if (largest >= static_cast<double>(y.size())) return StatusTexts::NotConsecutive;
    detail::Assign(counts, VectorXi::Zero(static_cast<Eigen::Index>(largest) + 1));
    for (const double value : y) ++counts(static_cast<Eigen::Index>(value - minValue));
    if ((counts.array() == 0).any()) return StatusTexts::NotConsecutive;
    maxValue = static_cast<int>(minValue + largest);
    return StatusTexts::OK;
}

bool Dataset::CheckConstant(int column) const {
    return !GetVariableIsString(column) && (Data.col(column).array() == 1.0).all();
}

}  // namespace quarn
