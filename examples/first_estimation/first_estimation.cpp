// From a file to a table and a saved workspace: a linear regression, with everything that a first program needs.

#include <quarn/quarn.h>

#include <samplers/LinearRegression.h>

#include <fstream>
#include <iostream>

// [first]
int main() {
    const auto firms = std::make_shared<quarn::Dataset>("examples/data/grunfeld.csv", ',');
    if (!firms->Loaded) return 1;  // StatusText says why

    std::vector<std::string> names = {"value", "capital", "invest"};  // the dependent variable is the last one
    quarn::MatrixXd X, ids;
    quarn::VectorXd y;
    if (firms->Prepare_CrossSection(names, X, y, ids) != "OK") return 1;  // complete observations only

    quarn::samplers::LinearRegression regression(y, X, ids, "invest", {"value", "capital"});
    const std::string status = regression.Start({.Draws = 10000, .Burnin = 1000, .Seed = 42});
    if (status != "OK" || !regression.WaitFor(60.0)) return 1;

    const auto model = regression.MakeModel();
    model->PrintResults(quarn::EventDispatcher());
    std::cout << "Mean of the first coefficient: " << quarn::vectorMean(model->Samples->col(0)) << '\n';
}
// [/first]
