#include <quarn/classical/OLSEM.h>
#include <quarn/numerics/DescriptiveStatistics.h>

#include <samplers/LinearModelRotation.h>
#include <samplers/RegressionMixtureData_detail.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace quarn::samplers {
namespace {

using Eigen::Index;

constexpr int MostStepsOfOLSEM = 200;

}  // namespace

RegressionMixture::Data::Data(const VectorXd& dependent, const MatrixXd& regressors, int G,
                              const RegressionMixturePrior& prior)
    : y(dependent),
      X(regressors),
      Observations(regressors.transpose()),
      Coefficients(Completed(prior.Coefficients, regressors.cols())),
      Concentration(prior.Concentration),
      Start(regressors.cols(), G) {
    const Index N = X.rows(), K = X.cols();
    const VectorXd residuals = y - X * LinearModelRotation(y, X, Coefficients).LeastSquares();
    double s2 = N > K ? residuals.squaredNorm() / static_cast<double>(N - K) : N > 1 ? vectorVar(y) : 0.0;
    if (!(s2 > 0.0)) s2 = 1.0;
    constexpr double shape = 2.0;
    ErrorPrecision = prior.ErrorPrecision.value_or(GammaPrior{shape, shape * s2});

    if (N > K) {
        const OLSEM fit(y, X, G, MostStepsOfOLSEM);
        if (fit.Beta.allFinite() && fit.Tau.allFinite() && fit.Tau.minCoeff() > 0.0 && fit.Pi.minCoeff() > 0.0) {
            Start.Beta = fit.Beta;
            Start.Tau = fit.Tau;
            Start.Pi = fit.Pi.transpose();
            return;
        }
    }
    SetStartFromResiduals(residuals, s2);
}

void RegressionMixture::Data::SetStartFromResiduals(const VectorXd& residuals, double s2) {
    const Index N = X.rows();
    std::vector<Index> order(static_cast<std::size_t>(N));
    std::iota(order.begin(), order.end(), Index{0});
    std::stable_sort(order.begin(), order.end(), [&](Index i, Index j) { return residuals(i) < residuals(j); });
    for (Index g = 0; g < G(); ++g) {
        const std::vector<Index> group(order.begin() + g * N / G(), order.begin() + (g + 1) * N / G());
        Start.Beta.col(g) = LinearModelRotation(y(group), X(group, Eigen::all), Coefficients).LeastSquares();
    }
    Start.Tau.setConstant(1.0 / s2);
    Start.Pi.setConstant(1.0 / static_cast<double>(G()));
}

namespace detail {

void MixtureParameters::Store(Eigen::Ref<VectorXd> draw) const {
    const Index K = Beta.rows(), block = K + 3;
    for (Index g = 0; g < Tau.size(); ++g) {
        draw.segment(g * block, K) = Beta.col(g);
        draw.segment<3>(g * block + K) << Tau(g), 1.0 / std::sqrt(Tau(g)), Pi(g);
    }
}

void MixtureParameters::Load(const Eigen::Ref<const RowVectorXd>& draw) {
    const Index K = Beta.rows(), block = K + 3;
    for (Index g = 0; g < Tau.size(); ++g) {
        Beta.col(g) = draw.segment(g * block, K).transpose();
        Tau(g) = draw(g * block + K);
        Pi(g) = draw(g * block + K + 2);
    }
}

MixtureWeights::MixtureWeights(const RegressionMixture::Data& data)
    : m_data(data),
      m_logConstants(data.G()),
      m_errors(Eigen::ArrayXXd::Zero(ChunkRows, data.G())),
      m_weights(ChunkRows, data.G()),
      m_largest(ChunkRows),
      m_total(ChunkRows) {}

void MixtureWeights::Set(const MixtureParameters& parameters) {
    for (Index g = 0; g < m_logConstants.size(); ++g)
        m_logConstants(g) = std::log(parameters.Pi(g)) + 0.5 * std::log(parameters.Tau(g));
}

/// Exponentials are taken of whole vectors: rows are filled up to a multiple of four, by errors of earlier chunks.
void MixtureWeights::Weigh(const MixtureParameters& parameters, Eigen::Index from, Eigen::Index n) {
    const Index G = m_logConstants.size(), filled = (n + 3) / 4 * 4;
    for (Index g = 0; g < G; ++g) {
        auto errors = m_errors.col(g).head(n);
        errors = m_data.y.segment(from, n).array();
        for (Index k = 0; k < m_data.X.cols(); ++k)
            errors -= parameters.Beta(k, g) * m_data.X.col(k).segment(from, n).array();
        auto logs = m_weights.col(g).head(filled);
        logs = m_logConstants(g) - 0.5 * parameters.Tau(g) * m_errors.col(g).head(filled).square();
        if (g == 0)
            m_largest.head(filled) = logs;
        else
            m_largest.head(filled) = m_largest.head(filled).max(logs);
    }
    m_total.head(filled).setZero();
    for (Index g = 0; g < G; ++g) {
        auto weights = m_weights.col(g).head(filled);
        weights = (weights - m_largest.head(filled)).exp();
        m_total.head(filled) += weights;
    }
}

double MixtureWeights::LogDensity(Eigen::Index row) const {
    constexpr double halfLogOf2Pi = 0.91893853320467274178;
    return m_largest(row) + std::log(m_total(row)) - halfLogOf2Pi;
}

double LogLikelihood(const RegressionMixture::Data& data, const MixtureParameters& parameters,
                     MixtureWeights& weights) {
    double sum = 0.0;
    weights.Set(parameters);
    for (Index from = 0; from < data.y.size(); from += MixtureWeights::ChunkRows) {
        const Index n = std::min(MixtureWeights::ChunkRows, data.y.size() - from);
        weights.Weigh(parameters, from, n);
        for (Index i = 0; i < n; ++i) sum += weights.LogDensity(i);
    }
    return sum;
}

}  // namespace detail
}  // namespace quarn::samplers
