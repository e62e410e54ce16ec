#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

#include <string>
#include <vector>

/// Products, element-wise functions and checks of dense matrices. Shapes: X is N x K, d and y have length N.
/// Functions that return a matrix leave their arguments alone. No function keeps state.
///
/// Equal shapes, square and triangular arguments are requirements of the caller; they are not tested.
/// The products of this page are summed in one documented order (four interleaved sums per cell, no fused
/// multiply-add), so that the same input gives the same digits on every processor; XpX, XXp and XpDX are exactly
/// symmetric.
namespace quarn {

/// X'Z and X'z. Cost: one pass over X for each three columns of Z.
QUARN_EXPORT VectorXd XpZ(const MatrixXd& X, const VectorXd& z);
QUARN_EXPORT MatrixXd XpZ(const MatrixXd& X, const MatrixXd& Z);

/// X'X, K x K; zeros where X has no rows. Cost: N K(K+1)/2 multiply-adds: one triangle, mirrored.
QUARN_EXPORT MatrixXd XpX(const MatrixXd& X);

/// XX', N x N. Cost: N(N+1)/2 K multiply-adds and a transposed copy of X.
QUARN_EXPORT MatrixXd XXp(const MatrixXd& X);

/// TT' of a square triangular matrix T. The cells on the other side of the diagonal count as zero and are not read.
/// Cost: a third of the general product's multiply-adds.
QUARN_EXPORT MatrixXd XXpUpperTriang(const MatrixXd& U);
QUARN_EXPORT MatrixXd XXpLowerTriang(const MatrixXd& L);

/// X' diag(d) X, K x K, and X'(d o y), K. The cell (i, j), j <= i, is the dot product of X(:, j) and the rounded
/// d o X(:, i), so that d of ones gives the digits of XpX and XpZ. diag(d) is never formed.
QUARN_EXPORT MatrixXd XpDX(const MatrixXd& X, const VectorXd& d);
QUARN_EXPORT VectorXd XpDy(const MatrixXd& X, const VectorXd& d, const VectorXd& y);

/// The quadratic form of a square A, which need not be symmetric.
QUARN_EXPORT double quadForm_Ax(const MatrixXd& A, const VectorXd& x);     ///< x'Ax of a column x
QUARN_EXPORT double quadForm_xA(const MatrixXd& A, const RowVectorXd& x);  ///< xAx' of a row x

/// Element-wise rounding to whole numbers: down, up, to the nearest with halves away from zero.
QUARN_EXPORT MatrixXd floor(const MatrixXd& A);
QUARN_EXPORT MatrixXd ceil(const MatrixXd& A);
QUARN_EXPORT MatrixXd round(const MatrixXd& A);

/// Each cell rounded as by round and converted. A cell that is not finite, or beyond the range of int after rounding,
/// becomes the smallest int, on every processor.
QUARN_EXPORT MatrixXi double2int(const MatrixXd& A);

/// out(i) = v(i)^p by std::pow. Requires: out has the size of v; it may be v.
QUARN_EXPORT void vectorPower(const VectorXd& v, const int& p, VectorXd& out);

/// A becomes its p-th matrix power by p - 1 products with a copy of A; p below 2 leaves A as it is, so that p of 0 or a
/// negative p gives neither identity nor inverse. Requires: A square.
QUARN_EXPORT void matrixPower(MatrixXd& A, const int& p);

/// Element-wise powers by std::pow. Requires: equal shapes; out is sized by the caller and may be A or B.
QUARN_EXPORT void matrixEPower(const MatrixXd& A, const MatrixXd& B, MatrixXd& out);  ///< out(i,j) = A(i,j)^B(i,j)
QUARN_EXPORT void matrixEPower(MatrixXd& A, const MatrixXd& B);                       ///< the same, in place
QUARN_EXPORT void matrixEPowerExpand(MatrixXd& A, double p);                          ///< A(i,j)^p, in place

/// Whether A can serve as an n x n covariance or precision matrix: n x n, exactly symmetric (no tolerance; a NaN is
/// unequal to itself), and with a smallest eigenvalue above 0 (no tolerance). Stops at the first failure.
/// Ensures: the flag of the failed test is false; no flag is ever set to true, so the caller initialises them to true.
/// An empty matrix has no eigenvalue that could fail and passes for n of 0.
/// Errors:  eigenvalues that cannot be found (cells that are not finite) count as not positive definite.
QUARN_EXPORT bool check_SymmetricPD(const MatrixXd& A, int n, bool& dimensions, bool& symmetric,
                                    bool& positiveDefinite);

/// Copies the rows of A in which every cell is finite to out, in their order, and resizes out; out may be A. Without
/// columns every row is kept. The form with rows appends the zero-based index of each kept row; rows is not cleared.
/// Ensures: "OK"; or "noData" where no row is kept, and out and rows are untouched.
QUARN_EXPORT std::string dropMissing(const MatrixXd& A, MatrixXd& out);
QUARN_EXPORT std::string dropMissing(const MatrixXd& A, MatrixXd& out, std::vector<int>& rows);

}  // namespace quarn
