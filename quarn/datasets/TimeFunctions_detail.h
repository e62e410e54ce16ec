#pragma once

#include <quarn/datasets/Dataset.h>

#include <string>

namespace quarn::detail {

/// The start of the user's functions that make a new variable of a time-series or panel dataset: whether the dataset is
/// declared as one, its declaration holds, after a refresh, and the variable is numeric. Returns "OK" or a message, in
/// which datasetName and function are how the user calls the dataset and the function.
std::string StartTimeFunction(Dataset& dataset, const std::string& variable, const std::string& datasetName,
                              const std::string& function);
/// The same for functions of panels.
std::string StartPanelFunction(Dataset& dataset, const std::string& variable, const std::string& datasetName,
                               const std::string& function);

}  // namespace quarn::detail
