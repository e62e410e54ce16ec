#include "Commands.h"
#include "Workspace.h"

#include <quarn/numerics/PosteriorAnalysis.h>

#include <samplers/RunRecord.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <locale>
#include <memory>
#include <sstream>
#include <string>
#include <unistd.h>

namespace quarn::cli {
namespace {

struct PlotOptions {
    std::string File, Model, Out;
};

constexpr std::int64_t TracePoints = 2000;  // of each chain: more than a plot has dots
constexpr Eigen::Index DensityPoints = 200;
constexpr int Lags = 40;

bool IsInstalled(const std::string& program) {
    const char* const path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "" : path);
    for (std::string folder; std::getline(folders, folder, ':');)
        if (access(folder.append("/").append(program).c_str(), X_OK) == 0) return true;
    return false;
}

/// Text inside single quotes, where only these have a meaning.
std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) quoted += c == '\'' ? std::string("''") : std::string(1, c == '\n' ? ' ' : c);
    return quoted + '\'';
}

/// The distance of about four tics over a range: 1, 2 or 5 times a power of ten.
double TicDistance(double range) {
    if (!(range > 0.0) || !std::isfinite(range)) return 1.0;
    const double power = std::pow(10.0, std::floor(std::log10(range / 4.0)));
    for (const double multiple : {1.0, 2.0, 5.0})
        if (range / (multiple * power) <= 5.0) return multiple * power;
    return 10.0 * power;
}

// ---- Data blocks ----

/// One block of points per chain, two empty lines between them.
void WriteTrace(std::ostream& script, const Eigen::Ref<const VectorXd>& x, const samplers::RunRecord& run) {
    const std::int64_t step = std::max<std::int64_t>(run.Draws / TracePoints, 1);
    for (std::int64_t c = 0; c < run.Chains; ++c) {
        for (std::int64_t i = 0; i < run.Draws; i += step) script << i + 1 << ' ' << x(c * run.Draws + i) << '\n';
        script << "\n\n";
    }
}

void WriteDensity(std::ostream& script, const Eigen::Ref<const VectorXd>& x, double& range) {
    VectorXd grid(DensityPoints);
    const MatrixXd density = KDensity(x, grid);
    range = grid(DensityPoints - 1) - grid(0);
    for (Eigen::Index i = 0; i < DensityPoints; ++i) script << grid(i) << ' ' << density(i, 0) << '\n';
}

/// Of the first chain: chains behind each other are no series.
void WriteAutocorrelation(std::ostream& script, const Eigen::Ref<const VectorXd>& x, const samplers::RunRecord& run) {
    script << ACFData(x.head(run.Draws), Lags) << '\n';
}

// ---- The page ----

std::string Terminal(const std::string& out, Eigen::Index rows) {
    const std::string size = "size 1200," + std::to_string(220 * rows + 60);
    const std::string extension = std::filesystem::path(out).extension().string();
    if (extension == ".svg") return "svg noenhanced background 'white' " + size;
    if (extension == ".png") return "pngcairo noenhanced " + size;
    throw Failure(out + ": a plot is written to a file that ends in .svg or .png");
}

std::string Script(const Model& model, const PlotOptions& options) {
    const MatrixXd& draws = *model.Samples;
    const samplers::RunRecord run = samplers::GetRunRecord(model);
    std::ostringstream script;
    script.imbue(std::locale::classic());
    script.precision(8);
    script << "set terminal " << Terminal(options.Out, draws.cols()) << "\nset output " << Quoted(options.Out)
           << "\nset datafile missing 'nan'\nset multiplot layout " << draws.cols() << ",3 title "
           << Quoted(options.Model) << "\nset nokey\nset tics nomirror\nset border 3\n";
    for (Eigen::Index p = 0; p < draws.cols(); ++p) {
        const auto x = draws.col(p);
        double range = 0.0;
        script << "$trace << end_of_data\n";
        WriteTrace(script, x, run);
        script << "end_of_data\n$density << end_of_data\n";
        WriteDensity(script, x, range);
        script << "end_of_data\n$acf << end_of_data\n";
        WriteAutocorrelation(script, x, run);
        script << "end_of_data\n";
        const auto index = static_cast<std::size_t>(p);
        const std::string name = index < model.SamplesNames.size() ? model.SamplesNames[index] : std::to_string(p + 1);
        const auto title = [p](const char* text) { return "set title " + Quoted(p == 0 ? text : "") + '\n'; };
        script << title("Trace") << "set ylabel " << Quoted(name) << "\nset ytics autofreq\nset xtics "
               << TicDistance(static_cast<double>(run.Draws)) << "\nset autoscale\nplot for [c=0:" << run.Chains - 1
               << "] $trace index c with lines lw 0.5 lc c+1\n"
               << title("Density") << "unset ylabel\nunset ytics\nset xtics " << TicDistance(range)
               << "\nset yrange [0:*]\nplot $density with lines lw 2 lc 1\n"
               << title("Autocorrelation")
               << "set ytics 0.5\nset xtics 10\nset yrange [-0.2:1]\nset xrange [0:" << Lags + 1
               << "]\nplot $acf with impulses lw 2 lc 1, 0 lc -1\n";
    }
    script << "unset multiplot\nunset output\n";
    return script.str();
}

void RunGnuplot(const std::string& script, const std::string& out) {
    std::signal(SIGPIPE, SIG_IGN);  // should it end before it has read all: the write then fails
    std::FILE* const pipe = popen("gnuplot 2>/dev/null", "w");
    if (pipe == nullptr) throw Failure("gnuplot cannot be started");
    const bool written = std::fwrite(script.data(), 1, script.size(), pipe) == script.size();
    std::error_code error;
    if (pclose(pipe) != 0 || !written || !std::filesystem::exists(out, error))
        throw Failure(out + ": gnuplot could not write the plot");
}

void Plot(PlotOptions options) {
    const Workspace workspace(options.File);
    const auto model = FindModel(workspace.Top, options.File, options.Model);
    if (model->Samples == nullptr || model->Samples->rows() < 2)
        throw Failure(options.File + ": the model " + options.Model + " has no draws to plot");
    if (options.Out.empty()) {
        options.Out = options.Model + ".svg";
        std::replace(options.Out.begin(), options.Out.end(), '/', '_');
    }
    const std::string script = Script(*model, options);
    if (!IsInstalled("gnuplot"))
        throw Failure("plots are drawn by gnuplot, which is not installed (on Debian: apt-get install gnuplot-nox)");
    RunGnuplot(script, options.Out);
}

}  // namespace

void AddPlot(CLI::App& app) {
    const auto options = std::make_shared<PlotOptions>();
    CLI::App* const command = app.add_subcommand(
        "plot", "Draw trace, density and autocorrelations of each parameter of a model on one page, by gnuplot");
    command->add_option("WORKSPACE", options->File, "A file that was saved from a workspace")->required();
    command->add_option("MODEL", options->Model, "The model: its name, or path as \"quarn show\" has it")->required();
    command
        ->add_option("-o,--out", options->Out, "File to write, .svg or .png; that of the model, .svg, if none is given")
        ->type_name("FILE");
    command->callback([options] { Plot(*options); });
}

}  // namespace quarn::cli
