#pragma once

#include <samplers/MarginalEffects.h>
#include <samplers/Priors.h>
#include <samplers/Sampler.h>

#include <memory>
#include <string>
#include <vector>

namespace quarn::samplers {

/// Prior of a multinomial probit, before it is scaled.
struct MultinomialProbitPrior {
    NormalPrior Coefficients;  ///< of all J K + M: equation by equation, then those of the attributes
    /// Of the J x J covariance; DegreesOfFreedom of 0: J + 3, an empty Scale: the degrees of freedom times the identity.
    InverseWishartPrior Covariance;
};

/// What a multinomial probit explains choices by.
struct ChoiceData {
    VectorXd y;  ///< N choices, 0 to J, each at least once; 0 is the base alternative
    MatrixXd X;  ///< N x K: what is the same for all alternatives; a constant, if wanted, is a column
    std::vector<MatrixXd> Attributes;  ///< M matrices of N x J: how an attribute of alternative j + 1 exceeds that of
                                       ///< the base. K or M may be 0
    std::vector<std::string> XNames;   ///< K
    std::vector<std::string> AttributeNames;    ///< M
    std::vector<std::string> AlternativeNames;  ///< J: of alternatives 1 to J
};

/// Multinomial probit: alternative j + 1 has the utility w(j) = x'b_j + sum over m of Attributes[m](., j) g(m) + e(j)
/// over that of the base, e ~ N(0, S). The highest is chosen, or the base if none is above 0.
///
/// Only ratios of utilities are identified. The chain moves in b, g and S; its draws are scaled to S(1,1) = 1.
///
/// Draws: columns b (J equations of K), g (M), each over sqrt(S(1,1)), and S over S(1,1): the lower triangle row by row
///        but for its first cell, which is 1. An iteration draws, alternative by alternative, the w of all observations,
///        sorted by choice, given the w of the others, by tnormrnd_lower with bound 0 of the distance from where the
///        choice would change; b and g by J K + M normals; S by iwishrnd. The first w are given b = 0, g = 0, S = I.
/// Log marginal likelihoods: Lewis & Raftery, in the scaled coefficients and the Cholesky factor of the scaled S, its
///        diagonal in logarithms. The prior of these is that of b, g, S integrated over S(1,1), by quadrature. Choice
///        probabilities by GHK, with 2e6 / N replications, but at least 200 and at most 10,000, from
///        FirstAuxiliaryStream.
/// Cost:  cross-products once; 2 N J (K + M + 2 J) multiply-adds and N J truncated normals an iteration.
/// Source: McCulloch & Rossi (1994), J. Econometrics 64, 207-240.
class QUARN_SAMPLERS_EXPORT MultinomialProbit final : public SamplerOf<Estimator_YX> {
 public:
    MultinomialProbit(const ChoiceData& choices, const MatrixXd& ids, const MultinomialProbitPrior& prior = {});
    ~MultinomialProbit() override { InterruptThreads(); }

    std::vector<std::string> GetSamplesNames() override;
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
    std::vector<std::string> m_attributeNames;
};

/// The model of a MultinomialProbit.
class QUARN_SAMPLERS_EXPORT MultinomialProbitModel final : public Model {
 public:
    static constexpr Eigen::Index PredictionDraws = 1000;
    static constexpr int Replications = 100;
    static constexpr char MeansKey[] = "means";

    /// Takes over what was stored or filled: the fields of a plain Model. IntList holds J, K, M; the hidden element
    /// MeansKey, 1 x (K + M J), the mean point of the estimation sample.
    explicit MultinomialProbitModel(const std::shared_ptr<Model>& results);

    /// Posterior summaries of the probabilities of all choices, by GHK with Replications for each of up to
    /// PredictionDraws draws at even distances. The standard deviation and the quantiles include the simulation's error.
    ///
    ///   points       R x (K + M J): regressors, then attribute by attribute what alternatives 1 to J have over the base
    ///   predictions  out: R (J + 1) x 5: mean, median, sd, 5% and 95% quantile; choices 0 to J of the first point, then
    ///                those of the second, ...
    ///
    /// False, with a message, if points are missing or have another number of columns. The other arguments are not used.
    bool Predict(bool first, bool second, std::shared_ptr<MatrixXd> points, int type, std::string name,
                 std::shared_ptr<MatrixXd> predictions, std::string& message, std::string& detail,
                 EventDispatcher* dispatcher) override;

    /// Marginal effects: posterior summaries of the derivatives of the probabilities of all choices with respect to each
    /// element of a point, by GHK as in Predict, but for the derivatives exact for the draws that it makes.
    ///
    ///   type     an EffectType
    ///   points   as for Predict; null or without rows: the mean point of the estimation sample
    ///   at       for EffectAtPoint, the row, from 0
    ///   effects  out: (J + 1)(K + M J) x 5: mean, median, sd, 5% and 95% quantile; all elements for choice 0, then for
    ///            choice 1, ... A constant has a row, too, without a meaning
    ///
    /// False, with a message, if an argument is out of its range.
    bool CalculateMFX(int type, std::shared_ptr<MatrixXd> points, int at, std::shared_ptr<MatrixXd> effects,
                      std::string& message, std::string& detail, EventDispatcher* dispatcher) override;

    /// Prints the effects of CalculateMFX as a table, a block for each choice.
    /// Requires: as many rows as CalculateMFX gives, and 5 columns. Nothing is printed for another shape.
    void PrintMFX(const MatrixXd& effects, int type, const EventDispatcher& dispatcher) override;
};

}  // namespace quarn::samplers
