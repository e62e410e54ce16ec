#pragma once

#include <quarn/base/Types.h>

#include <samplers/Export.h>
#include <samplers/Priors.h>

#include <Eigen/Cholesky>

#include <vector>

namespace quarn::samplers {

/// What N observations of M equations, y_m = X_m b_m + e_m with errors of one observation N(0, S), say of b = (b_1, ...,
/// b_M), of K elements, and of S. The data are reduced to the triangular factor of (X_1, ..., X_M, residuals of least
/// squares), of at most K + M rows, so that cross-products of residuals have no digits to lose. Columns may be collinear.
class QUARN_SAMPLERS_EXPORT StackedRegressions {
 public:
    /// What a caller keeps between calls. The calls size it.
    struct Work {
        MatrixXd Residuals;  // as the factor has them, at most K + M rows
        Eigen::LLT<MatrixXd> FactorOfS;
        MatrixXd P;  // inverse of S
        MatrixXd Precision;
        VectorXd Deviation;  // from the least squares
    };

    StackedRegressions() = default;
    StackedRegressions(const MatrixXd& Y, const std::vector<MatrixXd>& X);

    Eigen::Index NumEquations() const { return m_start.size() - 1; }
    double NumObservations() const { return m_N; }

    /// Coefficients of each equation by itself.
    const VectorXd& LeastSquares() const { return m_b; }

    /// out = E'E, M x M, E the errors at b.
    void ResidualProducts(const VectorXd& b, Work& work, MatrixXd& out) const;

    /// The law of b given S and a normal prior: mean, and factor of its precision.
    void CoefficientLaw(const NormalPrior& prior, const MatrixXd& S, Work& work, VectorXd& mean,
                        Eigen::LLT<MatrixXd>& factor) const;

    /// log p(Y | b, S).
    double LogLikelihood(const VectorXd& b, const MatrixXd& S, Work& work) const;

 private:
    VectorXi m_start;     // first coefficient of each equation, and their number
    MatrixXd m_factor;    // triangular: K columns of X_m, M of residuals
    MatrixXd m_products;  // its cross-product
    VectorXd m_b;
    double m_N = 0.0;
};

}  // namespace quarn::samplers
