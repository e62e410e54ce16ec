#include <quarn/random/Univariate.h>

#include <samplers/LinearModel.h>
#include <samplers/LinearRegression.h>
#include <samplers/ModelCodes.h>
#include <samplers/PosteriorTable.h>
#include <samplers/StoredResults.h>

#include <cmath>

namespace quarn::samplers {

struct LinearRegression::Data {
    LinearModel Linear;
    VectorXd b;  // least squares
};

namespace {

using Data = LinearRegression::Data;

class LinearChain final : public Chain {
 public:
    explicit LinearChain(std::shared_ptr<const Data> data)
        : m_data(std::move(data)),
          m_shape(m_data->Linear.ErrorPrecision.Shape + 0.5 * m_data->Linear.N),
          m_b(m_data->b) {
        m_sumOfSquares = m_data->Linear.Rotation.SumOfSquares(m_b);
    }

    void Step(Generator& generator) override {
        m_tau = gamrnd(generator.rng, generator.unif, generator.norm, m_shape,
                       m_data->Linear.ErrorPrecision.Rate + 0.5 * m_sumOfSquares);
        m_sumOfSquares = m_data->Linear.Rotation.Draw(generator, m_tau, m_b, m_work);
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
    data->Linear = {LinearModelRotation(y, X, Completed(prior.Coefficients, X.cols())), prior.ErrorPrecision,
                    static_cast<double>(y.size())};
    data->b = data->Linear.Rotation.LeastSquares();
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
    logML = LogMLLewisRaftery(m_data->Linear, m_data->b.size(), *pSamples);
    HasLogML = std::isfinite(logML);
    logML_CJ = LogMLChib(m_data->Linear, m_data->b.size(), *pSamples);
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
    if (!HasDraws(*this, 3, "a linear regression", message)) return false;
    return PredictMeans(*Samples, Samples->cols() - 2, points, *predictions, message, detail);
}

}  // namespace quarn::samplers
