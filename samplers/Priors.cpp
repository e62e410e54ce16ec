#include <samplers/Priors.h>

#include <Eigen/Cholesky>

#include <cmath>

namespace quarn::samplers {
namespace {

bool IsCovariance(const MatrixXd& A) {
    return A.allFinite() && A == A.transpose() && Eigen::LLT<MatrixXd>(A).info() == Eigen::Success;
}

}  // namespace

NormalPrior Completed(const NormalPrior& prior, Eigen::Index k) {
    NormalPrior completed = prior;
    if (completed.Mean.size() == 0) completed.Mean = VectorXd::Zero(k);
    if (completed.Precision.size() == 0) completed.Precision = NormalPrior::DefaultPrecision * MatrixXd::Identity(k, k);
    return completed;
}

InverseWishartPrior Completed(const InverseWishartPrior& prior, Eigen::Index k) {
    InverseWishartPrior completed = prior;
    if (completed.DegreesOfFreedom == 0.0) completed.DegreesOfFreedom = static_cast<double>(k + 1);
    if (completed.Scale.size() == 0) completed.Scale = InverseWishartPrior::DefaultScale * MatrixXd::Identity(k, k);
    return completed;
}

std::string CheckPrior(const NormalPrior& prior, Eigen::Index k) {
    const NormalPrior completed = Completed(prior, k);
    const MatrixXd& P = completed.Precision;
    if (completed.Mean.size() != k || P.rows() != k || P.cols() != k)
        return "The prior of the coefficients does not have the number of the regressors.";
    if (!completed.Mean.allFinite() || !IsCovariance(P))
        return "The prior of the coefficients needs a finite mean, and a precision that is symmetric and positive "
               "definite.";
    return "";
}

std::string CheckPrior(const InverseWishartPrior& prior, Eigen::Index k) {
    const InverseWishartPrior completed = Completed(prior, k);
    const double df = completed.DegreesOfFreedom;
    if (completed.Scale.rows() != k || completed.Scale.cols() != k)
        return "The prior of the covariance matrix does not have its size.";
    if (!std::isfinite(df) || !(df > static_cast<double>(k - 1)) || !IsCovariance(completed.Scale))
        return "The inverse Wishart prior needs more degrees of freedom than its dimension less one, and a scale "
               "matrix that is symmetric and positive definite.";
    return "";
}

std::string CheckPrior(const GammaPrior& prior) {
    const auto valid = [](double parameter) { return parameter > 0.0 && std::isfinite(parameter); };
    return valid(prior.Shape) && valid(prior.Rate) ? "" : "The gamma prior needs a positive shape and a positive rate.";
}

}  // namespace quarn::samplers
