#include <quarn/datasets/Dataset.h>
#include <quarn/datasets/Names_detail.h>

#include <algorithm>
#include <utility>

namespace quarn {

Dataset::Dataset() : Name(ReservedNames::EmptyDataset), Data(MatrixXd::Zero(1, 1)) {
    VarNames.Add(wxString());
    SetCrossSection();
}

Dataset::Dataset(const wxArrayString& names, const MatrixXd& data)
    : VarNames(names),
      Data(data),
      NumObs(static_cast<int>(data.rows())),
      NumVars(static_cast<int>(data.cols())),
      Loaded(true) {
    SetCrossSection();
}

Dataset& Dataset::operator=(const Dataset& other) {
    Dataset copy(other);
    // The string library copies where others move: what it holds is swapped, and nothing can fail.
    wxString name;
    wxArrayString names;
    name.swap(copy.Name);
    names.swap(copy.VarNames);
    *this = std::move(copy);
    Name.swap(name);
    VarNames.swap(names);
    return *this;
}

void Dataset::AddAssociatedModel(std::shared_ptr<Model> model) { AssociatedModels.push_back(std::move(model)); }

void Dataset::RemoveAssociatedModel(const std::shared_ptr<Model>& model) {
    // By the address, since the argument may be an entry of the list.
    std::erase_if(AssociatedModels, [removed = model.get()](const auto& entry) { return entry.get() == removed; });
}

std::vector<std::shared_ptr<Model>> Dataset::GetAssociatedModels() const { return AssociatedModels; }

void Dataset::SetAssociatedModels(std::vector<std::shared_ptr<Model>> models) { AssociatedModels = std::move(models); }

bool Dataset::GetVariableIsString(const std::string& name) const { return GetVariableIsString(GetVariableIndex(name)); }

bool Dataset::GetVariableIsString(int column) const { return StringVars.contains(column); }

bool Dataset::ListContainsStringVariables(std::vector<std::string>& names) const {
    if (StringVars.empty()) return false;
    const std::vector<int> columns = detail::FindColumns(VarNames, names);
    return std::any_of(columns.begin(), columns.end(), [this](int column) { return GetVariableIsString(column); });
}

void Dataset::DisassociateStringVar(int column) {
    StringVars.erase(column);
    MarkChanged();
}

void Dataset::DisassociateStringVars() {
    StringVars.clear();
    MarkChanged();
}

void Dataset::MarkChanged() {
    TransformedSinceDeclaration = true;
    NotifyAssociatedModels(0, "");
}

}  // namespace quarn
