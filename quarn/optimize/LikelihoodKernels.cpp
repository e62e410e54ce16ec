// Loops that the compiler turns into vector code. Sums of terms go in four lanes, as those of cross-products do. This
// file is compiled with -fno-trapping-math, without which selections between two numbers become branches; no digit
// depends on it.

#include <quarn/numerics/NormalTail_detail.h>
#include <quarn/optimize/LikelihoodKernels_detail.h>

#define QUARN_INLINE __attribute__((always_inline)) inline

namespace quarn::detail {
namespace {

using Eigen::Index;

constexpr Index Lanes = 4;

QUARN_INLINE double Total(const Quad& lanes) { return (lanes[0] + lanes[2]) + (lanes[1] + lanes[3]); }

QUARN_INLINE double SumOfTerms(const double* term, Index n) {
    Quad sum = {};
    Index i = 0;
    for (; i + Lanes <= n; i += Lanes) {
        Quad terms;
        Load(terms, term + i);
        sum += terms;
    }
    for (Index l = 0; i < n; ++i, ++l) sum[l] += term[i];
    return Total(sum);
}

/// z += the first `Columns` columns times b, one after the other.
template <int Columns>
QUARN_INLINE void AddColumns(const RowBlock& X, const double* b, double* __restrict z) {
    for (Index i = 0; i < X.rows; ++i) {
        double sum = z[i];
#pragma GCC unroll 4
        for (int k = 0; k < Columns; ++k) sum += X.cells[k * X.stride + i] * b[k];
        z[i] = sum;
    }
}

/// sums += the dot products of the first `Columns` columns with w.
template <int Columns>
QUARN_INLINE void AddDots(const RowBlock& X, const double* w, double* sums) {
    Quad sum[Columns] = {};
    Index i = 0;
    for (; i + Lanes <= X.rows; i += Lanes) {
        Quad weights, cells;
        Load(weights, w + i);
#pragma GCC unroll 4
        for (int k = 0; k < Columns; ++k) {
            Load(cells, X.cells + k * X.stride + i);
            sum[k] += cells * weights;
        }
    }
    for (Index l = 0; i < X.rows; ++i, ++l) {
        for (int k = 0; k < Columns; ++k) sum[k][l] += X.cells[k * X.stride + i] * w[i];
    }
    for (int k = 0; k < Columns; ++k) sums[k] += Total(sum[k]);
}

/// Calls `columns` for groups of four columns, and once for the one to three that are left. It is a generic function of
/// the number, the block from the first of these columns on, and that column's number.
template <class Columns>
QUARN_INLINE void ForGroupsOfColumns(RowBlock X, Columns columns) {
    Index k = 0;
    for (; X.columns - k >= 4; k += 4, X.cells += 4 * X.stride) columns.template operator()<4>(X, k);
    if (X.columns - k == 3) columns.template operator()<3>(X, k);
    if (X.columns - k == 2) columns.template operator()<2>(X, k);
    if (X.columns - k == 1) columns.template operator()<1>(X, k);
}

constexpr Index TermRows = 64;

/// Overwrites n predictors by `row(i, term)`, the derivative, which leaves the value in term; returns the sum of the
/// values, if they are wanted.
template <Wanted W, class Row>
QUARN_INLINE double ForRows(Index n, Row row) {
    double total = 0.0;
    double term[TermRows] = {};
    for (Index from = 0; from < n; from += TermRows) {
        const Index rows = n - from < TermRows ? n - from : TermRows;
        for (Index i = 0; i < rows; ++i) row(from + i, term[i]);
        if (W != Wanted::Gradient) total += SumOfTerms(term, rows);
    }
    return total;
}

/// With q = exp(-|z|) the value is log(1 + q) + max(z, 0) - y z, and the derivative p - y has p = q/(1 + q) or one less
/// that: neither overflows, and nothing cancels where y is 0 or 1.
template <Wanted W>
QUARN_INLINE double Logit(Index n, const double* __restrict y, double* __restrict z) {
    return ForRows<W>(
        n, [=](Index i, double& term) __attribute__((always_inline)) {
            const double predictor = z[i];
            const double q = ExpOfNegative(predictor < 0 ? predictor : -predictor);
            const double sum = 1.0 + q, perSum = 1.0 / sum;
            const double positive = predictor < 0 ? 0.0 : predictor;
            if (W != Wanted::Gradient)
                term = LogWithRest(sum, (q - (sum - 1.0)) * perSum) + (positive - y[i] * predictor);
            if (W != Wanted::Value) {
                const double p = q * perSum;
                z[i] = predictor < 0 ? p - y[i] : (1.0 - y[i]) - p;
            }
        });
}

template <Wanted W>
QUARN_INLINE double BinaryProbit(Index n, const double* __restrict y, double* __restrict z) {
    return ForRows<W>(
        n, [=](Index i, double& term) __attribute__((always_inline)) {
            const bool chosen = y[i] > 0.5;
            const NormalTail tail = NormalTailAt(chosen ? z[i] : -z[i]);
            if (W != Wanted::Gradient) term = -tail.logCdf;
            if (W != Wanted::Value) z[i] = chosen ? -tail.ratio : tail.ratio;
        });
}

/// Any y: both tails, weighted.
template <Wanted W>
QUARN_INLINE double WeightedProbit(Index n, const double* __restrict y, double* __restrict z) {
    return ForRows<W>(
        n, [=](Index i, double& term) __attribute__((always_inline)) {
            const NormalTail left = NormalTailAt(z[i]), right = NormalTailAt(-z[i]);
            const double other = 1.0 - y[i];
            if (W != Wanted::Gradient) {
                // A tail without weight may be infinite.
                const double first = y[i] == 0.0 ? 0.0 : y[i] * left.logCdf;
                const double second = other == 0.0 ? 0.0 : other * right.logCdf;
                term = -(first + second);
            }
            if (W != Wanted::Value) z[i] = other * right.ratio - y[i] * left.ratio;
        });
}

template <Wanted W>
QUARN_INLINE double Probit(Index n, const double* y, double* z) {
    Index others = 0;
    for (Index i = 0; i < n; ++i) others += (y[i] != 0.0) & (y[i] != 1.0);
    return others == 0 ? BinaryProbit<W>(n, y, z) : WeightedProbit<W>(n, y, z);
}

/// With m the largest predictor of an observation, u the exp(z - m) of the chosen alternative and T the sum of those of
/// the others, the value is log(u + T) + m - z and the derivatives are -T/(u + T) for the chosen and exp(z - m)/(u + T)
/// for the others. T is summed by itself, so that nothing is lost where the chosen alternative is all but certain.
template <Wanted W>
QUARN_INLINE double Choice(Index n, Index J, const double* __restrict y, double* __restrict z,
                           double* __restrict work) {
    double* __restrict const largest = work;
    double* __restrict const chosenZ = work + n;
    double* __restrict const u = work + 2 * n;
    double* __restrict const T = work + 3 * n;
    for (Index i = 0; i < n; ++i) largest[i] = z[i];
    for (Index j = 1; j < J; ++j) {
        const double* const zj = z + j * n;
        for (Index i = 0; i < n; ++i) largest[i] = zj[i] > largest[i] ? zj[i] : largest[i];
    }
    for (Index i = 0; i < n; ++i) chosenZ[i] = u[i] = T[i] = 0.0;
    const auto lower = [](Index j) { return j == 0 ? -__builtin_inf() : static_cast<double>(j); };
    for (Index j = 0; j < J; ++j) {
        double* const zj = z + j * n;
        const double from = lower(j), to = static_cast<double>(j + 1);
        for (Index i = 0; i < n; ++i) {
            const double power = ExpOfNegative(zj[i] - largest[i]);
            const bool chosen = (y[i] >= from) & (y[i] < to);
            chosenZ[i] = chosen ? zj[i] : chosenZ[i];
            u[i] = chosen ? power : u[i];
            T[i] += chosen ? 0.0 : power;
            zj[i] = power;
        }
    }
    if (W != Wanted::Value) {
        for (Index j = 0; j < J; ++j) {
            double* const zj = z + j * n;
            const double from = lower(j), to = static_cast<double>(j + 1);
            for (Index i = 0; i < n; ++i) {
                const bool chosen = (y[i] >= from) & (y[i] < to);
                zj[i] = (chosen ? -T[i] : zj[i]) / (u[i] + T[i]);
            }
        }
    }
    if (W == Wanted::Gradient) return 0.0;
    for (Index i = 0; i < n; ++i) {
        const double sum = u[i] + T[i];
        T[i] = LogWithRest(sum, RestOfSum(sum, u[i], T[i]) / sum) + (largest[i] - chosenZ[i]);
    }
    return SumOfTerms(T, n);
}

/// evaluate<W>() with what is wanted as W, by the best instructions.
template <class Evaluate>
double ForWanted(Wanted wanted, Instructions instructions, Evaluate evaluate) {
    return RunKernel<Instructions::Avx512>(
        [=]<Instructions>() __attribute__((always_inline)) {
            if (wanted == Wanted::Value) return evaluate.template operator()<Wanted::Value>();
            if (wanted == Wanted::Gradient) return evaluate.template operator()<Wanted::Gradient>();
            return evaluate.template operator()<Wanted::Both>();
        },
        instructions);
}

}  // namespace

void AddPredictors(const RowBlock& X, const double* b, double* z, Instructions instructions) {
    RunKernel<Instructions::Avx512>(
        [=]<Instructions>() __attribute__((always_inline)) {
            ForGroupsOfColumns(
                X, [=]<int Columns>(const RowBlock& group, Index k)
                       __attribute__((always_inline)) { AddColumns<Columns>(group, b + k, z); });
        },
        instructions);
}

void AddCrossProducts(const RowBlock& X, const double* w, double* sums, Instructions instructions) {
    RunKernel<Instructions::Avx512>(
        [=]<Instructions>() __attribute__((always_inline)) {
            ForGroupsOfColumns(
                X, [=]<int Columns>(const RowBlock& group, Index k)
                       __attribute__((always_inline)) { AddDots<Columns>(group, w, sums + k); });
        },
        instructions);
}

double EvaluateLogit(Wanted wanted, Index n, const double* y, double* z, Instructions instructions) {
    return ForWanted(
        wanted, instructions, [=]<Wanted W>() __attribute__((always_inline)) { return Logit<W>(n, y, z); });
}

double EvaluateProbit(Wanted wanted, Index n, const double* y, double* z, Instructions instructions) {
    return ForWanted(
        wanted, instructions, [=]<Wanted W>() __attribute__((always_inline)) { return Probit<W>(n, y, z); });
}

double EvaluateChoice(Wanted wanted, Index n, Index J, const double* y, double* z, double* work,
                      Instructions instructions) {
    return ForWanted(
        wanted, instructions, [=]<Wanted W>() __attribute__((always_inline)) { return Choice<W>(n, J, y, z, work); });
}

}  // namespace quarn::detail
