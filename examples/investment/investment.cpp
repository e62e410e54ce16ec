// Investment of firms on their value and capital: two regressions by posterior simulation, their tables and diagnostics,
// the odds of one against the other, and a workspace that keeps all of it and is read again.

#include <quarn/quarn.h>

#include <samplers/LinearRegression.h>

#include <cstdlib>
#include <fstream>
#include <iostream>

namespace {

void Require(const std::string& status) {
    if (status == quarn::StatusTexts::OK) return;
    std::cerr << status << '\n';
    std::exit(1);
}

// [run]
/// The regression of the last name on the others and a constant.
std::shared_ptr<quarn::Model> Regress(const std::shared_ptr<quarn::Dataset>& dataset, std::vector<std::string> names) {
    quarn::MatrixXd regressors, ids;
    quarn::VectorXd y;
    Require(dataset->Prepare_CrossSection(names, regressors, y, ids));
    quarn::MatrixXd X(y.size(), regressors.cols() + 1);
    X << regressors, quarn::VectorXd::Ones(y.size());
    const std::string dependent = names.back();
    names.back() = "constant";

    quarn::samplers::LinearRegressionPrior prior;  // means 0; precisions, not variances
    prior.Coefficients.Precision = 1e-4 * quarn::MatrixXd::Identity(X.cols(), X.cols());
    prior.ErrorPrecision = {.Shape = 1e-3, .Rate = 1e-3};
    const auto sampler = std::make_shared<quarn::samplers::LinearRegression>(y, X, ids, dependent, names, prior);
    Require(sampler->Start({.Draws = 5000, .Burnin = 500, .Chains = 2, .Seed = 2024}));
    while (!sampler->WaitFor(1.0)) std::cerr << sampler->IterationsDone().front() << " iterations\n";
    Require(sampler->GetHasResults() ? "OK" : sampler->Failure());

    const std::shared_ptr<quarn::Model> model = sampler->MakeModel();
    quarn::samplers::LinkToDataset(model, dataset);
    return model;
}
// [/run]

void Compare(const std::vector<std::shared_ptr<quarn::Model>>& models, const quarn::EventDispatcher& console) {
    // [compare]
    std::vector<std::string> names, types;
    quarn::VectorXd logML(models.size()), priors = quarn::VectorXd::Ones(logML.size());
    for (const auto& model : models) {
        logML(static_cast<Eigen::Index>(names.size())) = (*model->Elements.at(quarn::Model::LogMLCJKey))(0, 0);
        names.push_back(model->ModelName);
        types.push_back("Chib & Jeliazkov");
    }
    quarn::CompareModels(names, types, logML, priors).Print(console);
    // [/compare]
}

// [save]
void Save(quarn::QuarnStructure& workspace, const std::string& path) {
    int counter = 0;
    workspace.NotifyAssociatedModelsForSaving(counter);  // or the links of models to datasets are not kept
    std::ofstream file(path);
    workspace.SaveStructure(file);
    Require(file.flush() ? "OK" : "cannot write " + path);
}

quarn::QuarnStructure Load(const std::string& path) {
    std::ifstream file(path);
    Require(file ? "OK" : "cannot read " + path);
    std::map<std::string, std::shared_ptr<quarn::Dataset>> datasets;
    quarn::QuarnStructure workspace(file, datasets);
    workspace.AssociateModelsToDatasets(datasets);
    return workspace;
}
// [/save]

}  // namespace

int main(int argc, char** argv) {
    const quarn::EventDispatcher console;
    const auto firms = std::make_shared<quarn::Dataset>("examples/data/grunfeld.csv", ',');
    Require(firms->Loaded ? "OK" : "cannot read the data " + firms->StatusText);
    firms->Name = "firms";

    std::cout << "== summary\n";
    // [summary]
    std::vector<std::string> names = {"invest", "value", "capital"};
    const quarn::SummarizeModel summary(firms, names, true);  // true: one sample, complete in all of them
    if (summary.Status == "OK") summary.Print(console);
    // [/summary]

    const auto both = Regress(firms, {"value", "capital", "invest"}), one = Regress(firms, {"value", "invest"});
    both->ElapsedTime = one->ElapsedTime = "-";  // the one thing that differs between runs

    std::cout << "\n== results\n";
    // [results]
    both->ModelName = "both";
    both->PrintResults(console);
    // [/results]
    one->ModelName = "value_only";

    std::cout << "\n== diagnostics\n";
    // [diagnostics]
    quarn::MatrixXd diagnostics;
    quarn::MCMCdiagnostics(*both->Samples, diagnostics, 0, 0);  // a row for each parameter
    both->PrintDiagnostics(diagnostics, console);
    const quarn::MatrixXd correlations = quarn::ACFData(both->Samples->col(0), 2);
    std::cout << "Autocorrelations of value: " << correlations.transpose().row(1) << '\n';
    // [/diagnostics]

    std::cout << "\n== comparison\n";
    Compare({both, one}, console);

    std::cout << "\n== workspace\n";
    const std::string path = argc > 1 ? argv[1] : "investment.quarn";
    // [workspace]
    quarn::QuarnStructure workspace;
    workspace.AddDataset("firms", firms);
    const auto regressions = std::make_shared<quarn::QuarnStructure>();
    workspace.AddStructure("regressions", regressions);
    regressions->AddModel(both->ModelName, both);
    regressions->AddModel(one->ModelName, one);
    workspace.AddString("note", std::make_shared<std::string>("Grunfeld's firms"));
    Save(workspace, path);

    quarn::QuarnStructure loaded = Load(path);
    const auto model = loaded.GetpStructure("regressions")->GetpModel("both");
    std::cout << "The draws are " << (*model->Samples == *both->Samples ? "the same" : "not the same")
              << " to the last bit.\n";
    loaded.GetpDataset("firms")->DeleteVariable("capital");
    std::cout << "The model knows of the change: " << std::boolalpha << model->DatasetChanged << '\n';
    // [/workspace]

    // Models and datasets that are linked keep each other alive: Clear cuts the links.
    loaded.Clear();
    workspace.Clear();
}
