// Times whole operations in processor time, in a process of their own, so that scripts can run other programs on the
// same files beside it. Prints lines of: file, operation, metric, median, smallest and largest of the runs,
// tab-separated.
//
//   quarn_beside_peers import FILE...                 comma-delimited text to a dataset; MB/s and peak memory
//   quarn_beside_peers sort FILE COLUMN COLUMN...     the table of a file, sorted by these columns of it; ms

#include <quarn/datasets/Dataset.h>
#include <quarn/numerics/Sorting.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr int Runs = 7;

double ProcessorSeconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

double PeakMegabytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmHWM:")) return std::stod(line.substr(6)) / 1024.0;
    return 0.0;
}

template <class Operation, class Scale>
void Report(const std::string& file, const char* name, const char* metric, Scale scale, Operation operation) {
    std::vector<double> values;
    for (int run = 0; run < Runs; ++run) {
        const double start = ProcessorSeconds();
        operation();
        values.push_back(scale(ProcessorSeconds() - start));
    }
    std::sort(values.begin(), values.end());
    std::printf("%s\t%s\t%s\t%.6g\t%.6g\t%.6g\n", file.c_str(), name, metric, values[Runs / 2], values.front(),
                values.back());
}

void Import(const std::string& file) {
    const double before = PeakMegabytes();
    const double megabytes = static_cast<double>(std::filesystem::file_size(file)) / 1e6;
    const auto import = [&file] {
        const quarn::Dataset dataset(file, ',');
        if (!dataset.Loaded) std::fprintf(stderr, "%s: not loaded\n", file.c_str());
    };
    import();
    std::printf("%s\timport\tpeak_over_start_MB\t%.1f\n", file.c_str(), PeakMegabytes() - before);
    Report(
        file, "import", "MB_per_s", [megabytes](double seconds) { return megabytes / seconds; }, import);
}

void Sort(const std::string& file, const std::vector<int>& columns) {
    const quarn::Dataset dataset(file, ',');
    const quarn::MatrixXd table = dataset.Data.rightCols(dataset.NumVars - 1);
    const auto keys = Eigen::Map<const quarn::VectorXi>(columns.data(), static_cast<Eigen::Index>(columns.size()));
    const auto milliseconds = [](double seconds) { return 1e3 * seconds; };
    Report(file, "sort", "ms", milliseconds, [&] { static_cast<void>(quarn::SortMatrixVarIndex(table, keys)); });
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() >= 2 && arguments[0] == "import") {
        std::for_each(arguments.begin() + 1, arguments.end(), Import);
    } else if (arguments.size() >= 3 && arguments[0] == "sort") {
        std::vector<int> columns;
        for (std::size_t i = 2; i < arguments.size(); ++i) columns.push_back(std::stoi(arguments[i]));
        Sort(arguments[1], columns);
    } else {
        std::fputs("usage: quarn_beside_peers import FILE... | sort FILE COLUMN...\n", stderr);
        return 2;
    }
    return 0;
}
