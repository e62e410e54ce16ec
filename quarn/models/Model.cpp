#include <quarn/models/Model.h>
#include <quarn/models/Threads_detail.h>

#include <algorithm>
#include <utility>

namespace quarn {
namespace {

std::shared_ptr<MatrixXd> DeepCopy(const std::shared_ptr<MatrixXd>& matrix) {
    return matrix ? std::make_shared<MatrixXd>(*matrix) : nullptr;
}

void StoreDeep(const MatrixMap& from, MatrixMap& to) {
    for (const auto& [key, matrix] : from) to[key] = DeepCopy(matrix);
}

void StoreShallow(const MatrixMap& from, MatrixMap& to) {
    for (const auto& [key, matrix] : from) to[key] = matrix;
}

/// By value: a list may be appended to itself.
void Append(std::vector<std::string> names, std::vector<std::string>& to) {
    to.insert(to.end(), std::make_move_iterator(names.begin()), std::make_move_iterator(names.end()));
}

/// What SetMembersShallow and SetMembersDeep share.
void TakeOverTexts(const Model& from, Model& to) {
    to.ModelType = from.ModelType;
    to.ModelName = from.ModelName;
    to.ModelCommand = from.ModelCommand;
    to.ModelFlag = from.ModelFlag;
    to.TableTop = from.TableTop;
    to.ElapsedTime = from.ElapsedTime;
    to.SamplesNames = from.SamplesNames;
    to.Summary = from.Summary;
    to.IntList = from.IntList;
    to.IntLists = from.IntLists;
}

int GenericAction(std::string& message) {
    message = "Generic";
    return -1;
}

bool GenericOperation(std::string& message, std::string& detail) {
    message = detail = "GENERIC";
    return false;
}

}  // namespace

std::shared_ptr<Model> Model::Copy() const {
    auto copy = std::make_shared<Model>();
    TakeOverTexts(*this, *copy);
    copy->ModelCode = ModelCode;
    copy->TableTop.reset();
    if (TableTop) copy->SetTableTop(*TableTop);
    copy->SetSamplesDeep(Samples);
    copy->SetObsIdDeep(ObsId);
    copy->SetElementsDeep(Elements);
    copy->SetHiddenElementsDeep(HiddenElements);
    copy->SetAdditionalActionsParser(ActionsParser);
    copy->SetAdditionalActionsGUI(ActionsGUI);
    copy->DatasetChanged = DatasetChanged;
    if (DatasetWasDeleted) {
        copy->SetDatasetWasDeleted();
    } else if (ModelCode >= FirstCodeWithDataset && !Dataset.empty()) {
        copy->SetDataset(Dataset.front());
        Dataset.front()->AddAssociatedModel(copy);
    }
    return copy;
}

void Model::SetMembersShallow(const std::shared_ptr<Model>& other) {
    TakeOverTexts(*other, *this);
    Samples = other->Samples;
    ObsId = other->ObsId;
    StoreShallow(other->Elements, Elements);
    StoreShallow(other->HiddenElements, HiddenElements);
}

void Model::SetMembersDeep(const std::shared_ptr<Model>& other) {
    TakeOverTexts(*other, *this);
    SetSamplesDeep(other->Samples);
    SetObsIdDeep(other->ObsId);
    SetElementsDeep(other->Elements);
    SetHiddenElementsDeep(other->HiddenElements);
}

void Model::SetTableTop(const std::string& text) { TableTop = std::make_shared<std::string>(text); }
void Model::SetSamplesShallow(const std::shared_ptr<MatrixXd>& matrix) { Samples = matrix; }
void Model::SetSamplesDeep(const std::shared_ptr<MatrixXd>& matrix) { Samples = DeepCopy(matrix); }
void Model::SetObsIdShallow(const std::shared_ptr<MatrixXd>& matrix) { ObsId = matrix; }
void Model::SetObsIdDeep(const std::shared_ptr<MatrixXd>& matrix) { ObsId = DeepCopy(matrix); }
void Model::SetElementsShallow(const MatrixMap& elements) { Elements = elements; }
void Model::SetElementsDeep(const MatrixMap& elements) { StoreDeep(elements, Elements); }
void Model::SetHiddenElementsShallow(const MatrixMap& elements) { HiddenElements = elements; }
void Model::SetHiddenElementsDeep(const MatrixMap& elements) { StoreDeep(elements, HiddenElements); }
void Model::SetAdditionalActionsParser(const std::vector<std::string>& names) { Append(names, ActionsParser); }
void Model::SetAdditionalActionsGUI(const std::vector<std::string>& names) { Append(names, ActionsGUI); }

bool Model::ProvidesAction(const std::string& name) const {
    return std::find(ActionsParser.begin(), ActionsParser.end(), name) != ActionsParser.end();
}

// The old link goes last, and nothing of the model may be touched then: it can be the last pointer to a dataset that holds
// the last one to this model.

void Model::SetDataset(std::shared_ptr<quarn::Dataset> dataset) {
    std::vector<std::shared_ptr<quarn::Dataset>> link;
    link.push_back(std::move(dataset));
    DatasetWasDeleted = false;
    Dataset.swap(link);
}

void Model::SetDatasetWasDeleted() {
    DatasetWasDeleted = true;
    const auto link = std::exchange(Dataset, {});
}

void Model::InterruptThreads() { detail::InterruptAndJoin(Threads); }

void Model::PrintMFX(const MatrixXd& /*effects*/, int /*type*/, const EventDispatcher& /*dispatcher*/) {}
void Model::PrintStabTest(const MatrixXd& /*statistics*/, const EventDispatcher& /*dispatcher*/) {}

void Model::DefineAdditionalActions() {
    SetAdditionalActionsParser({});
    SetAdditionalActionsGUI({});
}

MatrixXd Model::CalculateDiagnostics(std::string& message) {
    message = "Generic";
    return MatrixXd::Zero(1, 1);
}

int Model::ModelAction1(std::string& message, std::string& /*detail*/, std::vector<std::string>& /*arguments*/) {
    return GenericAction(message);
}
int Model::ModelAction2(std::string& message, std::string& /*detail*/, std::vector<std::string>& /*arguments*/) {
    return GenericAction(message);
}
int Model::ModelAction3(std::string& message, std::string& /*detail*/, std::vector<std::string>& /*arguments*/) {
    return GenericAction(message);
}
int Model::ModelAction4(std::string& message, std::string& /*detail*/, std::vector<std::string>& /*arguments*/) {
    return GenericAction(message);
}

// Strings and pointers are values in these signatures, so that an operation may keep them.
// NOLINTBEGIN(performance-unnecessary-value-param)
bool Model::Store(std::string /*what*/, std::string /*name*/, std::string& message, std::string& detail) {
    return GenericOperation(message, detail);
}
bool Model::CalculateMFX(int /*type*/, std::shared_ptr<MatrixXd> /*points*/, int /*at*/,
                         std::shared_ptr<MatrixXd> /*effects*/, std::string& message, std::string& detail,
                         EventDispatcher* /*dispatcher*/) {
    return GenericOperation(message, detail);
}
bool Model::Predict(bool /*first*/, bool /*second*/, std::shared_ptr<MatrixXd> /*points*/, int /*type*/,
                    std::string /*name*/, std::shared_ptr<MatrixXd> /*predictions*/, std::string& message,
                    std::string& detail, EventDispatcher* /*dispatcher*/) {
    return GenericOperation(message, detail);
}
bool Model::Forecast(int /*periods*/, std::shared_ptr<MatrixXd> /*points*/, std::shared_ptr<MatrixXd> /*forecasts*/,
                     std::string& message, std::string& detail, EventDispatcher* /*dispatcher*/) {
    return GenericOperation(message, detail);
}
bool Model::TestStability(std::shared_ptr<MatrixXd> /*statistics*/, std::string& message, std::string& detail,
                          EventDispatcher* /*dispatcher*/) {
    return GenericOperation(message, detail);
}
bool Model::CalculateIRFs(int /*periods*/, bool /*first*/, bool /*second*/, std::shared_ptr<MatrixXd> /*responses*/,
                          std::string& message, std::string& detail) {
    return GenericOperation(message, detail);
}
// NOLINTEND(performance-unnecessary-value-param)

}  // namespace quarn
