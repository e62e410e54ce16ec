// The one place where a dataset looks inside a model: the folder of datasets knows models by name only.

#include <quarn/datasets/Dataset.h>
#include <quarn/models/Model.h>

#include <utility>

namespace quarn {

void Dataset::NotifyAssociatedModels(int code, const std::string& text) {
    enum Code { DataChanged = 0, DatasetDeleted = 1, DatasetLinked = 2 };
    if (code == DatasetDeleted) {
        // A model can hold the last pointer to this dataset: once the first link is cut, nothing of it may be touched.
        const auto models = std::exchange(AssociatedModels, {});
        for (const auto& model : models) model->SetDatasetWasDeleted();
        return;
    }
    for (const auto& model : AssociatedModels) {
        if (code == DataChanged) model->DatasetChanged = true;
        if (code == DatasetLinked) model->DatasetLink = text;
    }
}

}  // namespace quarn
