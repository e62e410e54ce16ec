#include <quarn/base/FormatLine.h>
#include <quarn/models/ShadedLine_detail.h>
#include <quarn/numerics/PosteriorAnalysis.h>
#include <quarn/reports/CompareModels.h>

#include <algorithm>
#include <cmath>

namespace quarn {
namespace {

using Eigen::Index;

/// Posteriors by the odds of neighbouring models, in the given order. False where a step leaves the range of normal
/// doubles, so that the result can be NaN or without any correct digit.
bool ChainOdds(const VectorXd& logMarginal, const VectorXd& priors, VectorXd& posteriors) {
    const auto logWeight = [&](Index i) { return logMarginal(i) + std::log(priors(i)); };
    const Index last = logMarginal.size() - 1;
    VectorXd odds(last);
    double sum = 1.0;  // of the weights relative to the last one
    for (Index i = 0; i < last; ++i) {
        odds(i) = std::exp(logWeight(i) - logWeight(i + 1));
        sum = sum * odds(i) + 1.0;
    }
    posteriors.resize(last + 1);
    posteriors(last) = 1.0 / sum;
    for (Index i = last - 1; i >= 0; --i) posteriors(i) = odds(i) * posteriors(i + 1);
    const auto isNormal = [](double value) { return std::isnormal(value); };
    return std::all_of(odds.begin(), odds.end(), isNormal) &&
           std::all_of(posteriors.begin(), posteriors.end(), isNormal);
}

}  // namespace

CompareModels::CompareModels(const std::vector<std::string>& names, const std::vector<std::string>& types,
                             const VectorXd& logML, const VectorXd& priors)
    : Results(logML.size(), 3), ModelNames(names), MLTypes(types), LogML(logML) {
    if (logML.size() == 0) return;
    VectorXd posteriors;
    if (!ChainOdds(logML, priors, posteriors)) posteriors = ComputePosteriors(logML, priors);
    Results << logML, priors, posteriors;
}

void CompareModels::Print(const EventDispatcher& dispatcher) const {
    EventDispatcher output = dispatcher;
    const Colour black(0, 0, 0, 255);
    output.PrintModel("POSTERIOR MODEL PROBABILITIES: ", "");
    output.PrintNewLine();
    output.PrintLine();
    output.PrintColor("               \t  Log-Marginal\t       Type of log-ML\t    Prior Model\t     Posterior Model\n",
                      black, true);
    output.PrintColor("Model          \t   Likelihood \t        Approximation\t    Probability\t       Probability  \n",
                      black, true);
    output.PrintLine();
    for (std::size_t i = 0; i < ModelNames.size(); ++i) {
        const RowVectorXd row = Results.row(static_cast<Index>(i));
        const std::string line = FormatLine(ModelNames[i], MLTypes[i], row.head(1), row.tail(2));
        detail::PrintRow(output, line, i % 2 == 1);
    }
    output.PrintLine();
    output.PrintNewLine();
    output.PrintNewLine();
}

}  // namespace quarn
