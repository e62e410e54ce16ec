#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/random/Univariate.h>

#include <samplers/AutoregressionData_detail.h>
#include <samplers/MarginalLikelihood.h>
#include <samplers/PosteriorTable.h>

#include <Eigen/Cholesky>

#include <algorithm>
#include <cmath>

namespace quarn::samplers {
namespace {

using Eigen::Index;
using Data = Autoregression::Data;

class AutoregressionChain final : public Chain {
 public:
    explicit AutoregressionChain(std::shared_ptr<const Data> data)
        : m_data(std::move(data)),
          m_shape(m_data->Prior.ErrorPrecision.Shape + 0.5 * static_cast<double>(m_data->Rows())),
          m_series(*m_data),
          m_beta(m_data->Start),
          m_priorPart(m_data->Prior.Coefficients.Precision * m_data->Prior.Coefficients.Mean),
          m_factor(m_beta.size()) {
        m_sumOfSquares =
            m_data->Missing.empty() ? m_data->Untouched.Rotation.SumOfSquares(m_beta) : m_series.SumOfSquares(m_beta);
    }

    void Step(Generator& generator) override {
        m_tau = gamrnd(generator.rng, generator.unif, generator.norm, m_shape,
                       m_data->Prior.ErrorPrecision.Rate + 0.5 * m_sumOfSquares);
        DrawCoefficients(generator);
        if (m_data->Missing.empty()) return;
        m_series.Draw(generator, m_beta, m_tau);
        m_sumOfSquares = m_series.SumOfSquares(m_beta);
    }

    void Store(Eigen::Ref<VectorXd> draw) const override {
        const Index k = m_beta.size();
        draw.head(k) = m_beta;
        draw(k) = m_tau;
        draw(k + 1) = 1.0 / std::sqrt(m_tau);
        for (Index i = k + 2; i < draw.size(); ++i) draw(i) = m_series.Value(static_cast<std::size_t>(i - k - 2));
    }

 private:
    /// A bounded number of proposals from the law that ignores the restriction leaves the restricted law as it is,
    /// whatever the bound: in the end the state is a draw from that law or, with a probability that does not depend on
    /// the state, the old one.
    void DrawCoefficients(Generator& generator) {
        constexpr int mostAttempts = 100;
        if (!m_data->Missing.empty()) Factorise();
        for (int attempt = 0; attempt < mostAttempts; ++attempt) {
            const double sumOfSquares = Propose(generator);
            if (m_data->Prior.Stationary && !detail::IsStationary(m_proposal.tail(m_data->p), m_phi)) continue;
            m_beta.swap(m_proposal);
            m_sumOfSquares = sumOfSquares;
            return;
        }
    }

    /// Puts a draw of the coefficients into m_proposal. Returns the sum of squares there if no value is missing.
    double Propose(Generator& generator) {
        if (m_data->Missing.empty()) return m_data->Untouched.Rotation.Draw(generator, m_tau, m_proposal, m_work);
        m_proposal = m_half;
        for (double& element : m_proposal) element += NormalDraw(generator.rng, generator.norm);
        m_factor.matrixU().solveInPlace(m_proposal);
        return 0.0;
    }

    /// The precision LL' of the coefficients, and L^-1 of the precision times their mean.
    void Factorise() {
        m_precision = m_data->Prior.Coefficients.Precision + m_tau * m_data->CrossProducts;
        m_half = m_priorPart + m_tau * m_data->CrossProductsWithY;
        m_series.AddCrossProducts(m_tau, m_precision, m_half);
        m_factor.compute(m_precision);
        m_factor.matrixL().solveInPlace(m_half);
    }

    std::shared_ptr<const Data> m_data;
    double m_shape, m_tau = 0.0, m_sumOfSquares = 0.0;  // the last: of the errors at the present state
    detail::ImputedSeries m_series;
    VectorXd m_beta, m_proposal;
    VectorXd m_work, m_phi;  // working space
    VectorXd m_priorPart, m_half;
    MatrixXd m_precision;
    Eigen::LLT<MatrixXd> m_factor;
};

/// At the mean of (b, phi, log tau), whose density has the Jacobian tau.
double LogMLWithMissing(const Data& data, const MatrixXd& draws) {
    const Index k = data.K + data.p;
    MatrixXd unbounded = draws.leftCols(k + 1);
    unbounded.col(k) = unbounded.col(k).array().log();
    detail::ImputedSeries series(data);
    const Eigen::LLT<MatrixXd> prior(data.Prior.Coefficients.Precision);
    const MatrixXd L = prior.matrixL();
    return LaplaceMetropolis(unbounded, [&](const VectorXd& at) {
        const double tau = std::exp(at(k));
        return series.LogLikelihood(at.head(k), tau) + LogNormalDensity(at.head(k), data.Prior.Coefficients.Mean, L) +
               LogGammaDensity(tau, data.Prior.ErrorPrecision.Shape, data.Prior.ErrorPrecision.Rate) + at(k);
    });
}

/// Row of the first observed value; N if there is none.
Index FirstObserved(const VectorXd& y) {
    return std::find_if(y.begin(), y.end(), [](double value) { return std::isfinite(value); }) - y.begin();
}

std::string Fault(const VectorXd& y, const MatrixXd& X, const VectorXd& time, const MatrixXd& ids, int p,
                  const std::vector<std::string>& indVars, const AutoregressionPrior& prior) {
    if (X.rows() != y.size() || time.size() != y.size() || ids.rows() != y.size())
        return "An autoregression needs as many rows of regressors, times and observation ids as observations.";
    if (X.cols() != static_cast<Index>(indVars.size())) return "An autoregression needs a name for each regressor.";
    if (p < 1) return "The order of an autoregression must be at least 1.";
    if (y.size() - FirstObserved(y) <= p)
        return "An autoregression of order " + std::to_string(p) +
               " needs more observations than that, from the first one that is not missing on.";
    if (!X.allFinite()) return "An autoregression needs finite regressors.";
    if (prior.Initial && !(prior.Initial->Precision > 0.0 && std::isfinite(prior.Initial->Precision) &&
                           std::isfinite(prior.Initial->Mean)))
        return "The prior of missing initial values needs a finite mean and a positive precision.";
    const std::string fault = CheckPrior(prior.Coefficients, X.cols() + p);
    return fault.empty() ? CheckPrior(prior.ErrorPrecision) : fault;
}

}  // namespace

Autoregression::Autoregression(const VectorXd& y, const MatrixXd& X, const VectorXd& time, const MatrixXd& ids, int p,
                               const std::string& depVar, const std::vector<std::string>& indVars,
                               const AutoregressionPrior& prior)
    : SamplerOf<Estimator>("Autoregression", ids), m_fault(Fault(y, X, time, ids, p, indVars, prior)) {
    DepVarName = depVar;
    IndVarNames = indVars;
    if (!m_fault.empty()) return;
    const Index N = y.size() - FirstObserved(y);
    ObsId = MatrixXd(ids.bottomRows(N));
    m_data = std::make_shared<const Data>(y.tail(N), X.bottomRows(N), time.tail(N), p, prior);
}

std::vector<std::string> Autoregression::GetSamplesNames() {
    std::vector<std::string> names = IndVarNames;
    for (Index lag = 1; m_data && lag <= m_data->p; ++lag) names.push_back(DepVarName + "_lag" + std::to_string(lag));
    names.insert(names.end(), {"tau", "sigma_e"});
    return names;
}

std::string Autoregression::CheckData() const { return m_fault; }

/// Missing values stand behind the parameters during the run; Summarise takes them away.
Index Autoregression::NumParameters() const {
    return m_data->K + m_data->p + 2 + static_cast<Index>(m_data->Missing.size());
}

std::unique_ptr<Chain> Autoregression::MakeChain(Generator&, std::int64_t) const {
    return std::make_unique<AutoregressionChain>(m_data);
}

void Autoregression::Summarise() {
    const Index k = m_data->K + m_data->p, p = m_data->p;
    m_lastValues = std::make_shared<MatrixXd>(m_data->y.tail(p).reverse().transpose());
    if (!m_data->Missing.empty()) {
        SummariseMissing(pSamples->rightCols(pSamples->cols() - k - 2));
        pSamples = std::make_shared<MatrixXd>(pSamples->leftCols(k + 2));
    }
    Summary = PosteriorTable(*pSamples, {{DepVarName, GetSamplesNames()}});
    if (m_data->Prior.Stationary) return;
    logML = m_data->Missing.empty() ? LogMLLewisRaftery(m_data->Untouched, k, *pSamples)
                                    : LogMLWithMissing(*m_data, *pSamples);
    HasLogML = std::isfinite(logML);
    if (!m_data->Missing.empty()) return;
    logML_CJ = LogMLChib(m_data->Untouched, k, *pSamples);
    HasLogML_CJ = std::isfinite(logML_CJ);
}

void Autoregression::SummariseMissing(const MatrixXd& draws) {
    m_imputed = std::make_shared<MatrixXd>(draws.cols(), 5);
    m_imputed->col(0) = m_data->MissingTimes;
    const Index firstOfLast = m_data->y.size() - m_data->p;
    const bool someAreLast = m_data->Missing.back() >= firstOfLast;
    if (someAreLast) m_lastValues = std::make_shared<MatrixXd>(m_lastValues->replicate(draws.rows(), 1));
    RowVectorXd summary;
    for (Index i = 0; i < draws.cols(); ++i) {
        vectorSummary_mean_std_90ci(draws.col(i), summary);
        m_imputed->row(i).tail(4) = summary;
        const Index row = m_data->Missing[static_cast<std::size_t>(i)];
        if (row >= firstOfLast) m_lastValues->col(m_data->y.size() - 1 - row) = draws.col(i);
    }
}

std::shared_ptr<Model> Autoregression::MakeModel() const {
    const auto results = std::make_shared<Model>();
    FillModel(*results, "Dependent variable: " + DepVarName + "\nNumber of observations: " +
                            std::to_string(m_data->Rows()) + " after " + std::to_string(m_data->p) +
                            " initial ones\nMissing values imputed: " + std::to_string(m_data->Missing.size()) + "\n");
    if (m_imputed) results->Elements["imputed"] = m_imputed;
    results->HiddenElements["lastValues"] = m_lastValues;
    results->IntList = {static_cast<int>(m_data->p), m_data->ConstantOnly ? 1 : 0};
    return std::make_shared<AutoregressionModel>(results);
}

}  // namespace quarn::samplers
