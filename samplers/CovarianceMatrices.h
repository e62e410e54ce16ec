#pragma once

#include <quarn/base/Types.h>

#include <samplers/Export.h>
#include <samplers/Generator.h>

#include <Eigen/Cholesky>

#include <string>
#include <vector>

/// What samplers of a p x p covariance matrix S repeat. Its draws stand as the p(p+1)/2 elements of its lower triangle,
/// row by row: S(0,0), S(1,0), S(1,1), S(2,0), ...
namespace quarn::samplers {

constexpr Eigen::Index TriangleSize(Eigen::Index p) { return p * (p + 1) / 2; }

/// Lower triangle to elements, and back to a symmetric matrix. out has its size already, p x p; this gives p.
QUARN_SAMPLERS_EXPORT void PackTriangle(const MatrixXd& S, Eigen::Ref<VectorXd> out);
QUARN_SAMPLERS_EXPORT void UnpackTriangle(const Eigen::Ref<const VectorXd>& elements, MatrixXd& out);

/// Names of the elements: var(a), cov(b,a), var(b), ...
QUARN_SAMPLERS_EXPORT std::vector<std::string> CovarianceNames(const std::vector<std::string>& names);

/// S in parameters that may take any value: S^-1 = LL', and u holds the lower triangle of L with the logarithms of its
/// diagonal. LogJacobian is log |d elements of S / d u|, at u.
/// Returns NaN if S is not positive definite.
QUARN_SAMPLERS_EXPORT VectorXd UnboundedFromCovariance(const MatrixXd& S);
QUARN_SAMPLERS_EXPORT MatrixXd CovarianceFromUnbounded(const VectorXd& u, Eigen::Index p);
QUARN_SAMPLERS_EXPORT double LogJacobian(const VectorXd& u, Eigen::Index p);

/// Draws a covariance matrix from the inverse Wishart law of LogInverseWishartDensity, and keeps its workspace.
class QUARN_SAMPLERS_EXPORT InverseWishartDraw {
 public:
    /// Draws: one iwishrnd with the factor of the inverse of the scale matrix, of which the lower triangle is read.
    /// Errors: std::runtime_error if that is not positive definite.
    void operator()(Generator& generator, double df, const MatrixXd& scale, MatrixXd& out);

 private:
    Eigen::LLT<MatrixXd> m_factor;
    MatrixXd m_inverse;
};

}  // namespace quarn::samplers
