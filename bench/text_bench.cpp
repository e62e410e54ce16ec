// Saved text forms: a matrix, a dataset and a model written to a file and read back, every digit kept. Items are numbers; the
// column CPU is the one to compare. SaveByPrintf and LoadByStrtod are the plain loops over the same file; WriteNumber
// and ToChars stay in memory. `normal` are normal draws, `short` integers and decimals of at most five digits, as saved
// with 17.

#include <quarn/datasets/Dataset.h>
#include <quarn/models/Model.h>
#include <quarn/numerics/MatrixText.h>
#include <quarn/numerics/NumberFormat_detail.h>

#include <benchmark/benchmark.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <unistd.h>

namespace {

using Eigen::Index;
using quarn::Dataset;
using quarn::MatrixXd;

/// A file that is gone at the end.
struct File {
    std::string Path = std::filesystem::temp_directory_path() / ("quarn_text_bench." + std::to_string(::getpid()));
    ~File() { std::remove(Path.c_str()); }
};

/// Normal draws, or columns of small integers and of decimals with four places in turn.
MatrixXd Table(Index rows, Index columns, bool isShort) {
    std::mt19937_64 engine(51);
    std::normal_distribution<double> normal;
    return MatrixXd::NullaryExpr(rows, columns, [&](Index, Index j) {
        if (!isShort) return normal(engine);
        return static_cast<double>(engine() % 100000) / (j % 2 == 0 ? 1.0 : 10000.0);
    });
}

/// A panel with a text of three words in every tenth column.
Dataset MakeDataset(Index rows, Index columns) {
    wxArrayString names;
    for (Index j = 0; j < columns; ++j) names.Add("v" + std::to_string(j));
    Dataset dataset(names, Table(rows, columns, false));
    for (int column = 5; column < columns; column += 10) {
        quarn::StringVar text{column, "v" + std::to_string(column), {}, false, {}};
        for (Index i = 0; i < rows; ++i) text.Values.push_back("value number " + std::to_string(i % 97));
        dataset.StringVars[column] = text;
    }
    return dataset;
}

void SetItems(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * state.range(0) * state.range(1));
}

void Shapes(benchmark::internal::Benchmark* bench) {
    bench->ArgNames({"n", "k"})->Args({100000, 20})->Unit(benchmark::kMillisecond);
}

void SaveMatrix(benchmark::State& state, bool isShort) {
    const File file;
    const MatrixXd matrix = Table(state.range(0), state.range(1), isShort);
    for (auto _ : state) {
        std::ofstream stream(file.Path);
        quarn::SaveMatrix(matrix, stream);
    }
    SetItems(state);
}

void SaveByPrintf(benchmark::State& state, bool isShort) {
    const File file;
    const MatrixXd matrix = Table(state.range(0), state.range(1), isShort);
    for (auto _ : state) {
        std::FILE* const stream = std::fopen(file.Path.c_str(), "w");
        for (Index i = 0; i < matrix.rows(); ++i)
            for (Index j = 0; j < matrix.cols(); ++j)
                std::fprintf(stream, "%.17g%c", matrix(i, j), j + 1 < matrix.cols() ? '~' : '\n');
        std::fclose(stream);
    }
    SetItems(state);
}

/// Times load(stream, matrix) over a saved matrix, from behind its header on.
template <class Load>
void TimeLoad(benchmark::State& state, bool isShort, const Load& load) {
    const File file;
    const MatrixXd matrix = Table(state.range(0), state.range(1), isShort);
    std::ofstream out(file.Path);
    quarn::SaveMatrix(matrix, out);
    MatrixXd loaded(matrix.rows(), matrix.cols());
    for (auto _ : state) {
        std::ifstream stream(file.Path);
        stream.ignore(100, '\n');
        load(stream, loaded);
    }
    if (loaded != matrix) state.SkipWithError("the matrix is not the same");
    SetItems(state);
}

void LoadMatrix(benchmark::State& state, bool isShort) {
    TimeLoad(state, isShort, [](std::ifstream& stream, MatrixXd& matrix) {
        quarn::LoadMatrix(stream, matrix, static_cast<int>(matrix.rows()), static_cast<int>(matrix.cols()), '~');
    });
}

void LoadWholeFile(benchmark::State& state, bool isShort) {
    TimeLoad(state, isShort, [](std::ifstream& stream, MatrixXd& matrix) { matrix = quarn::LoadMatrix(stream, '~'); });
}

void LoadByStrtod(benchmark::State& state, bool isShort) {
    TimeLoad(state, isShort, [](std::ifstream& stream, MatrixXd& matrix) {
        const std::string text(std::istreambuf_iterator<char>(stream), {});
        const char* at = text.c_str();
        for (Index i = 0; i < matrix.rows(); ++i)
            for (Index j = 0; j < matrix.cols(); ++j) {
                char* end = nullptr;
                matrix(i, j) = std::strtod(at, &end);
                at = end + 1;
            }
    });
}

/// Writes rows x columns numbers of the given precision to memory.
template <class Format>
void FormatInMemory(benchmark::State& state, const Format& format) {
    const MatrixXd matrix = Table(state.range(0), state.range(1), false);
    char text[quarn::detail::NumberRoom];
    for (auto _ : state)
        for (const double value : matrix.reshaped()) benchmark::DoNotOptimize(format(text, value));
    SetItems(state);
}

void WriteNumber(benchmark::State& state, int precision) {
    FormatInMemory(state, [=](char* text, double value) { return quarn::detail::WriteNumber(text, value, precision); });
}

void ToChars(benchmark::State& state, int precision) {
    FormatInMemory(state, [=](char* text, double value) {
        return std::to_chars(text, text + 40, value, std::chars_format::general, precision).ptr;
    });
}

void SaveDataset(benchmark::State& state) {
    const File file;
    const Dataset dataset = MakeDataset(state.range(0), state.range(1));
    for (auto _ : state) {
        std::ofstream stream(file.Path);
        dataset.SaveDataset(stream);
    }
    SetItems(state);
}

void LoadDataset(benchmark::State& state) {
    const File file;
    std::ofstream out(file.Path);
    out << "bench~";
    MakeDataset(state.range(0), state.range(1)).SaveDataset(out);
    for (auto _ : state) {
        std::ifstream stream(file.Path);
        benchmark::DoNotOptimize(Dataset(stream).NumObs);
    }
    SetItems(state);
}

/// A model of n draws of k parameters, with as many numbers again in small elements.
quarn::Model MakeModel(Index rows, Index columns) {
    quarn::Model model;
    model.Samples = std::make_shared<MatrixXd>(Table(rows, columns, false));
    model.ObsId = std::make_shared<MatrixXd>(MatrixXd::Ones(1, 1));
    for (Index i = 0; i < rows * columns / 1000; ++i)
        model.Elements["element" + std::to_string(i)] = std::make_shared<MatrixXd>(Table(100, 10, false));
    return model;
}

void SaveModel(benchmark::State& state) {
    const File file;
    const quarn::Model model = MakeModel(state.range(0), state.range(1));
    for (auto _ : state) {
        std::ofstream stream(file.Path);
        model.SaveModel(stream);
    }
    state.SetItemsProcessed(state.iterations() * 2 * state.range(0) * state.range(1));
}

void LoadModel(benchmark::State& state) {
    const File file;
    std::ofstream out(file.Path);
    out << "bench\n";
    MakeModel(state.range(0), state.range(1)).SaveModel(out);
    for (auto _ : state) {
        std::ifstream stream(file.Path);
        benchmark::DoNotOptimize(quarn::Model(stream).ModelCode);
    }
    state.SetItemsProcessed(state.iterations() * 2 * state.range(0) * state.range(1));
}

void ExportData(benchmark::State& state) {
    const File file;
    const Dataset dataset = MakeDataset(state.range(0), state.range(1));
    for (auto _ : state) benchmark::DoNotOptimize(dataset.ExportData(file.Path, ','));
    SetItems(state);
}

BENCHMARK_CAPTURE(SaveMatrix, normal, false)->Apply(Shapes);
BENCHMARK_CAPTURE(SaveByPrintf, normal, false)->Apply(Shapes);
BENCHMARK_CAPTURE(LoadMatrix, normal, false)->Apply(Shapes);
BENCHMARK_CAPTURE(LoadWholeFile, normal, false)->Apply(Shapes);
BENCHMARK_CAPTURE(LoadByStrtod, normal, false)->Apply(Shapes);
BENCHMARK_CAPTURE(SaveMatrix, short, true)->Apply(Shapes);
BENCHMARK_CAPTURE(SaveByPrintf, short, true)->Apply(Shapes);
BENCHMARK_CAPTURE(LoadMatrix, short, true)->Apply(Shapes);
BENCHMARK_CAPTURE(LoadByStrtod, short, true)->Apply(Shapes);
BENCHMARK_CAPTURE(WriteNumber, exact, 17)->Apply(Shapes);
BENCHMARK_CAPTURE(ToChars, exact, 17)->Apply(Shapes);
BENCHMARK_CAPTURE(WriteNumber, six_digits, 6)->Apply(Shapes);
BENCHMARK_CAPTURE(ToChars, six_digits, 6)->Apply(Shapes);
BENCHMARK(SaveDataset)->Apply(Shapes);
BENCHMARK(LoadDataset)->Apply(Shapes);
BENCHMARK(SaveModel)->Apply(Shapes);
BENCHMARK(LoadModel)->Apply(Shapes);
BENCHMARK(ExportData)->Apply(Shapes);

}  // namespace
