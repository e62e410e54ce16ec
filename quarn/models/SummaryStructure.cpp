#include <quarn/models/SummaryStructure.h>

namespace quarn {

void SummaryStructure::SetDepVars(const std::vector<std::string>& names) { DepVars = names; }
void SummaryStructure::SetIndVars(const std::vector<std::string>& names) { IndVars = names; }
void SummaryStructure::SetSummaryMatrix(const MatrixXd& matrix) { SummaryMatrix = matrix; }
void SummaryStructure::SetSpacesVector(const VectorXi& rows) { SpacesVector = rows; }
VectorXi SummaryStructure::GetSpacesVector() const { return SpacesVector; }

}  // namespace quarn
