#pragma once

#include <quarn/base/Types.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

namespace quarn::testing {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

/// Standard normal draws.
inline MatrixXd Normals(Eigen::Index rows, Eigen::Index columns, std::uint64_t seed) {
    std::mt19937_64 engine(seed);
    std::normal_distribution<double> normal;
    return MatrixXd::NullaryExpr(rows, columns, [&](Eigen::Index, Eigen::Index) { return normal(engine); });
}

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
