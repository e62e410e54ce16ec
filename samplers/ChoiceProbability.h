#pragma once

#include <quarn/base/Types.h>

#include <samplers/Export.h>
#include <samplers/Generator.h>

#include <vector>

namespace quarn::samplers {

/// For choice c of 0 to J, the J x J matrix that maps utilities relative to the base to those of all other alternatives
/// relative to c: those of the others in their places, that of the base in the place of c. c is chosen where none of
/// these is above 0. Each matrix is its own inverse.
QUARN_SAMPLERS_EXPORT std::vector<MatrixXd> ChoiceCoordinates(Eigen::Index J);

/// Probabilities of choices under a normal law of utilities, J >= 1, by GHK.
class QUARN_SAMPLERS_EXPORT ChoiceProbability {
 public:
    explicit ChoiceProbability(const MatrixXd& S);  ///< the covariance, J x J, positive definite

    /// P(choice c) for utilities of mean mu, J, with so many replications; never below the smallest normal double.
    double operator()(Generator& generator, const VectorXd& mu, int c, int replications) const;

    /// Derivatives of P(choice c), n: derivatives, n x J, are those of mu with respect to the variables wanted.
    VectorXd Derivatives(Generator& generator, const VectorXd& mu, int c, const MatrixXd& derivatives,
                         int replications) const;

 private:
    std::vector<MatrixXd> m_coordinates, m_factors;  // for each choice
};

/// The identified parameters of a multinomial probit with J equations of K coefficients and M attributes.
struct QUARN_SAMPLERS_EXPORT ScaledProbit {
    MatrixXd B;  ///< K x J, a column for each alternative but the base
    VectorXd g;  ///< M
    MatrixXd S;  ///< J x J, S(0,0) = 1

    /// From a row of the draws: B by columns, g, the lower triangle of S row by row without its first cell.
    ScaledProbit(const Eigen::Ref<const VectorXd>& draw, Eigen::Index J, Eigen::Index K, Eigen::Index M);

    /// Mean utilities, J, at regressors x, K, and attributes a, J x M.
    VectorXd MeanUtilities(const VectorXd& x, const MatrixXd& a) const;
};

}  // namespace quarn::samplers
