// The cells of the one-sided truncated normal generator. The constants below and those of Globals.h change together.
//
// From 0 outwards, cell after cell is as wide as a rectangle of the common area allows that covers the density over it.
// The density falls there, so the rectangle is as high as the density at the inner end, and that at the outer end is
// the lower bound. What lies beyond the last boundary is the open cell, and its probability is the same area exactly:
// tailStart is the largest multiple of 2^-40 for which the boundaries still meet it.
//
// Boundaries and lower bounds are rounded down to multiples of 2^-40. So widths are exact, the upper bound, as area
// over width, makes all areas equal to the last digit and lies above the density, and no digit of a table depends on
// the last digit of the system's exp.
//
// 1280 cells on each side: the tables take 85 kB, well within a second-level cache, and half a percent of draws need a
// logarithm. Measured per draw, half as many cells take 1.2 times as long at a bound of 2 and 1.5 times at 2.5, twice
// as many 0.9 and 0.75 times; below 1 the number does not matter.
//
// Source: Chopin (2011), Stat. Comput. 21, 275-288, doi:10.1007/s11222-009-9168-1.

#include <quarn/base/Globals.h>
#include <quarn/base/TruncatedNormalCells_detail.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace quarn {

namespace Quarn_COMP_GLOBALS {

namespace {

constexpr int side = 1280;                               // cells between 0 and tailStart
constexpr double tailStart = 3693242653816.0 * 0x1p-40;  // 3.36
constexpr double area = 0.00039114709720055929;          // P(Z > tailStart)

double Density(double x) { return std::exp(-0.5 * x * x - log2pi_half); }

double RoundDown(double x) { return std::floor(x * 0x1p40) * 0x1p-40; }

VectorXd Boundaries() {
    VectorXd x(2 * side + 1);
    x[side] = 0.0;
    for (int i = side; i < 2 * side - 1; ++i) x[i + 1] = RoundDown(x[i] + area / Density(x[i]));
    x[2 * side] = tailStart;
    for (int i = 0; i < side; ++i) x[i] = -x[2 * side - i];
    return x;
}

VectorXd LowerBounds(const VectorXd& x) {
    VectorXd yl = VectorXd::Zero(x.size());  // that of the open cell is 0
    for (int i = 0; i < 2 * side; ++i) yl[i] = RoundDown(Density(std::max(-x[i], x[i + 1])));
    return yl;
}

VectorXd UpperBounds(const VectorXd& x) {
    VectorXd yu(x.size());
    for (int i = 0; i < 2 * side; ++i) yu[i] = area / (x[i + 1] - x[i]);
    yu[2 * side] = Density(tailStart);
    return yu;
}

/// For each slot of the grid, the cell after the one that holds what lies just below the slot's lower end, so that a
/// bound there may be looked up in this slot or in the one before. A slot is narrower than a cell, so it ends within the
/// entry: only the entry and the cell before it may hold a bound of the slot.
VectorXi FirstCells(const VectorXd& x) {
    VectorXi cells(static_cast<int>(TRUNCN_a_max / TRUNCN_h) - TRUNCN_k_min + 1);
    constexpr double below = 0x1p-40;  // in slots; what is rounded there is less
    int cell = 0;
    for (int k = 0; k < cells.size(); ++k) {
        while (x[cell] <= (TRUNCN_k_min + k - below) * TRUNCN_h) ++cell;
        cells[k] = cell;
    }
    return cells;
}

}  // namespace

// Priority 101, the first that is not reserved: before every static object of other files, which may draw already.
__attribute__((init_priority(101))) const VectorXd TRUNCN_x = Boundaries();
__attribute__((init_priority(101))) const VectorXd TRUNCN_yl = LowerBounds(TRUNCN_x);
__attribute__((init_priority(101))) const VectorXd TRUNCN_yu = UpperBounds(TRUNCN_x);
__attribute__((init_priority(101))) const VectorXi TRUNCN_Jk = FirstCells(TRUNCN_x);

}  // namespace Quarn_COMP_GLOBALS

namespace detail {

namespace {

using Cells = std::array<TruncatedNormalCell, 2 * Quarn_COMP_GLOBALS::side + 1>;

Cells MakeCells() {
    using namespace Quarn_COMP_GLOBALS;
    Cells cells{};
    for (std::size_t k = 0; k < cells.size(); ++k) {
        const auto i = static_cast<Eigen::Index>(k);
        cells[k] = {TRUNCN_x[i], 0.0, TRUNCN_yl[i], TRUNCN_yu[i]};
    }
    for (std::size_t k = 0; k + 1 < cells.size(); ++k) {
        cells[k].slope = (cells[k + 1].x - cells[k].x) * cells[k].yu / cells[k].yl;
    }
    return cells;
}

__attribute__((init_priority(102))) const Cells cells = MakeCells();

}  // namespace

const TruncatedNormalCell* const truncatedNormalCells = cells.data();

}  // namespace detail

}  // namespace quarn
