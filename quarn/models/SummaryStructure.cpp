#include <quarn/base/Resizing_detail.h>
#include <quarn/models/SummaryStructure.h>

namespace quarn {

void SummaryStructure::SetDepVars(const std::vector<std::string>& names) { DepVars = names; }
void SummaryStructure::SetIndVars(const std::vector<std::string>& names) { IndVars = names; }
void SummaryStructure::SetSummaryMatrix(const MatrixXd& matrix) { detail::Assign(SummaryMatrix, matrix); }
void SummaryStructure::SetSpacesVector(const VectorXi& rows) { detail::Assign(SpacesVector, rows); }
VectorXi SummaryStructure::GetSpacesVector() const { return SpacesVector; }

}  // namespace quarn
