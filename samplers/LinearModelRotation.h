#pragma once

#include <samplers/Export.h>
#include <samplers/Generator.h>
#include <samplers/Priors.h>

namespace quarn::samplers {

/// What N observations of a linear model, y = X b + e, e ~ N(0, 1/tau), and a normal prior of b tell of b, in coordinates
/// g with b = Q g in which both Q'X'XQ = diag(d) and Q'PQ = diag(p) are diagonal, P the prior's precision. The law of b
/// given tau, and the sum of squares at a b, then cost O(K) beside the change of coordinates, for any N.
class QUARN_SAMPLERS_EXPORT LinearModelRotation {
 public:
    LinearModelRotation() = default;
    /// y N; X N x K, of any rank; a prior with its fields filled in.
    /// Cost: N K(K+1)/2 multiply-adds for X'X, three passes over X, and O(K^3).
    LinearModelRotation(const VectorXd& y, const MatrixXd& X, const NormalPrior& prior);

    /// Draws b from its law given tau and the data; returns the sum of squares |y - Xb|^2 there.
    /// work: any vector, to be kept between calls. Draws: K normals. Cost: K^2 + 4 K multiply-adds.
    double Draw(Generator& generator, double tau, VectorXd& b, VectorXd& work) const;

    double SumOfSquares(const VectorXd& b) const;  ///< |y - Xb|^2
    double LogPriorDensity(const VectorXd& b) const;
    double LogConditionalDensity(const VectorXd& b, double tau) const;  ///< of b given tau and the data
    VectorXd LeastSquares() const;  ///< coefficients; where X is collinear, as near to the prior mean as they can be

 private:
    VectorXd Coordinates(const VectorXd& b) const { return m_inverse * b; }

    MatrixXd m_Q, m_inverse;
    VectorXd m_data, m_prior;          // d and p, both >= 0
    VectorXd m_dataMean, m_priorMean;  // g of the least squares and of the prior mean
    double m_residual = 0.0;           // sum of squares at the least squares
    double m_logAbsDetQ = 0.0;
};

}  // namespace quarn::samplers
