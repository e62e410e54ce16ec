// One step reads the data twice: once for the shares and the means that they weigh, and once, about the new means, for
// the covariances. The quadratic form e'S e is the sum of z(j)^2/d(j) with L z = P e, for the factors P Sigma P' = L
// diag(d) L' of the block: the inverse itself is never formed, and no digits are lost to it.

#include <quarn/classical/MVNORMEM.h>
#include <quarn/classical/MixtureSteps_detail.h>
#include <quarn/numerics/CrossProduct_detail.h>
#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/numerics/Reductions_detail.h>

#include <Eigen/Cholesky>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

namespace quarn {
namespace {

using detail::ChunkRows;
using Eigen::Index;

/// What the density of one component needs, beside its mean.
struct Component {
    Eigen::LDLT<MatrixXd> ldlt;
    std::vector<Index> order;  ///< row j of P e is entry order[j] of e
    VectorXd inverse;          ///< 1/d
    double logConstant = 0.0;  ///< log of Pi det(S)^(1/2)

    explicit Component(Index D) : ldlt(MatrixXd::Identity(D, D)), order(static_cast<std::size_t>(D)), inverse(D) {}

    void Factorise(const Eigen::Ref<const MatrixXd>& block, double pi) {
        ldlt.compute(block);
        std::iota(order.begin(), order.end(), Index{0});
        const auto& swaps = ldlt.transpositionsP().indices();
        double logDeterminant = 0.0;
        bool isNegative = false;
        for (Index j = 0; j < inverse.size(); ++j) {
            std::swap(order[static_cast<std::size_t>(j)], order[static_cast<std::size_t>(swaps[j])]);
            const double d = ldlt.vectorD()[j];
            inverse[j] = 1.0 / d;
            logDeterminant += std::log(std::abs(d));
            isNegative ^= d < 0.0;
        }
        // As the root of a negative determinant.
        logConstant = isNegative ? std::numeric_limits<double>::quiet_NaN() : std::log(pi) - 0.5 * logDeterminant;
    }
};

/// Log weights of a chunk of n rows under one component.
struct DensityKernel {
    Index n, D;
    const double *y, *mu, *factor, *inverse;
    const Index* order;
    double logConstant;
    double *z, *weights;  ///< z has room for D columns

    template <detail::Instructions>
    __attribute__((always_inline)) void operator()() const {
        double squares[ChunkRows];
        for (Index i = 0; i < n; ++i) squares[i] = 0.0;
        for (Index j = 0; j < D; ++j) {
            const double* const __restrict column = y + order[j] * ChunkRows;
            double* const __restrict distance = z + j * ChunkRows;
            const double mean = mu[order[j]], scale = inverse[j];
            for (Index i = 0; i < n; ++i) distance[i] = column[i] - mean;
            for (Index k = 0; k < j; ++k) {
                const double* const __restrict earlier = z + k * ChunkRows;
                const double weight = factor[j + k * D];
                for (Index i = 0; i < n; ++i) distance[i] -= weight * earlier[i];
            }
            for (Index i = 0; i < n; ++i) squares[i] += (distance[i] * distance[i]) * scale;
        }
        for (Index i = 0; i < n; ++i) weights[i] = logConstant - 0.5 * squares[i];
    }
};

/// Distances of n rows from a mean.
struct CentringKernel {
    Index n, D, stride;
    const double *y, *mu;
    double* e;

    template <detail::Instructions>
    __attribute__((always_inline)) void operator()() const {
        for (Index j = 0; j < D; ++j) {
            for (Index i = 0; i < n; ++i) e[j * ChunkRows + i] = y[j * stride + i] - mu[j];
            for (Index i = n; i < detail::PaddedRows(n); ++i) e[j * ChunkRows + i] = 0.0;
        }
    }
};

class Fit {
 public:
    Fit(MVNORMEM& fit, const MatrixXd& Y)
        : m_fit(fit),
          m_Y(Y),
          m_chunk(static_cast<std::size_t>(ChunkRows * fit.D)),
          m_room(static_cast<std::size_t>(ChunkRows * fit.D)),
          m_shares(static_cast<std::size_t>(ChunkRows * fit.G)),
          m_components(static_cast<std::size_t>(fit.G), Component(fit.D)),
          m_means(fit.D, fit.G),
          m_covariances(static_cast<std::size_t>(fit.G), detail::CrossProductSums(fit.D)),
          m_block(fit.D, fit.D) {}

    void Start(const MatrixXd& Mu0, const MatrixXd& Sigma0) {
        m_fit.Pi.setConstant(1.0 / m_fit.G);
        if (Mu0.size() != 0 && Sigma0.size() != 0) {
            m_fit.Mu = Mu0;
            m_fit.Sigma = Sigma0;
            return;
        }
        RowVectorXd mean;
        matrixMean(m_Y, mean);
        const MatrixXd covariance = cov(m_Y);
        double w = 0.0;
        for (Index g = 0; g < m_fit.G; ++g) {
            m_fit.Mu.col(g) = (w * (1.1 * mean) + (1.0 - w) * (0.9 * mean)).transpose();
            Block(g) = w * (1.1 * covariance) + (1.0 - w) * (0.9 * covariance);
            w += 1.0 / m_fit.G;
        }
    }

    void Step() {
        ShareOut();
        m_means.Total(m_fit.Mu);
        for (Index g = 0; g < m_fit.G; ++g) {
            m_fit.Pi[g] = detail::Sum(m_fit.Post.col(g));
            m_fit.Mu.col(g) /= m_fit.Pi[g];
        }
        SquareDistances();
        for (Index g = 0; g < m_fit.G; ++g) {
            m_covariances[static_cast<std::size_t>(g)].Total(m_block);
            Block(g) = m_block / m_fit.Pi[g];
            m_fit.Pi[g] /= m_fit.N;
        }
    }

    void Write(MatrixXd& table) {
        for (Index g = 0; g < m_fit.G; ++g) {
            double* const column = table.data() + g * table.rows();
            std::copy_n(m_fit.Mu.data() + g * m_fit.D, m_fit.D, column);
            *detail::CopyLowerTriangle(Block(g), column + m_fit.D) = m_fit.Pi[g];
        }
    }

 private:
    Eigen::Block<MatrixXd, Eigen::Dynamic, Eigen::Dynamic, true> Block(Index g) {
        return m_fit.Sigma.middleCols(g * m_fit.D, m_fit.D);
    }

    /// The E-step, and the weighted sums of the rows.
    void ShareOut() {
        for (Index g = 0; g < m_fit.G; ++g) {
            m_components[static_cast<std::size_t>(g)].Factorise(Block(g), m_fit.Pi[g]);
        }
        m_means.Clear();
        for (Index from = 0; from < m_fit.N; from += ChunkRows) {
            const Index n = std::min<Index>(ChunkRows, m_fit.N - from);
            detail::LoadChunk(m_Y, from, n, m_chunk.data());
            for (Index g = 0; g < m_fit.G; ++g) WeighChunk(n, g);
            detail::SharesOfWeights(n, m_fit.G, m_shares.data());
            detail::StoreChunk(m_shares.data(), from, n, m_fit.Post);
            m_means.Add(detail::PaddedRows(n), m_chunk.data(), ChunkRows, m_shares.data(), ChunkRows);
        }
    }

    /// Logarithms of the weights of one component.
    void WeighChunk(Index n, Index g) {
        const Component& component = m_components[static_cast<std::size_t>(g)];
        detail::RunKernel(DensityKernel{n, m_fit.D, m_chunk.data(), m_fit.Mu.data() + g * m_fit.D,
                                        component.ldlt.matrixLDLT().data(), component.inverse.data(),
                                        component.order.data(), component.logConstant, m_room.data(),
                                        m_shares.data() + g * ChunkRows});
    }

    /// Weighted squares and products of the distances from the new means.
    void SquareDistances() {
        for (auto& sums : m_covariances) sums.Clear();
        for (Index from = 0; from < m_fit.N; from += ChunkRows) {
            const Index n = std::min<Index>(ChunkRows, m_fit.N - from);
            detail::LoadChunk(m_fit.Post, from, n, m_shares.data());
            for (Index g = 0; g < m_fit.G; ++g) {
                detail::RunKernel(CentringKernel{n, m_fit.D, m_fit.N, m_Y.data() + from, m_fit.Mu.data() + g * m_fit.D,
                                                 m_room.data()});
                m_covariances[static_cast<std::size_t>(g)].Add(detail::PaddedRows(n), m_room.data(), ChunkRows,
                                                               m_shares.data() + g * ChunkRows);
            }
        }
    }

    MVNORMEM& m_fit;
    const MatrixXd& m_Y;
    std::vector<double> m_chunk, m_room, m_shares;
    std::vector<Component> m_components;
    detail::CrossProductSums m_means;
    std::vector<detail::CrossProductSums> m_covariances;
    MatrixXd m_block;
};

}  // namespace

MVNORMEM::MVNORMEM(const MatrixXd& Y, int G_, int maxIter, const MatrixXd& Mu0, const MatrixXd& Sigma0)
    : Mu(Y.cols(), G_),
      Sigma(Y.cols(), Y.cols() * G_),
      Pi(G_),
      Post(MatrixXd::Zero(Y.rows(), G_)),
      N(static_cast<int>(Y.rows())),
      D(static_cast<int>(Y.cols())),
      G(G_) {
    Fit fit(*this, Y);
    fit.Start(Mu0, Sigma0);
    detail::IterateToConvergence(
        MatrixXd(D + D * (D + 1) / 2 + 1, G), 0.000001, maxIter, [&] { fit.Step(); },
        [&](MatrixXd& table) { fit.Write(table); });
}

VectorXd MVNORMEM::triangMat2Vec(const MatrixXd& M) { return detail::LowerTriangle(M); }

}  // namespace quarn
