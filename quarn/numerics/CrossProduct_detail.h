#pragma once

#include <quarn/base/Types.h>
#include <quarn/numerics/Instructions_detail.h>

#include <vector>

/// The kernel of all cross-products. Each cell is a dot product in a fixed order: the product of row i joins lane i mod
/// 4, multiplied and added as two rounded steps, each lane is summed in order, and the lanes are combined as
/// (0+2)+(1+3). Hence the same input gives the same digits on every processor and compiler, whatever the alignment.
/// Matrices are column-major with contiguous columns. Nothing is tested.
namespace quarn::detail {

/// X' diag(d) X (k x k, both triangles, exactly symmetric) of X (n x k) and d (n); X'X where d is null. The cell (i, j)
/// with j <= i is the dot product of X(:, j) and the rounded d o X(:, i). Cost: n k(k+1)/2 multiply-adds; memory
/// 16 k^2 bytes beside the result.
MatrixXd RankUpdate(const MatrixXd& X, const double* d, Instructions instructions = Instructions::Best);

/// X'Z (k x m) of X (n x k) and Z (n x m), which starts at z.
MatrixXd CrossProduct(const MatrixXd& X, const double* z, Eigen::Index m,
                      Instructions instructions = Instructions::Best);

/// X'X of the k windows of n cells of x that start at cells 0 to k - 1: cell (i, j) is the sum over t < n of
/// x(t + i) x(t + j). Requires: n + k - 1 cells.
MatrixXd WindowProducts(const double* x, Eigen::Index n, Eigen::Index k,
                        Instructions instructions = Instructions::Best);

/// The first m cells of its first row: the sums over t < n of x(t) x(t + j), j from 0 on. Requires: n + m - 1 cells.
RowVectorXd LagProducts(const double* x, Eigen::Index n, Eigen::Index m,
                        Instructions instructions = Instructions::Best);

/// Cross-products of rows that come block by block, with the digits of all rows below each other. Of the blocks only the last
/// may have a number of rows that is no multiple of 4. Only the constructors allocate.
class CrossProductSums {
 public:
    /// X' diag(d) X of k columns, or X'Z of k and m columns.
    explicit CrossProductSums(Eigen::Index k, Instructions instructions = Instructions::Best);
    CrossProductSums(Eigen::Index k, Eigen::Index m, Instructions instructions = Instructions::Best);
    void Clear();
    /// n rows; columns start `stride` apart; d may be null. Each is for one of the two kinds.
    void Add(Eigen::Index n, const double* x, Eigen::Index stride, const double* d);
    void Add(Eigen::Index n, const double* x, Eigen::Index xStride, const double* z, Eigen::Index zStride);
    /// The sum so far. Requires: product is k x k, or k x m.
    void Total(MatrixXd& product) const;

 private:
    CrossProductSums(Eigen::Index k, Eigen::Index m, bool isTriangle, Instructions instructions);
    Eigen::Index m_k, m_m;
    bool m_isTriangle;
    Instructions m_instructions;
    std::vector<double> m_lanes;  ///< of the rectangle, or the lower triangle, row by row
    std::vector<double> m_rows;   ///< room for the last rows
};

}  // namespace quarn::detail
