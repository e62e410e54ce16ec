#pragma once

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
    wxArrayString names;
    names.Add(ReservedNames::ObservationId);
    names.Add("x");
    return std::make_shared<Dataset>(names, MatrixXd::Constant(rows, 2, 0.1));
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

}  // namespace quarn::testing
