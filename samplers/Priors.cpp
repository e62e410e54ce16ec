#include <Eigen/Cholesky>

#include <cmath>
#include <samplers/Priors.h>

namespace quarn::samplers {

NormalPrior Completed(const NormalPrior& prior, Eigen::Index k) {
    NormalPrior completed = prior;
    if (completed.Mean.size() == 0) completed.Mean = VectorXd::Zero(k);
    if (completed.Precision.size() == 0) completed.Precision = NormalPrior::DefaultPrecision * MatrixXd::Identity(k, k);
    return completed;
}

std::string CheckPrior(const NormalPrior& prior, Eigen::Index k) {
    const NormalPrior completed = Completed(prior, k);
    const MatrixXd& P = completed.Precision;
    if (completed.Mean.size() != k || P.rows() != k || P.cols() != k)
        return "The prior of the coefficients does not have the number of the regressors.";
    if (!completed.Mean.allFinite() || !P.allFinite() || P != P.transpose() ||
        Eigen::LLT<MatrixXd>(P).info() != Eigen::Success)
        return "The prior of the coefficients needs a finite mean, and a precision that is symmetric and positive "
               "definite.";
    return "";
}

std::string CheckPrior(const GammaPrior& prior) {
    const auto valid = [](double parameter) { return parameter > 0.0 && std::isfinite(parameter); };
    return valid(prior.Shape) && valid(prior.Rate) ? "" : "The gamma prior needs a positive shape and a positive rate.";
}

}  // namespace quarn::samplers
