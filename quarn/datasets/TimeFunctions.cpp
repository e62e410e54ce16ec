#include <quarn/datasets/Declaration_detail.h>
#include <quarn/datasets/StatusTexts.h>
#include <quarn/datasets/TimeFunctions_detail.h>

namespace quarn::detail {
namespace {

std::string Start(Dataset& dataset, bool isDeclared, const char* notDeclared, const std::string& variable,
                  const std::string& datasetName, const std::string& function) {
    if (!isDeclared)
        return StatusTexts::DatasetNamed + datasetName + notDeclared + StatusTexts::TheFunction + function +
               StatusTexts::EndOfFunction;
    std::string status = RefreshDeclaration(dataset);
    if (status == StatusTexts::OK && dataset.GetVariableIsString(variable))
        return StatusTexts::VariableNamed + variable + StatusTexts::InDataset + datasetName +
               StatusTexts::IsStringVariable + function + StatusTexts::CannotBeUsed;
    return status;
}

}  // namespace

std::string StartTimeFunction(Dataset& dataset, const std::string& variable, const std::string& datasetName,
                              const std::string& function) {
    const bool isDeclared = dataset.DatasetType != CrossSectionType;
    return Start(dataset, isDeclared, StatusTexts::NoTimeStructure, variable, datasetName, function);
}

std::string StartPanelFunction(Dataset& dataset, const std::string& variable, const std::string& datasetName,
                               const std::string& function) {
    const bool isDeclared = dataset.DatasetType == PanelType;
    return Start(dataset, isDeclared, StatusTexts::NoPanelStructure, variable, datasetName, function);
}

}  // namespace quarn::detail
