#include <quarn/datasets/Dataset.h>
#include <quarn/datasets/Declaration_detail.h>
#include <quarn/datasets/StatusTexts.h>
#include <quarn/datasets/TimeFormats.h>

#include <utility>

namespace quarn {
namespace {

constexpr char NoFormat[] = "none";
constexpr char NumericFormat[] = "index";

/// The string variable that is the declared time variable, or null if that is numeric.
const StringVar* TimeText(const Dataset& dataset, int timeColumn) {
    const auto found = dataset.StringVars.find(timeColumn);
    return found == dataset.StringVars.end() ? nullptr : &found->second;
}

std::string WrongFormat(const char* problem, int type) {
    return std::string(StatusTexts::TimeVariableOf) + (type == detail::PanelType ? "set_pd" : "set_ts") + problem;
}

/// Whether the declared variables are there, with the time codes of a text.
bool IsReadable(const Dataset& dataset) {
    const int timeColumn = dataset.GetVariableIndex(dataset.TimeVariable);
    if (timeColumn == dataset.NumVars) return false;
    if (dataset.DatasetType == detail::PanelType && !dataset.VariableExists(dataset.GroupVariable)) return false;
    const StringVar* const text = TimeText(dataset, timeColumn);
    return text == nullptr || (text->IsTimeVariable && text->TimeIndex.size() == dataset.NumObs);
}

/// Gives dataset the time series or panel that model, which may be the dataset itself, declares.
std::string DeclareLike(Dataset& dataset, const Dataset& model) {
    if (model.DatasetType == detail::TimeSeriesType) return dataset.SetTimeSeries(model.TimeVariable, model.TimeFormat);
    return dataset.SetPanelData(model.TimeVariable, model.GroupVariable, model.TimeFormat);
}

}  // namespace

void Dataset::SetCrossSection() {
    DatasetType = detail::CrossSectionType;
    TimeVariable = ReservedNames::NoVariable;
    GroupVariable = ReservedNames::NoVariable;
    TimeFormat = NoFormat;
    TransformedSinceDeclaration = false;
}

std::string Dataset::SetTimeSeries(const std::string& timeVariable, const std::string& format) {
    return Declare(detail::TimeSeriesType, timeVariable, ReservedNames::NoVariable, format);
}

std::string Dataset::SetPanelData(const std::string& timeVariable, const std::string& groupVariable,
                                  const std::string& format) {
    return Declare(detail::PanelType, timeVariable, groupVariable, format);
}

std::string Dataset::Declare(int type, std::string timeVariable, std::string groupVariable, std::string format) {
    const bool isPanel = type == detail::PanelType;
    const int timeColumn = GetVariableIndex(timeVariable);
    if (timeColumn == NumVars) return StatusTexts::NoTimeVariable;
    const int groupColumn = isPanel ? GetVariableIndex(groupVariable) : 0;
    if (groupColumn == NumVars) return StatusTexts::NoGroupVariable;

    const auto time = StringVars.find(timeColumn);
    const bool isText = time != StringVars.end();
    std::string message;
    VectorXi index;
    if (isText) {
        if (format == NumericFormat) return WrongFormat(StatusTexts::IsString, type);
        const std::vector<std::string>& values = time->second.Values;
        if (!(isPanel ? SetTSFormat_PD(values, Data.col(groupColumn), format, index, message)
                      : SetTSFormat_TS(values, format, index, message)))
            return message;
    } else {
        if (format != NumericFormat) return WrongFormat(StatusTexts::IsNumerical, type);
        if (!(isPanel ? SetTSFormat_PD(Data.col(timeColumn), Data.col(groupColumn), message)
                      : SetTSFormat_TS(Data.col(timeColumn), message)))
            return message;
    }

    // Nothing can fail from here on.
    for (auto& [column, text] : StringVars) {
        if (!text.IsTimeVariable) continue;
        text.IsTimeVariable = false;
        text.TimeIndex.resize(0);
    }
    if (isText) {
        time->second.IsTimeVariable = true;
        time->second.TimeIndex.swap(index);
    }
    DatasetType = type;
    TimeVariable = std::move(timeVariable);
    GroupVariable = std::move(groupVariable);
    TimeFormat = std::move(format);
    TransformedSinceDeclaration = false;
    return message;
}

std::string Dataset::CheckType(int& type) {
    std::string status = StatusTexts::OK;
    if (DatasetType == detail::CrossSectionType) {
        SetCrossSection();
    } else if (DatasetType != detail::TimeSeriesType && DatasetType != detail::PanelType) {
        status = StatusTexts::UnknownDatasetType;
    } else if (TransformedSinceDeclaration) {
        status = TimeFormat == NoFormat ? StatusTexts::NoTimeFormat : DeclareLike(*this, *this);
    }
    type = status == StatusTexts::OK ? DatasetType : detail::CrossSectionType;
    return status;
}

std::shared_ptr<Dataset> Dataset::Copy() const {
    auto copy = std::make_shared<Dataset>(*this);
    copy->SetCrossSection();
    if (DatasetType != detail::CrossSectionType && TimeFormat != NoFormat) DeclareLike(*copy, *this);
    copy->TransformedSinceDeclaration = TransformedSinceDeclaration;
    return copy;
}

std::string detail::RefreshDeclaration(Dataset& dataset) {
    const bool isPanel = dataset.DatasetType == PanelType;
    if (!isPanel && dataset.DatasetType != TimeSeriesType) return StatusTexts::UnknownDatasetType;
    if (!dataset.TransformedSinceDeclaration && IsReadable(dataset)) return StatusTexts::OK;
    if (DeclareLike(dataset, dataset) == StatusTexts::OK) return StatusTexts::OK;
    return isPanel ? StatusTexts::StalePanel : StatusTexts::StaleTimeSeries;
}

VectorXd detail::TimeValues(const Dataset& dataset) {
    const int timeColumn = dataset.GetVariableIndex(dataset.TimeVariable);
    const StringVar* const text = TimeText(dataset, timeColumn);
    return text == nullptr ? VectorXd(dataset.Data.col(timeColumn)) : text->TimeIndex.cast<double>();
}

}  // namespace quarn
