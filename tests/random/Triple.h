#pragma once

#include <quarn/base/Types.h>
#include <quarn/random/Generators.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>

namespace quarn_test {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

inline double Up(double x) { return std::nextafter(x, Infinity); }
inline double Down(double x) { return std::nextafter(x, -Infinity); }

/// A seeded triple.
struct Triple {
    explicit Triple(std::uint64_t seed) : rng(seed) {}

    quarn::Rng rng;
    quarn::Unif unif;
    quarn::Norm norm;
};

/// The first arguments of every generator.
#define TRIPLE(T) (T).rng, (T).unif, (T).norm

/// How many draws the law tests make of each law.
inline Eigen::Index LawDraws() {
    const char* const text = std::getenv("QUARN_LAW_DRAWS");
    return text ? std::atoll(text) : 1000000;
}

/// The documented draws, written down a second time over the plain standard engine, with a spare of its own.
struct Reference {
    explicit Reference(std::uint64_t seed) : rng(seed) {}

    double U() { return static_cast<double>(rng()) * 0x1p-64; }

    double Z() {
        if (spareValid) {
            spareValid = false;
            return spare;
        }
        double u = 0, v = 0, s = 0;
        while (s == 0 || s > 1) {
            u = 2 * U() - 1;
            v = 2 * U() - 1;
            s = u * u + v * v;
        }
        const double f = std::sqrt(-2 * std::log(s) / s);
        spare = v * f;
        spareValid = true;
        return u * f;
    }

    double Gamma(double a, double r) {
        if (a > 30) return 1 / r * std::pow(Z() + std::sqrt(4 * a - 1), 2) * 0.25;
        const double d = (a < 1 ? a + 1 : a) - 0.3333333333333333, c = 1 / (3 * std::sqrt(d));
        for (;;) {
            const double z = Z(), u = U();
            if (z <= -1 / c) continue;
            const double root = c * z + 1, v = root * root * root;
            if (!(d * std::log(v) + 0.5 * z * z + d - d * v > std::log(u))) continue;
            return (a < 1 ? d * v * std::pow(U(), 1 / a) : d * v) * (1 / r);
        }
    }

    std::mt19937_64 rng;
    double spare = 0.0;
    bool spareValid = false;
};

/// Whether both stand at the same word of the engine, and have the same spare or none. A normal distribution object
/// gives its spare away without moving the engine.
inline bool SameState(const Triple& triple, const Reference& reference) {
    if (!(triple.rng == reference.rng)) return false;
    quarn::Rng rng = triple.rng;
    quarn::Norm norm = triple.norm;
    norm.param(quarn::Norm::param_type(0.0, 1.0));
    const double next = norm(rng);
    const bool spareValid = rng == triple.rng;
    return spareValid == reference.spareValid && (!spareValid || next == reference.spare);
}

inline bool SameState(const Triple& a, const Triple& b) { return a.rng == b.rng && a.norm == b.norm; }

/// out(i, j) = draw(i, j), in the order of drawing.
template <class Draw>
void ByRows(Eigen::MatrixXd& out, Draw draw) {
    for (Eigen::Index i = 0; i < out.rows(); ++i) {
        for (Eigen::Index j = 0; j < out.cols(); ++j) out(i, j) = draw(i, j);
    }
}

inline bool SameDigits(const Eigen::MatrixXd& A, const Eigen::MatrixXd& B) {
    return A.rows() == B.rows() && A.cols() == B.cols() &&
           (A.array() == B.array() || (A.array().isNaN() && B.array().isNaN())).all();
}

}  // namespace quarn_test
