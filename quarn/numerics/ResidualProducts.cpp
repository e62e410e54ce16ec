#include <quarn/numerics/ResidualProducts_detail.h>

#include <algorithm>
#include <vector>

namespace quarn::detail {
namespace {

using Eigen::Index;

constexpr Index ChunkRows = 256;  // its columns stay in the second-level cache between the two uses of them
constexpr Index Lanes = 16;       // four registers of four: their additions overlap
constexpr Index SumCells = 2 * Lanes;

/// x y - p exactly, for p the rounded product: by one instruction, or by Dekker's halves of 26 bits.
template <bool Fused>
__attribute__((always_inline)) inline double ProductError(double x, double y, double p) {
    if constexpr (Fused) {
        return __builtin_fma(x, y, -p);
    } else {
        constexpr double Splitter = 134217729.0;  // 2^27 + 1
        const double xScaled = Splitter * x, yScaled = Splitter * y;
        const double xHigh = xScaled - (xScaled - x), yHigh = yScaled - (yScaled - y);
        const double xLow = x - xHigh, yLow = y - yHigh;
        return ((xHigh * yHigh - p) + xHigh * yLow + xLow * yHigh) + xLow * yLow;
    }
}

/// sum becomes the rounded sum + term; the result is what the rounding took away, exactly (Knuth).
template <class Real>
__attribute__((always_inline)) inline void AddExactly(Real& sum, const Real& term, Real& error) {
    const Real total = sum + term;
    const Real added = total - sum;
    error = (sum - (total - added)) + (term - added);
    sum = total;
}

/// One chunk: n rows, a multiple of 16. e has room for n cells; lanes holds SumCells for each column, or is null.
struct ChunkKernel {
    Index n, k, stride;
    const double *x, *y, *b;
    double *e, *lanes;

    template <Instructions Set>
    __attribute__((always_inline)) void operator()() const {
        constexpr bool Fused = Set != Instructions::Portable;
        alignas(Quad) double low[ChunkRows];
        Residuals<Fused>(low);
        if (!lanes) return;
        for (Index j = 0; j < k; ++j) AddProducts<Fused>(x + j * stride, low, lanes + j * SumCells);
    }

 private:
    /// e + low = y - X b.
    template <bool Fused>
    __attribute__((always_inline)) void Residuals(double* __restrict low) const {
        double* const __restrict high = e;
        for (Index i = 0; i < n; ++i) high[i] = y[i];
        for (Index i = 0; i < n; ++i) low[i] = 0.0;
        Index j = 0;
        for (; j + 4 <= k; j += 4) Subtract<4, Fused>(j, high, low);
        for (; j < k; ++j) Subtract<1, Fused>(j, high, low);
        for (Index i = 0; i < n; ++i) {
            double sum = high[i], error;
            AddExactly(sum, low[i], error);
            high[i] = sum;
            low[i] = error;
        }
    }

    /// Takes Columns columns from j on, times their coefficients, from high + low.
    template <int Columns, bool Fused>
    __attribute__((always_inline)) void Subtract(Index j, double* __restrict high, double* __restrict low) const {
        const double* const __restrict first = x + j * stride;
        double weight[Columns];
#pragma GCC unroll 4
        for (int q = 0; q < Columns; ++q) weight[q] = -b[j + q];
        for (Index i = 0; i < n; ++i) {
            double sum = high[i], errors = low[i];
#pragma GCC unroll 4
            for (int q = 0; q < Columns; ++q) {
                const double cell = first[q * stride + i], product = cell * weight[q];
                double error;
                AddExactly(sum, product, error);
                errors += error + ProductError<Fused>(cell, weight[q], product);
            }
            high[i] = sum;
            low[i] = errors;
        }
    }

    /// Adds the products of one column and e + low to its lanes.
    template <bool Fused>
    __attribute__((always_inline)) void AddProducts(const double* __restrict column, const double* __restrict low,
                                                    double* sums) const {
        alignas(Quad) double product[ChunkRows], small[ChunkRows];
        for (Index i = 0; i < n; ++i) {
            product[i] = column[i] * e[i];
            small[i] = ProductError<Fused>(column[i], e[i], product[i]) + column[i] * low[i];
        }
        Quad sum[4], error[4];
#pragma GCC unroll 4
        for (int q = 0; q < 4; ++q) {
            Load(sum[q], sums + 4 * q);
            Load(error[q], sums + Lanes + 4 * q);
        }
        for (Index i = 0; i < n; i += Lanes) {
#pragma GCC unroll 4
            for (int q = 0; q < 4; ++q) {
                Quad term, rest, rounding;
                Load(term, product + i + 4 * q);
                Load(rest, small + i + 4 * q);
                AddExactly(sum[q], term, rounding);
                error[q] += rest + rounding;
            }
        }
#pragma GCC unroll 4
        for (int q = 0; q < 4; ++q) {
            Store(sums + 4 * q, sum[q]);
            Store(sums + Lanes + 4 * q, error[q]);
        }
    }
};

double Total(const double* lanes) {
    double sum = 0.0, error = 0.0;
    for (Index l = 0; l < Lanes; ++l) {
        double rounding;
        AddExactly(sum, lanes[l], rounding);
        error += rounding + lanes[Lanes + l];
    }
    return sum + error;
}

/// The last n < 16 rows, filled up with zeros, which leave the sums as they are.
void AddLastRows(const ChunkKernel& last, Instructions instructions) {
    std::vector<double> cells(static_cast<std::size_t>(Lanes * (last.k + 1)));
    double e[Lanes];
    for (Index j = 0; j < last.k; ++j) std::copy_n(last.x + j * last.stride, last.n, cells.data() + Lanes * j);
    double* const y = cells.data() + Lanes * last.k;
    std::copy_n(last.y, last.n, y);
    RunKernel(ChunkKernel{Lanes, last.k, Lanes, cells.data(), y, last.b, e, last.lanes}, instructions);
    std::copy_n(e, last.n, last.e);
}

/// lanes as in a chunk.
void AllRows(const MatrixXd& X, const VectorXd& y, const VectorXd& b, VectorXd& e, double* lanes,
             Instructions instructions) {
    const Index n = X.rows(), full = n - n % Lanes;
    e.resize(n);
    const auto rows = [&](Index from, Index count) {
        return ChunkKernel{count, X.cols(), n, X.data() + from, y.data() + from, b.data(), e.data() + from, lanes};
    };
    for (Index from = 0; from < full; from += ChunkRows) {
        RunKernel(rows(from, std::min(ChunkRows, full - from)), instructions);
    }
    if (full < n) AddLastRows(rows(full, n - full), instructions);
}

}  // namespace

void Residuals(const MatrixXd& X, const VectorXd& y, const VectorXd& b, VectorXd& e, Instructions instructions) {
    AllRows(X, y, b, e, nullptr, instructions);
}

void ResidualProducts(const MatrixXd& X, const VectorXd& y, const VectorXd& b, VectorXd& e, VectorXd& g,
                      Instructions instructions) {
    std::vector<double> lanes(static_cast<std::size_t>(SumCells * X.cols()));
    AllRows(X, y, b, e, lanes.data(), instructions);
    g.resize(X.cols());
    for (Index j = 0; j < X.cols(); ++j) g[j] = Total(lanes.data() + j * SumCells);
}

}  // namespace quarn::detail
