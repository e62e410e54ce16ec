#pragma once

#include <samplers/Export.h>
#include <samplers/LinearModelRotation.h>
#include <samplers/Priors.h>

#include <memory>
#include <string>

namespace quarn::samplers {

/// A linear model, y = X b + e, e ~ N(0, 1/tau), with b and tau independent under the prior: what N observations and
/// the prior say, none of it of size N.
struct LinearModel {
    LinearModelRotation Rotation;
    GammaPrior ErrorPrecision;
    double N = 0.0;
};

/// log p(y) from draws whose first columns are b (K) and tau: by Lewis & Raftery at the mean of (b, log tau); by Chib &
/// Jeliazkov at the mean of (b, tau), the ordinate being that of tau given b, averaged over the draws of b, and that of b
/// given tau.
QUARN_SAMPLERS_EXPORT double LogMLLewisRaftery(const LinearModel& model, Eigen::Index K, const MatrixXd& draws);
QUARN_SAMPLERS_EXPORT double LogMLChib(const LinearModel& model, Eigen::Index K, const MatrixXd& draws);

/// Posterior summaries of x'b at M points, from the K leading columns of the draws.
///
///   points       M x K           predictions  out: M x 5: mean, median, sd, 5% and 95% quantile
///
/// False, with a message, if points are missing or do not have K columns.
QUARN_SAMPLERS_EXPORT bool PredictMeans(const MatrixXd& draws, Eigen::Index K, const std::shared_ptr<MatrixXd>& points,
                                        MatrixXd& predictions, std::string& message, std::string& detail);

}  // namespace quarn::samplers
