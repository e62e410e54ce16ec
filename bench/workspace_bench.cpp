// Workspace files: a tree saved and read back, every digit kept. Items are numbers. `one_matrix` is a single matrix of
// normal draws; `many_items` has the same number of cells in matrices of 10 x 20, 100 to a nested structure.

#include <quarn/workspace/QuarnStructure.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <unistd.h>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::QuarnStructure;

/// A file that is gone at the end.
struct File {
    std::string Path = std::filesystem::temp_directory_path() / ("quarn_workspace_bench." + std::to_string(::getpid()));
    ~File() { std::remove(Path.c_str()); }
};

std::shared_ptr<MatrixXd> Normals(std::mt19937_64& engine, Index rows, Index columns) {
    std::normal_distribution<double> normal;
    return std::make_shared<MatrixXd>(MatrixXd::NullaryExpr(rows, columns, [&] { return normal(engine); }));
}

/// rows x columns cells in matrices of rowsOfEach rows.
QuarnStructure MakeTree(Index rows, Index columns, Index rowsOfEach) {
    std::mt19937_64 engine(61);
    QuarnStructure top;
    QuarnStructure* structure = &top;
    for (Index i = 0; i < rows / rowsOfEach; ++i) {
        if (i % 100 == 0 && i != 0) {
            top.AddStructure("s" + std::to_string(i), std::make_shared<QuarnStructure>());
            structure = top.GetpStructure("s" + std::to_string(i)).get();
        }
        structure->AddMatrix("m" + std::to_string(i), Normals(engine, rowsOfEach, columns));
    }
    return top;
}

void SetItems(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * state.range(0) * state.range(1));
}

void Shapes(benchmark::internal::Benchmark* bench) {
    bench->ArgNames({"n", "k"})->Args({1000000, 20})->Unit(benchmark::kMillisecond)->UseRealTime();
}

void SaveStructure(benchmark::State& state, Index rowsOfEach) {
    const File file;
    const QuarnStructure tree = MakeTree(state.range(0), state.range(1), rowsOfEach);
    for (auto _ : state) {
        std::ofstream stream(file.Path, std::ios::binary);
        tree.SaveStructure(stream);
    }
    SetItems(state);
}

void LoadStructure(benchmark::State& state, Index rowsOfEach) {
    const File file;
    {
        std::ofstream stream(file.Path, std::ios::binary);
        MakeTree(state.range(0), state.range(1), rowsOfEach).SaveStructure(stream);
    }
    for (auto _ : state) {
        std::ifstream stream(file.Path, std::ios::binary);
        std::map<std::string, std::shared_ptr<quarn::Dataset>> datasets;
        const QuarnStructure loaded(stream, datasets);
        if (!loaded.HasMatrices()) state.SkipWithError("nothing was loaded");
    }
    SetItems(state);
}

BENCHMARK_CAPTURE(SaveStructure, one_matrix, 1000000)->Apply(Shapes);
BENCHMARK_CAPTURE(LoadStructure, one_matrix, 1000000)->Apply(Shapes);
BENCHMARK_CAPTURE(SaveStructure, many_items, 10)->Apply(Shapes);
BENCHMARK_CAPTURE(LoadStructure, many_items, 10)->Apply(Shapes);

}  // namespace
