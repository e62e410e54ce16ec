// The forms of the one-sided truncated normals, which reduce to the kernel of TruncatedNormal_detail.h.

#include <quarn/random/TruncatedNormal.h>
#include <quarn/random/TruncatedNormal_detail.h>

#include <algorithm>
#include <array>
#include <utility>

namespace quarn {

namespace {

using namespace detail::truncated;
using Eigen::Index;

template <class Side>
double DrawOne(Rng& rng, Unif& unif, Norm& norm, const Law& law) {
    Draws draw{rng, unif, norm};
    const double argument = Side::Argument(law);
    return Draw<Side>(draw, argument, Entry::Of(argument), law);
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
    const Entry entry = Entry::Of(argument);
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
            entries[k] = Entry::Of(arguments[k]);
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
