#pragma once

#include <quarn/base/Types.h>
#include <quarn/numerics/Instructions_detail.h>

namespace quarn::detail {

/// e = y - X b (N) and g = X'e (K), each as if computed in twice the working precision and then rounded; g takes e
/// before its rounding. What normal equations need to win back the digits that their condition takes.
///
///   X  N x K, column-major        y  N        b  K
///
/// Requires: shapes as stated; no product beyond the range of a double; neither e nor g is y or b, and both are
///           resized. Not tested.
/// Ensures:  the same digits on every processor: the terms of row i join lane i mod 16, and the errors of products and
///           sums, which are exact, are summed beside them.
/// Errors:   NaN where a cell or a product is not finite, or beyond 1e300.
/// Cost:     one pass over X; about 5 times the arithmetic of plain sums; nothing allocated but e, g and 256 K bytes.
/// Source:   Ogita, Rump & Oishi (2005), SIAM J. Sci. Comput. 26, 1955-1988, algorithm Dot2.
void ResidualProducts(const MatrixXd& X, const VectorXd& y, const VectorXd& b, VectorXd& e, VectorXd& g,
                      Instructions instructions = Instructions::Best);

/// The same without g.
void Residuals(const MatrixXd& X, const VectorXd& y, const VectorXd& b, VectorXd& e,
               Instructions instructions = Instructions::Best);

}  // namespace quarn::detail
