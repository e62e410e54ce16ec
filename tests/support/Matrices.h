#pragma once

#include <quarn/base/Types.h>

#include <bit>
#include <cmath>
#include <cstdint>

namespace quarn::testing {

/// The same double bit by bit, signs of zeros included; any NaN equals any other.
inline bool SameCell(double a, double b) {
    return (std::isnan(a) && std::isnan(b)) || std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

inline bool SameCells(const MatrixXd& a, const MatrixXd& b) {
    if (a.rows() != b.rows() || a.cols() != b.cols()) return false;
    for (Eigen::Index i = 0; i < a.size(); ++i)
        if (!SameCell(a.data()[i], b.data()[i])) return false;
    return true;
}

}  // namespace quarn::testing
