#include "Commands.h"
#include "Workspace.h"

#include <quarn/numerics/MatrixText.h>

#include <samplers/RunRecord.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace quarn::cli {
namespace {

struct ExportOptions {
    std::string File, Model, Format = "csv", Out;
};

/// The draws of a model, chain by chain, with a name for each parameter.
struct Draws {
    MatrixXd Values;
    std::vector<std::string> Names;
    std::int64_t Chains = 1, PerChain = 0;
    samplers::RunRecord Run;

    double At(std::int64_t chain, std::int64_t iteration, Eigen::Index parameter) const {
        return Values(chain * PerChain + iteration, parameter);
    }
    Eigen::Index Parameters() const { return Values.cols(); }
};

/// The shortest text that reads back as the same number.
std::string Text(double number, const char* notANumber) {
    if (std::isnan(number)) return notANumber;
    if (std::isinf(number)) return number > 0 ? "Infinity" : "-Infinity";
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

/// A file that is written whole or not at all, as far as the caller can tell.
void WriteFile(const std::string& path, const std::function<void(std::ostream&)>& write) {
    std::ofstream stream(path, std::ios::binary);
    if (stream) write(stream);
    stream.close();
    if (!stream) throw Failure(path + ": cannot be written");
}

// ---- csv: a line per draw, with the columns by which R's posterior knows draws ----

std::string QuotedCsv(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + '"';
}

void WriteCsv(const Draws& draws, const std::string& out) {
    WriteFile(out, [&draws](std::ostream& stream) {
        stream << ".chain,.iteration,.draw";
        for (const auto& name : draws.Names) stream << ',' << QuotedCsv(name);
        stream << '\n';
        for (std::int64_t c = 0; c < draws.Chains; ++c)
            for (std::int64_t i = 0; i < draws.PerChain; ++i) {
                stream << c + 1 << ',' << i + 1 << ',' << c * draws.PerChain + i + 1;
                for (Eigen::Index p = 0; p < draws.Parameters(); ++p) stream << ',' << Text(draws.At(c, i, p), "NA");
                stream << '\n';
            }
    });
}

// ---- coda: one index, and a file for each chain ----

/// Names stand in the index without blanks.
std::string CodaName(std::string name) {
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == ' ' || c == '\t'; }, '_');
    return name;
}

/// out-index.txt, out-chain1.txt, ...: for each parameter the lines of its draws, with their iterations.
void WriteCoda(const Draws& draws, const std::string& out) {
    WriteFile(out + "-index.txt", [&draws](std::ostream& stream) {
        for (Eigen::Index p = 0; p < draws.Parameters(); ++p)
            stream << CodaName(draws.Names[static_cast<std::size_t>(p)]) << ' ' << p * draws.PerChain + 1 << ' '
                   << (p + 1) * draws.PerChain << '\n';
    });
    for (std::int64_t c = 0; c < draws.Chains; ++c)
        WriteFile(out + "-chain" + std::to_string(c + 1) + ".txt", [&draws, c](std::ostream& stream) {
            for (Eigen::Index p = 0; p < draws.Parameters(); ++p)
                for (std::int64_t i = 0; i < draws.PerChain; ++i)
                    stream << draws.Run.Burnin + (i + 1) * draws.Run.Thin << ' ' << Text(draws.At(c, i, p), "NA")
                           << '\n';
        });
}

// ---- json: name -> chains -> draws, as ArviZ's from_dict takes a posterior ----

std::string QuotedJson(const std::string& text) {
    constexpr char digits[] = "0123456789abcdef";
    std::string quoted = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') quoted += '\\';
        if (byte < 0x20) {
            quoted += std::string("\\u00") + digits[byte >> 4U] + digits[byte & 15U];
        } else {
            quoted += c;
        }
    }
    return quoted + '"';
}

void WriteJson(const Draws& draws, const std::string& out) {
    WriteFile(out, [&draws](std::ostream& stream) {
        stream << "{\"posterior\": {";
        for (Eigen::Index p = 0; p < draws.Parameters(); ++p) {
            stream << (p > 0 ? ",\n" : "\n") << QuotedJson(draws.Names[static_cast<std::size_t>(p)]) << ": [";
            for (std::int64_t c = 0; c < draws.Chains; ++c) {
                stream << (c > 0 ? ",\n[" : "[");
                for (std::int64_t i = 0; i < draws.PerChain; ++i)
                    stream << (i > 0 ? "," : "") << Text(draws.At(c, i, p), "NaN");
                stream << ']';
            }
            stream << ']';
        }
        stream << "\n}}\n";
    });
}

using Writer = void (*)(const Draws&, const std::string&);
const std::map<std::string, Writer> Formats = {{"csv", WriteCsv}, {"coda", WriteCoda}, {"json", WriteJson}};

void Export(const ExportOptions& options) {
    const Workspace workspace(options.File);
    const auto model = FindModel(workspace.Top, options.File, options.Model);
    if (model->Samples == nullptr || model->Samples->size() == 0)
        throw Failure(options.File + ": the model " + options.Model + " has no draws");
    const samplers::RunRecord run = samplers::GetRunRecord(*model);
    Draws draws{*model->Samples, model->SamplesNames, run.Chains, run.Draws, run};
    for (auto p = static_cast<Eigen::Index>(draws.Names.size()); p < draws.Parameters(); ++p)
        draws.Names.push_back("parameter" + std::to_string(p + 1));
    Formats.at(options.Format)(draws, options.Out);
}

}  // namespace

void AddExport(CLI::App& app) {
    const auto options = std::make_shared<ExportOptions>();
    CLI::App* const command = app.add_subcommand("export", "Write the draws of a model for other programs");
    command->add_option("WORKSPACE", options->File, "A file that was saved from a workspace")->required();
    command->add_option("MODEL", options->Model, "The model: its name, or path as \"quarn show\" has it")->required();
    command
        ->add_option(
            "-f,--format", options->Format,
            "csv, with columns for chain and iteration; coda, index and chain files; json, chains by parameter")
        ->capture_default_str()
        ->check(CLI::IsMember(Formats));
    command->add_option("-o,--out", options->Out, "File to write; with coda, what the names of its files begin with")
        ->type_name("FILE")
        ->required();
    command->footer(
        "Numbers have all their digits. To read them:\n"
        "  csv   R: posterior::as_draws_df(read.csv(FILE, check.names = FALSE))\n"
        "  coda  R: coda::read.coda(\"FILE-chain1.txt\", \"FILE-index.txt\")\n"
        "  json  Python: arviz.from_dict(**json.load(open(FILE)))");
    command->callback([options] { Export(*options); });
}

}  // namespace quarn::cli
