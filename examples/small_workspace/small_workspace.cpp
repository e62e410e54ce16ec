// A workspace with one of each thing that its file format knows, written as text.

#include <quarn/quarn.h>

#include <iostream>
#include <limits>
#include <sstream>

namespace {

// [dataset]
std::shared_ptr<quarn::Dataset> MakeDataset() {
    wxArrayString names;
    for (const char* name : {quarn::ReservedNames::ObservationId, "quarter", "rate"}) names.Add(name);
    quarn::MatrixXd table{{1.0, 2001.0, 0.1}, {2.0, 2001.0, NAN}, {3.0, 2001.0, -2.5}};
    const auto dataset = std::make_shared<quarn::Dataset>(names, table);
    dataset->StringVars[1] = {
        .Column = 1, .Name = "quarter", .Values = {"2001q1", "2001q2", "2001q4"}, .TimeIndex = {}};
    dataset->SetTimeSeries("quarter", "yyyyqx");
    return dataset;
}
// [/dataset]

std::shared_ptr<quarn::Model> MakeModel(const std::shared_ptr<quarn::Dataset>& dataset) {
    const auto model = std::make_shared<quarn::Model>();
    model->ModelCode = quarn::Model::FirstCodeWithDataset;
    model->ModelType = "Mean";
    model->ModelName = "mean";
    model->ElapsedTime = "0.01";
    model->SetTableTop("Dependent variable: rate\nDraws: 2");
    model->SamplesNames = {"mu", "tau"};
    model->SetSamplesShallow(std::make_shared<quarn::MatrixXd>(quarn::MatrixXd{{-1.25, 0.5}, {-1.0, 1e-300}}));
    model->Summary.SetDepVars({"rate"});
    model->Summary.SetIndVars({"mu"});
    model->Summary.SetSummaryMatrix(quarn::MatrixXd{{-1.125, -1.125, 0.125, -1.25, -1.0}});
    model->Summary.SetSpacesVector(quarn::VectorXi::Ones(1));
    model->IntList = {7, -8};
    model->IntLists = {{1, 2, 3}, {}};
    model->Elements["empty"] = std::make_shared<quarn::MatrixXd>(0, 2);
    model->Elements["logML"] = std::make_shared<quarn::MatrixXd>(quarn::MatrixXd::Constant(1, 1, -3.75));
    model->SetDataset(dataset);
    dataset->AddAssociatedModel(model);
    return model;
}

}  // namespace

int main() {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    quarn::QuarnStructure workspace;
    workspace.AddMatrix("A", std::make_shared<quarn::MatrixXd>(quarn::MatrixXd{{1.0, 1.0 / 3.0}, {-0.0, infinity}}));
    workspace.AddMatrix("none", std::make_shared<quarn::MatrixXd>(0, 3));
    const auto dataset = MakeDataset();
    workspace.AddDataset("rates", dataset);
    const auto below = std::make_shared<quarn::QuarnStructure>();
    workspace.AddStructure("below", below);
    below->AddModel("mean", MakeModel(dataset));
    below->AddModel("plain", std::make_shared<quarn::Model>());
    workspace.AddString("note", std::make_shared<std::string>("two\nlines"));
    workspace.AddString("void", std::make_shared<std::string>());

    int counter = 0;
    workspace.NotifyAssociatedModelsForSaving(counter);
    workspace.SaveStructure(std::cout);
    workspace.Clear();
}
