// A sampler of one's own, from the algorithm to a saved table: linear regression with Student-t errors, for the
// investment of firms.

#include <quarn/quarn.h>

#include <samplers/MarginalLikelihood.h>
#include <samplers/PosteriorTable.h>
#include <samplers/Priors.h>
#include <samplers/Sampler.h>

#include <Eigen/Cholesky>

#include <cmath>
#include <fstream>
#include <iostream>

namespace {

using quarn::MatrixXd;
using quarn::VectorXd;
using quarn::samplers::Chain;
using quarn::samplers::Generator;

// [data]
struct StudentData {
    VectorXd y;
    MatrixXd X;
    quarn::samplers::NormalPrior Coefficients;   // b ~ N(mean, precision^-1)
    quarn::samplers::GammaPrior ErrorPrecision;  // tau ~ gamma(shape, rate)
    double DegreesOfFreedom = 5.0;               // of the errors; given, not estimated
};
// [/data]

// [chain]
/// y(i) = x(i)'b + e(i), e(i) ~ N(0, 1/(tau w(i))), w(i) ~ gamma(v/2, v/2), so that e(i) has a t law with v degrees of
/// freedom. Each of w, b and tau is drawn given the others.
/// Source: Geweke (1993), J. Appl. Econometrics 8, S19-S40.
class StudentChain final : public Chain {
 public:
    explicit StudentChain(std::shared_ptr<const StudentData> data)
        : m_data(std::move(data)), m_b(VectorXd::Zero(m_data->X.cols())), m_w(VectorXd::Ones(m_data->y.size())) {
        DrawCoefficientsAtStart();
    }

    void Step(Generator& g) override {
        DrawWeights(g);
        DrawCoefficients(g);
        DrawPrecision(g);
    }

    void Store(Eigen::Ref<VectorXd> draw) const override { draw << m_b, m_tau; }

 private:
    void DrawWeights(Generator& g) {
        const double v = m_data->DegreesOfFreedom;
        for (Eigen::Index i = 0; i < m_w.size(); ++i)
            m_w(i) = quarn::gamrnd(g.rng, g.unif, g.norm, 0.5 * (v + 1.0), 0.5 * (v + m_tau * m_e(i) * m_e(i)));
    }

    void DrawCoefficients(Generator& g) {
        const auto& prior = m_data->Coefficients;
        m_factor.compute(prior.Precision + m_tau * quarn::XpDX(m_data->X, m_w));
        if (m_factor.info() != Eigen::Success) throw std::runtime_error("the weights of the errors have degenerated");
        m_b = m_factor.solve(prior.Precision * prior.Mean + m_tau * quarn::XpDy(m_data->X, m_w, m_data->y));
        for (double& z : m_z) z = quarn::NormalDraw(g.rng, g.norm);
        m_b += m_factor.matrixU().solve(m_z);
        m_e = m_data->y - m_data->X * m_b;
    }

    void DrawPrecision(Generator& g) {
        const auto& prior = m_data->ErrorPrecision;
        m_tau = quarn::gamrnd(g.rng, g.unif, g.norm, prior.Shape + 0.5 * static_cast<double>(m_e.size()),
                              prior.Rate + 0.5 * m_w.dot(m_e.cwiseAbs2()));
    }

    /// Least squares: a start that is not far off.
    void DrawCoefficientsAtStart() {
        const quarn::OLSChol fit(m_data->y, m_data->X, "", {});
        m_b = fit.b;
        m_e = fit.e;
        m_tau = 1.0 / fit.s2;
    }

    std::shared_ptr<const StudentData> m_data;
    VectorXd m_b, m_w, m_e, m_z = VectorXd::Zero(m_b.size());
    double m_tau = 1.0;
    Eigen::LLT<MatrixXd> m_factor;
};
// [/chain]

// [model]
class StudentModel final : public quarn::Model {
 public:
    static constexpr int Code = 1001;  // beyond those of the samplers that come with the library

    explicit StudentModel(const std::shared_ptr<quarn::Model>& results) {
        SetMembersShallow(results);
        ModelCode = Code;
    }
};
// [/model]

// [sampler]
class StudentRegression final : public quarn::samplers::SamplerOf<quarn::Estimator> {
 public:
    StudentRegression(StudentData data, const MatrixXd& ids, const std::string& depVar,
                      const std::vector<std::string>& indVars)
        : SamplerOf<quarn::Estimator>("Regression with t errors", ids) {
        data.Coefficients = Completed(data.Coefficients, data.X.cols());
        m_data = std::make_shared<const StudentData>(std::move(data));
        DepVarName = depVar;
        IndVarNames = indVars;
    }
    ~StudentRegression() override { InterruptThreads(); }

    std::vector<std::string> GetSamplesNames() override {
        auto names = IndVarNames;
        names.emplace_back("tau");
        return names;
    }

    std::shared_ptr<quarn::Model> MakeModel() const override {
        const auto results = std::make_shared<quarn::Model>();
        FillModel(*results, "Dependent variable: " + DepVarName + "\n");
        return std::make_shared<StudentModel>(results);
    }

 protected:
    std::string CheckData() const override {
        if (m_data->y.size() != m_data->X.rows() || m_data->y.size() <= m_data->X.cols())
            return "A regression needs more observations than regressors.";
        const auto fault = CheckPrior(m_data->Coefficients, m_data->X.cols());
        return fault.empty() ? CheckPrior(m_data->ErrorPrecision) : fault;
    }
    std::unique_ptr<Chain> MakeChain(Generator&, std::int64_t) const override {
        return std::make_unique<StudentChain>(m_data);
    }
    Eigen::Index NumParameters() const override { return m_data->X.cols() + 1; }
    void Summarise() override;

 private:
    std::shared_ptr<const StudentData> m_data;
};
// [/sampler]

// [summarise]
/// log p(y | b, tau) + log p(b) + log p(tau).
double LogPosteriorKernel(const StudentData& data, const VectorXd& b, double tau) {
    const double v = data.DegreesOfFreedom;
    const VectorXd e = data.y - data.X * b;
    const double perObservation =
        std::lgamma(0.5 * (v + 1.0)) - std::lgamma(0.5 * v) + 0.5 * std::log(tau / (M_PI * v));
    return static_cast<double>(e.size()) * perObservation -
           0.5 * (v + 1.0) * (tau / v * e.array().square()).log1p().sum() +
           quarn::samplers::LogNormalDensity(b, data.Coefficients.Mean,
                                             Eigen::LLT<MatrixXd>(data.Coefficients.Precision).matrixL()) +
           quarn::samplers::LogGammaDensity(tau, data.ErrorPrecision.Shape, data.ErrorPrecision.Rate);
}

void StudentRegression::Summarise() {
    Summary = quarn::samplers::PosteriorTable(*pSamples, {{DepVarName, GetSamplesNames()}});
    MatrixXd unbounded = *pSamples;  // (b, log tau), whose density has the Jacobian tau
    const Eigen::Index K = unbounded.cols() - 1;
    unbounded.col(K) = unbounded.col(K).array().log();
    logML = quarn::samplers::LaplaceMetropolis(unbounded, [&](const VectorXd& at) {
        return LogPosteriorKernel(*m_data, at.head(K), std::exp(at(K))) + at(K);
    });
    HasLogML = std::isfinite(logML);
}
// [/summarise]

}  // namespace

// [run]
int main() {
    const auto firms = std::make_shared<quarn::Dataset>("examples/data/grunfeld.csv", ',');
    if (!firms->Loaded) return 1;
    firms->Name = "firms";
    std::vector<std::string> names = {"value", "capital", "invest"};  // the dependent variable is the last one
    StudentData data;
    MatrixXd X, ids;
    if (firms->Prepare_CrossSection(names, X, data.y, ids) != "OK") return 1;
    data.X.resize(X.rows(), 3);
    data.X << VectorXd::Ones(X.rows()), X;

    const auto sampler = std::make_shared<StudentRegression>(data, ids, "invest",
                                                             std::vector<std::string>{"constant", "value", "capital"});
    const std::string status = sampler->Start({.Draws = 2000, .Burnin = 500, .Chains = 2, .Seed = 7});
    if (status != "OK") {
        std::cerr << status << '\n';
        return 1;
    }
    while (!sampler->WaitFor(0.2)) {
        // sampler->IterationsDone() tells how far the chains are; sampler->Stop() ends the run.
    }
    if (!sampler->GetHasResults()) return 1;  // sampler->Failure() says why

    const auto model = sampler->MakeModel();
    model->ModelName = "robust";
    model->ElapsedTime = "not shown here";
    model->PrintResults(quarn::EventDispatcher());

    quarn::samplers::LinkToDataset(model, firms);
    quarn::QuarnStructure workspace;
    workspace.AddDataset("firms", firms);
    workspace.AddModel("robust", model);
    int counter = 0;
    workspace.NotifyAssociatedModelsForSaving(counter);
    std::ofstream file("/dev/null");  // a path of yours
    workspace.SaveStructure(file);
    workspace.Clear();
    return file.good() ? 0 : 1;
}
// [/run]
