#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

#include <Eigen/Cholesky>

#include <list>
#include <string>

namespace quarn {

/// Least squares of y on X, y = X b + e. The constructor does the whole fit; the fields are the result.
///
///   y  N            X  N x K; a constant, if wanted, is a column of X
///
/// Requires: y.size() == X.rows(); N > K; X of full column rank; all cells finite. Not tested.
/// Ensures:  b solves X'X b = X'y by ldlt, and is then corrected by ldlt's solution for X'(y - X b), a residual
///           computed in twice the working precision, as long as each correction is at most a quarter of the one
///           before; e is y - X b, rounded once; s2 = e'e/(N - K); ldlt factorises X'X and can solve further systems.
/// Errors:   none reported. N == K gives s2 infinite or NaN. Rank is not tested: with collinear columns ldlt.info() is
///           still Eigen::Success, and the sign is an entry of ldlt.vectorD() near 0; b is then as ldlt has it. Cells
///           that are not finite give NaN.
/// Accuracy: the normal equations square the condition c of X with columns of equal length. The corrections win back
///           what that costs for c below about 1e7 (Longley's data: 14 digits of b, where 7 stand without them).
/// Cost:     one pass over X with N K(K+1)/2 multiply-adds for X'X, K^3/6 for the factor, and two passes for the
///           correction of well-conditioned data, more for others. Memory N + K^2, and N x K for V in the form without
///           labels, which can cost as much time as the fit: the form with labels, empty if need be, spares it.
/// Source:   Golub & Van Loan, Matrix Computations, 4th ed., sections 5.3.2 (normal equations) and 3.5.3 (correction).
class QUARN_EXPORT OLSChol {
 public:
    VectorXd b;                  ///< coefficients, K
    VectorXd e;                  ///< residuals, N
    MatrixXd V;                  ///< nothing here reads it: s2 X, N x K, or with labels the K x K identity
    Eigen::LDLT<MatrixXd> ldlt;  ///< of X'X
    double s2 = 0.0;             ///< residual variance
    int N = 0;
    int K = 0;
    std::string label;  ///< the caller's; empty without labels, as is the next
    std::list<std::string> labels;

    OLSChol(const VectorXd& y, const MatrixXd& X);
    OLSChol(const VectorXd& y, const MatrixXd& X, std::string label, const std::list<std::string>& labels);

 private:
    void Fit(const VectorXd& y, const MatrixXd& X);
};

}  // namespace quarn
