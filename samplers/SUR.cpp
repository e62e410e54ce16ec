#include <quarn/numerics/DescriptiveStatistics.h>

#include <samplers/CovarianceMatrices.h>
#include <samplers/MarginalLikelihood.h>
#include <samplers/ModelCodes.h>
#include <samplers/PosteriorTable.h>
#include <samplers/SUR.h>
#include <samplers/StackedRegressions.h>
#include <samplers/StoredResults.h>

#include <cmath>
#include <set>
#include <stdexcept>

namespace quarn::samplers {

struct SUR::Data {
    StackedRegressions Regressions;
    SURPrior Prior;  // completed

    Eigen::Index K() const { return Prior.Coefficients.Mean.size(); }
    Eigen::Index M() const { return Regressions.NumEquations(); }
    double PosteriorDf() const { return Prior.ErrorCovariance.DegreesOfFreedom + Regressions.NumObservations(); }
};

namespace {

using Data = SUR::Data;
using Eigen::Index;

class SURChain final : public Chain {
 public:
    explicit SURChain(std::shared_ptr<const Data> data)
        : m_data(std::move(data)), m_b(m_data->Regressions.LeastSquares()) {}

    void Step(Generator& generator) override {
        m_data->Regressions.ResidualProducts(m_b, m_work, m_scale);
        m_scale += m_data->Prior.ErrorCovariance.Scale;
        m_drawS(generator, m_data->PosteriorDf(), m_scale, m_S);
        m_data->Regressions.CoefficientLaw(m_data->Prior.Coefficients, m_S, m_work, m_mean, m_factor);
        if (m_factor.info() != Eigen::Success)
            throw std::runtime_error("The precision matrix of the coefficients became singular.");
        for (double& element : m_b) element = NormalDraw(generator.rng, generator.norm);
        m_factor.matrixU().solveInPlace(m_b);
        m_b += m_mean;
    }

    void Store(Eigen::Ref<VectorXd> draw) const override {
        draw.head(m_b.size()) = m_b;
        PackTriangle(m_S, draw.tail(draw.size() - m_b.size()));
    }

 private:
    std::shared_ptr<const Data> m_data;
    StackedRegressions::Work m_work;
    InverseWishartDraw m_drawS;
    Eigen::LLT<MatrixXd> m_factor;
    VectorXd m_b, m_mean;
    MatrixXd m_S, m_scale;
};

double LogLikelihoodAndPrior(const Data& data, const VectorXd& b, const MatrixXd& S) {
    StackedRegressions::Work work;
    const Eigen::LLT<MatrixXd> priorFactor(data.Prior.Coefficients.Precision);
    const InverseWishartPrior& prior = data.Prior.ErrorCovariance;
    return data.Regressions.LogLikelihood(b, S, work) +
           LogNormalDensity(b, data.Prior.Coefficients.Mean, priorFactor.matrixL()) +
           LogInverseWishartDensity(S, prior.DegreesOfFreedom, prior.Scale);
}

double LogMLLewisRaftery(const Data& data, const MatrixXd& draws) {
    const Index K = data.K(), M = data.M();
    MatrixXd unbounded = draws, S(M, M);
    for (Index r = 0; r < draws.rows(); ++r) {
        UnpackTriangle(draws.row(r).tail(TriangleSize(M)).transpose(), S);
        unbounded.row(r).tail(TriangleSize(M)) = UnboundedFromCovariance(S).transpose();
    }
    return LaplaceMetropolis(unbounded, [&](const VectorXd& at) {
        const VectorXd u = at.tail(TriangleSize(M));
        return LogLikelihoodAndPrior(data, at.head(K), CovarianceFromUnbounded(u, M)) + LogJacobian(u, M);
    });
}

/// The ordinate at (b, S): that of S given b, averaged over the draws of b, and that of b given S.
double LogMLChib(const Data& data, const MatrixXd& draws) {
    const Index K = data.K(), M = data.M();
    RowVectorXd mean(draws.cols());
    matrixMean(draws, mean);
    MatrixXd S(M, M), products;
    UnpackTriangle(mean.tail(TriangleSize(M)).transpose(), S);
    StackedRegressions::Work work;
    VectorXd ordinates(draws.rows()), mode;
    for (Index r = 0; r < draws.rows(); ++r) {
        data.Regressions.ResidualProducts(draws.row(r).head(K).transpose(), work, products);
        ordinates(r) = LogInverseWishartDensity(S, data.PosteriorDf(), data.Prior.ErrorCovariance.Scale + products);
    }
    Eigen::LLT<MatrixXd> factor;
    data.Regressions.CoefficientLaw(data.Prior.Coefficients, S, work, mode, factor);
    const VectorXd b = mean.head(K).transpose();
    return LogLikelihoodAndPrior(data, b, S) - LogMeanExp(ordinates) - LogNormalDensity(b, mode, factor.matrixL());
}

std::string Fault(const MatrixXd& Y, const std::vector<MatrixXd>& X, const std::vector<std::string>& depVars,
                  const std::vector<std::vector<std::string>>& indVars, const SURPrior& prior) {
    const auto M = static_cast<std::size_t>(Y.cols());
    if (M == 0 || X.size() != M || depVars.size() != M || indVars.size() != M)
        return "A system of regressions needs a dependent variable, regressors and names for each equation.";
    if (std::set<std::string>(depVars.begin(), depVars.end()).size() != M)
        return "The equations of a system need different names.";
    Index K = 0;
    for (std::size_t m = 0; m < M; ++m, K += X[m - 1].cols()) {
        if (Y.rows() == 0 || X[m].rows() != Y.rows())
            return "Equation " + depVars[m] + " needs as many rows of regressors as observations.";
        if (X[m].cols() == 0 || X[m].cols() != static_cast<Index>(indVars[m].size()))
            return "Equation " + depVars[m] + " needs at least one regressor, and a name for each.";
        if (!X[m].allFinite()) return "Equation " + depVars[m] + " needs finite data.";
    }
    if (!Y.allFinite()) return "A system of regressions needs finite data.";
    const std::string fault = CheckPrior(prior.Coefficients, K);
    return fault.empty() ? CheckPrior(prior.ErrorCovariance, Y.cols()) : fault;
}

}  // namespace

SUR::SUR(const MatrixXd& Y, const std::vector<MatrixXd>& X, const MatrixXd& ids,
         const std::vector<std::string>& depVars, const std::vector<std::vector<std::string>>& indVars,
         const SURPrior& prior)
    : SamplerOf<Estimator_YX>("Seemingly unrelated regressions", ids), m_fault(Fault(Y, X, depVars, indVars, prior)) {
    DepVarName = depVars;
    IndVarNames = indVars;
    if (!m_fault.empty()) return;
    auto data = std::make_shared<Data>();
    data->Regressions = StackedRegressions(Y, X);
    data->Prior = {Completed(prior.Coefficients, data->Regressions.LeastSquares().size()),
                   Completed(prior.ErrorCovariance, Y.cols())};
    m_data = std::move(data);
}

std::vector<std::string> SUR::GetSamplesNames() {
    std::vector<std::string> names;
    for (std::size_t m = 0; m < DepVarName.size(); ++m)
        for (const std::string& variable : IndVarNames[m]) names.push_back(DepVarName[m] + "." + variable);
    const std::vector<std::string> covariances = CovarianceNames(DepVarName);
    names.insert(names.end(), covariances.begin(), covariances.end());
    return names;
}

std::string SUR::CheckData() const { return m_fault; }

Eigen::Index SUR::NumParameters() const { return m_data->K() + TriangleSize(m_data->M()); }

std::unique_ptr<Chain> SUR::MakeChain(Generator&, std::int64_t) const { return std::make_unique<SURChain>(m_data); }

void SUR::Summarise() {
    std::vector<TableBlock> blocks;
    for (std::size_t m = 0; m < DepVarName.size(); ++m) blocks.push_back({DepVarName[m], IndVarNames[m]});
    blocks.push_back({"covariances", CovarianceNames(DepVarName)});
    Summary = PosteriorTable(*pSamples, blocks);
    logML = LogMLLewisRaftery(*m_data, *pSamples);
    HasLogML = std::isfinite(logML);
    logML_CJ = LogMLChib(*m_data, *pSamples);
    HasLogML_CJ = std::isfinite(logML_CJ);
}

std::shared_ptr<Model> SUR::MakeModel() const {
    const auto results = std::make_shared<Model>();
    FillModel(*results, "Number of equations: " + std::to_string(DepVarName.size()) +
                            "\nNumber of observations: " + std::to_string(ObsId.rows()) + "\n");
    for (const auto& variables : IndVarNames) results->IntList.push_back(static_cast<int>(variables.size()));
    return std::make_shared<SURModel>(results);
}

SURModel::SURModel(const std::shared_ptr<Model>& results) {
    SetMembersShallow(results);
    ModelCode = SURCode;
}

bool SURModel::Predict(bool, bool, std::shared_ptr<MatrixXd> points, int, std::string,
                       std::shared_ptr<MatrixXd> predictions, std::string& message, std::string& detail,
                       EventDispatcher*) {
    const Eigen::Index K = SumOfSizes(IntList), given = points ? points->cols() : 0;
    if (!HasDraws(*this, K, "a SUR model", message)) return false;
    if (given != K) {
        message = "A prediction needs " + std::to_string(K) + " regressors, those of all equations.";
        detail = "Their number is " + std::to_string(given) + ".";
        return false;
    }
    const Eigen::Index P = points->rows();
    MatrixXd means(Samples->rows(), P * static_cast<Eigen::Index>(IntList.size())), summary;
    Eigen::Index at = 0, column = 0;
    for (const int size : IntList) {
        means.middleCols(column, P) = Samples->middleCols(at, size) * points->middleCols(at, size).transpose();
        at += size;
        column += P;
    }
    matrixSummary(means, summary);
    *predictions = MatrixXd(summary.leftCols(5));
    return true;
}

}  // namespace quarn::samplers
