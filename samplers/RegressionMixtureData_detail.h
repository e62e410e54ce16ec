#pragma once

#include <samplers/RegressionMixture.h>

namespace quarn::samplers {
namespace detail {

/// The parameters of a mixture of G regressions.
struct MixtureParameters {
    MatrixXd Beta;  // K x G
    VectorXd Tau;
    RowVectorXd Pi;

    MixtureParameters(Eigen::Index K, Eigen::Index G) : Beta(K, G), Tau(G), Pi(G) {}

    /// A row of the draws: b, tau, sigma_e, pi of each component.
    void Store(Eigen::Ref<VectorXd> draw) const;
    void Load(const Eigen::Ref<const RowVectorXd>& draw);
};

}  // namespace detail

struct RegressionMixture::Data {
    VectorXd y;
    MatrixXd X;
    MatrixXd Observations;  // K x N: X'
    NormalPrior Coefficients;
    GammaPrior ErrorPrecision;
    double Concentration = 1.0;
    detail::MixtureParameters Start;

    Data(const VectorXd& y, const MatrixXd& X, int G, const RegressionMixturePrior& prior);

    Eigen::Index G() const { return Start.Tau.size(); }

 private:
    void SetStartFromResiduals(const VectorXd& residuals, double s2);
};

namespace detail {

/// The components' shares in the likelihood of each observation, a chunk of rows at a time.
class MixtureWeights {
 public:
    static constexpr Eigen::Index ChunkRows = 256;

    explicit MixtureWeights(const RegressionMixture::Data& data);

    /// The constants of the components. Precedes Weigh.
    void Set(const MixtureParameters& parameters);
    /// Rows from, ..., from + n - 1 of the data, n <= ChunkRows.
    void Weigh(const MixtureParameters& parameters, Eigen::Index from, Eigen::Index n);

    double Weight(Eigen::Index row, Eigen::Index g) const { return m_weights(row, g); }  ///< up to a factor of the row
    double Total(Eigen::Index row) const { return m_total(row); }                        ///< of the row's weights
    double Error(Eigen::Index row, Eigen::Index g) const { return m_errors(row, g); }
    double LogDensity(Eigen::Index row) const;  ///< of y

 private:
    const RegressionMixture::Data& m_data;
    VectorXd m_logConstants;  // log pi + log(tau)/2
    Eigen::ArrayXXd m_errors, m_weights;
    Eigen::ArrayXd m_largest, m_total;
};

/// The log density of all observations.
double LogLikelihood(const RegressionMixture::Data& data, const MixtureParameters& parameters, MixtureWeights& weights);

}  // namespace detail
}  // namespace quarn::samplers
