#include "Commands.h"
#include "Workspace.h"

#include <quarn/base/EventDispatcher.h>
#include <quarn/datasets/StatusTexts.h>
#include <quarn/numerics/PosteriorAnalysis.h>
#include <quarn/reports/SummarizeModel.h>

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace quarn::cli {
namespace {

struct ShowOptions {
    std::string File, Path, Kind;
    int Digits = 6;
    bool Diagnostics = false;
};

const std::map<std::string, int> Kinds = {{"matrix", QuarnStructure::MatrixItem},
                                          {"dataset", QuarnStructure::DatasetItem},
                                          {"model", QuarnStructure::ModelItem},
                                          {"structure", QuarnStructure::StructureItem},
                                          {"string", QuarnStructure::StringItem}};

// ---- The list of a tree ----

std::string Count(Eigen::Index count, const char* unit) {
    return std::to_string(count) + ' ' + unit + (count == 1 ? "" : "s");
}

std::string SizeOf(const MatrixXd& matrix) {
    return std::to_string(matrix.rows()) + " x " + std::to_string(matrix.cols());
}

std::string SizeOf(const Dataset& dataset) {
    return Count(dataset.NumObs, "observation") + ", " + Count(std::max(dataset.NumVars - 1, 0), "variable");
}

std::string SizeOf(const Model& model) {
    if (model.Samples == nullptr) return model.ModelType;
    return model.ModelType + ", " + Count(model.Samples->rows(), "draw") + ", " +
           Count(model.Samples->cols(), "parameter");
}

std::string SizeOf(const QuarnStructure& structure) {
    const auto items = structure.Matrices.size() + structure.Datasets.size() + structure.Models.size() +
                       structure.Structures.size() + structure.Strings.size();
    return Count(static_cast<Eigen::Index>(items), "item");
}

std::string SizeOf(const std::string& text) { return Count(static_cast<Eigen::Index>(text.size()), "byte"); }

/// Calls visit(kind, size, path) for the items of the tree, each structure before what it holds. Keeps no paths but those
/// on the way: in a deep tree they are long.
template <class Visit>
void ForEachItem(const QuarnStructure& top, const Visit& visit) {
    std::vector<std::pair<const QuarnStructure*, std::string>> toDo{{&top, ""}};
    while (!toDo.empty()) {
        const auto [structure, path] = std::move(toDo.back());
        toDo.pop_back();
        const std::string prefix = structure == &top ? "" : path + '/';
        if (structure != &top) visit("structure", SizeOf(*structure), path);
        const auto visitAll = [&visit, &prefix](const char* kind, const auto& items) {
            for (const auto& [name, item] : items) visit(kind, SizeOf(*item), prefix + name);
        };
        visitAll("matrix", structure->Matrices);
        visitAll("dataset", structure->Datasets);
        visitAll("model", structure->Models);
        visitAll("string", structure->Strings);
        for (auto nested = structure->Structures.rbegin(); nested != structure->Structures.rend(); ++nested)
            toDo.emplace_back(nested->second.get(), prefix + nested->first);
    }
}

/// Paths stand last, so that they need no width and can have blanks.
void PrintList(const QuarnStructure& structure) {
    std::size_t width = 0;
    ForEachItem(structure, [&width](const char*, const std::string& size, const std::string&) {
        width = std::max(width, size.size());
    });
    ForEachItem(structure, [width](const char* kind, const std::string& size, const std::string& path) {
        std::cout << std::left << std::setw(11) << kind << std::setw(static_cast<int>(width) + 2) << size << path
                  << '\n';
    });
}

// ---- One item ----

void PrintMatrix(const MatrixXd& matrix, int digits) {
    std::cout << std::setprecision(digits);
    for (Eigen::Index i = 0; i < matrix.rows(); ++i)
        for (Eigen::Index j = 0; j < matrix.cols(); ++j)
            std::cout << matrix(i, j) << (j + 1 < matrix.cols() ? '\t' : '\n');
}

void PrintDataset(const std::shared_ptr<Dataset>& dataset) { SummarizeModel(dataset, false).Print(EventDispatcher()); }

void PrintDiagnostics(const Model& model, const std::string& path) {
    const auto& samples = model.Samples;
    if (samples == nullptr || samples->rows() == 0 || samples->cols() != model.Summary.SummaryMatrix.rows())
        throw Failure(path + ": the model does not have a column of draws for each row of its table");
    MatrixXd diagnostics;
    MCMCdiagnostics(*samples, diagnostics, 6, 3);
    model.PrintDiagnostics(diagnostics, EventDispatcher());
}

void PrintItem(const Place& place, const ShowOptions& options) {
    const QuarnStructure& structure = *place.Structure;
    if (options.Diagnostics) return PrintDiagnostics(*structure.GetpModel(place.Name), options.Path);
    switch (place.Kind) {
        case QuarnStructure::MatrixItem:
            return PrintMatrix(*structure.GetpMatrix(place.Name), options.Digits);
        case QuarnStructure::DatasetItem:
            return PrintDataset(structure.GetpDataset(place.Name));
        case QuarnStructure::ModelItem:
            return structure.GetpModel(place.Name)->PrintResults(EventDispatcher());
        case QuarnStructure::StructureItem:
            return PrintList(*structure.GetpStructure(place.Name));
        default:
            std::cout << *structure.GetpString(place.Name) << '\n';
    }
}

void Show(const ShowOptions& options) {
    const Workspace workspace(options.File);
    if (options.Path.empty()) return PrintList(workspace.Top);
    // Only models have diagnostics: then that is the kind that is meant.
    const std::string kind = options.Diagnostics ? "model" : options.Kind;
    const Place place = FindItem(workspace.Top, options.Path, kind.empty() ? QuarnStructure::NoItem : Kinds.at(kind));
    if (place.Structure == nullptr)
        throw Failure(options.File + ": there is no " + (kind.empty() ? "item" : kind) + ' ' + options.Path);
    PrintItem(place, options);
}

}  // namespace

void AddShow(CLI::App& app) {
    const auto options = std::make_shared<ShowOptions>();
    CLI::App* const command = app.add_subcommand("show", "List what a workspace holds, or print one item of it");
    command->add_option("WORKSPACE", options->File, "A file that was saved from a workspace")->required();
    CLI::Option* const path = command->add_option(
        "PATH", options->Path, "The item to print: its name, behind the names of the structures around it and \"/\"");
    CLI::Option* const kind =
        command->add_option("-k,--kind", options->Kind, "The kind that is meant, where several items have the name")
            ->type_name("KIND")
            ->check(CLI::IsMember(Kinds))
            ->needs(path);
    command->add_option("--digits", options->Digits, "Significant digits of a matrix, 1 to 17")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(1, 17));
    command->add_flag("--diagnostics", options->Diagnostics, "Print the diagnostics of a model, not its results")
        ->needs(path)
        ->excludes(kind);
    command->callback([options] { Show(*options); });
}

}  // namespace quarn::cli
