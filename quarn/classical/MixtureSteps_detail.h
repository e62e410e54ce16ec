#pragma once

#include <quarn/base/Types.h>
#include <quarn/numerics/Instructions_detail.h>

/// What the fits of mixtures by expectation-maximisation share. The E-step takes the rows in chunks that stay in the
/// cache; a chunk is a block of columns `ChunkRows` apart, filled up with zeros to a multiple of 4 rows.
namespace quarn::detail {

constexpr Eigen::Index ChunkRows = 256;

constexpr Eigen::Index PaddedRows(Eigen::Index n) { return (n + 3) / 4 * 4; }

/// Rows from, ..., from + n - 1 of A as a chunk. Requires: n <= ChunkRows; room for A.cols() columns.
void LoadChunk(const MatrixXd& A, Eigen::Index from, Eigen::Index n, double* chunk);

/// Rows from, ..., from + n - 1 of A from a chunk.
void StoreChunk(const double* chunk, Eigen::Index from, Eigen::Index n, MatrixXd& A);

/// Turns a chunk of G columns of log weights l into shares: exp(l(g) - max) / sum over h of exp(l(h) - max), with the
/// largest l of the row taken out, so that an observation far from every component has shares, too. Rows n and up to
/// the next multiple of 4 become zero. A NaN makes its row NaN, as do l that are all -inf, or one that is +inf.
/// Ensures: within 2 units in the last place, for shares above 1e-307; smaller ones may be 0. Same digits everywhere.
void SharesOfWeights(Eigen::Index n, Eigen::Index G, double* chunk, Instructions instructions = Instructions::Best);

/// Writes the lower triangle of M with its diagonal, column by column, to out; returns the end of what is written.
double* CopyLowerTriangle(const Eigen::Ref<const MatrixXd>& M, double* out);

/// The same as a vector of D(D + 1)/2 entries, for M of size D.
VectorXd LowerTriangle(const MatrixXd& M);

/// Steps until the parameters move by no more than `bound`, in the sum of squared differences (no root), or turn NaN;
/// the first comparison is with zeros. At most maxIter + 1 steps, but one at least if the parameters are finite and not
/// near zero. write(table) puts the parameters into the table.
template <class Step, class Write>
void IterateToConvergence(MatrixXd table, double bound, int maxIter, Step step, Write write) {
    MatrixXd before = MatrixXd::Zero(table.rows(), table.cols());
    write(table);
    for (int iteration = 0; (table - before).squaredNorm() > bound; ++iteration) {  // false for NaN
        before = table;
        step();
        if (iteration >= maxIter) return;
        write(table);
    }
}

}  // namespace quarn::detail
