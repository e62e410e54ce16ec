#pragma once

#include <quarn/base/Export.h>
#include <quarn/datasets/Dataset.h>

#include <memory>
#include <string>
#include <vector>

namespace quarn {

/// What stays of a finished estimation. So far its link to the dataset that it was estimated from.
///
/// A model is held by a std::shared_ptr made from the concrete type, since its dataset holds such pointers to it and
/// the destructor is not virtual. The cycle of the two pointers is cut by SetDatasetWasDeleted.
class QUARN_EXPORT Model {
 public:
    std::vector<std::shared_ptr<quarn::Dataset>> Dataset;  ///< the linked dataset: at most one entry
    bool DatasetChanged = false;                           ///< the dataset was changed after estimation
    bool DatasetWasDeleted = false;                        ///< the dataset is gone, or there never was one
    std::string DatasetLink;  ///< key of the dataset in a workspace file, valid while saving and loading

    void SetDataset(std::shared_ptr<quarn::Dataset> dataset);  ///< makes it the only entry of Dataset
    void SetDatasetWasDeleted();                               ///< empties Dataset
};

}  // namespace quarn
