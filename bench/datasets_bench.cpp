// The road from a file to a printed table and to estimation matrices. Items are cells of the table, or ids of a merge;
// bytes are those of the file. The files are made when a benchmark first asks for them, the same ones every time, and
// are gone with the process; imports find them in the system's cache. copy_same_cells is what cross-section preparation
// is measured by: the columns that it is asked for, copied whole, ids included.

#include <quarn/datasets/Dataset.h>
#include <quarn/reports/SummarizeModel.h>

#include <benchmark/benchmark.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>

namespace {

using Eigen::Index;
using quarn::Dataset;
using quarn::MatrixXd;
using quarn::VectorXd;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

// ---- Files ----

class Folder {
 public:
    Folder() : m_path(std::filesystem::temp_directory_path() / "quarn_bench_XXXXXX") {
        if (mkdtemp(m_path.data()) == nullptr) throw std::runtime_error("cannot make " + m_path);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() { std::filesystem::remove_all(m_path); }
    std::string File(const std::string& name) const { return m_path + "/" + name + ".csv"; }

 private:
    std::string m_path;
};

void AppendNumber(std::string& text, double value, int digits) {
    char number[40];
    text.append(number, std::to_chars(number, number + sizeof number, value, std::chars_format::general, digits).ptr);
}

/// Normal draws with standard deviations from 1 to 10000.
std::string NumbersText(int rows, int columns, int digits) {
    std::mt19937_64 engine(42);
    std::normal_distribution<double> normal;
    std::string text;
    for (int j = 0; j < columns; ++j) text.append(j > 0 ? ",x" : "x").append(std::to_string(j));
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < columns; ++j) {
            text += j > 0 ? ',' : '\n';
            AppendNumber(text, normal(engine) * std::pow(10.0, j % 5), digits);
        }
    return text += '\n';
}

/// A text column, four columns of 17 and four of 6 digits, another text column; one cell in fifty is empty.
std::string MixedText(int rows) {
    std::mt19937_64 engine(43);
    std::normal_distribution<double> normal;
    std::string text = "region,a1,a2,a3,a4,b1,b2,b3,b4,firm\n";
    const auto present = [&engine] { return engine() % 50 != 0; };
    for (int i = 0; i < rows; ++i) {
        if (present()) text.append("Region ").append(std::to_string(engine() % 200));
        for (int j = 0; j < 8; ++j) {
            text += ',';
            if (present()) AppendNumber(text, normal(engine), j < 4 ? 17 : 6);
        }
        text += ',';
        if (present()) text.append("firm_").append(std::to_string(engine() % 50000));
        text += '\n';
    }
    return text;
}

std::string MadeFile(const std::string& name, std::string (*text)()) {
    static const Folder folder;
    const std::string path = folder.File(name);
    if (!std::filesystem::exists(path)) {
        const std::string bytes = text();
        std::ofstream stream(path, std::ios::binary);
        stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        if (!stream.flush()) throw std::runtime_error("cannot write " + path);
    }
    return path;
}

void ImportText(benchmark::State& state, const std::string& name, std::string (*text)()) {
    const std::string path = MadeFile(name, text);
    Index cells = 0;
    for (auto _ : state) {
        const Dataset dataset(path, ',');
        if (!dataset.Loaded) {
            state.SkipWithError("not imported");
            return;
        }
        cells += Index{dataset.NumObs} * (dataset.NumVars - 1);
    }
    state.SetItemsProcessed(cells);
    state.SetBytesProcessed(static_cast<Index>(state.iterations()) *
                            static_cast<Index>(std::filesystem::file_size(path)));
}
BENCHMARK_CAPTURE(ImportText, , "digits6", [] { return NumbersText(1000000, 10, 6); })
    ->Name("import_text/form:numbers/digits:6/1000000x10")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ImportText, , "digits17", [] { return NumbersText(1000000, 10, 17); })
    ->Name("import_text/form:numbers/digits:17/1000000x10")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ImportText, , "mixed", [] { return MixedText(500000); })
    ->Name("import_text/form:mixed/500000x10")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ImportText, , "wide", [] { return NumbersText(20000, 500, 6); })
    ->Name("import_text/form:wide/digits:6/20000x500")
    ->Unit(benchmark::kMillisecond);

// ---- Tables ----

constexpr int Variables = 10;

/// Ids and ten variables, each of whose cells is missing in so many of 10000 cases.
std::shared_ptr<Dataset> Table(Index rows, Index missing) {
    std::mt19937_64 engine(44);
    std::normal_distribution<double> normal;
    wxArrayString names;
    for (int j = 0; j <= Variables; ++j)
        names.Add(j == 0 ? wxString("QuarnSystemVar_obsID") : wxString::Format("x%d", j));
    MatrixXd data(rows, Variables + 1);
    data.col(0).setLinSpaced(rows, 1.0, static_cast<double>(rows));
    for (double& cell : data.rightCols(Variables).reshaped())
        cell = static_cast<Index>(engine() % 10000) < missing ? NaN : normal(engine);
    return std::make_shared<Dataset>(names, data);
}

/// Arguments are missing cells in 10000 (none, few, many), and observations.
void Shapes(benchmark::internal::Benchmark* family) {
    family->ArgNames({"missing", ""});
    for (const int n : {1000, 100000, 1000000})
        for (const int missing : {0, 10, 1000}) family->Args({missing, n});
}

void SetTableItems(benchmark::State& state, int columns) {
    state.SetItemsProcessed(static_cast<Index>(state.iterations()) * state.range(1) * columns);
}

void Summary(benchmark::State& state, bool casewise) {
    const auto dataset = Table(state.range(1), state.range(0));
    for (auto _ : state) benchmark::DoNotOptimize(quarn::SummarizeModel(dataset, casewise));
    SetTableItems(state, Variables);
}
BENCHMARK_CAPTURE(Summary, , false)->Name("summary/separate")->Apply(Shapes)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(Summary, , true)->Name("summary/casewise")->Apply(Shapes)->Unit(benchmark::kMicrosecond);

void PrepareCrossSection(benchmark::State& state) {
    const auto dataset = Table(state.range(1), state.range(0));
    std::vector<std::string> names;
    for (int j = 1; j <= Variables; ++j) names.emplace_back("x").append(std::to_string(j));
    for (auto _ : state) {
        MatrixXd X, ids;
        VectorXd y;
        if (dataset->Prepare_CrossSection(names, X, y, ids) != "OK") state.SkipWithError("no data");
        benchmark::DoNotOptimize(X.data());
        benchmark::ClobberMemory();
    }
    SetTableItems(state, Variables + 1);
}
BENCHMARK(PrepareCrossSection)->Name("prepare_cross_section/Xy")->Apply(Shapes)->Unit(benchmark::kMicrosecond);

void CopySameCells(benchmark::State& state) {
    const auto dataset = Table(state.range(1), state.range(0));
    for (auto _ : state) {
        MatrixXd X(dataset->NumObs, Variables - 1);
        for (Index j = 0; j < X.cols(); ++j) X.col(j) = dataset->Data.col(j + 1);
        VectorXd y = dataset->Data.col(Variables);
        MatrixXd ids = dataset->Data.col(0);
        benchmark::DoNotOptimize(X.data());
        benchmark::DoNotOptimize(y.data());
        benchmark::DoNotOptimize(ids.data());
        benchmark::ClobberMemory();
    }
    SetTableItems(state, Variables + 1);
}
BENCHMARK(CopySameCells)->Name("copy_same_cells/Xy")->Apply(Shapes)->Unit(benchmark::kMicrosecond);

/// As many ids as observations, shuffled; one2many leads 50 ids to each of its values.
void MatchObservations(benchmark::State& state, bool toMany) {
    const Index n = state.range(0);
    const auto dataset = Table(n, 0);
    std::vector<int> order(static_cast<std::size_t>(n));
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), std::mt19937_64(45));
    MatrixXd ids(n, 2);
    for (Index k = 0; k < n; ++k) ids.row(k) << order[static_cast<std::size_t>(k)] + 1, static_cast<double>(k / 50);
    const VectorXd values = VectorXd::LinSpaced(n, 0.0, 1.0);
    for (auto _ : state) {
        if (toMany)
            dataset->MatchOservations_One2Many(ids, values, "x1");
        else
            dataset->MatchOservations_One2One(ids, values, "x1");
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<Index>(state.iterations()) * n);
}
BENCHMARK_CAPTURE(MatchObservations, , false)
    ->Name("match_observations/one2one")
    ->Arg(1000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(MatchObservations, , true)
    ->Name("match_observations/one2many")
    ->Arg(1000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMicrosecond);

}  // namespace
