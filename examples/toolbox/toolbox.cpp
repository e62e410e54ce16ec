// The parts that samplers are made of: draws, dense numerics, minimisation, classical fits.

#include <quarn/quarn.h>

#include <cmath>
#include <iostream>

namespace {

const Eigen::IOFormat Row(7, Eigen::DontAlignCols, " ", "; ");

void Random() {
    std::cout << "== random\n";
    // [random]
    quarn::Rng rng(20240229);
    quarn::Unif unif;  // on 0 to 1
    quarn::Norm norm;  // mean 0, standard deviation 1

    const double precision = quarn::gamrnd(rng, unif, norm, 2.5, 5.0);             // shape, rate: mean 0.5
    const double latent = quarn::tnormrnd_lower(rng, unif, norm, -1.0, 2.0, 0.0);  // mean, sd, bound: above 0
    std::cout << precision << ' ' << latent << '\n';

    const quarn::MatrixXd V{{1.0, 0.6}, {0.6, 2.0}};
    const quarn::MatrixXd L = V.llt().matrixL();  // what multivariate laws take: LL' is the covariance
    quarn::MatrixXd draws(10000, 2);              // a draw in each row; sized by the caller
    quarn::mvnormrnd(rng, norm, Eigen::Vector2d(1.0, -1.0), L, draws);
    std::cout << "covariance " << quarn::cov(draws).format(Row) << '\n';

    const double quadrant = quarn::GHK(rng, unif, norm, L, Eigen::Vector2d(0.0, 0.0), 1000);
    std::cout << "P(x < 0, y < 0) is " << quadrant << ", exactly "
              << 0.25 + std::asin(0.6 / std::sqrt(2.0)) / (2.0 * M_PI) << '\n';
    // [/random]
}

void Numerics() {
    std::cout << "== numerics\n";
    // [numerics]
    const quarn::MatrixXd data{{1.0, 2.0}, {4.0, NAN}, {9.0, 1.0}, {4.0, 5.0}};
    quarn::MatrixXd X;
    if (quarn::dropMissing(data, X) != "OK") return;  // "noData": no complete row
    std::cout << "X'X " << quarn::XpX(X).format(Row) << '\n';

    quarn::RowVectorXd summary;
    quarn::vectorSummary_mean_std_90ci(X.col(0), summary);
    std::cout << "mean, sd, 5%, 95% " << summary.format(Row) << '\n';
    std::cout << "order " << quarn::SortIndex(X.col(0)).transpose().format(Row) << '\n';

    bool ok = false;
    const quarn::MatrixXd rule = quarn::HermiteQuad(20, ok);  // nodes, weights for exp(-x^2)
    const double mean = (rule.col(0).array() * std::sqrt(2.0)).exp().matrix().dot(rule.col(1)) / std::sqrt(M_PI);
    std::cout << "E exp(z) is " << mean << ", exactly " << std::exp(0.5) << '\n';
    // [/numerics]
}

void Optimization() {
    std::cout << "== optimization\n";
    // [optimization]
    const quarn::Dataset survey("examples/data/anes96.csv", ',');
    std::vector<std::string> names = {"pid", "age", "educ", "vote"};  // the dependent variable is last
    quarn::MatrixXd regressors, ids;
    quarn::logL_BProbit objective;  // minus the log-likelihood
    if (!survey.Loaded || survey.Prepare_CrossSection(names, regressors, objective.y, ids) != "OK") return;
    objective.X.resize(regressors.rows(), 4);
    objective.X << quarn::VectorXd::Ones(regressors.rows()), regressors;

    quarn::Optimize optimize(&objective);
    optimize.BFGS_fg(quarn::VectorXd::Zero(4), 1e-5, 1000);
    const bool converged = objective.g(optimize.xmin).norm() <= 1e-5;  // nothing else tells
    std::cout << (converged ? "log-likelihood " : "not converged: ") << -optimize.fmin << '\n';
    std::cout << "constant, pid, age, educ " << optimize.xmin.transpose().format(Row) << '\n';
    // [/optimization]
}

void Classical() {
    std::cout << "== classical\n";
    // [least-squares]
    const quarn::Dataset firms("examples/data/grunfeld.csv", ',');
    std::vector<std::string> names = {"value", "capital", "invest"};
    quarn::MatrixXd regressors, ids;
    quarn::VectorXd y;
    if (!firms.Loaded || firms.Prepare_CrossSection(names, regressors, y, ids) != "OK") return;
    quarn::MatrixXd X(y.size(), 3);
    X << quarn::VectorXd::Ones(y.size()), regressors;

    const quarn::OLSChol fit(y, X, "invest", {"constant", "value", "capital"});
    const quarn::MatrixXd V = fit.s2 * fit.ldlt.solve(quarn::MatrixXd::Identity(fit.K, fit.K));
    std::cout << "b " << fit.b.transpose().format(Row) << '\n';
    std::cout << "standard errors " << V.diagonal().cwiseSqrt().transpose().format(Row) << '\n';
    // [/least-squares]

    // [mixture]
    quarn::MatrixXd Y(y.size(), 1);
    Y.col(0) = y.array().log();
    const quarn::MVNORMEM mixture(Y, 2, 1000, quarn::MatrixXd(), quarn::MatrixXd());  // no start of the caller's
    std::cout << "means " << mixture.Mu.format(Row) << ", shares " << mixture.Pi.transpose().format(Row) << '\n';
    // [/mixture]

    // [relabel]
    const auto draws = std::make_shared<quarn::MatrixXd>(4, 2);  // a mean for each of two components
    *draws << 0.1, 5.0, -0.1, 5.1, 4.9, 0.0, 0.2, 5.2;           // the third draw has them the other way round
    const quarn::kmeansClassifier labels(draws, 2, 2);           // the reference: the mean of the first two draws
    std::cout << "permutations " << labels.classification.format(Row) << '\n';
    // [/relabel]
}

}  // namespace

int main() {
    Random();
    Numerics();
    Optimization();
    Classical();
}
