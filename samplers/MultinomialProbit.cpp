#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/numerics/MatrixHelpers.h>
#include <quarn/random/Multivariate.h>
#include <quarn/random/TruncatedNormal.h>

#include <samplers/ChoiceProbability.h>
#include <samplers/CovarianceMatrices.h>
#include <samplers/MarginalLikelihood.h>
#include <samplers/ModelCodes.h>
#include <samplers/MultinomialProbit.h>
#include <samplers/PosteriorTable.h>

#include <Eigen/Cholesky>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace quarn::samplers {

using Eigen::Index;

/// Observations are sorted by choice: those of choice c are Count(c) from First[c] on. The regressors of equation j are X
/// and Z[j]. Coefficients stand as in the draws: b by equations, then g.
struct MultinomialProbit::Data {
    Index N = 0, J = 0, K = 0, M = 0;
    MatrixXd X;                                     // N x K
    std::vector<MatrixXd> Z;                        // for each equation, N x M
    MatrixXd Products;                              // of [X Z[0] ... Z[J-1]] with itself
    Eigen::Matrix<Index, Eigen::Dynamic, 1> First;  // J + 2, the last N
    MultinomialProbitPrior Prior;                   // completed
    VectorXd PriorShift;                            // precision times mean

    Index NumCoefficients() const { return J * K + M; }
    Index Count(Index c) const { return First[c + 1] - First[c]; }

    /// Precision of the coefficients given the precision P of the utilities.
    MatrixXd Precision(const MatrixXd& P) const;
    /// Precision times mean, from utilities W, N x J. work: any vector
    VectorXd Shift(const MatrixXd& W, const MatrixXd& P, VectorXd& work) const;
    /// Mean utilities, N x J.
    void Fit(const VectorXd& coefficients, MatrixXd& fit) const;
};

MatrixXd MultinomialProbit::Data::Precision(const MatrixXd& P) const {
    MatrixXd A = Prior.Coefficients.Precision;
    for (Index j = 0; j < J; ++j) {
        for (Index l = 0; l < J; ++l) {
            const Index zj = K + j * M, zl = K + l * M;
            A.block(j * K, l * K, K, K) += P(j, l) * Products.topLeftCorner(K, K);
            A.block(j * K, J * K, K, M) += P(j, l) * Products.block(0, zl, K, M);
            A.block(J * K, j * K, M, K) += P(j, l) * Products.block(zl, 0, M, K);
            A.bottomRightCorner(M, M) += P(j, l) * Products.block(zj, zl, M, M);
        }
    }
    return A;
}

VectorXd MultinomialProbit::Data::Shift(const MatrixXd& W, const MatrixXd& P, VectorXd& work) const {
    VectorXd shift = PriorShift;
    for (Index j = 0; j < J; ++j) {
        work.noalias() = W * P.col(j);
        if (K > 0) shift.segment(j * K, K) += XpZ(X, work);
        if (M > 0) shift.tail(M) += XpZ(Z[static_cast<std::size_t>(j)], work);
    }
    return shift;
}

void MultinomialProbit::Data::Fit(const VectorXd& coefficients, MatrixXd& fit) const {
    fit.setZero(N, J);
    for (Index j = 0; j < J; ++j) {
        if (K > 0) fit.col(j).noalias() += X * coefficients.segment(j * K, K);
        if (M > 0) fit.col(j).noalias() += Z[static_cast<std::size_t>(j)] * coefficients.tail(M);
    }
}

namespace {

using Data = MultinomialProbit::Data;

MatrixXd Inverse(const MatrixXd& A) { return A.llt().solve(MatrixXd::Identity(A.rows(), A.cols())); }

/// Utilities W are drawn coordinate by coordinate given the others. Drawing the J of an observation at a time
/// (MNtrunc_VP) mixes better, inefficiency factors of 14 to 51 against 34 to 72 on the data of the benchmark, but took
/// more than twice the time of a plain loop over coordinates, which is slower than the batches here.
class ChoiceChain final : public Chain {
 public:
    explicit ChoiceChain(std::shared_ptr<const Data> data)
        : m_data(std::move(data)),
          m_b(VectorXd::Zero(m_data->NumCoefficients())),
          m_S(MatrixXd::Identity(m_data->J, m_data->J)),
          m_P(m_S),
          m_W(MatrixXd::Constant(m_data->N, m_data->J, -1.0)),
          m_fit(MatrixXd::Zero(m_data->N, m_data->J)),
          m_bound(m_data->N),
          m_x(m_data->N),
          m_z(m_b.size()) {
        for (Index j = 0; j < m_data->J; ++j) m_W.col(j).segment(m_data->First[j + 1], m_data->Count(j + 1)).setOnes();
        m_E = m_W;
    }

    void Step(Generator& g) override {
        for (Index j = 0; j < m_data->J; ++j) DrawUtilities(g, j);
        DrawCoefficients(g);
        m_data->Fit(m_b, m_fit);
        m_E = m_W - m_fit;
        m_covariance(g, m_data->Prior.Covariance.DegreesOfFreedom + static_cast<double>(m_data->N),
                     m_data->Prior.Covariance.Scale + XpX(m_E), m_S);
        m_P = Inverse(m_S);
    }

    void Store(Eigen::Ref<VectorXd> draw) const override {
        draw.head(m_b.size()) = m_b / std::sqrt(m_S(0, 0));
        Index at = m_b.size();
        for (Index i = 1; i < m_S.rows(); ++i)
            for (Index j = 0; j <= i; ++j) draw(at++) = m_S(i, j) / m_S(0, 0);
    }

 private:
    /// Of all observations in equation j. x is the distance from the bound, and as such truncated to the positive.
    void DrawUtilities(Generator& g, Index j) {
        m_x = m_fit.col(j);
        for (Index l = 0; l < m_data->J; ++l)
            if (l != j) m_x -= m_P(l, j) / m_P(j, j) * m_E.col(l);
        SetBounds(j);
        const Index first = m_data->First[j + 1], count = m_data->Count(j + 1);
        m_x = m_bound - m_x;
        m_x.segment(first, count) *= -1.0;
        tnormrnd_lower(g.rng, g.unif, g.norm, m_x, 1.0 / std::sqrt(m_P(j, j)), m_x);
        m_x.segment(first, count) *= -1.0;
        m_W.col(j) = m_bound - m_x;
        m_E.col(j) = m_W.col(j) - m_fit.col(j);
    }

    /// What utilities of equation j must exceed where it is chosen, and else not exceed: the highest of the others.
    void SetBounds(Index j) {
        for (Index c = 0; c <= m_data->J; ++c) {
            auto bound = m_bound.segment(m_data->First[c], m_data->Count(c));
            const auto W = m_W.middleRows(m_data->First[c], m_data->Count(c));
            if (c != j + 1 && c > 0) {
                bound = W.col(c - 1);
                continue;
            }
            bound.setZero();
            for (Index l = 0; l < m_data->J && c > 0; ++l)
                if (l != j) bound = bound.cwiseMax(W.col(l));
        }
    }

    void DrawCoefficients(Generator& g) {
        const Eigen::LLT<MatrixXd> factor(m_data->Precision(m_P));
        m_b = factor.matrixL().solve(m_data->Shift(m_W, m_P, m_x));
        for (double& x : m_z) x = NormalDraw(g.rng, g.norm);
        m_b += m_z;
        factor.matrixU().solveInPlace(m_b);
    }

    std::shared_ptr<const Data> m_data;
    VectorXd m_b;
    MatrixXd m_S, m_P;         // covariance and precision
    MatrixXd m_W, m_fit, m_E;  // utilities, their means, and the differences, N x J
    InverseWishartDraw m_covariance;
    VectorXd m_bound, m_x, m_z;  // working space
};

double LogLikelihood(const Data& data, const VectorXd& coefficients, const MatrixXd& S, std::int64_t seed) {
    Generator generator = MakeGenerator(seed, FirstAuxiliaryStream);
    const int replications = static_cast<int>(std::clamp(2e6 / static_cast<double>(data.N), 200.0, 1e4));
    const ChoiceProbability probability(S);
    MatrixXd fit;
    data.Fit(coefficients, fit);
    double sum = 0.0;
    for (Index c = 0; c <= data.J; ++c) {
        for (Index i = data.First[c]; i < data.First[c + 1]; ++i)
            sum += std::log(probability(generator, fit.row(i).transpose(), static_cast<int>(c), replications));
    }
    return sum;
}

/// log density of the scaled parameters: that of sqrt(s) c and s S, with the Jacobian s^(p/2 + J(J+1)/2) in c, S and
/// log(s), integrated over log(s) by the trapezoidal rule. For c = 0 the law of log(s) is that of the logarithm of an
/// inverse gamma variate with shape J / 2 times the degrees of freedom, which gives the middle of the grid.
double LogPrior(const Data& data, const VectorXd& c, const MatrixXd& S) {
    constexpr double reach = 30.0, step = 1e-3;
    const auto J = static_cast<double>(data.J), p = static_cast<double>(c.size());
    const NormalPrior& normal = data.Prior.Coefficients;
    const MatrixXd L = normal.Precision.llt().matrixL();
    const double trace = (data.Prior.Covariance.Scale * Inverse(S)).trace();
    const double quadratic = quadForm_Ax(normal.Precision, c), cross = c.dot(data.PriorShift);
    const double atOne =
        LogNormalDensity(VectorXd::Zero(c.size()), normal.Mean, L) +
        LogInverseWishartDensity(S, data.Prior.Covariance.DegreesOfFreedom, data.Prior.Covariance.Scale) + 0.5 * trace;
    const double middle = std::log(trace / (data.Prior.Covariance.DegreesOfFreedom * J));
    VectorXd logs(static_cast<Index>(2.0 * reach / step) + 1);
    for (Index i = 0; i < logs.size(); ++i) {
        const double t = middle - reach + step * static_cast<double>(i), root = std::exp(0.5 * t);
        logs(i) = 0.5 * (p - data.Prior.Covariance.DegreesOfFreedom * J) * t + root * (cross - 0.5 * root * quadratic) -
                  0.5 * trace / (root * root);
    }
    return atOne + LogMeanExp(logs) + std::log(step * static_cast<double>(logs.size()));
}

/// A draw in parameters that may take any value: S becomes its Cholesky factor, whose diagonal becomes its logarithm.
VectorXd Unbounded(const VectorXd& draw, const Data& data) {
    const MatrixXd L = ScaledProbit(draw, data.J, data.K, data.M).S.llt().matrixL();
    VectorXd t = draw;
    Index at = data.NumCoefficients();
    for (Index i = 1; i < data.J; ++i)
        for (Index j = 0; j <= i; ++j) t(at++) = i == j ? std::log(L(i, j)) : L(i, j);
    return t;
}

/// At what Unbounded returns. dS = 2^(J-1) times the product over i >= 1 of L(i,i)^(J-i) dL, counted from 0.
double LogKernel(const Data& data, const VectorXd& t, std::int64_t seed) {
    MatrixXd L = MatrixXd::Identity(data.J, data.J);
    double logJacobian = static_cast<double>(data.J - 1) * std::numbers::ln2;
    Index at = data.NumCoefficients();
    for (Index i = 1; i < data.J; ++i) {
        for (Index j = 0; j < i; ++j) L(i, j) = t(at++);
        logJacobian += static_cast<double>(data.J - i + 1) * t(at);
        L(i, i) = std::exp(t(at++));
    }
    const VectorXd c = t.head(data.NumCoefficients());
    const MatrixXd S = XXpLowerTriang(L);
    return LogLikelihood(data, c, S, seed) + LogPrior(data, c, S) + logJacobian;
}

std::string ShapeFault(const ChoiceData& d) {
    const Index N = d.y.size(), K = d.X.cols(), J = static_cast<Index>(d.AlternativeNames.size());
    if (N == 0 || (K > 0 && d.X.rows() != N)) return "A probit needs as many rows of regressors as observations.";
    if (K == 0 && d.Attributes.empty()) return "A multinomial probit needs at least one regressor or attribute.";
    if (K != static_cast<Index>(d.XNames.size()) || d.Attributes.size() != d.AttributeNames.size())
        return "A multinomial probit needs a name for each regressor and each attribute.";
    if (J == 0) return "A multinomial probit needs at least two alternatives, and a name for each but the base.";
    bool finite = d.X.allFinite() && d.y.allFinite();
    for (const MatrixXd& attribute : d.Attributes) {
        if (attribute.rows() != N || attribute.cols() != J)
            return "An attribute needs a row for each observation and a column for each alternative but the base.";
        finite = finite && attribute.allFinite();
    }
    return finite ? "" : "A multinomial probit needs finite data.";
}

std::string ChoiceFault(const VectorXd& y, Index J) {
    std::vector<Index> count(static_cast<std::size_t>(J) + 1, 0);
    for (const double choice : y) {
        if (!(choice >= 0.0 && choice <= static_cast<double>(J) && choice == std::floor(choice)))
            return "Choices must be whole numbers from 0, the base alternative, to " + std::to_string(J) + ".";
        ++count[static_cast<std::size_t>(choice)];
    }
    for (std::size_t c = 0; c < count.size(); ++c)
        if (count[c] == 0) return "Nobody chooses alternative " + std::to_string(c) + ": leave it out.";
    return "";
}

std::string Fault(const ChoiceData& d, const MultinomialProbitPrior& prior) {
    const auto J = static_cast<Index>(d.AlternativeNames.size());
    if (std::string fault = ShapeFault(d); !fault.empty()) return fault;
    if (std::string fault = ChoiceFault(d.y, J); !fault.empty()) return fault;
    if (std::string fault = CheckPrior(prior.Covariance, J); !fault.empty()) return fault;
    return CheckPrior(prior.Coefficients, J * d.X.cols() + static_cast<Index>(d.Attributes.size()));
}

/// The observations in the order of their choices, and where each choice begins.
std::vector<Index> SortByChoice(const VectorXd& y, Index J, Eigen::Matrix<Index, Eigen::Dynamic, 1>& first) {
    first.resize(J + 2);
    std::vector<Index> order;
    for (Index c = 0; c <= J; ++c) {
        first(c) = static_cast<Index>(order.size());
        for (Index i = 0; i < y.size(); ++i)
            if (y(i) == static_cast<double>(c)) order.push_back(i);
    }
    first(J + 1) = y.size();
    return order;
}

MultinomialProbitPrior Completed(const MultinomialProbitPrior& prior, Index J, Index numCoefficients) {
    MultinomialProbitPrior completed{Completed(prior.Coefficients, numCoefficients), prior.Covariance};
    auto& [df, scale] = completed.Covariance;
    if (df == 0.0) df = static_cast<double>(J + 3);
    if (scale.size() == 0) scale = df * MatrixXd::Identity(J, J);
    return completed;
}

/// J x M, of the estimation sample.
MatrixXd MeanAttributes(const MultinomialProbit::Data& data) {
    MatrixXd means(data.J, data.M);
    for (Index j = 0; j < data.J; ++j) means.row(j) = data.Z[static_cast<std::size_t>(j)].colwise().mean();
    return means;
}

}  // namespace

MultinomialProbit::MultinomialProbit(const ChoiceData& choices, const MatrixXd& ids,
                                     const MultinomialProbitPrior& prior)
    : SamplerOf<Estimator_YX>("Multinomial probit", ids),
      m_fault(Fault(choices, prior)),
      m_attributeNames(choices.AttributeNames) {
    DepVarName = choices.AlternativeNames;
    IndVarNames.assign(DepVarName.size(), choices.XNames);
    if (!m_fault.empty()) return;
    auto data = std::make_shared<Data>();
    data->N = choices.y.size();
    data->J = static_cast<Index>(DepVarName.size());
    data->K = choices.X.cols();
    data->M = static_cast<Index>(choices.Attributes.size());
    const std::vector<Index> order = SortByChoice(choices.y, data->J, data->First);
    data->X = choices.X(order, Eigen::all);
    MatrixXd all(data->N, data->K + data->J * data->M);
    if (data->K > 0) all.leftCols(data->K) = data->X;
    for (Index j = 0; j < data->J; ++j) {
        const Index first = data->K + j * data->M;
        for (Index m = 0; m < data->M; ++m)
            all.col(first + m) = choices.Attributes[static_cast<std::size_t>(m)].col(j)(order);
        data->Z.emplace_back(all.middleCols(first, data->M));
    }
    data->Products = XpX(all);
    data->Prior = Completed(prior, data->J, data->NumCoefficients());
    data->PriorShift = data->Prior.Coefficients.Precision * data->Prior.Coefficients.Mean;
    m_data = std::move(data);
}

/// Rows of the table have the short names; the draws have those of blocks before them.
static std::vector<TableBlock> Blocks(const MultinomialProbit& sampler, const std::vector<std::string>& attributes) {
    std::vector<TableBlock> blocks;
    const std::size_t J = sampler.DepVarName.size();
    for (std::size_t j = 0; j < J; ++j)
        if (!sampler.IndVarNames[j].empty()) blocks.push_back({sampler.DepVarName[j], sampler.IndVarNames[j]});
    if (!attributes.empty()) blocks.push_back({"Attributes", attributes});
    TableBlock covariance{"Covariance", {}};
    for (std::size_t i = 2; i <= J; ++i)
        for (std::size_t j = 1; j <= i; ++j)
            covariance.Rows.push_back("S(" + std::to_string(i) + "," + std::to_string(j) + ")");
    if (J > 1) blocks.push_back(covariance);
    return blocks;
}

std::vector<std::string> MultinomialProbit::GetSamplesNames() {
    std::vector<std::string> names;
    for (const TableBlock& block : Blocks(*this, m_attributeNames))
        for (const std::string& row : block.Rows) names.push_back(block.Heading + "." + row);
    return names;
}

Index MultinomialProbit::NumParameters() const {
    return m_data->NumCoefficients() + m_data->J * (m_data->J + 1) / 2 - 1;
}

std::unique_ptr<Chain> MultinomialProbit::MakeChain(Generator&, std::int64_t) const {
    return std::make_unique<ChoiceChain>(m_data);
}

void MultinomialProbit::Summarise() {
    Summary = PosteriorTable(*pSamples, Blocks(*this, m_attributeNames));
    MatrixXd unbounded(pSamples->rows(), pSamples->cols());
    for (Index r = 0; r < unbounded.rows(); ++r) unbounded.row(r) = Unbounded(pSamples->row(r), *m_data).transpose();
    logML = LaplaceMetropolis(unbounded, [this](const VectorXd& t) { return LogKernel(*m_data, t, nSeed); });
    HasLogML = std::isfinite(logML);
}

std::shared_ptr<Model> MultinomialProbit::MakeModel() const {
    const auto results = std::make_shared<Model>();
    FillModel(*results, "Alternatives: " + std::to_string(m_data->J + 1) +
                            " (utilities relative to the base)\nNumber of observations: " + std::to_string(m_data->N) +
                            "\n");
    results->IntList = {static_cast<int>(m_data->J), static_cast<int>(m_data->K), static_cast<int>(m_data->M)};
    const auto means = std::make_shared<MatrixXd>(1, m_data->K + m_data->M * m_data->J);
    *means << m_data->X.colwise().mean(), MeanAttributes(*m_data).reshaped().transpose();
    results->HiddenElements[MultinomialProbitModel::MeansKey] = means;
    return std::make_shared<MultinomialProbitModel>(results);
}

}  // namespace quarn::samplers
