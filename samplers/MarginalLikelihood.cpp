#include <quarn/numerics/Densities.h>
#include <quarn/numerics/DescriptiveStatistics.h>

#include <samplers/MarginalLikelihood.h>

#include <Eigen/Cholesky>
#include <boost/math/special_functions/gamma.hpp>

#include <cmath>
#include <limits>
#include <numbers>

namespace quarn::samplers {
namespace {

double LogDeterminant(const Eigen::LLT<MatrixXd>& factor) {
    return 2.0 * factor.matrixLLT().diagonal().array().log().sum();
}

}  // namespace

double LaplaceMetropolis(const MatrixXd& draws, const std::function<double(const VectorXd&)>& logKernel) {
    if (draws.rows() <= draws.cols()) return std::numeric_limits<double>::quiet_NaN();
    const Eigen::LLT<MatrixXd> factor(cov(draws));
    if (factor.info() != Eigen::Success) return std::numeric_limits<double>::quiet_NaN();
    RowVectorXd mean(draws.cols());
    matrixMean(draws, mean);
    return 0.5 * (static_cast<double>(draws.cols()) * LogOf2Pi + LogDeterminant(factor)) + logKernel(mean.transpose());
}

double LogMeanExp(const VectorXd& x) {
    const double largest = x.maxCoeff();
    if (!std::isfinite(largest)) return largest;
    return largest + std::log((x.array() - largest).exp().sum() / static_cast<double>(x.size()));
}

double LogGammaDensity(double x, double shape, double rate) {
    return shape * std::log(rate) - boost::math::lgamma(shape) + (shape - 1.0) * std::log(x) - rate * x;
}

double LogNormalDensity(const VectorXd& x, const VectorXd& m, const MatrixXd& L) {
    const VectorXd z = L.triangularView<Eigen::Lower>().transpose() * (x - m);
    return L.diagonal().array().log().sum() - 0.5 * (static_cast<double>(x.size()) * LogOf2Pi + z.squaredNorm());
}

double LogInverseWishartDensity(const MatrixXd& X, double df, const MatrixXd& S) {
    const auto p = static_cast<int>(X.rows());
    const Eigen::LLT<MatrixXd> factorX(X), factorS(S);
    return 0.5 * df * (LogDeterminant(factorS) - p * std::numbers::ln2) - lmvgamma(0.5 * df, p) -
           0.5 * (df + p + 1) * LogDeterminant(factorX) - 0.5 * factorX.solve(S).trace();
}

}  // namespace quarn::samplers
