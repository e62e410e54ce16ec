#include "Commands.h"
#include "Data.h"
#include "ModelKinds.h"
#include "Progress.h"
#include "Workspace.h"

#include <quarn/base/EventDispatcher.h>
#include <quarn/numerics/PosteriorAnalysis.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace quarn::cli {
namespace {

struct EstimateOptions {
    std::string Model;
    DataFile Data;
    std::string Y, Z;
    std::vector<std::string> X;
    Specification Spec;
    samplers::RunSettings Run;
    std::string Name, Save, Export;
    bool Diagnostics = false, Overwrite = false, Untimed = false;
};

// ---- Ctrl-C ----

static_assert(std::atomic<bool>::is_always_lock_free);
std::atomic<bool> interruptRequested{false};

/// While one of these lives, the first Ctrl-C is a request; the second ends the program.
class InterruptRequests {
 public:
    InterruptRequests() {
        struct sigaction action = {};
        action.sa_handler = [](int) { interruptRequested = true; };
        action.sa_flags = SA_RESETHAND | SA_RESTART;
        sigaction(SIGINT, &action, &m_before);
    }
    InterruptRequests(const InterruptRequests&) = delete;
    InterruptRequests& operator=(const InterruptRequests&) = delete;
    ~InterruptRequests() { sigaction(SIGINT, &m_before, nullptr); }

 private:
    struct sigaction m_before = {};
};

// ---- The steps ----

std::vector<std::string> SplitAtCommas(const std::string& text) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, ',');)
        if (!part.empty()) parts.push_back(part);
    return parts;
}

void Declare(Dataset& dataset, const Specification& s) {
    if (s.Panel.empty() && s.Series.empty()) return;
    const auto names = SplitAtCommas(s.Panel);
    if (!s.Panel.empty() && names.size() != 2) throw Failure("--panel takes two names: TIME,GROUP");
    const std::string status = s.Panel.empty() ? dataset.SetTimeSeries(s.Series, s.Format)
                                               : dataset.SetPanelData(names[0], names[1], s.Format);
    const std::string name = dataset.Name.utf8_string();
    if (status == "noTimeVar")
        throw Failure(name + ": there is no variable " + (s.Panel.empty() ? s.Series : names[0]));
    if (status == "noGroupVar") throw Failure(name + ": there is no variable " + names[1]);
    if (status != "OK") throw Failure(name + ": " + status);
}

void PrintSample(const Prepared& prepared, const Dataset& dataset) {
    for (const auto& warning : prepared.Warnings) std::cerr << "Warning: " << warning << '\n';
    const Eigen::Index rows = prepared.Used - prepared.Inserted;
    std::cout << "Observations: " << rows << " used, " << dataset.NumObs - rows << " dropped";
    if (prepared.Inserted > 0) std::cout << ", " << prepared.Inserted << " inserted";
    std::cout << "\n" << std::flush;
}

/// True if the run came to its end, false if the user stopped it and all chains have draws.
bool Sample(samplers::Sampler& sampler, const samplers::RunSettings& settings) {
    interruptRequested = false;
    const InterruptRequests requests;
    const std::string status = sampler.Start(settings);
    if (status != "OK") throw Failure(status);
    {
        Progress progress(sampler);
        while (!sampler.WaitFor(0.05)) {
            if (interruptRequested) sampler.Stop();
            progress.Show();
        }
    }
    if (sampler.GetEstimator().GetHasResults()) return true;
    if (!sampler.Failure().empty()) throw Failure(sampler.Failure());
    if (!sampler.KeepPartial()) throw Interrupted("stopped before each chain had a draw: nothing is kept");
    return false;
}

/// An argument as a shell takes it.
std::string Quoted(const std::string& argument) {
    const auto isPlain = [](char c) {
        const bool isLetterOrDigit = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        return isLetterOrDigit || std::string_view("_-./,:=+").find(c) != std::string_view::npos;
    };
    if (!argument.empty() && std::all_of(argument.begin(), argument.end(), isPlain)) return argument;
    std::string quoted = "'";
    for (const char c : argument) quoted += c == '\'' ? "'\\''" : std::string(1, c);
    return quoted + '\'';
}

/// The options that the draws depend on, as they could be typed again.
std::string CommandLine(const EstimateOptions& o) {
    const EstimateOptions defaults;
    std::string line = "quarn estimate " + o.Model + ' ' + Quoted(o.Data.File);
    const auto option = [&line](const char* name, const auto& value, const auto& unless) {
        if (value == unless) return;
        line += std::string(" --") + name;
        if constexpr (std::is_same_v<decltype(value), const std::string&>) {
            line += ' ' + Quoted(value);
        } else if constexpr (!std::is_same_v<decltype(value), const bool&>) {
            line += ' ' + std::to_string(value);
        }
    };
    option("delimiter", o.Data.Delimiter, defaults.Data.Delimiter);
    option("y", o.Y, defaults.Y);
    for (const auto& list : o.X) option("x", list, std::string());
    option("z", o.Z, defaults.Z);
    option("constant", o.Spec.Constant, false);
    option("panel", o.Spec.Panel, defaults.Spec.Panel);
    option("series", o.Spec.Series, defaults.Spec.Series);
    option("format", o.Spec.Format, defaults.Spec.Format);
    option("impute", o.Spec.Impute, false);
    option("lags", o.Spec.Lags, defaults.Spec.Lags);
    option("components", o.Spec.Components, defaults.Spec.Components);
    option("draws", o.Run.Draws, defaults.Run.Draws);
    option("burnin", o.Run.Burnin, defaults.Run.Burnin);
    option("thin", o.Run.Thin, defaults.Run.Thin);
    option("chains", o.Run.Chains, defaults.Run.Chains);
    line += " --seed " + std::to_string(o.Run.Seed);
    std::replace(line.begin(), line.end(), '\n', ' ');
    return line;
}

/// The file that a draw or a workspace would go to is tried before the hours of sampling, not after them.
void CheckDestination(const std::string& file) {
    if (file.empty()) return;
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path folder = fs::path(file).has_parent_path() ? fs::path(file).parent_path() : fs::path(".");
    if (fs::is_directory(file, error) || !fs::is_directory(folder, error))
        throw Failure(file + ": no file can be written there");
}

std::unique_ptr<Workspace> OpenDestination(const EstimateOptions& options) {
    CheckDestination(options.Export);
    if (options.Save.empty()) return nullptr;
    CheckDestination(options.Save);
    std::error_code error;
    auto workspace = std::filesystem::exists(options.Save, error) ? std::make_unique<Workspace>(options.Save)
                                                                  : std::make_unique<Workspace>();
    if (!options.Overwrite && workspace->Top.GetpModel(options.Name) != nullptr)
        throw Failure(options.Save + ": it has a model " + options.Name + "; give another --name, or --overwrite");
    return workspace;
}

void PrintDiagnostics(const Model& model) {
    MatrixXd diagnostics;
    MCMCdiagnostics(*model.Samples, diagnostics, 6, 3);
    std::cout << '\n';
    model.PrintDiagnostics(diagnostics, EventDispatcher());
}

void Estimate(EstimateOptions options) {
    const ModelKind& kind = FindModelKind(options.Model);
    if (options.Name.empty()) options.Name = options.Model;
    if (options.Name.find_first_of("~\n\r") != std::string::npos)
        throw Failure("the name of a model cannot hold \"~\" or a line end");
    options.Spec.Y = SplitAtCommas(options.Y);
    options.Spec.Z = SplitAtCommas(options.Z);
    for (const auto& list : options.X) options.Spec.X.push_back(SplitAtCommas(list));
    const auto workspace = OpenDestination(options);

    const auto dataset = LoadDataset(options.Data);
    Declare(*dataset, options.Spec);
    const Prepared prepared = Prepare(kind, *dataset, options.Spec);
    PrintSample(prepared, *dataset);
    const bool complete = Sample(*prepared.Sampler, options.Run);

    const auto model = prepared.Sampler->MakeModel();
    model->ModelName = options.Name;
    model->ModelCommand = CommandLine(options);
    if (options.Untimed) model->ElapsedTime = "not recorded";
    model->PrintResults(EventDispatcher());
    if (options.Diagnostics) PrintDiagnostics(*model);
    if (!options.Export.empty() && !model->ExportSamples(options.Export, ','))
        throw Failure(options.Export + ": cannot be written");
    if (workspace != nullptr) {
        workspace->AddModel(options.Name, model, dataset);
        workspace->Save(options.Save);
    }
    if (!complete) throw Interrupted("stopped; results are of the draws until then");
}

std::string ListOfModels() {
    std::string text = "Models:\n";
    for (const ModelKind& kind : ModelKinds()) {
        std::string name = kind.Name;
        name.resize(12, ' ');
        text += "  " + name + kind.What + "\n" + std::string(14, ' ') + kind.Uses + "\n";
    }
    return text;
}

void AddSpecification(CLI::App& command, EstimateOptions& o) {
    command.add_option("--y", o.Y, "Dependent variable; several with commas between them")
        ->type_name("NAME")
        ->required();
    command.add_option("--x", o.X, "Regressors; once for each equation where a model has several")
        ->type_name("NAME,...")
        ->allow_extra_args(false);
    command.add_option("--z", o.Z, "Second group of regressors")->type_name("NAME,...");
    command.add_flag("--constant", o.Spec.Constant, "Put a column of ones in front of the regressors");
    CLI::Option* const panel =
        command.add_option("--panel", o.Spec.Panel, "Time and group variable of a panel")->type_name("TIME,GROUP");
    command.add_option("--series", o.Spec.Series, "Time variable of a time series")->type_name("TIME")->excludes(panel);
    command.add_option("--format", o.Spec.Format, "How the time variable tells dates")
        ->capture_default_str()
        ->check(CLI::IsMember({"index", "yyyyqx", "yyyymxx", "yyyy/mm/dd"}));
    command.add_flag("--impute", o.Spec.Impute, "Put in the periods that a time series lacks");
    command.add_option("--lags", o.Spec.Lags, "Order of an autoregression")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    command.add_option("--components", o.Spec.Components, "Number of components of a mixture")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
}

void AddRunSettings(CLI::App& command, samplers::RunSettings& run) {
    const auto count = [&command](const char* name, std::int64_t& value, const char* what, std::int64_t least) {
        command.add_option(name, value, what)
            ->type_name("N")
            ->capture_default_str()
            ->check(CLI::Range(least, std::int64_t{1} << 40));
    };
    count("--draws", run.Draws, "Draws to keep, per chain", 1);
    count("--burnin", run.Burnin, "Iterations before the first of them", 0);
    count("--thin", run.Thin, "Iterations for each of them", 1);
    count("--chains", run.Chains, "Independent chains", 1);
    command.add_option("--threads", run.Threads, "Threads, at most; 0: as many as the processor has cores")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(0, 1024));
    command.add_option("--seed", run.Seed, "Seed of the random numbers: the same seed gives the same draws")
        ->type_name("N")
        ->capture_default_str();
}

}  // namespace

void AddEstimate(CLI::App& app) {
    const auto options = std::make_shared<EstimateOptions>();
    CLI::App* const command =
        app.add_subcommand("estimate", "Sample from the posterior of a model and print its table");
    command->footer(ListOfModels());
    command->add_option("MODEL", options->Model, "One of the models below")->required();
    AddDataFile(*command, options->Data);
    AddSpecification(*command, *options);
    AddRunSettings(*command, options->Run);
    command->add_option("--name", options->Name, "Name of the results; that of the model if none is given");
    command->add_option("--save", options->Save, "Add the results and their dataset to this workspace file")
        ->type_name("WORKSPACE");
    command->add_flag("--overwrite", options->Overwrite, "Replace results of the same name in the workspace");
    command->add_option("--export", options->Export, "Write the draws to this file, with commas between them")
        ->type_name("DRAWS");
    command->add_flag("--diagnostics", options->Diagnostics, "Print diagnostics of the simulation too");
    command->add_flag("--untimed", options->Untimed, "Leave the elapsed time out, so that equal runs give equal bytes");
    command->callback([options] { Estimate(*options); });
}

}  // namespace quarn::cli
