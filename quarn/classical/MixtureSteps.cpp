#include <quarn/classical/MixtureSteps_detail.h>

#include <algorithm>

namespace quarn::detail {
namespace {

using Eigen::Index;

/// x becomes exp(x) for x <= 0, within 1 unit in the last place; 0 below -708, where the result would not be normal.
__attribute__((always_inline)) inline void ExpOfNonPositive(Quad& x) {
    // With k the whole number nearest to x / log 2, exp(x) = 2^k exp(r), r = x - k log 2 in [-0.347, 0.347]. Adding
    // Shift rounds to a whole number, which the low bits of the sum then hold. log 2 is split so that k Log2High is
    // exact.
    constexpr double PerLog2 = 1.4426950408889634, Shift = 0x1.8p52;
    constexpr double Log2High = 0x1.62e42feep-1, Log2Low = 0x1.a39ef35793c76p-33;
    // 1/13!, ..., 1/2!: the terms left out are below 2^-57 of the result.
    constexpr double Inverse[] = {1.0 / 6227020800.0, 1.0 / 479001600.0, 1.0 / 39916800.0, 1.0 / 3628800.0,
                                  1.0 / 362880.0,     1.0 / 40320.0,     1.0 / 5040.0,     1.0 / 720.0,
                                  1.0 / 120.0,        1.0 / 24.0,        1.0 / 6.0,        0.5};
    const QuadBits isKept = ~(x < -708.0);  // NaN is kept
    const Quad shifted = x * PerLog2 + Shift;
    const Quad k = shifted - Shift;
    const Quad r = (x - k * Log2High) - k * Log2Low;
    Quad series = Inverse[0] - Quad{};
#pragma GCC unroll 11
    for (int i = 1; i < 12; ++i) series = series * r + Inverse[i];
    const Quad exponential = 1.0 + (r + r * r * series);
    const QuadBits power = (reinterpret_cast<QuadBits>(shifted) + 1023) << 52;  // the bits of 2^k
    const Quad value = exponential * reinterpret_cast<Quad>(power);
    const QuadBits kept = reinterpret_cast<QuadBits>(value) & isKept;
    x = reinterpret_cast<Quad>(kept);
}

struct SharesKernel {
    Index n, G;
    double* chunk;

    template <Instructions>
    __attribute__((always_inline)) void operator()() const {
        for (Index i = 0; i < n; i += 4) {
            Quad largest, weight, sum = {};
            Load(largest, chunk + i);
            for (Index g = 1; g < G; ++g) {
                Load(weight, chunk + g * ChunkRows + i);
                largest = weight > largest ? weight : largest;
            }
            for (Index g = 0; g < G; ++g) {
                Load(weight, chunk + g * ChunkRows + i);
                weight -= largest;
                ExpOfNonPositive(weight);
                sum += weight;
                Store(chunk + g * ChunkRows + i, weight);
            }
            for (Index g = 0; g < G; ++g) {
                Load(weight, chunk + g * ChunkRows + i);
                weight /= sum;
                Store(chunk + g * ChunkRows + i, weight);
            }
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
    const Index padded = PaddedRows(n);
    for (Index g = 0; g < G; ++g) std::fill(chunk + g * ChunkRows + n, chunk + g * ChunkRows + padded, 0.0);
    RunKernel(SharesKernel{padded, G, chunk}, instructions);
    for (Index g = 0; g < G; ++g) std::fill(chunk + g * ChunkRows + n, chunk + g * ChunkRows + padded, 0.0);
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
