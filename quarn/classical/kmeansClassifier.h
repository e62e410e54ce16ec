#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

#include <memory>

namespace quarn {

/// Orders the labels of the components in draws from a mixture: for each draw the permutation of the components of a
/// reference that comes closest to it. The reference is the mean of the first draws; it is not iterated.
///
///   draws     R x C, one draw a row; with m = C/K, component j of a draw holds columns j m, ..., (j + 1) m - 1
///   K         number of components, >= 1; C is a multiple of it
///   nInitial  draws that make the reference; more than R means all
///
/// Columns are divided by their standard deviations, not centred. For a permutation p let d(j, p(j)) be the squared
/// distance of component j of the draw from component p(j) of the reference, m terms summed in the order of the
/// columns; the distance of p is the sum of these over j = 0, ..., K - 1, in that order.
///
/// Requires: the shapes as stated. Not tested.
/// Ensures:  row r of classification is the p of the smallest distance as computed, the first in lexicographic order
///           among equals, so that the identity is preferred. It is exactly the one that a comparison of all K! finds.
/// Errors:   none reported. A column that does not vary makes distances NaN or infinite, and every row the identity; so
///           does an nInitial below 1.
/// Cost:     K C operations for each draw, and at most K^2 2^K more, few where labels seldom switch; memory 2^K
///           doubles.
/// Source:   Stephens (2000), J. R. Statist. Soc. B 62, 795-809, section 4 (relabelling as an assignment problem); Held
///           & Karp (1962), J. SIAM 10, 196-210 (the recursion over subsets).
class QUARN_EXPORT kmeansClassifier {
 public:
    MatrixXi classification;  ///< R x K; entry j: the component of the reference, from 0, that is placed at position j

    kmeansClassifier(const std::shared_ptr<MatrixXd>& draws, int K, int nInitial);

    /// The lower triangle of M with its diagonal, column by column: D(D + 1)/2 entries for M of size D.
    static VectorXd triangMat2Vec(const MatrixXd& M);
};

}  // namespace quarn
