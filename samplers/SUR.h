#pragma once

#include <samplers/Priors.h>
#include <samplers/Sampler.h>

#include <memory>
#include <string>
#include <vector>

namespace quarn::samplers {

/// Prior of seemingly unrelated regressions: coefficients of all equations, one behind the other, and the covariance of
/// the errors are independent.
struct SURPrior {
    NormalPrior Coefficients;
    InverseWishartPrior ErrorCovariance;
};

/// Seemingly unrelated regressions, y_m = X_m b_m + e_m, m = 1..M, whose errors in one observation are N(0, S), by Gibbs
/// sampling of S given b and b given S.
///
///   Y    N x M        X  M matrices, N x K_m; a constant, if wanted, is a column. May have collinear columns
///   ids  N x 1, the observation ids
///   depVars, indVars  names: M, and K_m for each equation
///
/// Draws: columns b (K = sum of K_m), S (lower triangle by rows). An iteration draws S by iwishrnd, then K normals. The
///        first is given the least-squares coefficients of each equation.
/// Names: the draws are "equation.variable", var(equation), cov(equation,equation); in the table, coefficients stand under
///        the name of their equation.
/// Log marginal likelihoods: Lewis & Raftery at the mean of b and of the elements of L, the diagonal in logarithms, where
///        S^-1 = LL'; Chib & Jeliazkov, where both conditionals are known, at the mean of (b, S).
/// Cost:  one orthogonal reduction of the data, 2 N (K + M)^2 multiply-adds; K^3/6 + K^2 + K (M^2 + M) an iteration,
///        whatever N is.
/// Source: Zellner (1962), J. Am. Stat. Assoc. 57, 348-368; Chib & Greenberg (1995), J. Econometrics 68, 339-360.
class QUARN_SAMPLERS_EXPORT SUR final : public SamplerOf<Estimator_YX> {
 public:
    SUR(const MatrixXd& Y, const std::vector<MatrixXd>& X, const MatrixXd& ids, const std::vector<std::string>& depVars,
        const std::vector<std::vector<std::string>>& indVars, const SURPrior& prior = {});
    ~SUR() override { InterruptThreads(); }

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

/// The model of a SUR.
class QUARN_SAMPLERS_EXPORT SURModel final : public Model {
 public:
    /// Takes over what was stored or filled: the fields of a plain Model.
    explicit SURModel(const std::shared_ptr<Model>& results);

    /// Posterior summaries of the means of all dependent variables at given regressors, x_m'b_m.
    ///
    ///   points       P x K, in each row the regressors of all equations, in the order of the table
    ///   predictions  out: M P x 5: mean, median, sd, 5% and 95% quantile; the P rows of the first equation come first
    ///
    /// False, with a message, if points do not have K columns. The other arguments are not used.
    bool Predict(bool first, bool second, std::shared_ptr<MatrixXd> points, int type, std::string name,
                 std::shared_ptr<MatrixXd> predictions, std::string& message, std::string& detail,
                 EventDispatcher* dispatcher) override;
};

}  // namespace quarn::samplers
