#include "Commands.h"
#include "Data.h"

#include <quarn/base/EventDispatcher.h>
#include <quarn/datasets/StatusTexts.h>
#include <quarn/reports/SummarizeModel.h>

#include <memory>
#include <string>
#include <vector>

namespace quarn::cli {
namespace {

struct SummarizeOptions {
    DataFile Data;
    std::vector<std::string> Variables;
    bool Casewise = false;
};

void Summarize(SummarizeOptions options) {
    const auto dataset = LoadDataset(options.Data);
    const SummarizeModel summary = options.Variables.empty()
                                       ? SummarizeModel(dataset, options.Casewise)
                                       : SummarizeModel(dataset, options.Variables, options.Casewise);
    if (summary.Status != StatusTexts::OK) throw Failure(options.Data.File + ": " + summary.Status);
    summary.Print(EventDispatcher());
}

}  // namespace

void AddSummarize(CLI::App& app) {
    const auto options = std::make_shared<SummarizeOptions>();
    CLI::App* const command =
        app.add_subcommand("summarize", "Print descriptive statistics of the variables of a file");
    AddDataFile(*command, options->Data);
    command->add_option("VARIABLE", options->Variables, "Variables to summarize, in this order; all if none is given");
    command->add_flag("-c,--casewise", options->Casewise,
                      "Use only observations without missing values in any of the variables");
    command->callback([options] { Summarize(*options); });
}

}  // namespace quarn::cli
