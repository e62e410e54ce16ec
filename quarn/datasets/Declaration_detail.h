#pragma once

#include <quarn/datasets/Dataset.h>

#include <string>

/// The declared structure, as the operations that rest on it read it.
namespace quarn::detail {

enum DatasetTypes : int { CrossSectionType = 0, TimeSeriesType = 1, PanelType = 2 };  ///< of Dataset::DatasetType

/// Makes sure that the declared structure of a time series or panel can be read: declares it again if the dataset was
/// transformed since, or if a declared variable has another name by now or lacks the time codes of its text, as after
/// loading.
///
/// Returns "OK", or the message that transformations invalidated the declaration, or UnknownDatasetType for a type other
/// than these two: an operation has its own words for a type that it cannot work on, and says them first. Whatever
/// fails, the declaration stays as it is.
std::string RefreshDeclaration(Dataset& dataset);

/// The time index, one entry per observation: the time codes of a string variable, or the time variable's own values,
/// of which NaN and infinities may be some. Requires: RefreshDeclaration returned "OK". Not tested.
VectorXd TimeValues(const Dataset& dataset);

}  // namespace quarn::detail
