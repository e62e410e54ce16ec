#include "Commands.h"

#include <quarn/base/EventDispatcher.h>
#include <quarn/datasets/Dataset.h>
#include <quarn/datasets/StatusTexts.h>
#include <quarn/reports/SummarizeModel.h>

#include <wx/strconv.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace quarn::cli {
namespace {

struct SummarizeOptions {
    std::string File;
    std::vector<std::string> Variables;
    std::string Delimiter = ",";
    bool Casewise = false;
};

/// One character as it stands, or the name of one that is hard to type.
std::string CheckDelimiter(const std::string& text) {
    return text.size() == 1 || text == "tab" || text == "blank" ? "" : "must be one character, tab or blank";
}

char DelimiterOf(const std::string& text) {
    if (text == "tab") return '\t';
    return text == "blank" ? ' ' : text.front();
}

constexpr std::string_view Http = "http://";

std::shared_ptr<Dataset> Import(const std::string& file, char delimiter) {
    if (!file.starts_with(Http)) return std::make_shared<Dataset>(file, delimiter);
    const std::string address = file.substr(Http.size());
    const auto slash = std::min(address.find('/'), address.size());
    return std::make_shared<Dataset>(address.substr(0, slash), address.substr(slash), delimiter);
}

std::shared_ptr<Dataset> Load(const SummarizeOptions& options) {
    auto dataset = Import(options.File, DelimiterOf(options.Delimiter));
    if (!dataset->Loaded)
        throw Failure(options.File + ": " +
                      (dataset->StatusText.empty() ? WhyNotOpened(options.File) : dataset->StatusText));
    dataset->Name = wxString(std::filesystem::path(options.File).filename().string().c_str(), wxConvLibc);
    return dataset;
}

void Summarize(SummarizeOptions options) {
    const auto dataset = Load(options);
    const SummarizeModel summary = options.Variables.empty()
                                       ? SummarizeModel(dataset, options.Casewise)
                                       : SummarizeModel(dataset, options.Variables, options.Casewise);
    if (summary.Status != StatusTexts::OK) throw Failure(options.File + ": " + summary.Status);
    summary.Print(EventDispatcher());
}

}  // namespace

void AddSummarize(CLI::App& app) {
    const auto options = std::make_shared<SummarizeOptions>();
    CLI::App* const command =
        app.add_subcommand("summarize", "Print descriptive statistics of the variables of a file");
    command
        ->add_option(
            "FILE", options->File,
            "Delimited text: a line of names, then one line per observation; a path or http://host[:port]/path")
        ->required();
    command->add_option("VARIABLE", options->Variables, "Variables to summarize, in this order; all if none is given");
    command->add_option("-d,--delimiter", options->Delimiter, "Character between fields, or: tab, blank")
        ->type_name("C")
        ->capture_default_str()
        ->check(CheckDelimiter);
    command->add_flag("-c,--casewise", options->Casewise,
                      "Use only observations without missing values in any of the variables");
    command->callback([options] { Summarize(*options); });
}

}  // namespace quarn::cli
