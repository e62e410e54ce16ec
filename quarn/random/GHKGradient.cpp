#include <quarn/numerics/NormalProbability_detail.h>
#include <quarn/random/GHK.h>

#include <boost/math/distributions/normal.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace quarn {

namespace {

using Eigen::Index;

double LogDensity(double t) { return -0.9189385332046727 - t * t / 2.0; }

/// The normal quantile of a probability, which is moved into (0, 1) where it has been rounded out of it; NaN gives NaN.
double Quantile(double q) {
    if (std::isnan(q)) return q;  // Boost would throw
    constexpr double Lowest = std::numeric_limits<double>::min(), Highest = 1.0 - 0x1p-53;
    return quantile(boost::math::normal_distribution<double>(), std::clamp(q, Lowest, Highest));
}

/// The chain rule through one replication. With t(j) = (b(j) - sum of L(j,k) e(k)) / L(j,j) and e(j) the quantile of
/// u Phi(t(j)):
///   B(j,k) = dt(j)/db(k) = -(1/L(j,j)) sum over m = k..j-1 of L(j,m) E(m,k),  B(j,j) = 1/L(j,j)
///   E(j,k) = de(j)/db(k) = u phi(t(j)) / phi(e(j)) B(j,k)
/// and the derivative of the weight w is w lam'B, with lam(j) = phi(t(j)) / Phi(t(j)).
class Gradient {
 public:
    Gradient(const MatrixXd& L, const VectorXd& b)
        : m_L(L), m_b(b), m_sums(b.size()), m_chain(b.size(), b.size()), m_rowB(b.size()), m_lamB(b.size()) {}

    /// Adds a new replication to g, the mean of r earlier ones. A weight of 0 adds nothing, whatever lam is.
    void Replication(Rng& rng, Unif& unif, int r, RowVectorXd& g) {
        const double weight = std::exp(LogWeight(rng, unif));
        g *= r / (r + 1.0);
        if (weight != 0.0) g += weight / (r + 1.0) * m_lamB;
    }

 private:
    /// Draws, and leaves lam'B of the weight.
    double LogWeight(Rng& rng, Unif& unif) {
        const Index n = m_b.size();
        m_sums.setZero();
        m_chain.setZero();
        m_lamB.setZero();
        double logWeight = 0.0;
        for (Index j = 0; j < n; ++j) {
            const double t = (m_b[j] - m_sums[j]) / m_L(j, j);
            const double probability = detail::NormalProbabilityAnywhere(t);
            const double logProbability = std::log(probability);
            logWeight += logProbability;
            m_rowB.head(j) = m_chain.row(j).head(j) * (-1.0 / m_L(j, j));
            m_rowB[j] = 1.0 / m_L(j, j);
            m_lamB.head(j + 1) += std::exp(LogDensity(t) - logProbability) * m_rowB.head(j + 1);
            if (j + 1 < n) DrawCoordinate(UniformDraw(rng, unif), t, probability, j);
        }
        return logWeight;
    }

    /// Carries e(j) and E(j, .) into the sums of the rows below: each gathers its terms one by one, m ascending.
    void DrawCoordinate(double u, double t, double probability, Index j) {
        const Index below = m_b.size() - 1 - j;
        const double e = Quantile(u * probability);
        const double slope = u * std::exp(LogDensity(t) - LogDensity(e));
        const auto column = m_L.col(j).tail(below);
        m_sums.tail(below) += e * column;
        for (Index k = 0; k <= j; ++k) m_chain.col(k).tail(below) += slope * m_rowB[k] * column;
    }

    const MatrixXd& m_L;
    const VectorXd& m_b;
    VectorXd m_sums;     ///< sum over k of L(j,k) e(k)
    MatrixXd m_chain;    ///< sum over m of L(j,m) E(m,k)
    RowVectorXd m_rowB;  ///< B(j, .)
    RowVectorXd m_lamB;
};

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): X by value is the interface
MatrixXd GHK_mfx(Rng& rng, Unif& unif, Norm& /*norm*/, const MatrixXd& L, const VectorXd& b, MatrixXd X, int R) {
    if (b.size() == 1) return std::exp(LogDensity(b[0] / L(0, 0))) * X;
    Gradient gradient(L, b);
    RowVectorXd g = RowVectorXd::Zero(b.size());
    for (int r = 0; r < R; ++r) gradient.Replication(rng, unif, r, g);
    return X * g.transpose();
}

}  // namespace quarn
