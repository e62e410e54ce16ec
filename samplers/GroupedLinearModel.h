#pragma once

#include <quarn/base/Types.h>

#include <samplers/Export.h>
#include <samplers/Generator.h>
#include <samplers/Priors.h>

#include <Eigen/Cholesky>

namespace quarn::samplers {

/// What the data of a linear model with group effects say: y_i = Z_i a + X_i b_i + e_i, e_i ~ N(0, I/tau), for n groups i
/// of T_i observations, with b_i ~ N(mu, D). Below, t = (a, mu), of k = Kz + Kx elements.
///
/// An orthogonal transformation of the rows of each group, which makes X_i triangular, leaves min(T_i, Kx) rows that tell
/// of b_i, and T_i - Kx rows without it. The latter are a regression of all groups together, and are kept as one k x k
/// cross-product. So nothing of the size of the data is left, and nothing is inverted that could be singular: X_i may
/// have collinear columns, or more columns than rows.
class QUARN_SAMPLERS_EXPORT GroupedLinearModel {
 public:
    /// What a caller keeps between calls, and what they return. The calls size it.
    struct Work {
        MatrixXd Moments;           // (k+1) x (k+1), lower triangle
        MatrixXd DR, S, Whitened;   // of one group
        MatrixXd Precision;         // its factor, at last that of the last group
        VectorXd Shift;             // of the mean, by the prior
        VectorXd Residual, Effect;  // of all rows with b_i; of one group
        MatrixXd Scatter;           // out: sum of (b_i - mu)(b_i - mu)', lower triangle
        double SumOfSquares = 0.0;  // out: of the errors e_i
    };

    GroupedLinearModel() = default;
    /// y N; Z N x Kz; X N x Kx; rows (T, number of groups) of structure, with sum N.
    /// Cost: two passes of Householder transformations, 2 N (Kz + Kx)^2 multiply-adds.
    GroupedLinearModel(const VectorXd& y, const MatrixXd& Z, const MatrixXd& X, const MatrixXi& structure);

    Eigen::Index NumGroups() const { return m_start.size() - 1; }
    Eigen::Index NumCommon() const { return m_Kz; }
    Eigen::Index NumEffects() const { return m_Kx; }

    /// The law of t given D, tau and a normal prior of t, with the b_i integrated out: mean, and factor of its precision.
    /// Cost: for each group, Kx^3 for the covariance of its rows, and Kx k^2/2 for their cross-product.
    void CoefficientLaw(const NormalPrior& prior, const MatrixXd& D, double tau, Work& work, VectorXd& mean,
                        Eigen::LLT<MatrixXd>& factor) const;

    /// log p(y | t, D, tau), with the b_i integrated out. Cost: as before.
    double LogLikelihood(const VectorXd& t, const MatrixXd& D, double tau, Work& work) const;

    /// Draws all b_i from their law given t, the inverse P of D, and tau; leaves in work what the laws of D and tau need.
    ///
    ///   sumOfMeans  null, or Kx x n: the conditional mean of b_i - mu is added to column i
    ///
    /// Draws: Kx normals for each group. Cost: about Kx^3/2 for each.
    void DrawEffects(Generator& generator, const VectorXd& t, const MatrixXd& P, double tau, Work& work,
                     MatrixXd* sumOfMeans) const;

 private:
    void Reduce(const VectorXd& y, const MatrixXd& Z, const MatrixXd& X, const MatrixXi& structure);
    void MoveOrigin();
    double AccumulateMoments(const MatrixXd& D, double tau, Work& work) const;

    Eigen::Index m_Kz = 0, m_Kx = 0;
    double m_numWithin = 0.0;  // rows without b_i
    VectorXi m_start;          // first column in m_rows of each group, and their number
    MatrixXd m_rows;           // rows with b_i, a column each: Z, triangle of X, y - (Z, X) origin
    MatrixXd m_within;         // the others: square root of their cross-product, then that itself; zeros at X
    MatrixXd m_products;       // triangle of X: its cross-products, Kx x Kx for each group
    VectorXd m_origin;         // least-squares t: what is worked with is small beside it
};

}  // namespace quarn::samplers
