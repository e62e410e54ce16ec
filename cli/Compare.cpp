#include "Commands.h"
#include "Workspace.h"

#include <quarn/base/EventDispatcher.h>
#include <quarn/reports/CompareModels.h>

#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace quarn::cli {
namespace {

struct CompareOptions {
    std::string File;
    std::vector<std::string> Models;
    std::string LogML = "lr";
    std::vector<double> Priors;
};

/// A log marginal likelihood that a model may have.
struct Approximation {
    std::string Key, Authors;
};

const std::map<std::string, Approximation> Approximations = {{"lr", {Model::LogMLKey, "Lewis & Raftery"}},
                                                             {"cj", {Model::LogMLCJKey, "Chib & Jeliazkov"}}};

double LogMLOf(const QuarnStructure& top, const CompareOptions& options, const std::string& path) {
    const Approximation& approximation = Approximations.at(options.LogML);
    const auto model = FindModel(top, options.File, path);
    const auto element = model->Elements.find(approximation.Key);
    if (element == model->Elements.end() || element->second->size() != 1)
        throw Failure(options.File + ": the model " + path + " has no log marginal likelihood by " +
                      approximation.Authors);
    return (*element->second)(0, 0);
}

void Compare(const CompareOptions& options) {
    const Workspace workspace(options.File);
    const auto count = static_cast<Eigen::Index>(options.Models.size());
    VectorXd logML(count), priors = VectorXd::Constant(count, 1.0 / static_cast<double>(count));
    for (Eigen::Index i = 0; i < count; ++i)
        logML(i) = LogMLOf(workspace.Top, options, options.Models[static_cast<std::size_t>(i)]);
    if (!options.Priors.empty()) priors = VectorXd::Map(options.Priors.data(), count);
    const std::vector<std::string> types(options.Models.size(), Approximations.at(options.LogML).Authors);
    CompareModels(options.Models, types, logML, priors).Print(EventDispatcher());
}

/// Written so that NaN fails.
std::string CheckPrior(const std::string& text) {
    double prior = 0;
    const bool isPrior = CLI::detail::lexical_cast(text, prior) && prior > 0 && std::isfinite(prior);
    return isPrior ? "" : text + " is not a positive number";
}

}  // namespace

void AddCompare(CLI::App& app) {
    const auto options = std::make_shared<CompareOptions>();
    CLI::App* const command = app.add_subcommand("compare", "Print posterior probabilities of models in a workspace");
    command->add_option("WORKSPACE", options->File, "A file that was saved from a workspace")->required();
    command->add_option("MODEL", options->Models, "Models to compare: their names, or paths as \"quarn show\" has them")
        ->required();
    command->add_option("--logml", options->LogML, "Log marginal likelihood by Lewis & Raftery or Chib & Jeliazkov")
        ->type_name("lr|cj")
        ->capture_default_str()
        ->check(CLI::IsMember(Approximations));
    command->add_option("--prior", options->Priors, "Prior probabilities, one for each model; equal if none are given")
        ->type_name("P,P,...")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(CheckPrior);
    command->callback([options] {
        if (!options->Priors.empty() && options->Priors.size() != options->Models.size())
            throw CLI::ValidationError("--prior", "as many priors as models are needed");
        Compare(*options);
    });
}

}  // namespace quarn::cli
