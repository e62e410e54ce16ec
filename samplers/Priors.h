#pragma once

#include <quarn/base/Types.h>

#include <samplers/Export.h>

#include <string>

namespace quarn::samplers {

/// The prior of K coefficients: normal with the given mean and precision (inverse covariance).
struct NormalPrior {
    static constexpr double DefaultPrecision = 1e-4;  ///< of each coefficient: a standard deviation of 100

    VectorXd Mean;       ///< K; empty: zeros
    MatrixXd Precision;  ///< K x K, positive definite; empty: DefaultPrecision times the identity
};

/// The prior of the precision (inverse variance) of an error term: gamma, mean Shape / Rate.
struct GammaPrior {
    double Shape = 1e-3;
    double Rate = 1e-3;
};

/// The prior of a p x p covariance matrix: inverse Wishart, mean Scale / (DegreesOfFreedom - p - 1) where that is
/// positive; the precision matrix is Wishart with the mean DegreesOfFreedom Scale^-1.
struct InverseWishartPrior {
    static constexpr double DefaultScale = 0.01;

    double DegreesOfFreedom = 0.0;  ///< above p - 1; 0: p + 1, at which each correlation is uniform on (-1, 1)
    MatrixXd Scale;                 ///< p x p, positive definite; empty: DefaultScale times the identity
};

/// The same with its defaults written out for k coefficients, or for a k x k covariance matrix.
QUARN_SAMPLERS_EXPORT NormalPrior Completed(const NormalPrior& prior, Eigen::Index k);
QUARN_SAMPLERS_EXPORT InverseWishartPrior Completed(const InverseWishartPrior& prior, Eigen::Index k);

/// What is wrong with a prior for k coefficients, for a k x k covariance, or for a precision; empty if nothing is.
QUARN_SAMPLERS_EXPORT std::string CheckPrior(const NormalPrior& prior, Eigen::Index k);
QUARN_SAMPLERS_EXPORT std::string CheckPrior(const InverseWishartPrior& prior, Eigen::Index k);
QUARN_SAMPLERS_EXPORT std::string CheckPrior(const GammaPrior& prior);

}  // namespace quarn::samplers
