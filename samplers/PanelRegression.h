#pragma once

#include <samplers/Priors.h>
#include <samplers/Sampler.h>

#include <memory>
#include <string>
#include <vector>

namespace quarn::samplers {

/// Prior of a panel regression; its four parts are independent.
struct PanelRegressionPrior {
    NormalPrior Common;                   ///< a
    NormalPrior GroupMean;                ///< mu
    InverseWishartPrior GroupCovariance;  ///< D
    GammaPrior ErrorPrecision;            ///< tau
};

/// Linear regression on panel data with group effects, by Gibbs sampling:
///     y_it = z_it'a + x_it'b_i + e_it,   b_i ~ N(mu, D),   e_it ~ N(0, 1/tau).
/// A constant alone in X gives random intercepts; more regressors, random coefficients.
///
///   y  N           Z  N x Kz, may have no columns           X  N x Kx, at least one column. Z and X have no variable in
///                     common; they may have collinear columns: the prior is proper
///   ids, structure    as Dataset::Prepare_PanelData gives them. Groups lie one behind the other, and a row (T, n) of
///                     structure says that the next n of them have T rows each
///   depVar, zVars, xVars   names
///
/// Draws: columns a (Kz), mu (Kx), D (lower triangle by rows), tau, sigma_e = 1/sqrt(tau). An iteration draws
///        (a, mu) given (D, tau), without the b_i, Kz + Kx normals; the b_i, Kx normals for each group; D by iwishrnd;
///        tau by gamrnd. D and tau start where the effects of each regressor, and the error, have about the variance
///        of y.
/// Other results: element "groupEffects" of the model, a row for each group with the posterior means of b_i.
/// Log marginal likelihoods: with the b_i integrated out. Lewis & Raftery at the mean of (a, mu, log tau) and of the
///        elements of L, the diagonal in logarithms, where D^-1 = LL'; Chib & Jeliazkov, where all conditionals are known,
///        at the mean of (a, mu, D, tau), by new draws of the b_i for 10000 of the draws, for fewer if there are more than
///        2000 groups.
/// Cost:  one orthogonal reduction of the data; an iteration takes of the order of Kx (Kz + Kx)^2 + Kx^3 multiply-adds
///        for each group, whatever its length.
/// Source: Chib & Carlin (1999), Stat. Comput. 9, 17-26, algorithm 2; Lindley & Smith (1972), J. R. Stat. Soc. B 34, 1-41.
class QUARN_SAMPLERS_EXPORT PanelRegression final : public SamplerOf<Estimator_yZX> {
 public:
    PanelRegression(const VectorXd& y, const MatrixXd& Z, const MatrixXd& X, const MatrixXd& ids,
                    const MatrixXi& structure, const std::string& depVar, const std::vector<std::string>& zVars,
                    const std::vector<std::string>& xVars, const PanelRegressionPrior& prior = {});
    ~PanelRegression() override { InterruptThreads(); }

    std::vector<std::string> GetSamplesNames() override;
    std::shared_ptr<Model> MakeModel() const override;

    struct Data;  ///< what the chains read

 protected:
    std::string CheckData() const override;
    std::unique_ptr<Chain> MakeChain(Generator& generator, std::int64_t c) const override;
    Eigen::Index NumParameters() const override;
    void Summarise() override;

 private:
    std::string m_fault;
    std::shared_ptr<const Data> m_data;        // null if there is a fault
    std::shared_ptr<MatrixXd> m_groupEffects;  // groups x Kx
};

/// The model of a PanelRegression.
class QUARN_SAMPLERS_EXPORT PanelRegressionModel final : public Model {
 public:
    static constexpr char GroupEffectsKey[] = "groupEffects";

    /// Takes over what was stored or filled: the fields of a plain Model.
    explicit PanelRegressionModel(const std::shared_ptr<Model>& results);

    /// Posterior summaries of the mean of y in an average group, z'a + x'mu, at given regressors.
    ///
    ///   points       M x (Kz + Kx), a row (z, x) for each prediction, in the order of the table
    ///   predictions  out: M x 5: mean, median, sd, 5% and 95% quantile
    ///
    /// False, with a message, if points do not have that many columns. The other arguments are not used.
    bool Predict(bool first, bool second, std::shared_ptr<MatrixXd> points, int type, std::string name,
                 std::shared_ptr<MatrixXd> predictions, std::string& message, std::string& detail,
                 EventDispatcher* dispatcher) override;
};

}  // namespace quarn::samplers
