// Investment of firms from text to the matrices of a panel estimator: rows in any order, lags and differences by date
// within each firm, firm means, blocks of equal length, and what a gap makes of them;
// the new variables exported.

#include <quarn/quarn.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace {

void Require(const std::string& status) {
    if (status == quarn::StatusTexts::OK) return;
    std::cerr << status << '\n';
    std::exit(1);
}

void PrintHeader(const std::string& label, const std::vector<std::string>& names) {
    std::cout << quarn::ExpandContractString(label);
    for (const std::string& name : names) std::cout << '\t' << quarn::FormatStringRightAlign(name, quarn::NumberWidth);
    std::cout << '\n';
}

// [variables]
/// Investment of the year before, the change since then, and the mean of the firm, as new variables.
void AddVariables(quarn::Dataset& firms) {
    std::string status;
    firms.AddVariable(firms.TakeLags("invest", "firms", 1, status), "before");
    Require(status);
    firms.AddVariable(firms.TakeDiffs("invest", "firms", 1, 1, status), "change");
    Require(status);
    firms.AddVariable(firms.CalculateGroupStats("invest", "firms", "groupmeans", status), "mean");
    Require(status);
}
// [/variables]

void PrintRows(const quarn::Dataset& firms, int count) {
    const std::vector<std::string> names = {"year", "invest", "before", "change", "mean"};
    const std::vector<std::string>& firmNames = firms.StringVars.at(firms.GetVariableIndex("firm")).Values;
    const quarn::MatrixXd table = firms.GetVariables(names);
    PrintHeader("firm", names);
    for (int row = 0; row < count; ++row)
        std::cout << quarn::FormatLine(firmNames[static_cast<std::size_t>(row)], table.row(row));
}

/// The matrices of a model of investment, in which lags need successive years.
void Prepare(quarn::Dataset& firms) {
    // [prepare]
    std::vector<std::string> names = {"before", "value", "capital", "invest"};  // the dependent variable is last
    quarn::MatrixXd X, ids;
    quarn::VectorXd y;
    quarn::MatrixXi structure;
    const std::string status = firms.Prepare_DynamicPanelData(names, X, y, ids, structure, true);
    if (status != quarn::StatusTexts::GroupsWithGaps) Require(status);
    // [/prepare]
    std::cout << status << ": y of " << y.size() << ", X of " << X.rows() << " x " << X.cols() << ", blocks x years";
    for (const auto& blocks : structure.rowwise()) std::cout << ' ' << blocks(1) << 'x' << blocks(0);
    std::cout << '\n';
    PrintHeader("observation", {"block", "before", "value", "capital", "invest"});
    for (const Eigen::Index row : {Eigen::Index{0}, y.size() - 1}) {
        quarn::RowVectorXd line(5);
        line << ids(row, 1), X.row(row), y(row);
        std::cout << quarn::FormatLine(std::to_string(static_cast<int>(ids(row, 0))), line);
    }
}

/// The data with the new variables, for another program.
void Export(const quarn::Dataset& firms) {
    const std::filesystem::path path = std::filesystem::temp_directory_path() / "quarn_panel_lags.csv";
    Require(firms.ExportData(path.string(), ',') ? "OK" : "cannot write " + path.string());
    std::ifstream file(path);
    std::string line;
    for (int row = 0; row < 3 && std::getline(file, line); ++row) std::cout << line << '\n';
    file.close();
    std::filesystem::remove(path);
}

}  // namespace

int main(int argc, char** argv) {
    quarn::Dataset firms(argc > 1 ? argv[1] : "examples/data/grunfeld.csv", ',');
    Require(firms.Loaded ? "OK" : "cannot read the data " + firms.StatusText);
    Require(firms.SetPanelData("year", "firm_id", "index"));

    std::cout << "The largest investments first; lags go by date whatever the order of the rows:\n";
    firms.AddVariable(-firms.GetVariable("invest"), "descending");
    wxArrayString keys;
    keys.Add("descending");
    firms.SortData(keys);
    AddVariables(firms);
    PrintRows(firms, 5);

    std::cout << "\nThe first lines of the exported text:\n";
    Export(firms);

    std::cout << "\nA balanced panel, less the first year, which has no lag:\n";
    Prepare(firms);

    std::cout << "\nWithout 1940 and its lag in 1941, and without a firm's first ten years:\n";
    const quarn::MatrixXd year = firms.GetVariable("year"), firm = firms.GetVariable("firm_id");
    firms.DropKeep((year.array() == 1940.0 || (firm.array() == 2.0 && year.array() < 1945.0)).cast<int>(), false);
    for (const char* name : {"before", "change", "mean"}) firms.DeleteVariable(name);
    AddVariables(firms);
    Prepare(firms);
}
