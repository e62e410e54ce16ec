#include <quarn/models/Model.h>

#include <utility>

namespace quarn {

void Model::SetDataset(std::shared_ptr<quarn::Dataset> dataset) {
    Dataset.clear();
    Dataset.push_back(std::move(dataset));
    DatasetWasDeleted = false;
}

void Model::SetDatasetWasDeleted() {
    Dataset.clear();
    DatasetWasDeleted = true;
}

}  // namespace quarn
