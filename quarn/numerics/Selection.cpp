#include <quarn/numerics/Selection_detail.h>

#include <algorithm>
#include <utility>

namespace quarn::detail {
namespace {

using Eigen::Index;

constexpr Index SmallSort = 12;  ///< so few values are sorted by insertion
constexpr int MostRounds = 24;   ///< then the pivots were unlucky, or the values made to make them so

double MedianOfThree(double a, double b, double c) { return std::max(std::min(a, b), std::min(std::max(a, b), c)); }

/// Moves the values that belong to the front, in the order that they have, and returns how many these are. Without a
/// branch on them, which a processor could not foresee: each value is swapped to the end of the front, and stays there
/// if it belongs.
template <class Belongs>
Index MoveToFront(double* values, Index n, Belongs belongs) {
    Index front = 0;
    for (Index i = 0; i < n; ++i) {
        const double value = values[i];
        values[i] = std::exchange(values[front], value);
        front += belongs(value) ? 1 : 0;
    }
    return front;
}

void SortByInsertion(double* values, Index n) {
    for (Index i = 1; i < n; ++i) {
        const double value = values[i];
        Index hole = i;
        for (; hole > 0 && value < values[hole - 1]; --hole) values[hole] = values[hole - 1];
        values[hole] = value;
    }
}

}  // namespace

void SelectRank(double* values, Index n, Index rank) {
    for (int round = 0; n > SmallSort; ++round) {
        if (round == MostRounds) {
            std::nth_element(values, values + rank, values + n);
            return;
        }
        const double pivot = MedianOfThree(values[0], values[n / 2], values[n - 1]);
        const Index below = MoveToFront(values, n, [pivot](double value) { return value < pivot; });
        if (rank < below) {
            n = below;
            continue;
        }
        const Index equal = MoveToFront(values + below, n - below, [pivot](double value) { return !(pivot < value); });
        if (rank < below + equal) return;
        values += below + equal;
        n -= below + equal;
        rank -= below + equal;
    }
    SortByInsertion(values, n);
}

double MedianInPlace(double* values, Index n) {
    double* const middle = values + n / 2;
    SelectRank(values, n, n / 2);
    if (n % 2 == 1) return *middle;
    return 0.5 * (*std::max_element(values, middle) + *middle);
}

}  // namespace quarn::detail
