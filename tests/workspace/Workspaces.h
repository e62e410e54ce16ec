#pragma once

#include "../support/Tables.h"

#include <quarn/workspace/QuarnOrderStructure.h>

#include <memory>
#include <string>

namespace quarn::testing {

/// A container whose links are cut at the end, so that nothing keeps itself alive.
struct Workspace : QuarnOrderStructure {
    using QuarnOrderStructure::QuarnOrderStructure;
    Workspace() = default;
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;
    ~Workspace() { Clear(); }
};

inline std::shared_ptr<Dataset> MakeDataset(int rows = 2) {
    return std::make_shared<Dataset>(MakeTable("id x", MatrixXd::Constant(rows, 2, 0.1)));
}

/// A model of two draws and two observations, linked to a dataset or cut.
inline std::shared_ptr<Model> MakeModel(const std::shared_ptr<Dataset>& dataset = nullptr) {
    auto model = std::make_shared<Model>();
    model->ModelCode = Model::FirstCodeWithDataset;
    model->SetTableTop("");
    model->Samples = std::make_shared<MatrixXd>(MatrixXd::Constant(2, 1, 0.5));
    model->ObsId = std::make_shared<MatrixXd>(MatrixXd::Ones(2, 1));
    if (dataset == nullptr) {
        model->SetDatasetWasDeleted();
    } else {
        model->SetDataset(dataset);
        dataset->AddAssociatedModel(model);
    }
    return model;
}

/// Something of each kind, and below it a structure whose model is linked to the dataset on top. Names and texts are too
/// long to need no memory of their own.
inline void AddOneOfEach(QuarnStructure& top) {
    const std::string name = "one that needs memory of its own, ";
    const auto nested = std::make_shared<QuarnStructure>();
    top.AddMatrix(name + "a matrix", std::make_shared<MatrixXd>(MatrixXd::Constant(3, 2, 0.25)));
    top.AddDataset(name + "a dataset", MakeDataset());
    top.AddStructure(name + "a structure", nested);
    top.AddString(name + "a string", std::make_shared<std::string>(name));
    nested->AddDataset(name + "a dataset", MakeDataset(3));
    nested->AddModel(name + "a linked model", MakeModel(top.GetpDataset(name + "a dataset")));
    const auto model = MakeModel();
    model->SetTableTop(name + "\nof two lines");
    model->SamplesNames = {name, "b"};
    model->Summary.SetIndVars({name});
    model->Summary.SetSummaryMatrix(MatrixXd::Ones(1, 5));
    model->Summary.SetSpacesVector(VectorXi::Ones(1));
    model->IntList = {1, 2};
    model->IntLists = {{3}, {}, {4, 5}};
    model->Elements[name] = std::make_shared<MatrixXd>(MatrixXd::Ones(2, 2));
    model->HiddenElements[name] = std::make_shared<MatrixXd>();
    top.AddModel(name + "a model", model);
}

}  // namespace quarn::testing
