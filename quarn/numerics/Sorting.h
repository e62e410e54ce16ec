#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

#include <memory>
#include <string>
#include <vector>

/// Sorting of vectors and of the rows of matrices. A permutation lists zero-based positions: entry i is the position of
/// the element that comes i-th. All sorts are ascending and stable; 0.0 and -0.0 are equal; NaN comes after all
/// numbers. Fewer than 2^31 elements or rows. Cost: linear in n for each key, beyond a few hundred elements; no state.
namespace quarn {

/// The permutation that sorts x: ties keep ascending positions, NaN cells come last in their order. A column of a
/// matrix binds without a copy.
QUARN_EXPORT VectorXi SortIndex(const Eigen::Ref<const VectorXd>& x);
QUARN_EXPORT VectorXi SortIndex_int(const Eigen::Ref<const VectorXi>& x);

/// x in the order of its permutation, or of a given one: entry i is x(p(i)).
/// Requires: entries of p are positions in x; p may leave out or repeat positions. Not tested.
QUARN_EXPORT VectorXd SortVector(const Eigen::Ref<const VectorXd>& x);
QUARN_EXPORT VectorXi SortVector_int(const Eigen::Ref<const VectorXi>& x);
QUARN_EXPORT VectorXd SortVector(const Eigen::Ref<const VectorXd>& x, const VectorXi& p);
QUARN_EXPORT VectorXi SortVector_int(const Eigen::Ref<const VectorXi>& x, const VectorXi& p);

/// The rows of m gathered by p: row i is row p(i) of m. Requires: as above.
QUARN_EXPORT MatrixXd SortMatrix(const MatrixXd& m, const VectorXi& p);
QUARN_EXPORT MatrixXi SortMatrix_int(const MatrixXi& m, const VectorXi& p);

/// The rows of m in lexicographic order of the listed columns, the first being the main key. Rows that tie in all of
/// them keep their order. A later column orders only rows whose difference in each earlier one is exactly 0: rows with
/// a NaN or an infinity in a column stand at its end or beginning in the order that they had, whatever the later
/// columns say. No columns: m as it is. The forms with order permute its entries along with the rows. Requires: columns
/// within m; order has one entry per row. Not tested.
QUARN_EXPORT MatrixXd SortMatrixVarIndex(const MatrixXd& m, const VectorXi& columns);
QUARN_EXPORT MatrixXd SortMatrixVarIndex(const MatrixXd& m, const VectorXi& columns, VectorXi& order);
QUARN_EXPORT MatrixXi SortMatrixVarIndex_int(const MatrixXi& m, const VectorXi& columns, VectorXi& order);

/// Dense ranks from 0 of strings in byte order; equal strings have equal ranks. The string
/// "__Quarn_SYSTEM_DEFAULT_STRING___" means "no value": where it comes first, its rank is -1 and that of the next one
/// 0.
QUARN_EXPORT VectorXi SortOrderToInt(const std::vector<std::string>& strings);

/// Each column, or each row, of X sorted by itself as by SortVector.
QUARN_EXPORT MatrixXd matrixSort(const MatrixXd& X);
QUARN_EXPORT MatrixXd matrixSortRowwise(const MatrixXd& X);
inline MatrixXd matrixSort(const std::shared_ptr<MatrixXd>& X) { return matrixSort(*X); }
inline MatrixXd matrixSortRowwise(const std::shared_ptr<MatrixXd>& X) { return matrixSortRowwise(*X); }

}  // namespace quarn
