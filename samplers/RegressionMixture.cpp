#include <quarn/classical/kmeansClassifier.h>
#include <quarn/random/Multivariate.h>
#include <quarn/random/Univariate.h>

#include <samplers/LinearModel.h>
#include <samplers/MarginalLikelihood.h>
#include <samplers/ModelCodes.h>
#include <samplers/PosteriorTable.h>
#include <samplers/RegressionMixtureData_detail.h>
#include <samplers/StoredResults.h>

#include <Eigen/Cholesky>
#include <boost/math/special_functions/gamma.hpp>

#include <algorithm>
#include <cmath>

namespace quarn::samplers {
namespace {

using Eigen::Index;
using Data = RegressionMixture::Data;
using detail::MixtureParameters;
using detail::MixtureWeights;

constexpr int MostComponents = 10;
constexpr std::int64_t DrawsOfReference = 100;
constexpr Index DrawsForAllocation = 1000;

class MixtureChain final : public Chain {
 public:
    explicit MixtureChain(std::shared_ptr<const Data> data)
        : m_data(std::move(data)),
          m_parameters(m_data->Start),
          m_weights(*m_data),
          m_counts(m_data->G()),
          m_sumsOfSquares(m_data->G()),
          m_crossProducts(m_data->X.cols(), m_data->X.cols() * m_data->G()),
          m_crossProductsWithY(m_data->X.cols(), m_data->G()),
          m_priorPart(m_data->Coefficients.Precision * m_data->Coefficients.Mean),
          m_beta(m_data->X.cols()),
          m_factor(m_data->X.cols()) {}

    void Step(Generator& generator) override {
        DrawAllocations(generator);
        m_alpha = m_counts.array() + m_data->Concentration;
        drchrnd(generator.rng, generator.unif, generator.norm, m_alpha, m_parameters.Pi);
        for (Index g = 0; g < m_data->G(); ++g) DrawComponent(generator, g);
    }

    void Store(Eigen::Ref<VectorXd> draw) const override { m_parameters.Store(draw); }

 private:
    /// Sums what the components need as it goes: counts, squared errors at the present coefficients, cross-products.
    void DrawAllocations(Generator& generator) {
        const Index N = m_data->y.size(), last = m_data->G() - 1;
        m_counts.setZero();
        m_sumsOfSquares.setZero();
        m_crossProducts.setZero();
        m_crossProductsWithY.setZero();
        m_weights.Set(m_parameters);
        for (Index from = 0; from < N; from += MixtureWeights::ChunkRows) {
            const Index n = std::min(MixtureWeights::ChunkRows, N - from);
            m_weights.Weigh(m_parameters, from, n);
            for (Index i = 0; i < n; ++i) {
                const double at = UniformDraw(generator.rng, generator.unif) * m_weights.Total(i);
                double sum = 0.0;
                Index g = 0;  // the number of partial sums that are not above
                for (Index h = 0; h < last; ++h) {
                    sum += m_weights.Weight(i, h);
                    g += static_cast<Index>(at >= sum);
                }
                Add(from + i, g, m_weights.Error(i, g));
            }
        }
    }

    void Add(Index observation, Index g, double error) {
        const Index K = m_beta.size();
        const double* const x = m_data->Observations.col(observation).data();
        const double y = m_data->y(observation);
        double* const products = m_crossProducts.col(g * K).data();  // lower triangle
        double* const withY = m_crossProductsWithY.col(g).data();
        for (Index j = 0; j < K; ++j) {
            for (Index k = j; k < K; ++k) products[j * K + k] += x[j] * x[k];
            withY[j] += x[j] * y;
        }
        m_counts(g) += 1.0;
        m_sumsOfSquares(g) += error * error;
    }

    void DrawComponent(Generator& generator, Index g) {
        const Index K = m_beta.size();
        double& tau = m_parameters.Tau(g);
        tau = gamrnd(generator.rng, generator.unif, generator.norm, m_data->ErrorPrecision.Shape + 0.5 * m_counts(g),
                     m_data->ErrorPrecision.Rate + 0.5 * m_sumsOfSquares(g));
        m_precision = m_data->Coefficients.Precision + tau * m_crossProducts.middleCols(g * K, K);
        m_beta = m_priorPart + tau * m_crossProductsWithY.col(g);
        m_factor.compute(m_precision);  // reads the lower triangle
        m_factor.matrixL().solveInPlace(m_beta);
        for (double& element : m_beta) element += NormalDraw(generator.rng, generator.norm);
        m_factor.matrixU().solveInPlace(m_beta);
        m_parameters.Beta.col(g) = m_beta;
    }

    std::shared_ptr<const Data> m_data;
    MixtureParameters m_parameters;
    MixtureWeights m_weights;
    VectorXd m_counts, m_sumsOfSquares;
    MatrixXd m_crossProducts, m_crossProductsWithY;  // of component g: columns g K, ..., (g + 1) K - 1; column g
    VectorXd m_priorPart, m_beta;
    RowVectorXd m_alpha;
    MatrixXd m_precision;
    Eigen::LLT<MatrixXd> m_factor;
};

/// Puts each draw into the order of components of the reference.
void Relabel(Index K, Index G, std::int64_t numInitial, MatrixXd& draws) {
    const Index block = K + 3;
    const auto compared = std::make_shared<MatrixXd>(draws.rows(), G * (K + 2));
    for (Index g = 0; g < G; ++g) {
        compared->middleCols(g * (K + 2), K) = draws.middleCols(g * block, K);
        compared->col(g * (K + 2) + K) = draws.col(g * block + K).array().log();
        compared->col(g * (K + 2) + K + 1) = draws.col(g * block + K + 2);
    }
    const MatrixXi order = kmeansClassifier(compared, static_cast<int>(G), static_cast<int>(numInitial)).classification;
    RowVectorXd before;
    for (Index r = 0; r < draws.rows(); ++r) {
        before = draws.row(r);
        for (Index g = 0; g < G; ++g)
            draws.row(r).segment(order(r, g) * block, block) = before.segment(g * block, block);
    }
}

double LogPrior(const Data& data, const MixtureParameters& parameters) {
    const auto G = static_cast<double>(data.G());
    const double a = data.Concentration;
    double sum =
        boost::math::lgamma(G * a) - G * boost::math::lgamma(a) + (a - 1.0) * parameters.Pi.array().log().sum();
    const MatrixXd L = Eigen::LLT<MatrixXd>(data.Coefficients.Precision).matrixL();
    for (Index g = 0; g < data.G(); ++g)
        sum += LogNormalDensity(parameters.Beta.col(g), data.Coefficients.Mean, L) +
               LogGammaDensity(parameters.Tau(g), data.ErrorPrecision.Shape, data.ErrorPrecision.Rate);
    return sum;
}

/// Parameters t: b and log tau of each component, then log(pi(g) / pi(G - 1)) for all but the last. The density of t has
/// the Jacobian of all tau and all pi.
double LogMLLewisRaftery(const Data& data, const MatrixXd& draws) {
    const Index K = data.X.cols(), G = data.G(), block = K + 3;
    MatrixXd unbounded(draws.rows(), G * (K + 2) - 1);
    for (Index g = 0; g < G; ++g) {
        unbounded.middleCols(g * (K + 1), K) = draws.middleCols(g * block, K);
        unbounded.col(g * (K + 1) + K) = draws.col(g * block + K).array().log();
        if (g + 1 < G)
            unbounded.col(G * (K + 1) + g) =
                (draws.col(g * block + K + 2).array() / draws.col(G * block - 1).array()).log();
    }
    MixtureWeights weights(data);
    const double logOneMode = LaplaceMetropolis(unbounded, [&](const VectorXd& t) {
        MixtureParameters at(K, G);
        at.Pi << t.tail(G - 1).array().exp().transpose(), 1.0;
        at.Pi /= at.Pi.sum();
        for (Index g = 0; g < G; ++g) {
            at.Beta.col(g) = t.segment(g * (K + 1), K);
            at.Tau(g) = std::exp(t(g * (K + 1) + K));
        }
        return LogLikelihood(data, at, weights) + LogPrior(data, at) + at.Tau.array().log().sum() +
               at.Pi.array().log().sum();
    });
    return logOneMode + boost::math::lgamma(static_cast<double>(G) + 1.0);
}

MatrixXd MeanAllocation(const Data& data, const MatrixXd& draws) {
    const Index N = data.y.size(), G = data.G(), used = std::min(draws.rows(), DrawsForAllocation);
    MatrixXd mean = MatrixXd::Zero(N, G);
    MixtureParameters parameters(data.X.cols(), G);
    MixtureWeights weights(data);
    for (Index u = 0; u < used; ++u) {
        parameters.Load(draws.row(u * draws.rows() / used));
        weights.Set(parameters);
        for (Index from = 0; from < N; from += MixtureWeights::ChunkRows) {
            const Index n = std::min(MixtureWeights::ChunkRows, N - from);
            weights.Weigh(parameters, from, n);
            for (Index g = 0; g < G; ++g)
                for (Index i = 0; i < n; ++i) mean(from + i, g) += weights.Weight(i, g) / weights.Total(i);
        }
    }
    return mean / static_cast<double>(used);
}

std::string Fault(const VectorXd& y, const MatrixXd& X, int G, const std::vector<std::string>& indVars,
                  const RegressionMixturePrior& prior) {
    if (y.size() == 0 || y.size() != X.rows()) return "A mixture needs as many rows of regressors as observations.";
    if (X.cols() == 0 || X.cols() != static_cast<Index>(indVars.size()))
        return "A mixture of regressions needs at least one regressor, and a name for each.";
    if (!y.allFinite() || !X.allFinite()) return "A mixture of regressions needs finite data.";
    if (G < 1 || G > MostComponents)
        return "The number of components must be from 1 to " + std::to_string(MostComponents) + ".";
    if (!(prior.Concentration > 0.0 && std::isfinite(prior.Concentration)))
        return "The prior of the component probabilities needs a positive concentration.";
    const std::string fault = CheckPrior(prior.Coefficients, X.cols());
    return fault.empty() && prior.ErrorPrecision ? CheckPrior(*prior.ErrorPrecision) : fault;
}

}  // namespace

RegressionMixture::RegressionMixture(const VectorXd& y, const MatrixXd& X, const MatrixXd& ids, int G,
                                     const std::string& depVar, const std::vector<std::string>& indVars,
                                     const RegressionMixturePrior& prior)
    : SamplerOf<Estimator>("Mixture of regressions", ids), m_fault(Fault(y, X, G, indVars, prior)) {
    DepVarName = depVar;
    IndVarNames = indVars;
    if (m_fault.empty()) m_data = std::make_shared<const Data>(y, X, G, prior);
}

std::vector<std::string> RegressionMixture::GetSamplesNames() {
    std::vector<std::string> names;
    for (Index g = 1; m_data && g <= m_data->G(); ++g) {
        const std::string component = "component" + std::to_string(g) + ".";
        for (const std::string& name : IndVarNames) names.push_back(component + name);
        for (const char* const name : {"tau", "sigma_e", "pi"}) names.push_back(component + name);
    }
    return names;
}

std::string RegressionMixture::CheckData() const { return m_fault; }

Index RegressionMixture::NumParameters() const { return m_data->G() * (m_data->X.cols() + 3); }

std::unique_ptr<Chain> RegressionMixture::MakeChain(Generator&, std::int64_t) const {
    return std::make_unique<MixtureChain>(m_data);
}

void RegressionMixture::Summarise() {
    Relabel(m_data->X.cols(), m_data->G(), std::min(nDraws, DrawsOfReference), *pSamples);
    std::vector<std::string> rows = IndVarNames;
    rows.insert(rows.end(), {"tau", "sigma_e", "pi"});
    std::vector<TableBlock> blocks;
    for (Index g = 1; g <= m_data->G(); ++g) blocks.push_back({"component " + std::to_string(g), rows});
    Summary = PosteriorTable(*pSamples, blocks);
    logML = LogMLLewisRaftery(*m_data, *pSamples);
    HasLogML = std::isfinite(logML);
    m_allocation = std::make_shared<MatrixXd>(MeanAllocation(*m_data, *pSamples));
}

std::shared_ptr<Model> RegressionMixture::MakeModel() const {
    const auto results = std::make_shared<Model>();
    FillModel(*results, "Dependent variable: " + DepVarName +
                            "\nNumber of observations: " + std::to_string(ObsId.rows()) +
                            "\nNumber of components: " + std::to_string(m_data->G()) + "\n");
    results->Elements["allocation"] = m_allocation;
    results->IntList = {static_cast<int>(m_data->G())};
    return std::make_shared<RegressionMixtureModel>(results);
}

RegressionMixtureModel::RegressionMixtureModel(const std::shared_ptr<Model>& results) {
    SetMembersShallow(results);
    ModelCode = RegressionMixtureCode;
}

bool RegressionMixtureModel::Predict(bool, bool, std::shared_ptr<MatrixXd> points, int, std::string,
                                     std::shared_ptr<MatrixXd> predictions, std::string& message, std::string& detail,
                                     EventDispatcher*) {
    const Index G = IntList.size() == 1 ? SumOfSizes(IntList) : -1;
    const bool isWhole = G > 0 && Samples && Samples->cols() % G == 0;
    if (!HasDraws(*this, isWhole ? 4 * G : -1, "a mixture", message)) return false;
    const Index block = Samples->cols() / G, K = block - 3;
    MatrixXd mean = MatrixXd::Zero(Samples->rows(), K);
    for (Index g = 0; g < G; ++g)
        mean += Samples->col((g + 1) * block - 1).asDiagonal() * Samples->middleCols(g * block, K);
    return PredictMeans(mean, K, points, *predictions, message, detail);
}

}  // namespace quarn::samplers
