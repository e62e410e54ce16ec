#pragma once

#include <samplers/MarginalEffects.h>
#include <samplers/Priors.h>
#include <samplers/Sampler.h>

#include <memory>
#include <string>
#include <vector>

namespace quarn::samplers {

/// Prior of a binary probit.
struct BinaryProbitPrior {
    NormalPrior Coefficients;
};

/// Binary probit, P(y = 1) = Phi(x'b), by data augmentation: y = 1 where z > 0, with z = X b + e, e ~ N(0, I).
///
///   y  N, of 0 and 1, each at least once      X  N x K; a constant, if wanted, is a column
///   ids  N x 1, the observation ids           depVar, indVars  names; K of the latter
///
/// Draws: columns b (K). An iteration draws s z of the N observations in turn, by tnormrnd_lower with mean s x'b and
///        bound 0, s = 1 where y is 1 and else -1; then K normals for b. The first z are given b = 0.
/// Log marginal likelihoods: Lewis & Raftery at the mean of b; Chib at the same b, its posterior density averaged over
///        z given draws of b, up to OrdinateDraws of them at even distances. These z are of FirstAuxiliaryStream.
/// Cost:  cross-products and their factor once; 2 N K + K^2 multiply-adds and N truncated normals an iteration.
/// Source: Albert & Chib (1993), J. Am. Stat. Assoc. 88, 669-679; Chib (1995), J. Am. Stat. Assoc. 90, 1313-1321.
class QUARN_SAMPLERS_EXPORT BinaryProbit final : public SamplerOf<Estimator> {
 public:
    static constexpr Eigen::Index OrdinateDraws = 2000;

    BinaryProbit(const VectorXd& y, const MatrixXd& X, const MatrixXd& ids, const std::string& depVar,
                 const std::vector<std::string>& indVars, const BinaryProbitPrior& prior = {});
    ~BinaryProbit() override { InterruptThreads(); }

    std::vector<std::string> GetSamplesNames() override { return IndVarNames; }
    std::shared_ptr<Model> MakeModel() const override;

    struct Data;  ///< what the chains read

 protected:
    std::string CheckData() const override { return m_fault; }
    std::unique_ptr<Chain> MakeChain(Generator& generator, std::int64_t c) const override;
    Eigen::Index NumParameters() const override;
    void Summarise() override;

 private:
    std::string m_fault;
    std::shared_ptr<const Data> m_data;  // null if there is a fault
    std::shared_ptr<MatrixXd> m_X;       // for the model
};

/// The model of a BinaryProbit. It keeps the regressors of the estimation sample, N x K, as the hidden element "X".
class QUARN_SAMPLERS_EXPORT BinaryProbitModel final : public Model {
 public:
    static constexpr char RegressorsKey[] = "X";

    /// Takes over what was stored or filled: the fields of a plain Model.
    explicit BinaryProbitModel(const std::shared_ptr<Model>& results);

    /// Marginal effects: posterior summaries of the derivatives phi(x'b) b of P(y = 1) with respect to x. A dummy's effect
    /// is its derivative, too.
    ///
    ///   type     an EffectType
    ///   points   M x K, regressors in the order of the table; null or without rows: those of the estimation sample
    ///   at       for EffectAtPoint, the row, from 0
    ///   effects  out: K x 5: mean, median, sd, 5% and 95% quantile. A constant has a row, too, without a meaning
    ///
    /// False, with a message, if an argument is out of its range.
    /// Cost: for AverageEffect, M K multiply-adds and M exponentials per posterior draw; else K a draw.
    bool CalculateMFX(int type, std::shared_ptr<MatrixXd> points, int at, std::shared_ptr<MatrixXd> effects,
                      std::string& message, std::string& detail, EventDispatcher* dispatcher) override;

    /// Prints the effects of CalculateMFX as a table, but for constants of the estimation sample.
    /// Requires: K x 5. Nothing is printed for another shape.
    void PrintMFX(const MatrixXd& effects, int type, const EventDispatcher& dispatcher) override;

    /// Posterior summaries of P(y = 1) at given regressors.
    ///
    ///   points       M x K, a row of regressors for each prediction, in the order of the table
    ///   predictions  out: M x 5: mean, median, sd, 5% and 95% quantile
    ///
    /// False, with a message, if points are missing or do not have K columns. A NaN in a point makes its predictions NaN.
    /// The other arguments are not used.
    bool Predict(bool first, bool second, std::shared_ptr<MatrixXd> points, int type, std::string name,
                 std::shared_ptr<MatrixXd> predictions, std::string& message, std::string& detail,
                 EventDispatcher* dispatcher) override;
};

}  // namespace quarn::samplers
