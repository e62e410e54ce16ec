#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

/// Gauss quadrature: sum_i w_i h(x_i) equals the integral of h times the weight function for polynomials h to degree
/// 2n - 1.
///
///   n    number of nodes
///   ok   false where the eigenvalues were not found, or n is below 1; the result is then empty
///
/// Returns n x 2: nodes, ascending, and weights, each to the last digit or two of a double; weights below the range of
/// doubles are 0.
/// Cost:    n^2 operations in extended precision.
/// Source:  Golub & Welsch (1969), Math. Comp. 23, 221-230.
namespace quarn {

/// Weight exp(-x) on [0, inf). The weights sum to 1.
QUARN_EXPORT MatrixXd LaguerreQuad(int n, bool& ok);

/// Weight exp(-x^2) on the whole line. The weights sum to the square root of pi; nodes and weights are exactly
/// symmetric about 0.
QUARN_EXPORT MatrixXd HermiteQuad(int n, bool& ok);

}  // namespace quarn
