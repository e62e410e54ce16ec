// An evaluation goes through X in blocks of rows: linear predictors, then the value and its derivatives by the
// predictors, which take their places, then their cross-products with the same rows, while these are still in the
// cache.

#include <quarn/base/Resizing_detail.h>
#include <quarn/optimize/LikelihoodKernels_detail.h>
#include <quarn/optimize/LogLikelihoods.h>

#include <algorithm>
#include <cmath>

namespace quarn {
namespace {

using detail::AddCrossProducts;
using detail::AddPredictors;
using detail::EvaluateChoice;
using detail::EvaluateLogit;
using detail::EvaluateProbit;
using detail::RowBlock;
using detail::Wanted;
using Eigen::Index;

/// Rows of a block: 20 columns of it (40 kB) stay in the first-level cache. It has a part in the order of summation.
constexpr Index BlockRows = 256;

Wanted What(bool valueWanted, const double* gradient) {
    if (!gradient) return Wanted::Value;
    return valueWanted ? Wanted::Both : Wanted::Gradient;
}

/// At least n cells.
double* Cells(std::vector<double>& scratch, Index n) {
    const auto size = static_cast<std::size_t>(n);
    if (scratch.size() < size) scratch.resize(size);
    return scratch.data();
}

/// Sums blocks of `blockRows` rows of X. The predictors of a block are z, rows x M: X times the M columns of b, each of
/// X.cols() cells. `block(from, rows)` returns the block's value and overwrites z by derivatives.
template <class Block>
double SumOfBlocks(const MatrixXd& X, const double* b, Index M, Index blockRows, double* z, double* gradient,
                   Block block) {
    const Index K = X.cols();
    double value = 0.0;
    if (gradient) std::fill_n(gradient, K * M, 0.0);
    for (Index from = 0; from < X.rows(); from += blockRows) {
        const RowBlock rows{X.data() + from, X.rows(), std::min(blockRows, X.rows() - from), K};
        std::fill_n(z, rows.rows * M, 0.0);
        for (Index j = 0; j < M; ++j) AddPredictors(rows, b + j * K, z + j * rows.rows);
        value += block(from, rows.rows);
        if (!gradient) continue;
        for (Index j = 0; j < M; ++j) AddCrossProducts(rows, z + j * rows.rows, gradient + j * K);
    }
    return value;
}

}  // namespace

double LogLikelihood::f(const VectorXd& t) { return Evaluate(t, true, nullptr); }

VectorXd LogLikelihood::g(const VectorXd& t) {
    VectorXd gradient(t.size());
    Evaluate(t, false, gradient.data());
    return gradient;
}

double LogLikelihood::fg(const VectorXd& t, VectorXd& gradient) {
    detail::Resize(gradient, t.size());
    return Evaluate(t, true, gradient.data());
}

double logL_LM::Evaluate(const VectorXd& t, bool, double* gradient) {
    constexpr double Log2Pi = 1.8378770664093453;
    const Index K = X.cols();
    const double n = static_cast<double>(X.rows());
    // In extended precision, whose rounding is the same on every processor.
    const auto s2 = static_cast<double>(std::exp(static_cast<long double>(t[K])));
    double* const z = Cells(m_scratch, BlockRows);
    double squares = 0.0;
    SumOfBlocks(X, t.data(), 1, BlockRows, z, gradient, [&](Index from, Index rows) {
        for (Index i = 0; i < rows; ++i) z[i] = y[from + i] - z[i];
        AddCrossProducts({z, rows, rows, 1}, z, &squares);
        return 0.0;
    });
    if (gradient) {
        for (Index k = 0; k < K; ++k) gradient[k] *= -1.0 / s2;
        gradient[K] = 0.5 * n - 0.5 * squares / s2;
    }
    return 0.5 * squares / s2 + (t[K] + Log2Pi) * n / 2;
}

double logL_BLogit::Evaluate(const VectorXd& t, bool valueWanted, double* gradient) {
    double* const z = Cells(m_scratch, BlockRows);
    return SumOfBlocks(X, t.data(), 1, BlockRows, z, gradient, [&](Index from, Index rows) {
        return EvaluateLogit(What(valueWanted, gradient), rows, y.data() + from, z);
    });
}

double logL_BProbit::Evaluate(const VectorXd& t, bool valueWanted, double* gradient) {
    double* const z = Cells(m_scratch, BlockRows);
    return SumOfBlocks(X, t.data(), 1, BlockRows, z, gradient, [&](Index from, Index rows) {
        return EvaluateProbit(What(valueWanted, gradient), rows, y.data() + from, z);
    });
}

// Category 0 stands before the others, its predictors at 0.
double logL_MLogit::Evaluate(const VectorXd& t, bool valueWanted, double* gradient) {
    const Index K = X.cols(), M = K > 0 ? t.size() / K : 0;
    double* const work = Cells(m_scratch, BlockRows * (4 + M + 1));
    double* const base = work + 4 * BlockRows;
    // In a last block with fewer rows category 0 still ends where category 1 begins.
    return SumOfBlocks(X, t.data(), M, BlockRows, base + BlockRows, gradient, [&](Index from, Index rows) {
        double* const first = base + BlockRows - rows;
        std::fill_n(first, rows, 0.0);
        return EvaluateChoice(What(valueWanted, gradient), rows, M + 1, y.data() + from, first, work);
    });
}

// Blocks of whole observations; their predictors are put in order of alternatives, and their derivatives back.
double logL_CLogit::Evaluate(const VectorXd& t, bool valueWanted, double* gradient) {
    const Index n = y.size(), J = n > 0 ? X.rows() / n : 0;
    const Index blockRows = J > 0 ? std::max<Index>(BlockRows / J, 1) * J : BlockRows;
    double* const z = Cells(m_scratch, 2 * blockRows + 4 * blockRows);
    double* const byAlternative = z + blockRows;
    return SumOfBlocks(X, t.data(), 1, blockRows, z, gradient, [&](Index from, Index rows) {
        const Index observations = rows / J;
        for (Index i = 0; i < observations; ++i) {
            for (Index j = 0; j < J; ++j) byAlternative[j * observations + i] = z[i * J + j];
        }
        const double value = EvaluateChoice(What(valueWanted, gradient), observations, J, y.data() + from / J,
                                            byAlternative, byAlternative + blockRows);
        for (Index i = 0; i < observations; ++i) {
            for (Index j = 0; j < J; ++j) z[i * J + j] = byAlternative[j * observations + i];
        }
        return value;
    });
}

}  // namespace quarn
