#include <quarn/classical/OLSChol.h>
#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/numerics/MatrixHelpers.h>
#include <quarn/random/Univariate.h>

#include <cmath>
#include <numbers>
#include <samplers/LinearModelRotation.h>
#include <samplers/LinearRegression.h>
#include <samplers/MarginalLikelihood.h>
#include <samplers/ModelCodes.h>
#include <samplers/PosteriorTable.h>

namespace quarn::samplers {

/// All that the data and the prior say: none of it is of size N.
struct LinearRegression::Data {
    LinearModelRotation Rotation;
    LinearRegressionPrior Prior;  // completed
    VectorXd b;                   // least squares
    double N = 0.0;
};

namespace {

using Data = LinearRegression::Data;

class LinearChain final : public Chain {
 public:
    explicit LinearChain(std::shared_ptr<const Data> data)
        : m_data(std::move(data)), m_shape(m_data->Prior.ErrorPrecision.Shape + 0.5 * m_data->N), m_b(m_data->b) {
        m_sumOfSquares = m_data->Rotation.SumOfSquares(m_b);
    }

    void Step(Generator& generator) override {
        m_tau = gamrnd(generator.rng, generator.unif, generator.norm, m_shape,
                       m_data->Prior.ErrorPrecision.Rate + 0.5 * m_sumOfSquares);
        m_sumOfSquares = m_data->Rotation.Draw(generator, m_tau, m_b, m_work);
    }

    void Store(Eigen::Ref<VectorXd> draw) const override {
        draw.head(m_b.size()) = m_b;
        draw.tail<2>() << m_tau, 1.0 / std::sqrt(m_tau);
    }

 private:
    std::shared_ptr<const Data> m_data;
    double m_shape, m_tau = 0.0, m_sumOfSquares = 0.0;  // the last: of the residuals at m_b
    VectorXd m_b, m_work;
};

double LogLikelihood(const Data& data, const VectorXd& b, double tau) {
    return 0.5 * (data.N * std::log(0.5 * tau / std::numbers::pi) - tau * data.Rotation.SumOfSquares(b));
}

double LogPrior(const Data& data, const VectorXd& b, double tau) {
    return data.Rotation.LogPriorDensity(b) +
           LogGammaDensity(tau, data.Prior.ErrorPrecision.Shape, data.Prior.ErrorPrecision.Rate);
}

/// At the mean of (b, log tau), whose density has the Jacobian tau.
double LogMLLewisRaftery(const Data& data, const MatrixXd& draws) {
    const Eigen::Index K = data.b.size();
    MatrixXd unbounded = draws.leftCols(K + 1);
    unbounded.col(K) = unbounded.col(K).array().log();
    return LaplaceMetropolis(unbounded, [&](const VectorXd& at) {
        const double tau = std::exp(at(K));
        return LogLikelihood(data, at.head(K), tau) + LogPrior(data, at.head(K), tau) + at(K);
    });
}

/// The ordinate at (b, tau): that of tau given b, averaged over the draws of b, and that of b given tau.
double LogMLChib(const Data& data, const MatrixXd& draws) {
    const Eigen::Index K = data.b.size();
    RowVectorXd mean(draws.cols());
    matrixMean(draws, mean);
    const VectorXd b = mean.head(K).transpose();
    const double tau = mean(K);
    const GammaPrior& prior = data.Prior.ErrorPrecision;
    VectorXd ordinates(draws.rows());
    for (Eigen::Index r = 0; r < draws.rows(); ++r) {
        const double sumOfSquares = data.Rotation.SumOfSquares(draws.row(r).head(K).transpose());
        ordinates(r) = LogGammaDensity(tau, prior.Shape + 0.5 * data.N, prior.Rate + 0.5 * sumOfSquares);
    }
    return LogLikelihood(data, b, tau) + LogPrior(data, b, tau) - LogMeanExp(ordinates) -
           data.Rotation.LogConditionalDensity(b, tau);
}

std::string Fault(const VectorXd& y, const MatrixXd& X, const std::vector<std::string>& indVars,
                  const LinearRegressionPrior& prior) {
    if (y.size() == 0 || y.size() != X.rows()) return "A regression needs as many rows of regressors as observations.";
    if (X.cols() == 0 || X.cols() != static_cast<Eigen::Index>(indVars.size()))
        return "A regression needs at least one regressor, and a name for each.";
    if (!y.allFinite() || !X.allFinite()) return "A regression needs finite data.";
    const std::string fault = CheckPrior(prior.Coefficients, X.cols());
    return fault.empty() ? CheckPrior(prior.ErrorPrecision) : fault;
}

}  // namespace

LinearRegression::LinearRegression(const VectorXd& y, const MatrixXd& X, const MatrixXd& ids, const std::string& depVar,
                                   const std::vector<std::string>& indVars, const LinearRegressionPrior& prior)
    : SamplerOf<Estimator>("Linear regression", ids), m_fault(Fault(y, X, indVars, prior)) {
    DepVarName = depVar;
    IndVarNames = indVars;
    if (!m_fault.empty()) return;
    auto data = std::make_shared<Data>();
    data->Prior = {Completed(prior.Coefficients, X.cols()), prior.ErrorPrecision};
    data->Rotation = LinearModelRotation(y, X, data->Prior.Coefficients);
    data->b = data->Rotation.LeastSquares();
    data->N = static_cast<double>(y.size());
    m_data = std::move(data);
}

std::vector<std::string> LinearRegression::GetSamplesNames() {
    std::vector<std::string> names = IndVarNames;
    names.insert(names.end(), {"tau", "sigma_e"});
    return names;
}

std::string LinearRegression::CheckData() const { return m_fault; }

Eigen::Index LinearRegression::NumParameters() const { return m_data->b.size() + 2; }

std::unique_ptr<Chain> LinearRegression::MakeChain(Generator&, std::int64_t) const {
    return std::make_unique<LinearChain>(m_data);
}

void LinearRegression::Summarise() {
    Summary = PosteriorTable(*pSamples, {{DepVarName, GetSamplesNames()}});
    logML = LogMLLewisRaftery(*m_data, *pSamples);
    HasLogML = std::isfinite(logML);
    logML_CJ = LogMLChib(*m_data, *pSamples);
    HasLogML_CJ = std::isfinite(logML_CJ);
}

std::shared_ptr<Model> LinearRegression::MakeModel() const {
    const auto results = std::make_shared<Model>();
    FillModel(*results,
              "Dependent variable: " + DepVarName + "\nNumber of observations: " + std::to_string(ObsId.rows()) + "\n");
    return std::make_shared<LinearRegressionModel>(results);
}

LinearRegressionModel::LinearRegressionModel(const std::shared_ptr<Model>& results) {
    SetMembersShallow(results);
    ModelCode = LinearRegressionCode;
}

bool LinearRegressionModel::Predict(bool, bool, std::shared_ptr<MatrixXd> points, int, std::string,
                                    std::shared_ptr<MatrixXd> predictions, std::string& message, std::string& detail,
                                    EventDispatcher*) {
    const Eigen::Index K = Samples->cols() - 2;
    if (points->cols() != K) {
        message = "A prediction needs " + std::to_string(K) + " regressors.";
        detail = "Their number is " + std::to_string(points->cols()) + ".";
        return false;
    }
    MatrixXd summary;
    matrixSummary(Samples->leftCols(K) * points->transpose(), summary);
    *predictions = summary.leftCols(5);
    return true;
}

}  // namespace quarn::samplers
