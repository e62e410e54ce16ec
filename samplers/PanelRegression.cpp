#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/random/Univariate.h>

#include <samplers/CovarianceMatrices.h>
#include <samplers/GroupedLinearModel.h>
#include <samplers/LinearModel.h>
#include <samplers/MarginalLikelihood.h>
#include <samplers/ModelCodes.h>
#include <samplers/PanelRegression.h>
#include <samplers/PosteriorTable.h>
#include <samplers/StoredResults.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <stdexcept>

namespace quarn::samplers {

struct PanelRegression::Data {
    GroupedLinearModel Groups;
    NormalPrior Coefficients;             // of (a, mu)
    InverseWishartPrior GroupCovariance;  // completed
    GammaPrior ErrorPrecision;
    double N = 0.0;
    double StartTau = 1.0;
    MatrixXd StartD;

    Eigen::Index NumCoefficients() const { return Coefficients.Mean.size(); }
    Eigen::Index NumParameters() const { return NumCoefficients() + TriangleSize(Groups.NumEffects()) + 2; }
    double PosteriorShape() const { return ErrorPrecision.Shape + 0.5 * N; }
    double PosteriorDf() const { return GroupCovariance.DegreesOfFreedom + static_cast<double>(Groups.NumGroups()); }
};

namespace {

using Data = PanelRegression::Data;
using Eigen::Index;

/// How many draws to draw the b_i for anew: 10000, and fewer for many groups, whose b_i say more of D and tau.
Index NumDrawsOfEffects(Index groups) { return std::clamp<Index>(20'000'000 / groups, 500, 10000); }

/// All parameters but the b_i.
struct Parameters {
    VectorXd t;  // (a, mu)
    MatrixXd D;
    double tau = 0.0;
};

Parameters Unpack(const Data& data, const Eigen::Ref<const VectorXd>& draw) {
    const Index k = data.NumCoefficients(), p = data.Groups.NumEffects();
    Parameters parameters{draw.head(k), MatrixXd(p, p), draw(draw.size() - 2)};
    UnpackTriangle(draw.segment(k, TriangleSize(p)), parameters.D);
    return parameters;
}

MatrixXd Inverse(const MatrixXd& A) { return Eigen::LLT<MatrixXd>(A).solve(MatrixXd::Identity(A.rows(), A.cols())); }

class PanelChain final : public Chain {
 public:
    explicit PanelChain(std::shared_ptr<const Data> data)
        : m_data(std::move(data)), m_state{m_data->Coefficients.Mean, m_data->StartD, m_data->StartTau} {}

    void Step(Generator& generator) override {
        DrawCoefficients(generator);
        m_factorOfD.compute(m_state.D);
        m_precision.setIdentity(m_state.D.rows(), m_state.D.cols());
        m_factorOfD.solveInPlace(m_precision);
        m_data->Groups.DrawEffects(generator, m_state.t, m_precision, m_state.tau, m_work, nullptr);
        m_work.Scatter += m_data->GroupCovariance.Scale;
        m_drawD(generator, m_data->PosteriorDf(), m_work.Scatter, m_state.D);
        m_state.tau = gamrnd(generator.rng, generator.unif, generator.norm, m_data->PosteriorShape(),
                             m_data->ErrorPrecision.Rate + 0.5 * m_work.SumOfSquares);
    }

    void Store(Eigen::Ref<VectorXd> draw) const override {
        const Index k = m_state.t.size();
        draw.head(k) = m_state.t;
        PackTriangle(m_state.D, draw.segment(k, draw.size() - k - 2));
        draw.tail<2>() << m_state.tau, 1.0 / std::sqrt(m_state.tau);
    }

 private:
    void DrawCoefficients(Generator& generator) {
        m_data->Groups.CoefficientLaw(m_data->Coefficients, m_state.D, m_state.tau, m_work, m_mean, m_factor);
        if (m_factor.info() != Eigen::Success)
            throw std::runtime_error("The precision matrix of the coefficients became singular.");
        for (double& element : m_state.t) element = NormalDraw(generator.rng, generator.norm);
        m_factor.matrixU().solveInPlace(m_state.t);
        m_state.t += m_mean;
    }

    std::shared_ptr<const Data> m_data;
    Parameters m_state;
    GroupedLinearModel::Work m_work;
    InverseWishartDraw m_drawD;
    Eigen::LLT<MatrixXd> m_factor, m_factorOfD;
    VectorXd m_mean;
    MatrixXd m_precision;
};

double LogLikelihoodAndPrior(const Data& data, const Parameters& at) {
    GroupedLinearModel::Work work;
    const Eigen::LLT<MatrixXd> priorFactor(data.Coefficients.Precision);
    return data.Groups.LogLikelihood(at.t, at.D, at.tau, work) +
           LogNormalDensity(at.t, data.Coefficients.Mean, priorFactor.matrixL()) +
           LogInverseWishartDensity(at.D, data.GroupCovariance.DegreesOfFreedom, data.GroupCovariance.Scale) +
           LogGammaDensity(at.tau, data.ErrorPrecision.Shape, data.ErrorPrecision.Rate);
}

double LogMLLewisRaftery(const Data& data, const MatrixXd& draws) {
    const Index k = data.NumCoefficients(), p = data.Groups.NumEffects(), size = TriangleSize(p);
    MatrixXd unbounded = draws.leftCols(k + size + 1);
    MatrixXd D(p, p);
    for (Index r = 0; r < draws.rows(); ++r) {
        UnpackTriangle(draws.row(r).segment(k, size).transpose(), D);
        unbounded.row(r).segment(k, size) = UnboundedFromCovariance(D).transpose();
    }
    unbounded.col(k + size) = unbounded.col(k + size).array().log();
    return LaplaceMetropolis(unbounded, [&](const VectorXd& at) {
        const VectorXd u = at.segment(k, size);
        const double logTau = at(k + size);
        return LogLikelihoodAndPrior(data, {at.head(k), CovarianceFromUnbounded(u, p), std::exp(logTau)}) +
               LogJacobian(u, p) + logTau;
    });
}

/// What new draws of the b_i given draws of the other parameters tell.
struct EffectsResults {
    MatrixXd MeanDeviations;  // Kx x groups: posterior means of b_i - mu
    VectorXd LogOrdinates;    // log p(D, tau | y, t, b) at one (D, tau), for each draw
};

EffectsResults DrawEffectsAnew(const Data& data, const MatrixXd& draws, const Parameters& at, std::int64_t seed) {
    const Index most = NumDrawsOfEffects(data.Groups.NumGroups()), step = (draws.rows() + most - 1) / most;
    EffectsResults results;
    results.MeanDeviations.setZero(data.Groups.NumEffects(), data.Groups.NumGroups());
    results.LogOrdinates.resize((draws.rows() + step - 1) / step);
    Generator generator = MakeGenerator(seed, FirstAuxiliaryStream);
    GroupedLinearModel::Work work;
    for (Index i = 0; i < results.LogOrdinates.size(); ++i) {
        const Parameters draw = Unpack(data, draws.row(i * step).transpose());
        data.Groups.DrawEffects(generator, draw.t, Inverse(draw.D), draw.tau, work, &results.MeanDeviations);
        const MatrixXd scatter = work.Scatter.selfadjointView<Eigen::Lower>();
        results.LogOrdinates(i) =
            LogInverseWishartDensity(at.D, data.PosteriorDf(), data.GroupCovariance.Scale + scatter) +
            LogGammaDensity(at.tau, data.PosteriorShape(), data.ErrorPrecision.Rate + 0.5 * work.SumOfSquares);
    }
    results.MeanDeviations /= static_cast<double>(results.LogOrdinates.size());
    return results;
}

/// The ordinate at (a, mu, D, tau): that of (D, tau), averaged, and that of (a, mu) given these.
double LogMLChib(const Data& data, const Parameters& at, const VectorXd& logOrdinates) {
    GroupedLinearModel::Work work;
    VectorXd mean;
    Eigen::LLT<MatrixXd> factor;
    data.Groups.CoefficientLaw(data.Coefficients, at.D, at.tau, work, mean, factor);
    return LogLikelihoodAndPrior(data, at) - LogMeanExp(logOrdinates) - LogNormalDensity(at.t, mean, factor.matrixL());
}

std::string FaultOfData(const VectorXd& y, const MatrixXd& Z, const MatrixXd& X, const MatrixXi& structure) {
    const bool hasZ = Z.cols() > 0;
    if (y.size() == 0 || y.size() != X.rows() || (hasZ && y.size() != Z.rows()))
        return "A panel regression needs as many rows of regressors as observations.";
    if (structure.cols() != 2 || structure.rows() == 0 || structure.minCoeff() < 1 ||
        structure.col(0).cast<double>().dot(structure.col(1).cast<double>()) != static_cast<double>(y.size()))
        return "The structure of the panel does not add up to the number of observations.";
    if (!y.allFinite() || !X.allFinite() || (hasZ && !Z.allFinite())) return "A panel regression needs finite data.";
    return "";
}

std::string FaultOfNames(const MatrixXd& Z, const MatrixXd& X, const std::vector<std::string>& zVars,
                         const std::vector<std::string>& xVars) {
    if (X.cols() == 0) return "A panel regression needs a regressor with group effects: a constant at least.";
    if (Z.cols() != static_cast<Index>(zVars.size()) || X.cols() != static_cast<Index>(xVars.size()))
        return "A panel regression needs a name for each regressor.";
    std::set<std::string> names(zVars.begin(), zVars.end());
    names.insert(xVars.begin(), xVars.end());
    if (names.size() != zVars.size() + xVars.size())
        return "A regressor must stand once, either with group effects or with a common coefficient.";
    return "";
}

std::string FaultOfPrior(const PanelRegressionPrior& prior, Index Kz, Index Kx) {
    for (const std::string& fault :
         {Kz > 0 ? CheckPrior(prior.Common, Kz) : std::string(), CheckPrior(prior.GroupMean, Kx),
          CheckPrior(prior.GroupCovariance, Kx), CheckPrior(prior.ErrorPrecision)})
        if (!fault.empty()) return fault;
    return "";
}

/// The prior of (a, mu).
NormalPrior Joined(const NormalPrior& a, const NormalPrior& mu) {
    const Index Kz = a.Mean.size(), Kx = mu.Mean.size();
    NormalPrior joined{VectorXd(Kz + Kx), MatrixXd::Zero(Kz + Kx, Kz + Kx)};
    joined.Mean << a.Mean, mu.Mean;
    joined.Precision.topLeftCorner(Kz, Kz) = a.Precision;
    joined.Precision.bottomRightCorner(Kx, Kx) = mu.Precision;
    return joined;
}

}  // namespace

PanelRegression::PanelRegression(const VectorXd& y, const MatrixXd& Z, const MatrixXd& X, const MatrixXd& ids,
                                 const MatrixXi& structure, const std::string& depVar,
                                 const std::vector<std::string>& zVars, const std::vector<std::string>& xVars,
                                 const PanelRegressionPrior& prior)
    : SamplerOf<Estimator_yZX>("Panel regression", ids) {
    DepVarName = depVar;
    IndVarNames = zVars;
    IndVarNamesX = xVars;
    for (const std::string& fault :
         {FaultOfNames(Z, X, zVars, xVars), FaultOfData(y, Z, X, structure), FaultOfPrior(prior, Z.cols(), X.cols())})
        if (m_fault.empty()) m_fault = fault;
    if (!m_fault.empty()) return;
    auto data = std::make_shared<Data>();
    data->Groups = GroupedLinearModel(y, Z, X, structure);
    data->Coefficients = Joined(Completed(prior.Common, Z.cols()), Completed(prior.GroupMean, X.cols()));
    data->GroupCovariance = Completed(prior.GroupCovariance, X.cols());
    data->ErrorPrecision = prior.ErrorPrecision;
    data->N = static_cast<double>(y.size());
    const double variance = vectorVar(y) > 0.0 ? vectorVar(y) : 1.0;  // NaN of one observation gives 1, too
    const VectorXd squares = X.colwise().squaredNorm() / data->N;
    data->StartTau = 1.0 / variance;
    data->StartD = (squares.array() > 0.0).select(variance / squares.array(), variance).matrix().asDiagonal();
    m_data = std::move(data);
}

std::vector<std::string> PanelRegression::GetSamplesNames() {
    std::vector<std::string> names = IndVarNames;
    const std::vector<std::string> covariances = CovarianceNames(IndVarNamesX);
    names.insert(names.end(), IndVarNamesX.begin(), IndVarNamesX.end());
    names.insert(names.end(), covariances.begin(), covariances.end());
    names.insert(names.end(), {"tau", "sigma_e"});
    return names;
}

std::string PanelRegression::CheckData() const { return m_fault; }

Eigen::Index PanelRegression::NumParameters() const { return m_data->NumParameters(); }

std::unique_ptr<Chain> PanelRegression::MakeChain(Generator&, std::int64_t) const {
    return std::make_unique<PanelChain>(m_data);
}

void PanelRegression::Summarise() {
    std::vector<TableBlock> blocks = {{"group means", IndVarNamesX},
                                      {"covariances", CovarianceNames(IndVarNamesX)},
                                      {"error term", {"tau", "sigma_e"}}};
    if (!IndVarNames.empty()) blocks.insert(blocks.begin(), {DepVarName, IndVarNames});
    Summary = PosteriorTable(*pSamples, blocks);

    const MatrixXd& draws = *pSamples;
    RowVectorXd mean(draws.cols());
    matrixMean(draws, mean);
    const Parameters at = Unpack(*m_data, mean.transpose());
    const EffectsResults effects = DrawEffectsAnew(*m_data, draws, at, nSeed);
    m_groupEffects = std::make_shared<MatrixXd>(effects.MeanDeviations.transpose());
    m_groupEffects->rowwise() += at.t.tail(m_data->Groups.NumEffects()).transpose();
    logML = LogMLLewisRaftery(*m_data, draws);
    HasLogML = std::isfinite(logML);
    logML_CJ = LogMLChib(*m_data, at, effects.LogOrdinates);
    HasLogML_CJ = std::isfinite(logML_CJ);
}

std::shared_ptr<Model> PanelRegression::MakeModel() const {
    const auto results = std::make_shared<Model>();
    FillModel(*results, "Dependent variable: " + DepVarName +
                            "\nNumber of observations: " + std::to_string(ObsId.rows()) +
                            "\nNumber of groups: " + std::to_string(m_data->Groups.NumGroups()) + "\n");
    results->IntList = {static_cast<int>(IndVarNames.size()), static_cast<int>(IndVarNamesX.size())};
    results->Elements[PanelRegressionModel::GroupEffectsKey] = m_groupEffects;
    return std::make_shared<PanelRegressionModel>(results);
}

PanelRegressionModel::PanelRegressionModel(const std::shared_ptr<Model>& results) {
    SetMembersShallow(results);
    ModelCode = PanelRegressionCode;
}

bool PanelRegressionModel::Predict(bool, bool, std::shared_ptr<MatrixXd> points, int, std::string,
                                   std::shared_ptr<MatrixXd> predictions, std::string& message, std::string& detail,
                                   EventDispatcher*) {
    const Index k = SumOfSizes(IntList);
    if (!HasDraws(*this, k, "a panel regression", message)) return false;
    return PredictMeans(*Samples, k, points, *predictions, message, detail);
}

}  // namespace quarn::samplers
