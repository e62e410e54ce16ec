// A quarterly series from text to the matrices of an estimator: dates, lags and growth rates by date, a gap made on
// purpose, and its quarters put back as values to be imputed.

#include <quarn/quarn.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

namespace {

void Require(const std::string& status) {
    if (status == quarn::StatusTexts::OK) return;
    std::cerr << status << '\n';
    std::exit(1);
}

const std::vector<std::string>& Dates(const quarn::Dataset& dataset) {
    return dataset.StringVars.at(dataset.GetVariableIndex("date")).Values;
}

/// A variable that other variables give, as a new one of the dataset, or in place of the old one.
void Keep(quarn::Dataset& dataset, const quarn::VectorXd& values, const std::string& name) {
    if (dataset.VariableExists(name))
        dataset.ReplaceVariable(values, name);
    else
        dataset.AddVariable(values, name);
}

/// Adds the lag of GDP and its growth rate, in percent a quarter; both are missing where the quarter before is.
void AddGrowth(quarn::Dataset& dataset) {
    std::string status;
    Keep(dataset, dataset.TakeLags("realgdp", "macro", 1, status), "lag");
    Require(status);
    Keep(dataset, 100.0 * dataset.GetVariable("realgdp").array().log(), "logs");
    Keep(dataset, dataset.TakeDiffs("logs", "macro", 1, 1, status), "growth");
    Require(status);
}

void PrintFrom(const std::string& first, const quarn::Dataset& dataset) {
    const std::vector<std::string>& dates = Dates(dataset);
    const auto from = std::find(dates.begin(), dates.end(), first) - dates.begin();
    const quarn::MatrixXd table = dataset.GetVariables({"realgdp", "lag", "growth"});
    std::cout << quarn::ExpandContractString("date");
    for (const char* name : {"GDP", "before", "growth"})
        std::cout << '\t' << quarn::FormatStringRightAlign(name, quarn::NumberWidth);
    std::cout << '\n';
    for (auto row = from; row < from + 5; ++row)
        std::cout << quarn::FormatLine(dates[static_cast<std::size_t>(row)], table.row(row));
}

void Prepare(quarn::Dataset& dataset, int impute) {
    std::vector<std::string> names = {"growth", "constant"};
    std::vector<quarn::VectorXi> lags = {Eigen::Vector2i(0, 1), quarn::VectorXi::Zero(1)};
    quarn::MatrixXd data, ids;
    quarn::VectorXd time;
    quarn::MatrixXi unused;
    std::vector<std::vector<int>> missing;
    std::vector<std::string> warnings;
    Require(dataset.Prepare_TimeSeries(names, lags, 1, data, ids, time, unused, missing, warnings, impute));
    for (const std::string& warning : warnings) std::cout << "Warning: " << warning << '\n';
    std::cout << data.rows() << " quarters, without growth in";
    for (const int row : missing[0]) std::cout << ' ' << row << (ids(row) < 0.0 ? " (put in)" : "");
    std::cout << '\n';
}

}  // namespace

int main(int argc, char** argv) {
    quarn::Dataset macro(argc > 1 ? argv[1] : "examples/data/usmacro.csv", ',');
    Require(macro.Loaded ? "OK" : "cannot read the data " + macro.StatusText);
    Require(macro.SetTimeSeries("date", "yyyyqx"));
    std::cout << macro.NumObs << " quarters from " << Dates(macro).front() << " to " << Dates(macro).back() << '\n';
    AddGrowth(macro);
    PrintFrom("1959q1", macro);

    std::cout << "\nWithout 1974q4 and 1975q1 lags stay lags by date:\n";
    quarn::VectorXi dropped(macro.NumObs);
    std::transform(Dates(macro).begin(), Dates(macro).end(), dropped.begin(),
                   [](const std::string& date) { return date == "1974q4" || date == "1975q1" ? 1 : 0; });
    macro.DropKeep(dropped, false);
    AddGrowth(macro);
    PrintFrom("1974q2", macro);

    macro.AddVariable(quarn::VectorXd::Ones(macro.NumObs), "constant");
    std::cout << "\nThe sample of an autoregression:\n";
    Prepare(macro, 0);
    std::cout << "\nThe same with the quarters put back, to be imputed:\n";
    Prepare(macro, 1);
}
