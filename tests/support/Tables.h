#pragma once

#include <quarn/datasets/Dataset.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace quarn::testing {

/// Names that stand between blanks; "id" stands for the name of the observation ids.
inline wxArrayString NamesOf(const std::string& words) {
    wxArrayString names;
    std::istringstream stream(words);
    for (std::string word; stream >> word;) names.Add(word == "id" ? ReservedNames::ObservationId : word);
    return names;
}

inline Dataset MakeTable(const std::string& names, const MatrixXd& data) { return {NamesOf(names), data}; }

/// Makes a string variable of a column, with time codes or without.
inline void SetText(Dataset& dataset, int column, std::vector<std::string> values, const VectorXi& codes = {}) {
    const std::string name = dataset.VarNames[static_cast<std::size_t>(column)].ToStdString();
    dataset.StringVars[column] = {column, name, std::move(values), codes.size() > 0, codes};
}

inline std::string Saved(const Dataset& dataset) {
    std::ostringstream stream;
    dataset.SaveDataset(stream);
    return stream.str();
}

}  // namespace quarn::testing
