#pragma once

// The kernel of the one-sided truncated normals, Chopin2011_lower, for all that draw them in loops. It and the tables of
// Quarn_COMP_GLOBALS change together. Numbers such as 4.5 are those of the steps.
//
// Why the cells are exact. All cells from the entry's predecessor on, the open one included, have one area, so picking
// one evenly and a point evenly in its rectangle is an even draw under the staircase that covers the density above the
// bound. Points above the density or left of the bound are rejected, together with their cell; what is left is even
// under the density. The open cell rejects nothing: its own loop ends with an exact draw from the tail, of which the
// probability is that area. Only the two cells of which one holds the bound compare with it.
// 4.4: given y <= yl, y/yl is again even on [0, 1] and independent of the event, so it serves as the abscissa.
// 4.5: the point is below yl, hence under the density wherever its abscissa lies in the cell.

#include <quarn/base/Globals.h>
#include <quarn/base/TruncatedNormalCells_detail.h>
#include <quarn/random/UniformsAhead_detail.h>

#include <cmath>
#include <limits>

namespace quarn::detail::truncated {

using namespace Quarn_COMP_GLOBALS;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

/// Where the kernel takes its numbers from: the triple itself,
struct Draws {
    double Uniform() { return UniformDraw(rng, unif); }
    double Normal() { return NormalDraw(rng, norm); }
    Rng& rng;
    Unif& unif;
    Norm& norm;
};

/// or, when a matrix is filled, the same with uniforms computed ahead.
struct DrawsAhead {
    DrawsAhead(Rng& engine, Unif& unif, Norm& normal) : rng(engine), norm(normal), uniforms(engine, unif) {}
    double Uniform() { return uniforms(); }
    double Normal() {
        uniforms.Return();
        return NormalDraw(rng, norm);
    }
    Rng& rng;
    Norm& norm;
    UniformsAhead uniforms;
};

/// Step 3. e >= c, and sqrt rounds correctly, so that the result is never below a. Beyond 1e154, where squares
/// overflow, the law is at a to the last digit.
template <class Source>
double Tail(Source& draw, double a) {
    const double c = 0.5 * a * a;
    double e, u2;
    do {
        e = c - std::log(draw.Uniform());
        u2 = draw.Uniform();
    } while (!(e * u2 * u2 <= c));  // a uniform of 0 makes e infinite, and the product infinite or NaN: once more
    const double z = std::sqrt(2.0 * e);
    return z < Infinity ? z : a;
}

/// Step 4.2, the tail from xl on.
template <class Source>
[[gnu::noinline]] double OpenCell(Source& draw, double xl) {
    const double c = xl * xl / 2.0;
    double u1, e;
    do {
        u1 = draw.Uniform();
        e = c - std::log(draw.Uniform());
    } while (!(u1 * e * u1 <= c));
    return std::sqrt(2.0 * e);
}

inline bool InTables(double a) { return a >= TRUNCN_a_min && a <= TRUNCN_a_max; }

/// What the cells need of a bound within the tables.
struct Entry {
    Entry() = default;
    explicit Entry(int k)
        : ka(TRUNCN_Jk.data()[k - TRUNCN_k_min]), cells(static_cast<double>(TRUNCN_x.size() + 1 - ka)) {}

    /// That of the nearest end, and of no use, for a bound outside the tables; the comparisons do without a branch.
    static Entry Of(double a) {
        const double below = a < TRUNCN_a_max ? a : TRUNCN_a_max;  // for NaN, too
        const double slot = (below > TRUNCN_a_min ? below : TRUNCN_a_min) / TRUNCN_h;
        const int truncated = static_cast<int>(slot);  // std::floor would be a call
        return Entry(truncated - (truncated > slot ? 1 : 0));
    }

    int ka;        // the first cell is the one before
    double cells;  // from there to the open one
};

/// Step 4.6: z if y is below the density there, else NaN, which stands for a rejection.
inline double UnderDensity(double z, double y) { return -std::log(y) >= z * z / 2.0 + log2pi_half ? z : NaN; }

/// The rest of 4.4, for y between the bounds of the density.
template <class Source>
[[gnu::noinline]] double BetweenBounds(Source& draw, int i, double y) {
    const double x = TRUNCN_x.data()[i], w = TRUNCN_x.data()[i + 1] - x;
    return UnderDensity(x + w * draw.Uniform(), y);
}

/// Steps 4.2 and 4.5: the open cell, and the two that may hold the bound.
template <class Source>
[[gnu::noinline]] double CellAtAnEnd(Source& draw, double a, int i) {
    const int open = static_cast<int>(TRUNCN_x.size()) - 1;
    if (i >= open) return OpenCell(draw, TRUNCN_x.data()[open]);  // above only for a uniform of exactly 1
    const double x = TRUNCN_x.data()[i], w = TRUNCN_x.data()[i + 1] - x;
    const double z = x + w * draw.Uniform();
    if (!(z >= a)) return NaN;
    const double y = draw.Uniform() * TRUNCN_yu.data()[i];
    return y <= TRUNCN_yl.data()[i] ? z : UnderDensity(z, y);
}

/// 4.4 to the letter: for the height y = u yu under yl, x + w y / yl.
inline double Abscissa(const TruncatedNormalCell& cell, double y) {
    const double w = (&cell + 1)->x - cell.x;
    return cell.x + w * y / cell.yl;
}

/// Step 4. i is the cell, counted from the first: with M = I0 + 1, I0 + j = floor(u (2 I0 + 2 - ka)) + ka - 1.
/// What is rare stands in functions of its own: calls within a round would keep its numbers out of registers.
/// shortened: the usual case computes x + (w yu / yl) u, the same but for rounding, with no quotient to wait for.
template <bool shortened = false, class Source>
[[gnu::always_inline]] inline double Cells(Source& draw, double a, Entry entry) {
    const TruncatedNormalCell* const cells = truncatedNormalCells;
    const int open = static_cast<int>(TRUNCN_x.size()) - 1;
    for (;;) {
        const int i = static_cast<int>(draw.Uniform() * entry.cells) + entry.ka - 1;
        double z;
        if (i > entry.ka && i < open) {  // 4.4
            const TruncatedNormalCell& cell = cells[i];
            const double u = draw.Uniform(), y = u * cell.yu;
            if (y <= cell.yl) return shortened ? cell.x + cell.slope * u : Abscissa(cell, y);
            z = BetweenBounds(draw, i, y);
        } else {
            z = CellAtAnEnd(draw, a, i);
        }
        if (!std::isnan(z)) return z;
    }
}

/// Steps 1 to 3. +inf and NaN are returned as they are.
template <class Source>
[[gnu::noinline]] double OutsideTables(Source& draw, double a) {
    if (!(a < TRUNCN_a_min)) return a < Infinity ? Tail(draw, a) : a;
    double z;
    do z = draw.Normal();
    while (z < a);
    return z;
}

template <class Source>
[[gnu::always_inline]] inline double Kernel(Source& draw, double a) {
    return InTables(a) ? Cells(draw, a, Entry::Of(a)) : OutsideTables(draw, a);
}

/// The same draw but for rounding, for chains of draws in which the bound of each waits for the one before: half the
/// time of such a chain is the way from a bound to its draw. The slot is found by a sum that rounds, which may take a
/// bound that is less than 2^-40 slots below another slot for one of that slot; the tables allow for it.
template <class Source>
[[gnu::always_inline]] inline double ShortenedKernel(Source& draw, double a) {
    if (!InTables(a)) return OutsideTables(draw, a);
    return Cells<true>(draw, a, Entry(static_cast<int>(a / TRUNCN_h - TRUNCN_k_min) + TRUNCN_k_min));
}

/// What a number is drawn from; a is the standardised bound of the lower form.
struct Law {
    double a, mu, sigma, bound;
};

inline bool InDomain(const Law& law) {
    constexpr double Largest = std::numeric_limits<double>::max();
    return law.sigma > 0.0 && law.sigma <= Largest && std::abs(law.mu) <= Largest;
}

/// The two directions: the kernel's argument, NaN outside the domain, and its result z in place. NaN stays NaN.
struct Lower {
    static double Argument(const Law& law) { return InDomain(law) ? law.a : NaN; }
    static double Place(double z, const Law& law) {
        const double x = z * law.sigma + law.mu;
        return x < law.bound ? law.bound : x;
    }
};

struct Upper {
    static double Argument(const Law& law) { return -Lower::Argument(law); }
    static double Place(double z, const Law& law) {
        const double x = law.mu - z * law.sigma;
        return x > law.bound ? law.bound : x;
    }
};

/// One draw. An infinite z comes of an infinite bound, or of an a that overflows.
template <class Side, class Source>
[[gnu::always_inline]] inline double Draw(Source& draw, double argument, Entry entry, const Law& law) {
    if (InTables(argument)) return Side::Place(Cells(draw, argument, entry), law);
    const double z = OutsideTables(draw, argument);
    return z == Infinity ? law.bound : Side::Place(z, law);
}

}  // namespace quarn::detail::truncated
