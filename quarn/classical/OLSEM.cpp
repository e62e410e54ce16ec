// One step reads the data twice: once for the shares and the cross-products that they weigh, chunk by chunk, and once,
// with the new coefficients, for the squared residuals, which are kept for the shares of the next step.

#include <quarn/classical/MixtureSteps_detail.h>
#include <quarn/classical/OLSEM.h>
#include <quarn/numerics/CrossProduct_detail.h>
#include <quarn/numerics/MatrixHelpers.h>
#include <quarn/numerics/Reductions_detail.h>

#include <Eigen/Cholesky>

#include <algorithm>
#include <cmath>
#include <vector>

namespace quarn {
namespace {

using detail::ChunkRows;
using Eigen::Index;

/// The squared residuals of n rows and one component.
struct ResidualKernel {
    Index n, k, stride;
    const double *x, *y, *beta;
    double* squares;

    template <detail::Instructions>
    __attribute__((always_inline)) void operator()() const {
        double e[ChunkRows];
        for (Index i = 0; i < n; ++i) e[i] = y[i];
        for (Index j = 0; j < k; ++j) {
            const double* const column = x + j * stride;
            const double weight = beta[j];
            for (Index i = 0; i < n; ++i) e[i] -= column[i] * weight;
        }
        for (Index i = 0; i < n; ++i) squares[i] = e[i] * e[i];
    }
};

class Fit {
 public:
    Fit(OLSEM& fit, const VectorXd& y, const MatrixXd& X)
        : m_fit(fit),
          m_y(y),
          m_X(X),
          m_squares(fit.N, fit.G),
          m_chunk(static_cast<std::size_t>(ChunkRows * (fit.K + 1))),
          m_shares(static_cast<std::size_t>(ChunkRows * fit.G)),
          m_sums(static_cast<std::size_t>(fit.G), detail::CrossProductSums(fit.K + 1)),
          m_products(fit.K + 1, fit.K + 1),
          m_ldlt(fit.K) {}

    void Start() {
        const VectorXd b = XpX(m_X).ldlt().solve(XpZ(m_X, m_y));
        double w = 0.0;
        for (Index g = 0; g < m_fit.G; ++g) {
            m_fit.Beta.col(g) = w * (1.2 * b) + (1.0 - w) * (0.8 * b);
            w += 1.0 / m_fit.G;
        }
        SquareResiduals();
        for (Index g = 0; g < m_fit.G; ++g) m_fit.Tau[g] = (m_fit.N - m_fit.K) / detail::Sum(m_squares.col(g));
        m_fit.Pi.setConstant(1.0 / m_fit.G);
    }

    void Step() {
        ShareOut();
        for (Index g = 0; g < m_fit.G; ++g) SolveComponent(g);
        SquareResiduals();
        for (Index g = 0; g < m_fit.G; ++g) {
            const double* const w = m_fit.Post.data() + g * m_fit.N;
            const double* const squares = m_squares.data() + g * m_fit.N;
            const double total = detail::Sum(m_fit.Post.col(g));
            m_fit.Tau[g] = total / detail::SumOf(m_fit.N, [=](Index i) { return w[i] * squares[i]; });
            m_fit.Pi[g] = total / m_fit.N;
        }
    }

    void Write(MatrixXd& table) const {
        table.topRows(m_fit.K) = m_fit.Beta;
        table.row(m_fit.K) = m_fit.Tau.transpose();
        table.row(m_fit.K + 1) = m_fit.Pi.transpose();
    }

 private:
    /// The E-step, and [X y]' diag(w) [X y] of all components.
    void ShareOut() {
        for (auto& sums : m_sums) sums.Clear();
        for (Index from = 0; from < m_fit.N; from += ChunkRows) {
            const Index n = std::min<Index>(ChunkRows, m_fit.N - from);
            detail::LoadChunk(m_X, from, n, m_chunk.data());
            double* const y = m_chunk.data() + ChunkRows * m_fit.K;
            std::fill(std::copy_n(m_y.data() + from, n, y), y + detail::PaddedRows(n), 0.0);
            for (Index g = 0; g < m_fit.G; ++g) WeighChunk(from, n, g);
            detail::SharesOfWeights(n, m_fit.G, m_shares.data());
            detail::StoreChunk(m_shares.data(), from, n, m_fit.Post);
            for (Index g = 0; g < m_fit.G; ++g) {
                m_sums[static_cast<std::size_t>(g)].Add(detail::PaddedRows(n), m_chunk.data(), ChunkRows,
                                                        m_shares.data() + g * ChunkRows);
            }
        }
    }

    /// Logarithms of the weights of one component.
    void WeighChunk(Index from, Index n, Index g) {
        const double constant = std::log(m_fit.Pi[g] * std::sqrt(m_fit.Tau[g])), slope = -0.5 * m_fit.Tau[g];
        const double* const squares = m_squares.data() + g * m_fit.N + from;
        double* const weights = m_shares.data() + g * ChunkRows;
        for (Index i = 0; i < n; ++i) weights[i] = constant + slope * squares[i];
    }

    void SolveComponent(Index g) {
        m_sums[static_cast<std::size_t>(g)].Total(m_products);
        m_ldlt.compute(m_products.topLeftCorner(m_fit.K, m_fit.K));
        m_fit.Beta.col(g) = m_ldlt.solve(m_products.col(m_fit.K).head(m_fit.K));
    }

    void SquareResiduals() {
        for (Index from = 0; from < m_fit.N; from += ChunkRows) {
            const Index n = std::min<Index>(ChunkRows, m_fit.N - from);
            for (Index g = 0; g < m_fit.G; ++g) {
                detail::RunKernel(ResidualKernel{n, m_fit.K, m_fit.N, m_X.data() + from, m_y.data() + from,
                                                 m_fit.Beta.data() + g * m_fit.K,
                                                 m_squares.data() + g * m_fit.N + from});
            }
        }
    }

    OLSEM& m_fit;
    const VectorXd& m_y;
    const MatrixXd& m_X;
    MatrixXd m_squares;  ///< N x G, squared residuals of the present coefficients
    std::vector<double> m_chunk, m_shares;
    std::vector<detail::CrossProductSums> m_sums;
    MatrixXd m_products;
    Eigen::LDLT<MatrixXd> m_ldlt;
};

}  // namespace

OLSEM::OLSEM(const VectorXd& y, const MatrixXd& X, int G_, int maxIter)
    : Beta(X.cols(), G_),
      Tau(G_),
      Pi(G_),
      Post(MatrixXd::Zero(X.rows(), G_)),
      N(static_cast<int>(X.rows())),
      K(static_cast<int>(X.cols())),
      G(G_) {
    Fit fit(*this, y, X);
    fit.Start();
    detail::IterateToConvergence(
        MatrixXd(K + 2, G), 0.0001, maxIter, [&] { fit.Step(); }, [&](MatrixXd& table) { fit.Write(table); });
}

}  // namespace quarn
