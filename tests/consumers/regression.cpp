// A sampler of the library's own: linear regression, two chains, the table of results.
#include <quarn/quarn.h>

#include <samplers/LinearRegression.h>

#include <iostream>

using namespace quarn;

int main() {
    Rng rng(1);
    Norm norm;
    MatrixXd X = MatrixXd::Ones(200, 2), ids = VectorXd::LinSpaced(200, 1, 200);
    VectorXd y(X.rows());
    for (Eigen::Index i = 0; i < X.rows(); ++i) {
        X(i, 1) = NormalDraw(rng, norm);
        y(i) = 1.0 + 2.0 * X(i, 1) + NormalDraw(rng, norm);
    }
    samplers::LinearRegression regression(y, X, ids, "y", {"const", "x"});
    const std::string status = regression.Start({.Draws = 5000, .Burnin = 500, .Chains = 2});
    while (!regression.WaitFor(0.1)) std::cerr << '.';
    if (!regression.GetHasResults()) {
        std::cerr << status << ' ' << regression.Failure() << '\n';
        return 1;
    }
    regression.MakeModel()->PrintResults(EventDispatcher());
}
