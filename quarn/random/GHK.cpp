#include <quarn/numerics/NormalProbability_detail.h>
#include <quarn/random/GHK.h>
#include <quarn/random/TruncatedNormal_detail.h>

#include <Eigen/Cholesky>

#include <cmath>

namespace quarn {

namespace {

using namespace detail::truncated;
using Eigen::Index;

/// The product of two probabilities. What has become 0 stays 0, also where a later bound is not a number because an
/// infinite one came before.
double Times(double product, double probability) { return product > 0.0 ? product * probability : product; }

/// The replications for one pair (L, b). The draws are mirrored: z(j) = -e(j) is at least a(j) = -t(j). What does not
/// depend on them is worked out once: a(0) with its probability, and the rows of L and b divided by the diagonal of L,
/// so that from a draw to the next bound there is one multiplication and one subtraction.
class Simulator {
 public:
    Simulator(const MatrixXd& L, const VectorXd& b)
        : m_cells(detail::NormalProbabilityCells()),
          m_rows(L),
          m_start(-b.cwiseQuotient(L.diagonal())),
          m_bounds(m_start),
          m_first(detail::NormalProbabilityAnywhere(-m_start[0])) {
        for (Index i = 0; i < b.size(); ++i) m_rows.row(i) /= L(i, i);
    }

    Index Dimension() const { return m_start.size(); }
    double FirstProbability() const { return m_first; }

    /// The weight of a new replication. A product below 2^-1000 may have lost digits; see LogWeight.
    double Weight(DrawsAhead& draw) {
        double product = m_first;
        const auto include = [&](double a) { product = Times(product, detail::NormalProbability(m_cells, -a)); };
        include(Path(draw, include));
        return product;
    }

    /// Phi(t(n-1)) of a new replication.
    double LastConditional(DrawsAhead& draw) {
        return detail::NormalProbability(m_cells, -Path(draw, [](double) {}));
    }

    /// The logarithm of the last weight, factor by factor.
    double LogWeight() const {
        double sum = 0.0;
        for (const double a : m_bounds) {
            if (sum > -Infinity) sum += std::log(detail::NormalProbabilityAnywhere(-a));
        }
        return sum;
    }

 private:
    /// Draws z(0) to z(n-2), and returns a(n-1), the only one but a(0) that is not passed to `visit`. Each draw is taken
    /// at once from the bounds of all rows below.
    template <class Visit>
    double Path(DrawsAhead& draw, Visit visit) {
        const Index n = m_start.size();
        double* __restrict bounds = m_bounds.data();
        for (Index j = 0; j < n; ++j) bounds[j] = m_start[j];
        double a = bounds[0];
        for (Index j = 0;; visit(a)) {
            const double z = ShortenedKernel(draw, a);
            const double* __restrict column = m_rows.data() + j * n;
            ++j;
            bounds[j] = a = bounds[j] - column[j] * z;  // what the next draw waits for comes first
            for (Index i = j + 1; i < n; ++i) bounds[i] -= column[i] * z;
            if (j + 1 == n) return a;
        }
    }

    const detail::NormalCells& m_cells;
    MatrixXd m_rows;    ///< L(j,k) / L(j,j)
    VectorXd m_start;   ///< -b(j) / L(j,j)
    VectorXd m_bounds;  ///< a of the last replication
    double m_first;
};

/// The mean of R values of `replication(draw)`.
template <class Replication>
double Mean(Rng& rng, Unif& unif, Norm& norm, int R, Replication replication) {
    DrawsAhead draw{rng, unif, norm};
    double sum = 0.0;
    for (int r = 0; r < R; ++r) sum += replication(draw);
    return sum / R;
}

}  // namespace

double GHK(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& L, const VectorXd& b, int R) {
    Simulator simulator(L, b);
    if (simulator.Dimension() == 1) return simulator.FirstProbability();
    return Mean(rng, unif, norm, R, [&](DrawsAhead& draw) { return simulator.Weight(draw); });
}

double GHK(Rng& rng, Unif& unif, Norm& norm, const VectorXd& mu, const MatrixXd& L, int R) {
    return GHK(rng, unif, norm, L, VectorXd(-mu), R);
}

double GHK(Rng& rng, Unif& unif, Norm& norm, const VectorXd& mu, const MatrixXd& S, const MatrixXd& A,
           const MatrixXd& c, int R) {
    const MatrixXd L = MatrixXd(A * S * A.transpose()).llt().matrixL();
    return GHK(rng, unif, norm, L, VectorXd(c.col(0) - A * mu), R);
}

double GHK_last_conditional(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& L, const VectorXd& b, int R) {
    Simulator simulator(L, b);
    if (simulator.Dimension() == 1) return simulator.FirstProbability();
    return Mean(rng, unif, norm, R, [&](DrawsAhead& draw) { return simulator.LastConditional(draw); });
}

double GHK_ratio(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& L1, const MatrixXd& L2, const VectorXd& b1,
                 const VectorXd& b2, int R) {
    constexpr double EveryDigit = 0x1p-1000;  // a product not below it has lost none
    Simulator first(L1, b1), second(L2, b2);
    const auto weight = [](Simulator& simulator, DrawsAhead& draw) {
        return simulator.Dimension() == 1 ? simulator.FirstProbability() : simulator.Weight(draw);
    };
    return Mean(rng, unif, norm, R, [&](DrawsAhead& draw) {
        const double w1 = weight(first, draw), w2 = weight(second, draw);
        if (w1 >= EveryDigit && w2 >= EveryDigit) return w1 / w2;
        return std::exp(first.LogWeight() - second.LogWeight());
    });
}

}  // namespace quarn
