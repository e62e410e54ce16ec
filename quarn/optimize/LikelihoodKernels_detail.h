#pragma once

#include <quarn/base/Types.h>
#include <quarn/numerics/Instructions_detail.h>

/// The inner loops of the log-likelihoods, over blocks of rows that stay in a processor's cache. Elements are computed
/// by the same rounded operations, and sums taken in the same order, on every processor. Nothing is tested.
namespace quarn::detail {

/// `rows` rows of a column-major table, from the cell `cells` on; its columns begin `stride` apart.
struct RowBlock {
    const double* cells;
    Eigen::Index stride, rows, columns;
};

/// What an evaluation is asked for.
enum class Wanted { Value, Gradient, Both };

/// z += X b.
void AddPredictors(const RowBlock& X, const double* b, double* z, Instructions instructions = Instructions::Best);

/// sums += X'w.
void AddCrossProducts(const RowBlock& X, const double* w, double* sums, Instructions instructions = Instructions::Best);

// The others return the sum of the negative log-likelihoods of n observations and overwrite the linear predictors z by
// their derivatives; of value and derivatives only what is wanted.

/// y log(1 + exp(-z)) + (1 - y) log(1 + exp(z)).
double EvaluateLogit(Wanted wanted, Eigen::Index n, const double* y, double* z,
                     Instructions instructions = Instructions::Best);

/// -log(Phi(z)) where y is 1, -log(Phi(-z)) where y is 0; weighted by y and 1 - y elsewhere.
double EvaluateProbit(Wanted wanted, Eigen::Index n, const double* y, double* z,
                      Instructions instructions = Instructions::Best);

/// Choice among J alternatives: predictors of alternative j from z + j n on; alternative j is chosen where y is in
/// [j, j + 1), alternative 0 also below. work: 4 n cells.
double EvaluateChoice(Wanted wanted, Eigen::Index n, Eigen::Index J, const double* y, double* z, double* work,
                      Instructions instructions = Instructions::Best);

}  // namespace quarn::detail
