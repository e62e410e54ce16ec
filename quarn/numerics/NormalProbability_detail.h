#pragma once

#include <array>
#include <cstddef>

/// The distribution function of the standard normal law for hot loops, without a call of the exponential function.
namespace quarn::detail {

/// Taylor polynomials of it about the centres of cells of width 1/8, from -6 to 8.5.
struct NormalCells {
    static constexpr double Lower = -6.0, Upper = 8.5, CellsPerUnit = 8.0;
    static constexpr std::size_t Count = 116, Terms = 14;  // the terms left out are below 2^-56 of the value
    NormalCells();
    std::array<std::array<double, Terms>, Count> coefficients;  ///< of powers 0 to 13
};

/// Built at the first call, by one thread.
const NormalCells& NormalProbabilityCells();

/// Any t; NaN gives NaN. 0.5 erfc(-t/sqrt(2)) by Boost to the left of the cells' right end; 1 from there on. For t below
/// 0 the rounding of the argument costs up to about t^2 2^-52 of the value: 16 units in the last place at -3, 72 at -7,
/// 1700 at -37.
double NormalProbabilityAnywhere(double t);

/// Within 3 units in the last place from the left end of the cells on; to their left, as NormalProbabilityAnywhere.
/// Requires: cells are NormalProbabilityCells().
inline double NormalProbability(const NormalCells& cells, double t) {
    if (!(t >= NormalCells::Lower && t < NormalCells::Upper)) return NormalProbabilityAnywhere(t);
    const int cell = static_cast<int>((t - NormalCells::Lower) * NormalCells::CellsPerUnit);
    const double* const a = cells.coefficients[static_cast<std::size_t>(cell)].data();
    const double x = t - (NormalCells::Lower + (cell + 0.5) / NormalCells::CellsPerUnit);
    const double x2 = x * x, x4 = x2 * x2;
    const double low = ((a[0] + a[1] * x) + (a[2] + a[3] * x) * x2) + ((a[4] + a[5] * x) + (a[6] + a[7] * x) * x2) * x4;
    const double high = ((a[8] + a[9] * x) + (a[10] + a[11] * x) * x2) + (a[12] + a[13] * x) * x4;
    return low + high * (x4 * x4);
}

}  // namespace quarn::detail
