#include <quarn/numerics/Densities.h>
#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/numerics/MatrixHelpers.h>
#include <quarn/optimize/LogLikelihoods.h>
#include <quarn/random/Multivariate.h>
#include <quarn/random/TruncatedNormal.h>

#include <samplers/BinaryProbit.h>
#include <samplers/MarginalLikelihood.h>
#include <samplers/ModelCodes.h>
#include <samplers/PosteriorTable.h>

#include <Eigen/Cholesky>

#include <algorithm>
#include <cmath>

namespace quarn::samplers {

/// A row of X and its z are multiplied by -1 where y is 0. All z are then truncated to the positive, and the law of b
/// given z is the same: that of a linear model with covariance I.
struct BinaryProbit::Data {
    MatrixXd X;
    NormalPrior Prior;  // completed
    VectorXd PriorShift;
    MatrixXd Factor;  // L, with LL' = X'X + P the precision of b given z
    MatrixXd Root;    // its inverse

    /// With c = X'z + P m, the mean of b given z is Root' Root c.
    VectorXd Shift(const VectorXd& z) const { return XpZ(X, z) + PriorShift; }
};

namespace {

using Data = BinaryProbit::Data;
using Eigen::Index;

/// z given b, in place of what z was.
void DrawLatent(Generator& g, const Data& data, const VectorXd& b, VectorXd& z) {
    z.noalias() = data.X * b;
    tnormrnd_lower(g.rng, g.unif, g.norm, z, 1.0, z);
}

class ProbitChain final : public Chain {
 public:
    explicit ProbitChain(std::shared_ptr<const Data> data)
        : m_data(std::move(data)), m_b(VectorXd::Zero(m_data->X.cols())), m_z(m_data->X.rows()), m_work(m_b) {}

    void Step(Generator& generator) override {
        DrawLatent(generator, *m_data, m_b, m_z);
        m_work.noalias() = m_data->Root * m_data->Shift(m_z);
        for (double& x : m_work) x += NormalDraw(generator.rng, generator.norm);
        m_b.noalias() = m_data->Root.transpose() * m_work;
    }

    void Store(Eigen::Ref<VectorXd> draw) const override { draw = m_b; }

 private:
    std::shared_ptr<const Data> m_data;
    VectorXd m_b, m_z, m_work;
};

double LogKernel(const Data& data, const VectorXd& b) {
    logL_BProbit negative;
    negative.X = data.X;
    negative.y = VectorXd::Ones(data.X.rows());
    const MatrixXd L = Eigen::LLT<MatrixXd>(data.Prior.Precision).matrixL();
    return LogNormalDensity(b, data.Prior.Mean, L) - negative.f(b);
}

/// log p(b | y), by the law of b given z.
double LogOrdinate(const Data& data, const MatrixXd& draws, const VectorXd& b, std::int64_t seed) {
    Generator generator = MakeGenerator(seed, FirstAuxiliaryStream);
    VectorXd ordinates(std::min(draws.rows(), BinaryProbit::OrdinateDraws)), z(data.X.rows());
    for (Index i = 0; i < ordinates.size(); ++i) {
        DrawLatent(generator, data, draws.row(i * draws.rows() / ordinates.size()).transpose(), z);
        const VectorXd mean = data.Root.transpose() * (data.Root * data.Shift(z));
        ordinates(i) = LogNormalDensity(b, mean, data.Factor);
    }
    return LogMeanExp(ordinates);
}

/// Whether a Cholesky factor of A has lost all digits of a pivot.
bool IsSingular(const Eigen::LLT<MatrixXd>& factor, const MatrixXd& A) {
    constexpr double smallestPivot = 1e-12;
    const auto L = factor.matrixLLT().diagonal().array();
    return factor.info() != Eigen::Success || !(L.square() > smallestPivot * A.diagonal().array()).all();
}

std::string Fault(const VectorXd& y, const MatrixXd& X, const std::vector<std::string>& indVars,
                  const BinaryProbitPrior& prior) {
    if (y.size() == 0 || y.size() != X.rows()) return "A probit needs as many rows of regressors as observations.";
    if (X.cols() == 0 || X.cols() != static_cast<Index>(indVars.size()))
        return "A probit needs at least one regressor, and a name for each.";
    if (!y.allFinite() || !X.allFinite()) return "A probit needs finite data.";
    if ((y.array() != 0.0 && y.array() != 1.0).any())
        return "The dependent variable of a binary probit must be 0 or 1 everywhere.";
    if ((y.array() == y(0)).all())
        return "The dependent variable of a binary probit must be 0 somewhere and 1 somewhere.";
    return CheckPrior(prior.Coefficients, X.cols());
}

}  // namespace

BinaryProbit::BinaryProbit(const VectorXd& y, const MatrixXd& X, const MatrixXd& ids, const std::string& depVar,
                           const std::vector<std::string>& indVars, const BinaryProbitPrior& prior)
    : SamplerOf<Estimator>("Binary probit", ids), m_fault(Fault(y, X, indVars, prior)) {
    DepVarName = depVar;
    IndVarNames = indVars;
    if (!m_fault.empty()) return;
    auto data = std::make_shared<Data>();
    data->X = (2.0 * y.array() - 1.0).matrix().asDiagonal() * X;
    data->Prior = Completed(prior.Coefficients, X.cols());
    data->PriorShift = data->Prior.Precision * data->Prior.Mean;
    const MatrixXd precision = XpX(X) + data->Prior.Precision;
    const Eigen::LLT<MatrixXd> factor(precision);
    if (IsSingular(factor, precision)) {
        m_fault = "The regressors are collinear, and the prior is too vague to make up for it.";
        return;
    }
    data->Factor = factor.matrixL();
    data->Root = factor.matrixL().solve(MatrixXd::Identity(X.cols(), X.cols()));
    m_data = std::move(data);
    m_X = std::make_shared<MatrixXd>(X);
}

Index BinaryProbit::NumParameters() const { return m_data->X.cols(); }

std::unique_ptr<Chain> BinaryProbit::MakeChain(Generator&, std::int64_t) const {
    return std::make_unique<ProbitChain>(m_data);
}

void BinaryProbit::Summarise() {
    Summary = PosteriorTable(*pSamples, {{DepVarName, IndVarNames}});
    logML = LaplaceMetropolis(*pSamples, [this](const VectorXd& b) { return LogKernel(*m_data, b); });
    HasLogML = std::isfinite(logML);
    RowVectorXd mean(pSamples->cols());
    matrixMean(*pSamples, mean);
    const VectorXd b = mean.transpose();
    logML_CJ = LogKernel(*m_data, b) - LogOrdinate(*m_data, *pSamples, b, nSeed);
    HasLogML_CJ = std::isfinite(logML_CJ);
}

std::shared_ptr<Model> BinaryProbit::MakeModel() const {
    const auto results = std::make_shared<Model>();
    FillModel(*results,
              "Dependent variable: " + DepVarName + "\nNumber of observations: " + std::to_string(ObsId.rows()) + "\n");
    results->HiddenElements[BinaryProbitModel::RegressorsKey] = m_X;
    return std::make_shared<BinaryProbitModel>(results);
}

}  // namespace quarn::samplers
