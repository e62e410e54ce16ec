#include <quarn/classical/MixtureSteps_detail.h>
#include <quarn/numerics/Elementary_detail.h>

#include <algorithm>

namespace quarn::detail {
namespace {

using Eigen::Index;

/// Loops that the compiler turns into vector code: this file is compiled with -fno-trapping-math, on which no digit
/// depends.
struct SharesKernel {
    Index n, G;
    double* chunk;

    template <Instructions>
    __attribute__((always_inline)) void operator()() const {
        double largest[ChunkRows], sum[ChunkRows] = {};
        for (Index i = 0; i < n; ++i) largest[i] = chunk[i];
        for (Index g = 1; g < G; ++g) {
            const double* const weight = chunk + g * ChunkRows;
            for (Index i = 0; i < n; ++i) largest[i] = weight[i] > largest[i] ? weight[i] : largest[i];
        }
        for (Index g = 0; g < G; ++g) {
            double* const weight = chunk + g * ChunkRows;
            for (Index i = 0; i < n; ++i) {
                weight[i] = ExpOfNegative(weight[i] - largest[i]);
                sum[i] += weight[i];
            }
        }
        for (Index g = 0; g < G; ++g) {
            double* const weight = chunk + g * ChunkRows;
            for (Index i = 0; i < n; ++i) weight[i] /= sum[i];
        }
    }
};

}  // namespace

void LoadChunk(const MatrixXd& A, Index from, Index n, double* chunk) {
    for (Index j = 0; j < A.cols(); ++j, chunk += ChunkRows) {
        std::copy_n(A.data() + j * A.rows() + from, n, chunk);
        std::fill(chunk + n, chunk + PaddedRows(n), 0.0);
    }
}

void StoreChunk(const double* chunk, Index from, Index n, MatrixXd& A) {
    for (Index j = 0; j < A.cols(); ++j, chunk += ChunkRows) std::copy_n(chunk, n, A.data() + j * A.rows() + from);
}

void SharesOfWeights(Index n, Index G, double* chunk, Instructions instructions) {
    RunKernel(SharesKernel{n, G, chunk}, instructions);
    for (Index g = 0; g < G; ++g) std::fill(chunk + g * ChunkRows + n, chunk + g * ChunkRows + PaddedRows(n), 0.0);
}

double* CopyLowerTriangle(const Eigen::Ref<const MatrixXd>& M, double* out) {
    for (Index j = 0; j < M.cols(); ++j) {
        for (Index i = j; i < M.rows(); ++i) *out++ = M(i, j);
    }
    return out;
}

VectorXd LowerTriangle(const MatrixXd& M) {
    VectorXd triangle(M.rows() * (M.rows() + 1) / 2);
    CopyLowerTriangle(M, triangle.data());
    return triangle;
}

}  // namespace quarn::detail
