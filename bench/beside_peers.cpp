// Times whole operations in processor time, in a process of their own, so that scripts can run other programs on the
// same files beside it. Prints lines of: file, operation, metric, median, smallest and largest of the runs,
// tab-separated.
//
//   quarn_beside_peers import FILE...                 comma-delimited text to a dataset; MB/s and peak memory
//   quarn_beside_peers sort FILE COLUMN COLUMN...     the table of a file, sorted by these columns of it; ms
//   quarn_beside_peers panel FILE                     operations on a panel with the columns g, t, x, y; ms
//   quarn_beside_peers write_panel FILE GROUPS PERIODS ID_STEP   such a file, its rows shuffled
//   quarn_beside_peers text FILE...                   numbers without a header, written in the matrix text form to
//                                                     FILE.saved, and read from there, alone and as a workspace;
//                                                     ns a number

#include <quarn/datasets/Dataset.h>
#include <quarn/numerics/MatrixText.h>
#include <quarn/numerics/Sorting.h>
#include <quarn/workspace/QuarnStructure.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <map>
#include <memory>
#include <numeric>
#include <random>
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

double Milliseconds(double seconds) { return 1e3 * seconds; }

/// The operation alone is timed, not what prepares a run of it.
template <class Operation, class Scale, class Preparation>
void Report(const std::string& file, const char* name, const char* metric, Scale scale, Operation operation,
            Preparation prepare) {
    std::vector<double> values;
    for (int run = 0; run < Runs; ++run) {
        prepare();
        const double start = ProcessorSeconds();
        operation();
        values.push_back(scale(ProcessorSeconds() - start));
    }
    std::sort(values.begin(), values.end());
    std::printf("%s\t%s\t%s\t%.6g\t%.6g\t%.6g\n", file.c_str(), name, metric, values[Runs / 2], values.front(),
                values.back());
}

template <class Operation, class Scale>
void Report(const std::string& file, const char* name, const char* metric, Scale scale, Operation operation) {
    Report(file, name, metric, scale, operation, [] {});
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
    Report(file, "sort", "ms", Milliseconds, [&] { static_cast<void>(quarn::SortMatrixVarIndex(table, keys)); });
}

void Panel(const std::string& file) {
    quarn::Dataset dataset(file, ',');
    std::string status = dataset.SetPanelData("t", "g", "index");
    const auto report = [&](const char* name, const auto& operation) {
        Report(file, name, "ms", Milliseconds, operation);
        if (status != "OK") std::fprintf(stderr, "%s: %s\n", name, status.c_str());
    };
    const auto ofVariables = [&](const std::string& rows) {
        report(("lag, " + rows).c_str(), [&] { static_cast<void>(dataset.TakeLags("x", "", 1, status)); });
        report(("second difference, " + rows).c_str(),
               [&] { static_cast<void>(dataset.TakeDiffs("x", "", 2, 1, status)); });
        for (const char* statistic : {"groupmeans", "groupmedians"})
            report((statistic + (", " + rows)).c_str(),
                   [&] { static_cast<void>(dataset.CalculateGroupStats("x", "", statistic, status)); });
        report(("prepare panel, " + rows).c_str(), [&] {
            std::vector<std::string> names = {"x", "y"};
            quarn::MatrixXd X, ids;
            quarn::VectorXd y;
            quarn::MatrixXi structure;
            status = dataset.Prepare_PanelData(names, X, y, ids, structure, false);
        });
    };
    ofVariables("shuffled rows");

    const quarn::VectorXi mask = (dataset.Data.col(3).array() > 0.0).cast<int>();
    const std::vector<std::string> keys = {"g", "t"};
    wxArrayString names;
    for (const std::string& key : keys) names.Add(key);
    quarn::Dataset copy;
    const auto reportOnCopy = [&](const char* name, const auto& operation) {
        Report(file, name, "ms", Milliseconds, operation, [&] { copy = dataset; });
    };
    reportOnCopy("row filter", [&] { copy.DropKeep(mask, true); });
    reportOnCopy("sort rows", [&] { copy.SortData(names); });
    dataset.SortData(names);
    report("sort rows, sorted rows", [&] { dataset.SortData(names); });
    ofVariables("sorted rows");
}

void WritePanel(const std::string& file, int groups, int periods, int step) {
    std::mt19937_64 engine(7);
    std::normal_distribution<double> normal;
    std::vector<int> order(static_cast<std::size_t>(groups) * static_cast<std::size_t>(periods));
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), engine);
    std::ofstream out(file);
    out << "g,t,x,y\n" << std::setprecision(17);
    for (const int place : order) {
        out << 1000 + static_cast<long>(place / periods) * step << ',' << 1970 + place % periods << ',';
        out << normal(engine) << ',' << normal(engine) << '\n';
    }
}

void Text(const std::string& file) {
    std::ifstream source(file);
    quarn::MatrixXd matrix = quarn::LoadMatrix(source, ',');
    const std::string path = file + ".saved";
    const auto nanoseconds = [&](double seconds) { return 1e9 * seconds / static_cast<double>(matrix.size()); };
    Report(file, "SaveMatrix", "ns", nanoseconds, [&] {
        std::ofstream saved(path);
        quarn::SaveMatrix(matrix, saved);
    });
    Report(file, "LoadMatrix", "ns", nanoseconds, [&] {
        std::ifstream saved(path);
        std::string header;
        std::getline(saved, header);
        quarn::LoadMatrix(saved, matrix, static_cast<int>(matrix.rows()), static_cast<int>(matrix.cols()), '~');
    });
    quarn::QuarnStructure workspace;
    workspace.AddMatrix("matrix", std::make_shared<quarn::MatrixXd>(matrix));
    Report(file, "SaveStructure", "ns", nanoseconds, [&] {
        std::ofstream saved(path);
        workspace.SaveStructure(saved);
    });
    Report(file, "LoadStructure", "ns", nanoseconds, [&] {
        std::ifstream saved(path);
        std::map<std::string, std::shared_ptr<quarn::Dataset>> datasets;
        workspace = quarn::QuarnStructure(saved, datasets);
    });
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() >= 2 && arguments[0] == "import") {
        std::for_each(arguments.begin() + 1, arguments.end(), Import);
    } else if (arguments.size() >= 2 && arguments[0] == "text") {
        std::for_each(arguments.begin() + 1, arguments.end(), Text);
    } else if (arguments.size() >= 3 && arguments[0] == "sort") {
        std::vector<int> columns;
        for (std::size_t i = 2; i < arguments.size(); ++i) columns.push_back(std::stoi(arguments[i]));
        Sort(arguments[1], columns);
    } else if (arguments.size() == 2 && arguments[0] == "panel") {
        Panel(arguments[1]);
    } else if (arguments.size() == 5 && arguments[0] == "write_panel") {
        WritePanel(arguments[1], std::stoi(arguments[2]), std::stoi(arguments[3]), std::stoi(arguments[4]));
    } else {
        std::fputs(
            "usage: quarn_beside_peers import FILE... | sort FILE COLUMN... | text FILE... | panel FILE | "
            "write_panel FILE GROUPS PERIODS ID_STEP\n",
            stderr);
        return 2;
    }
    return 0;
}
