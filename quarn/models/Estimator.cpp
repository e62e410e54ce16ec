#include <quarn/models/Estimator.h>
#include <quarn/models/Threads_detail.h>

namespace quarn {

EstimatorBase::EstimatorBase(const std::string& modelType) : ModelType(modelType) {}
EstimatorBase::~EstimatorBase() = default;
EstimatorBase::EstimatorBase(const EstimatorBase&) = default;
EstimatorBase& EstimatorBase::operator=(const EstimatorBase&) = default;

bool EstimatorBase::GetHasResults() { return HasResults; }
std::string EstimatorBase::GetModelType() const { return ModelType; }
SummaryStructure EstimatorBase::GetSummaryStructure() const { return Summary; }
std::shared_ptr<MatrixXd> EstimatorBase::GetpSamples() const { return pSamples; }
bool EstimatorBase::GetHasLogML() const { return HasLogML; }
double EstimatorBase::GetLogML() const { return logML; }
bool EstimatorBase::GetHasLogML_CJ() const { return HasLogML_CJ; }
double EstimatorBase::GetLogML_CJ() const { return logML_CJ; }
std::vector<std::string> EstimatorBase::GetSamplesNames() { return {}; }
std::int64_t EstimatorBase::GetnBurnin() { return nBurnin; }
std::int64_t EstimatorBase::GetnChains() { return nChains; }
std::int64_t EstimatorBase::GetnDraws() { return nDraws; }
std::int64_t EstimatorBase::GetnThin() { return nThin; }
std::int64_t EstimatorBase::GetnSeed() { return nSeed; }

void EstimatorBase::InterruptThreads() { detail::InterruptAndJoin(Threads); }

Estimator::Estimator(const std::string& modelType, const MatrixXd& obsId) : EstimatorBase(modelType), ObsId(obsId) {}
Estimator_YX::Estimator_YX(const std::string& modelType, const MatrixXd& obsId)
    : EstimatorBase(modelType), ObsId(obsId) {}
Estimator_yZX::Estimator_yZX(const std::string& modelType, const MatrixXd& obsId)
    : EstimatorBase(modelType), ObsId(obsId) {}

MatrixXd Estimator::GetObsId() const { return ObsId; }
MatrixXd Estimator_YX::GetObsId() const { return ObsId; }
MatrixXd Estimator_yZX::GetObsId() const { return ObsId; }

}  // namespace quarn
