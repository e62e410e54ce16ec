#pragma once

#include <samplers/Priors.h>
#include <samplers/Sampler.h>

#include <memory>
#include <string>
#include <vector>

namespace quarn::samplers {

/// Prior of a linear regression: coefficients and precision of the error are independent.
struct LinearRegressionPrior {
    NormalPrior Coefficients;
    GammaPrior ErrorPrecision;
};

/// Linear regression, y = X b + e, e ~ N(0, 1/tau), by Gibbs sampling of tau given b and b given tau.
///
///   y  N           X  N x K; a constant, if wanted, is a column. May have collinear columns: the prior is proper
///   ids  N x 1, the observation ids       depVar, indVars  names; K of the latter
///
/// Draws: columns b (K), tau, sigma_e = 1/sqrt(tau). An iteration draws tau by gamrnd, then K normals. The first is given
///        the least-squares coefficients.
/// Log marginal likelihoods: Lewis & Raftery at the mean of (b, log tau); Chib & Jeliazkov, where both conditionals are
///        known, at the mean of (b, tau).
/// Cost:  cross-products once; K^2 + 4 K multiply-adds an iteration, whatever N is: b is drawn in coordinates in which
///        both the data's and the prior's precision are diagonal.
/// Source: Gelfand & Smith (1990), J. Am. Stat. Assoc. 85, 398-409; Koop, Bayesian Econometrics (2003), section 4.2.
class QUARN_SAMPLERS_EXPORT LinearRegression final : public SamplerOf<Estimator> {
 public:
    LinearRegression(const VectorXd& y, const MatrixXd& X, const MatrixXd& ids, const std::string& depVar,
                     const std::vector<std::string>& indVars, const LinearRegressionPrior& prior = {});
    ~LinearRegression() override { InterruptThreads(); }

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
    std::shared_ptr<const Data> m_data;  // null if there is a fault
};

/// The model of a LinearRegression.
class QUARN_SAMPLERS_EXPORT LinearRegressionModel final : public Model {
 public:
    /// Takes over what was stored or filled: the fields of a plain Model.
    explicit LinearRegressionModel(const std::shared_ptr<Model>& results);

    /// Posterior summaries of the mean of y at given regressors, x'b.
    ///
    ///   points       M x K, a row of regressors for each prediction, in the order of the table
    ///   predictions  out: M x 5: mean, median, sd, 5% and 95% quantile
    ///
    /// False, with a message, if points do not have K columns. The other arguments are not used.
    bool Predict(bool first, bool second, std::shared_ptr<MatrixXd> points, int type, std::string name,
                 std::shared_ptr<MatrixXd> predictions, std::string& message, std::string& detail,
                 EventDispatcher* dispatcher) override;
};

}  // namespace quarn::samplers
