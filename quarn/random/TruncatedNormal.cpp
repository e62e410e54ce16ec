// One-sided truncated normals: the kernel Chopin2011_lower, and the forms of tnormrnd that reduce to it. The kernel and
// the tables of Quarn_COMP_GLOBALS change together. Numbers such as 4.5 are those of the steps.
//
// Why the cells are exact. All cells from the entry's predecessor on, the open one included, have one area, so picking
// one evenly and a point evenly in its rectangle is an even draw under the staircase that covers the density above the
// bound. Points above the density or left of the bound are rejected, together with their cell; what is left is even
// under the density. The open cell rejects nothing: its own loop ends with an exact draw from the tail, of which the
// probability is that area. Only the two cells of which one holds the bound compare with it.
// 4.4: given y <= yl, y/yl is again even on [0, 1] and independent of the event, so it serves as the abscissa.
// 4.5: the point is below yl, hence under the density wherever its abscissa lies in the cell.

#include <quarn/base/Globals.h>
#include <quarn/random/TruncatedNormal.h>
#include <quarn/random/UniformsAhead_detail.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace quarn {

namespace {

using Eigen::Index;
using namespace Quarn_COMP_GLOBALS;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr double Largest = std::numeric_limits<double>::max();

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
    detail::UniformsAhead uniforms;
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

bool InTables(double a) { return a >= TRUNCN_a_min && a <= TRUNCN_a_max; }

/// What the cells need of a bound within the tables.
struct Entry {
    Entry() = default;
    /// That of the nearest end, and of no use, for a bound outside the tables; the comparisons do without a branch.
    explicit Entry(double a) {
        const double below = a < TRUNCN_a_max ? a : TRUNCN_a_max;  // for NaN, too
        const double slot = (below > TRUNCN_a_min ? below : TRUNCN_a_min) / TRUNCN_h;
        const int truncated = static_cast<int>(slot);  // std::floor would be a call
        const int k = truncated - (truncated > slot ? 1 : 0);
        ka = TRUNCN_Jk.data()[k - TRUNCN_k_min];
        cells = static_cast<double>(TRUNCN_x.size() + 1 - ka);
    }
    int ka;        // the first cell is the one before
    double cells;  // from there to the open one
};

/// Step 4.6: z if y is below the density there, else NaN, which stands for a rejection.
double UnderDensity(double z, double y) { return -std::log(y) >= z * z / 2.0 + log2pi_half ? z : NaN; }

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

/// Step 4. i is the cell, counted from the first: with M = I0 + 1, I0 + j = floor(u (2 I0 + 2 - ka)) + ka - 1.
/// What is rare stands in functions of its own: calls within a round would keep its numbers out of registers.
template <class Source>
[[gnu::always_inline]] inline double Cells(Source& draw, double a, Entry entry) {
    const double* const x = TRUNCN_x.data();
    const double* const yl = TRUNCN_yl.data();
    const double* const yu = TRUNCN_yu.data();
    const int open = static_cast<int>(TRUNCN_x.size()) - 1;
    for (;;) {
        const int i = static_cast<int>(draw.Uniform() * entry.cells) + entry.ka - 1;
        double z;
        if (i > entry.ka && i < open) {  // 4.4
            const double y = draw.Uniform() * yu[i];
            if (y <= yl[i]) return x[i] + (x[i + 1] - x[i]) * y / yl[i];
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
    return InTables(a) ? Cells(draw, a, Entry(a)) : OutsideTables(draw, a);
}

/// What a number is drawn from; a is the standardised bound of the lower form.
struct Law {
    double a, mu, sigma, bound;
};

bool InDomain(const Law& law) { return law.sigma > 0.0 && law.sigma <= Largest && std::abs(law.mu) <= Largest; }

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

template <class Side>
double DrawOne(Rng& rng, Unif& unif, Norm& norm, const Law& law) {
    Draws draw{rng, unif, norm};
    const double argument = Side::Argument(law);
    return Draw<Side>(draw, argument, Entry(argument), law);
}

/// Goes through the cells of an R x C matrix in the order of drawing, rows in the outer loop.
class Cursor {
 public:
    template <class Matrix>
    explicit Cursor(const Matrix& shape) : m_rows(shape.rows()), m_cols(shape.cols()) {}
    Index operator*() const { return m_cell; }  ///< the position in memory, in column-major order
    void operator++() {
        m_cell += m_rows;
        if (++m_col == m_cols) {
            m_col = 0;
            m_cell = ++m_row;
        }
    }

 private:
    Index m_rows, m_cols, m_row = 0, m_col = 0, m_cell = 0;
};

/// The forms with one law for all cells.
template <class Side>
void FillShared(DrawsAhead&& draw, const Law& law, MatrixXd& out) {
    const double argument = Side::Argument(law);
    const Entry entry(argument);
    Cursor at(out);
    for (Index left = out.size(); left > 0; --left, ++at) out(*at) = Draw<Side>(draw, argument, entry, law);
}

/// The forms with a law for each cell. The entries of some cells ahead are found in a loop without branches, which
/// takes the way from a bound to its entry out of the drawing. A cell overwrites no other, so out may be an argument.
template <class Side, class Matrix, class LawOf>
void FillEach(DrawsAhead&& draw, const LawOf& lawOf, Matrix& out) {
    constexpr Index Ahead = 64;
    std::array<double, Ahead> arguments;
    std::array<Entry, Ahead> entries;
    Cursor next(out), at(out);
    for (Index left = out.size(); left > 0; left -= Ahead) {
        const std::size_t end = static_cast<std::size_t>(std::min(left, Ahead));
        for (std::size_t k = 0; k < end; ++k, ++next) {
            arguments[k] = Side::Argument(lawOf(*next));
            entries[k] = Entry(arguments[k]);
        }
        for (std::size_t k = 0; k < end; ++k, ++at) {
            out(*at) = Draw<Side>(draw, arguments[k], entries[k], lawOf(*at));
        }
    }
}

double At(double x, Index) { return x; }
double At(const MatrixXd& x, Index cell) { return x(cell); }

template <class Side, class Mu, class Sigma, class Bound>
void FillToBound(DrawsAhead&& draw, const Mu& mus, const Sigma& sigmas, const Bound& bounds, MatrixXd& out) {
    const auto lawOf = [&](Index k) {
        const double mu = At(mus, k), sigma = At(sigmas, k), bound = At(bounds, k);
        return Law{(bound - mu) / sigma, mu, sigma, bound};
    };
    FillEach<Side>(std::move(draw), lawOf, out);
}

template <class Side, class Matrix>
void FillToZero(DrawsAhead&& draw, const Matrix& mu, double sigma, Matrix& out) {
    const double scale = -1.0 / sigma;
    const auto lawOf = [&](Index k) { return Law{scale * mu(k), mu(k), sigma, 0.0}; };
    FillEach<Side>(std::move(draw), lawOf, out);
}

}  // namespace

double Chopin2011_lower(Rng& rng, Unif& unif, Norm& norm, double a) {
    Draws draw{rng, unif, norm};
    return Kernel(draw, a);
}

double tnormrnd0(Rng& rng, Unif& unif, Norm& norm, const double& mu, const double& sigma) {
    return DrawOne<Lower>(rng, unif, norm, {-mu / sigma, mu, sigma, 0.0});
}

void tnormrnd0(Rng& rng, Unif& unif, Norm& norm, double mu, double sigma, MatrixXd& out) {
    FillShared<Lower>({rng, unif, norm}, {-mu / sigma, mu, sigma, 0.0}, out);
}

void tnormrnd0(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, const MatrixXd& sigma, MatrixXd& out) {
    const auto lawOf = [&](Index k) { return Law{-1.0 / sigma(k) * mu(k), mu(k), sigma(k), 0.0}; };
    FillEach<Lower>({rng, unif, norm}, lawOf, out);
}

double tnormrnd_lower(Rng& rng, Unif& unif, Norm& norm, const double& mu, const double& sigma, const double& bound) {
    return DrawOne<Lower>(rng, unif, norm, {(bound - mu) / sigma, mu, sigma, bound});
}

void tnormrnd_lower(Rng& rng, Unif& unif, Norm& norm, double mu, double sigma, double bound, MatrixXd& out) {
    FillShared<Lower>({rng, unif, norm}, {(bound - mu) / sigma, mu, sigma, bound}, out);
}

void tnormrnd_lower(Rng& rng, Unif& unif, Norm& norm, double mu, double sigma, const MatrixXd& bound, MatrixXd& out) {
    FillToBound<Lower>({rng, unif, norm}, mu, sigma, bound, out);
}

void tnormrnd_lower(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, const MatrixXd& sigma, double bound,
                    MatrixXd& out) {
    FillToBound<Lower>({rng, unif, norm}, mu, sigma, bound, out);
}

void tnormrnd_lower(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, const MatrixXd& sigma, const MatrixXd& bound,
                    MatrixXd& out) {
    FillToBound<Lower>({rng, unif, norm}, mu, sigma, bound, out);
}

void tnormrnd_lower(Rng& rng, Unif& unif, Norm& norm, const VectorXd& mu, double sigma, VectorXd& out) {
    FillToZero<Lower>({rng, unif, norm}, mu, sigma, out);
}

void tnormrnd_lower(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, double sigma, MatrixXd& out) {
    FillToZero<Lower>({rng, unif, norm}, mu, sigma, out);
}

double tnormrnd_upper(Rng& rng, Unif& unif, Norm& norm, const double& mu, const double& sigma, const double& bound) {
    return DrawOne<Upper>(rng, unif, norm, {(bound - mu) / sigma, mu, sigma, bound});
}

void tnormrnd_upper(Rng& rng, Unif& unif, Norm& norm, double mu, double sigma, double bound, MatrixXd& out) {
    FillShared<Upper>({rng, unif, norm}, {(bound - mu) / sigma, mu, sigma, bound}, out);
}

void tnormrnd_upper(Rng& rng, Unif& unif, Norm& norm, double mu, double sigma, const MatrixXd& bound, MatrixXd& out) {
    FillToBound<Upper>({rng, unif, norm}, mu, sigma, bound, out);
}

void tnormrnd_upper(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, const MatrixXd& sigma, double bound,
                    MatrixXd& out) {
    FillToBound<Upper>({rng, unif, norm}, mu, sigma, bound, out);
}

void tnormrnd_upper(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, const MatrixXd& sigma, const MatrixXd& bound,
                    MatrixXd& out) {
    FillToBound<Upper>({rng, unif, norm}, mu, sigma, bound, out);
}

void tnormrnd_upper(Rng& rng, Unif& unif, Norm& norm, const VectorXd& mu, double sigma, VectorXd& out) {
    FillToZero<Upper>({rng, unif, norm}, mu, sigma, out);
}

void tnormrnd_upper(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, double sigma, MatrixXd& out) {
    FillToZero<Upper>({rng, unif, norm}, mu, sigma, out);
}

}  // namespace quarn
