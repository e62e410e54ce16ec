#pragma once

#include <quarn/base/Types.h>

/// Sums in a fixed order. The term of row i joins lane i mod 8, each lane is summed in order, and the lanes are
/// combined by one tree: the result depends on the values alone, not on the processor, the compiler's choice of vectors
/// or the alignment of the data, and its rounding error grows with n/8 rather than n. Requires: n >= 0 (an empty sum is
/// 0).
namespace quarn::detail {

/// Column functions work on a view of contiguous cells, to which a vector or a column of a matrix binds without a copy.
using VectorView = Eigen::Ref<const VectorXd>;

template <class Term>
double SumOf(Eigen::Index n, Term term) {
    constexpr Eigen::Index Lanes = 8;  // four pairs hide the latency of an addition
    double lane[Lanes] = {};
    Eigen::Index i = 0;
    for (; i + Lanes <= n; i += Lanes) {
        for (Eigen::Index l = 0; l < Lanes; ++l) lane[l] += term(i + l);
    }
    for (Eigen::Index l = 0; i < n; ++i, ++l) lane[l] += term(i);
    return ((lane[0] + lane[4]) + (lane[2] + lane[6])) + ((lane[1] + lane[5]) + (lane[3] + lane[7]));
}

inline double Sum(const VectorView& x) {
    const double* const cells = x.data();
    return SumOf(x.size(), [cells](Eigen::Index i) { return cells[i]; });
}

/// Sum of x - centre.
inline double SumOfDeviations(const VectorView& x, double centre) {
    const double* const cells = x.data();
    return SumOf(x.size(), [cells, centre](Eigen::Index i) { return cells[i] - centre; });
}

/// The mean, corrected by the mean of the deviations from it: exact for equal values, whose sum may be rounded.
inline double CorrectedMean(const VectorView& x) {
    const auto n = static_cast<double>(x.size());
    const double mean = Sum(x) / n;
    return mean + SumOfDeviations(x, mean) / n;
}

/// Sum of (x - centre)^2.
inline double SumOfSquares(const VectorView& x, double centre) {
    const double* const cells = x.data();
    return SumOf(x.size(), [cells, centre](Eigen::Index i) {
        const double deviation = cells[i] - centre;
        return deviation * deviation;
    });
}

/// Sum of (x - centre)^3.
inline double SumOfCubes(const VectorView& x, double centre) {
    const double* const cells = x.data();
    return SumOf(x.size(), [cells, centre](Eigen::Index i) {
        const double deviation = cells[i] - centre;
        return deviation * deviation * deviation;
    });
}

/// Sum of (x - xCentre)(y - yCentre). Requires: equal lengths.
inline double SumOfProducts(const VectorView& x, double xCentre, const VectorView& y, double yCentre) {
    const double* const xCells = x.data();
    const double* const yCells = y.data();
    return SumOf(x.size(), [=](Eigen::Index i) { return (xCells[i] - xCentre) * (yCells[i] - yCentre); });
}

}  // namespace quarn::detail
