#include <quarn/base/FormatLine.h>
#include <quarn/datasets/CompleteTable_detail.h>
#include <quarn/datasets/Names_detail.h>
#include <quarn/datasets/StatusTexts.h>
#include <quarn/models/ShadedLine_detail.h>
#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/reports/SummarizeModel.h>

#include <algorithm>
#include <limits>
#include <numeric>

namespace quarn {
namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
enum Column { Count, Mean, Sd, Minimum, Maximum, Columns };

}  // namespace

SummarizeModel::SummarizeModel(const std::shared_ptr<Dataset>& dataset, std::vector<std::string>& names, bool casewise)
    : DatasetName(detail::ToByteString(dataset->Name)), VarNames(names), Status(StatusTexts::OK) {
    const std::vector<int> columns = detail::FindColumns(dataset->VarNames, names);
    const auto unknown = std::find(columns.begin(), columns.end(), dataset->NumVars);
    if (unknown != columns.end()) {
        const std::string& name = names[static_cast<std::size_t>(unknown - columns.begin())];
        Status = StatusTexts::DatasetNamed + detail::ToSavedName(dataset->Name) + StatusTexts::NoVariable + name +
                 StatusTexts::EndOfVariable;
        return;
    }
    Summarize(*dataset, columns, casewise, StatusTexts::NoCompleteOfSpecified);
}

SummarizeModel::SummarizeModel(const std::shared_ptr<Dataset>& dataset, bool casewise)
    : DatasetName(detail::ToByteString(dataset->Name)), Status(StatusTexts::OK) {
    std::vector<int> columns(static_cast<std::size_t>(std::max(dataset->NumVars - 1, 0)));
    std::iota(columns.begin(), columns.end(), 1);
    for (const int column : columns)
        VarNames.push_back(detail::ToSavedName(dataset->VarNames[static_cast<std::size_t>(column)]));
    Summarize(*dataset, columns, casewise, StatusTexts::NoComplete);
}

void SummarizeModel::Summarize(const Dataset& dataset, const std::vector<int>& columns, bool casewise,
                               const std::string& ending) {
    if (!casewise) {
        SummarizeSeparately(dataset, columns);
    } else if (!SummarizeJointly(dataset, columns)) {
        Status = StatusTexts::DatasetNamed + detail::ToSavedName(dataset.Name) + ending;
    }
}

bool SummarizeModel::SummarizeJointly(const Dataset& dataset, const std::vector<int>& columns) {
    MatrixXd sample;
    if (!detail::CopyCompleteObservations(dataset, columns, sample)) return false;
    RowVectorXd means;
    MatrixXd extremes;
    matrixMean(sample, means);
    matrixMinMax(sample, extremes);
    Table.resize(sample.cols(), Columns);
    Table.col(Count).setConstant(static_cast<double>(sample.rows()));
    Table.col(Mean) = means.transpose();
    Table.col(Sd) = matrixSd(sample).transpose();
    Table.rightCols(2) = extremes;
    for (Eigen::Index i = 0; i < Table.rows(); ++i)
        if (dataset.GetVariableIsString(columns[static_cast<std::size_t>(i)]))
            Table.row(i).tail(Columns - 1).setConstant(NaN);
    return true;
}

void SummarizeModel::SummarizeSeparately(const Dataset& dataset, const std::vector<int>& columns) {
    Table.setZero(static_cast<Eigen::Index>(columns.size()), Columns);
    MatrixXd sample;
    RowVectorXd extremes;
    for (Eigen::Index i = 0; i < Table.rows(); ++i) {
        const int column = columns[static_cast<std::size_t>(i)];
        const bool any = detail::CopyCompleteObservations(dataset, {column}, sample);
        Table(i, Count) = any ? static_cast<double>(sample.rows()) : 0.0;
        if (!any || dataset.GetVariableIsString(column)) {
            Table.row(i).tail(Columns - 1).setConstant(NaN);
            continue;
        }
        vectorMinMax(sample.col(0), extremes);
        Table.row(i) << Table(i, Count), vectorMean(sample.col(0)), vectorSd(sample.col(0)), extremes;
    }
}

void SummarizeModel::Print(const EventDispatcher& dispatcher) const {
    EventDispatcher output = dispatcher;
    output.PrintModel("SUMMARY STATISTICS: ", DatasetName);
    output.PrintNewLine();
    output.PrintLine();
    output.Print("Variable       \t        Obs.\t        Mean\t     Sd.dev.\t     Minimum\t     Maximum\n", true);
    output.PrintLine();
    for (std::size_t i = 0; i < VarNames.size(); ++i) {
        const std::string line = FormatLine(VarNames[i], Table.row(static_cast<Eigen::Index>(i)));
        detail::PrintRow(output, line, i % 2 == 1);
    }
    output.PrintLine();
    output.PrintNewLine();
    output.PrintNewLine();
}

}  // namespace quarn
