#pragma once

#include <samplers/Priors.h>
#include <samplers/Sampler.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quarn::samplers {

/// Prior of a mixture of regressions. Components are exchangeable: each has the same prior, independent of the others.
struct RegressionMixturePrior {
    NormalPrior Coefficients;
    /// By default Shape 2 and Rate 2 s2, with s2 the residual variance of one regression for all: a component that is
    /// empty, or fits a few observations exactly, must not be given a precision without bound.
    std::optional<GammaPrior> ErrorPrecision;
    double Concentration = 1.0;  ///< of the symmetric Dirichlet law of the component probabilities; 1: uniform
};

/// Finite mixture of G normal linear regressions by Gibbs sampling with allocations: with probability pi(g), y_i is
/// normal with mean x_i'b(g) and variance 1/tau(g).
///
///   y  N           X  N x K; a constant, if wanted, is a column. May have collinear columns: the prior is proper
///   G  number of components, 1 to 10
///   ids  N x 1, the observation ids       depVar, indVars  names; K of the latter
///
/// Draws: for each component columns b (K), tau, sigma_e = 1/sqrt(tau), pi. An iteration draws the allocation of each
///        observation, one uniform each; then pi by drchrnd; then for each component tau by gamrnd and b by K normals.
///        An empty component is drawn from the prior.
/// Start: OLSEM. Where that degenerates: G groups of equal size in the order of the residuals of one regression for all;
///        least-squares coefficients of each group, 1/s2 for tau, and 1/G for pi.
/// Labels: each draw is put into the order of components that kmeansClassifier gives, from (b, log tau, pi) and the
///        mean of the first 100 draws of the first chain; over all chains at once, so that a component means the same
///        in all of them. Draws are kept in that order.
/// Log marginal likelihoods: Lewis & Raftery at the mean of (b, log tau, log ratios of pi to its last element), with
///        the likelihood of the mixture, plus log G!. Draws in the order above fill one of G! regions that are images
///        of each other under permutation of labels, on which likelihood and prior are the same: it holds 1/G! of the
///        integral exactly. The normal law is a good picture of it as long as components are well apart; where they
///        overlap, as with more components than the data have, the value is rough.
/// Elements: "allocation", N x G: probability of each component for each observation, averaged over 1000 equally spaced
///        draws, or all if they are fewer; in the order of labels above.
/// Cost:  N G (K + 4) multiply-adds, N G exponentials and N K (K + 3)/2 multiply-adds an iteration; nothing is
///        allocated in it.
/// Source: Diebolt & Robert (1994), J. R. Statist. Soc. B 56, 363-375; Fruehwirth-Schnatter, Finite Mixture and Markov
///        Switching Models (2006), section 8.3; Fruehwirth-Schnatter (2004), Econometrics J. 7, 143-167 (log G!).
class QUARN_SAMPLERS_EXPORT RegressionMixture final : public SamplerOf<Estimator> {
 public:
    RegressionMixture(const VectorXd& y, const MatrixXd& X, const MatrixXd& ids, int G, const std::string& depVar,
                      const std::vector<std::string>& indVars, const RegressionMixturePrior& prior = {});
    ~RegressionMixture() override { InterruptThreads(); }

    std::vector<std::string> GetSamplesNames() override;  ///< component1.x, ...
    std::shared_ptr<Model> MakeModel() const override;

    struct Data;  ///< what the chains read

 protected:
    std::string CheckData() const override;
    std::unique_ptr<Chain> MakeChain(Generator& generator, std::int64_t c) const override;
    Eigen::Index NumParameters() const override;
    void Summarise() override;

 private:
    std::string m_fault;
    std::shared_ptr<const Data> m_data;      // null if there is a fault
    std::shared_ptr<MatrixXd> m_allocation;  // the element of that name
};

/// The model of a RegressionMixture.
class QUARN_SAMPLERS_EXPORT RegressionMixtureModel final : public Model {
 public:
    /// Takes over what was stored or filled: the fields of a plain Model, with IntList of G.
    explicit RegressionMixtureModel(const std::shared_ptr<Model>& results);

    /// Posterior summaries of the mean of y at given regressors, sum of pi(g) x'b(g).
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
