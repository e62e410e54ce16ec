#include <quarn/numerics/NormalProbability_detail.h>

#include <boost/math/special_functions/erf.hpp>

#include <cmath>
#include <numbers>

namespace quarn::detail {

using Real = long double;

// Not of std::numbers: libc++ has them to the digits of a double only.
constexpr Real rootOf2 = 1.414213562373095048801688724209698079L, rootOf2Pi = 2.506628274631000502415765284811045253L;

/// The k-th derivative is (-1)^(k-1) H(k-1, t) phi(t), with Hermite's polynomials H(0) = 1, H(1) = t,
/// H(m+1) = t H(m) - m H(m-1).
NormalCells::NormalCells() {
    for (std::size_t i = 0; i < Count; ++i) {
        const Real centre = Lower + (static_cast<Real>(i) + 0.5L) / CellsPerUnit;
        const Real density = std::exp(-0.5L * centre * centre) / rootOf2Pi;
        auto& a = coefficients[i];
        a[0] = static_cast<double>(0.5L * std::erfc(-centre / rootOf2));
        Real hermite = 1.0L, previous = 0.0L, factor = density;  // factor: (-1)^(k-1) phi / k!
        for (std::size_t k = 1; k < Terms; ++k) {
            a[k] = static_cast<double>(factor * hermite);
            const Real next = centre * hermite - static_cast<Real>(k - 1) * previous;
            previous = hermite;
            hermite = next;
            factor /= -static_cast<Real>(k + 1);
        }
    }
}

const NormalCells& NormalProbabilityCells() {
    static const NormalCells cells;
    return cells;
}

double NormalProbabilityAnywhere(double t) {
    if (std::isnan(t)) return t;  // Boost would throw
    return t < NormalCells::Upper ? 0.5 * boost::math::erfc(-t / std::numbers::sqrt2) : 1.0;
}

}  // namespace quarn::detail
