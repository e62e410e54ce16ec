#pragma once

#include <samplers/Priors.h>
#include <samplers/Sampler.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quarn::samplers {

/// Prior of an autoregression: coefficients, error precision and missing initial values are independent.
struct AutoregressionPrior {
    struct InitialValue {
        double Mean = 0.0;
        double Precision = NormalPrior::DefaultPrecision;
    };

    NormalPrior Coefficients;  ///< of the exogenous regressors, then of the lags, the first one first
    GammaPrior ErrorPrecision;
    /// Each value of y that is missing among the first p is normal. By default with the mean of the observed values,
    /// and ten times their standard deviation (one observed value: InitialValue as it stands).
    std::optional<InitialValue> Initial;
    bool Stationary = false;  ///< restricts coefficients of the lags to those of a stationary series
};

/// Autoregression of order p on exogenous regressors, y_t = x_t'b + phi_1 y_{t-1} + ... + phi_p y_{t-p} + e_t,
/// e_t ~ N(0, 1/tau), in which missing values of y are unknowns. The arguments are what
/// Dataset::Prepare_TimeSeries makes of the names of y and of the regressors, with {0} as the list of lags of each.
///
///   y     N, in order of time; a cell that is not finite is missing. Lags go by rows
///   X     N x K, finite; may have no columns. A constant, if wanted, is a column
///   time  N, the time index       ids  N x 1, the observation ids
///   p     the order, >= 1         depVar, indVars  names; K of the latter
///
/// Sample: rows before the first observed value are left out (ObsId has the others): they say nothing of the parameters.
///         The next p rows are conditioned upon; a value missing among these has the prior of initial values. Missing
///         values at the end are forecasts.
/// Draws:  columns b (K), phi (p), tau, sigma_e = 1/sqrt(tau). An iteration draws tau by gamrnd; K + p normals for
///         (b, phi), again as long as Stationary demands it, but at most 100 times, after which (b, phi) stays; and a
///         normal for each missing value, which are drawn in one block. The first iteration is given straight lines
///         in the place of missing values, and the least-squares coefficients; Stationary draws these towards 0. Without
///         missing values and Stationary the draws are those of a LinearRegression on the lags.
/// Log marginal likelihoods: of the values observed behind the first p rows. Lewis & Raftery at the mean of (b, phi, log
///         tau), missing values being integrated out exactly; Chib & Jeliazkov if no value is missing. None for
///         Stationary, whose prior's constant is a probability that is too small to simulate under a vague prior.
/// Elements: "imputed", M x 5, where M values are missing: time, mean, sd, 5% and 95% quantile of each.
/// Cost:   cross-products of the rows that no missing value touches are made once. An iteration costs
///         (K + p)^2 + 4 (K + p) multiply-adds if nothing is missing; else (K + p)^3/6, (K + p)^2/2 for each of the at most
///         M (p + 1) other rows, and 2 p^2 for each missing value: their precision has bandwidth p. Memory during the
///         run: M more columns of draws.
/// Source: Chib (1993), J. Econometrics 58, 275-294, conditional on initial values; Rue (2001), J. R. Statist. Soc. B
///         63, 325-338 (missing values through their banded precision).
class QUARN_SAMPLERS_EXPORT Autoregression final : public SamplerOf<Estimator> {
 public:
    Autoregression(const VectorXd& y, const MatrixXd& X, const VectorXd& time, const MatrixXd& ids, int p,
                   const std::string& depVar, const std::vector<std::string>& indVars,
                   const AutoregressionPrior& prior = {});
    ~Autoregression() override { InterruptThreads(); }

    std::vector<std::string> GetSamplesNames() override;  ///< lags are named depVar_lag1, ...
    std::shared_ptr<Model> MakeModel() const override;

    struct Data;  ///< what the chains read

 protected:
    std::string CheckData() const override;
    std::unique_ptr<Chain> MakeChain(Generator& generator, std::int64_t c) const override;
    Eigen::Index NumParameters() const override;
    void Summarise() override;

 private:
    void SummariseMissing(const MatrixXd& draws);

    std::string m_fault;
    std::shared_ptr<const Data> m_data;      // null if there is a fault
    std::shared_ptr<MatrixXd> m_imputed;     // the element of that name, or null
    std::shared_ptr<MatrixXd> m_lastValues;  // the p latest values, the last first; a row, or one for each draw
};

/// The model of an Autoregression.
class QUARN_SAMPLERS_EXPORT AutoregressionModel final : public Model {
 public:
    /// Takes over what was stored or filled: the fields of a plain Model, with
    ///   IntList         p; 1 if all exogenous regressors are constant terms, else 0
    ///   HiddenElements  "lastValues": the p latest values of y, the last first; a row, or a row for each draw
    /// The operations give false, with a message, if these are not there.
    explicit AutoregressionModel(const std::shared_ptr<Model>& results);

    /// Posterior summaries of the mean of y, x'b + phi_1 y_{t-1} + ..., given regressors and lags.
    ///
    ///   points       M x (K + p), a row for each prediction, in the order of the table
    ///   predictions  out: M x 5: mean, median, sd, 5% and 95% quantile
    ///
    /// False, with a message, if points do not have K + p columns. The other arguments are not used.
    bool Predict(bool first, bool second, std::shared_ptr<MatrixXd> points, int type, std::string name,
                 std::shared_ptr<MatrixXd> predictions, std::string& message, std::string& detail,
                 EventDispatcher* dispatcher) override;

    /// The predictive law of y after the last row of the sample: one path for each posterior draw.
    ///
    ///   periods    how many periods ahead, from 1 to 100000
    ///   points     periods x K, the exogenous regressors in these periods; may be null or empty if there are none, or
    ///              all of them are constant terms
    ///   forecasts  out: periods x 5: mean, median, sd, 5% and 95% quantile. Explosive draws can make mean and sd
    ///              infinite or NaN
    ///
    /// Draws: for each draw of the posterior, the first first, a normal for each period in turn, on the first auxiliary
    ///        stream of the seed of the run: the same call gives the same numbers.
    /// False, with a message, if arguments do not fit. The dispatcher is not used.
    bool Forecast(int periods, std::shared_ptr<MatrixXd> points, std::shared_ptr<MatrixXd> forecasts,
                  std::string& message, std::string& detail, EventDispatcher* dispatcher) override;

    /// Whether the series is stationary: the largest modulus of the roots of z^p - phi_1 z^{p-1} - ... - phi_p is
    /// below 1.
    ///
    ///   statistics  out: 1 x 6: posterior probability of that; mean, median, sd, 5% and 95% quantile of the modulus
    bool TestStability(std::shared_ptr<MatrixXd> statistics, std::string& message, std::string& detail,
                       EventDispatcher* dispatcher) override;
    void PrintStabTest(const MatrixXd& statistics, const EventDispatcher& dispatcher) override;

 private:
    bool IsComplete(std::string& message) const;
};

}  // namespace quarn::samplers
