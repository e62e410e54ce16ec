#include "Quarn.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

using quarn::testing::ExpectToFail;
using quarn::testing::Outcome;
using quarn::testing::Quarn;
using quarn::testing::Row;
using quarn::testing::TemporaryFile;

const std::string Grunfeld = QUARN_SOURCE_DIR "/examples/data/grunfeld.csv ";
const std::string Pooled = "estimate linear " + Grunfeld + "--y invest --x value,capital --constant ";

/// A path at which there is nothing, removed at the end with all that begins with it.
struct NewFile {
    std::filesystem::path Path;
    NewFile() {
        const TemporaryFile unique;
        Path = unique.Path() + "-new";
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    ~NewFile() {
        for (const auto& file : Beside()) std::filesystem::remove(file);
    }
    std::vector<std::filesystem::path> Beside() const {
        std::vector<std::filesystem::path> files;
        for (const auto& file : std::filesystem::directory_iterator(Path.parent_path()))
            if (file.path().string().starts_with(Path.string())) files.push_back(file.path());
        return files;
    }
    std::string Read() const {
        std::ifstream stream(Path);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
};

TEST(QuarnEstimate, GoesFromAFileToATableAndASavedModel) {
    const NewFile file;
    const std::string save = "--save " + file.Path.string() + " ";
    const Outcome pooled = Quarn(Pooled + save + "--name pooled --diagnostics --seed 7");
    ASSERT_EQ(pooled.status, 0) << pooled.errors;
    EXPECT_EQ(pooled.errors, "");
    EXPECT_TRUE(pooled.output.starts_with("Observations: 220 used, 0 dropped\nLinear regression: pooled\n"));
    EXPECT_NE(pooled.output.find("20000 x 1 chain, burn-in 5000, thinning 1, seed 7"), std::string::npos);
    EXPECT_TRUE(Row(pooled.output, "value").starts_with("value 0.114")) << Row(pooled.output, "value");
    EXPECT_NE(pooled.output.find("Inefficiency"), std::string::npos);

    ASSERT_EQ(Quarn("estimate linear " + Grunfeld + "--y invest --x value --constant " + save).status, 0);
    EXPECT_EQ(Quarn("show " + file.Path.string()).output,
              "dataset    220 observations, 6 variables                 grunfeld.csv\n"
              "model      Linear regression, 20000 draws, 4 parameters  linear\n"
              "model      Linear regression, 20000 draws, 5 parameters  pooled\n");
    const Outcome shown = Quarn("show " + file.Path.string() + " pooled");
    EXPECT_NE(pooled.output.find(shown.output), std::string::npos);
    EXPECT_TRUE(Row(Quarn("compare " + file.Path.string() + " pooled linear").output, "pooled").ends_with(" 1"));

    EXPECT_EQ(file.Beside().size(), 1u);  // nothing is left of saving
    const std::string before = file.Read();
    EXPECT_NE(before.find("\nquarn estimate linear " + Grunfeld + "--y invest --x value,capital --constant --seed 7\n"),
              std::string::npos);
    ExpectToFail({{Pooled + save + "--name pooled", 1, "it has a model pooled; give another --name, or --overwrite"}});
    EXPECT_EQ(file.Read(), before);
    EXPECT_EQ(Quarn(Pooled + save + "--name pooled --overwrite --draws 10").status, 0);
    EXPECT_LT(file.Read().size(), before.size());
}

TEST(QuarnEstimate, StoresACommandThatCanBeTypedAgain) {
    NewFile data, save, again;
    data.Path += " of 'one' & two.csv";
    std::ofstream(data.Path) << "y,x\n1,2\n3,4\n5,5\n";
    ASSERT_EQ(Quarn("estimate linear \"" + data.Path.string() + "\" -d , --y y --x x --untimed --draws 9 --save " +
                    save.Path.string())
                  .status,
              0);
    const std::string bytes = save.Read(), stored = bytes.substr(bytes.find("quarn estimate") + 6);
    ASSERT_EQ(Quarn(stored.substr(0, stored.find('\n')) + " --untimed --save " + again.Path.string()).status, 0);
    EXPECT_EQ(again.Read(), bytes);
}

TEST(QuarnEstimate, SameSeedSameBytesOnAnyNumberOfThreads) {
    const NewFile one, two, other;
    const auto run = [](const NewFile& file, const std::string& options) {
        const Outcome outcome =
            Quarn(Pooled + "--untimed --chains 3 --draws 500 --save " + file.Path.string() + ' ' + options);
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        return file.Read();
    };
    const std::string bytes = run(one, "--threads 1");
    EXPECT_EQ(bytes, run(two, "--threads 2"));
    EXPECT_NE(bytes, run(other, "--threads 1 --seed 43"));
}

TEST(QuarnEstimate, CtrlCKeepsWhatTheChainsHave) {
    for (const char* delay : {"0.15", "0.25", "0.35"}) {
        const NewFile file;
        const TemporaryFile output;
        const int status =
            std::system((std::string("timeout --foreground --preserve-status --signal INT ") + delay +
                         " " QUARN_COMMAND " " + Pooled + "--chains 3 --threads 2 --thin 20 --draws 20000000 --save " +
                         file.Path.string() + " >" + output.Path() + " 2>/dev/null")
                            .c_str());
        EXPECT_EQ(WEXITSTATUS(status), 130);
        EXPECT_NE(output.Read().find("\nPARTIAL RESULTS: stopped after "), std::string::npos) << output.Read();
        const Outcome shown = Quarn("show " + file.Path.string() + " linear");
        EXPECT_EQ(shown.status, 0) << shown.errors;
        EXPECT_NE(shown.output.find("PARTIAL RESULTS"), std::string::npos);
        if (testing::Test::HasFailure()) break;
    }
}

TEST(QuarnEstimate, AFailedSaveLeavesTheOldFile) {
    const NewFile file;
    ASSERT_EQ(Quarn(Pooled + "--draws 10 --save " + file.Path.string()).status, 0);
    const std::string before = file.Read();
    ASSERT_NE(before, "");
    const TemporaryFile errors;
    const int status = std::system(("trap '' XFSZ; ulimit -f 8; " QUARN_COMMAND " " + Pooled + "--name b --save " +
                                    file.Path.string() + " >/dev/null 2>" + errors.Path())
                                       .c_str());
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_NE(errors.Read().find("cannot be saved; what was there is as before"), std::string::npos) << errors.Read();
    EXPECT_EQ(file.Read(), before);
    EXPECT_EQ(file.Beside().size(), 1u);
}

TEST(QuarnEstimate, SaysWhatIsWrong) {
    const std::string linear = "estimate linear " + Grunfeld;
    ExpectToFail({{"estimate regression " + Grunfeld + "--y invest", 1, "there is no model regression; the models are"},
                  {linear + "--y profit --x value", 1, "there is no variable profit"},
                  {linear + "--y invest", 1, "needs regressors"},
                  {linear + "--y invest --x value,value", 1, "named twice"},
                  {linear + "--y invest --x invest", 1, "among the regressors"},
                  {linear + "--y invest,value --x capital", 1, "one dependent variable"},
                  {linear + "--y invest --x value --z capital", 1, "takes no second group"},
                  {linear + "--y invest --x firm", 1, "variables with non-numeric data"},
                  {linear + "--y invest --x value --save /nowhere/w.txt", 1, "no file can be written there"},
                  {linear + "--y invest --x value --draws 0", 2, "--draws"},
                  {"estimate linear /nowhere.csv --y a --x b", 1, "/nowhere.csv"}});
    const Outcome vast = Quarn(linear + "--y invest --x value --draws 1000000000000");
    EXPECT_EQ(vast.status, 1);
    EXPECT_NE(vast.errors.find("more than this machine can hold"), std::string::npos) << vast.errors;
}

// ---- export, plot ----

TEST(QuarnExport, WritesAllDigitsInEveryFormat) {
    const NewFile file, out;
    ASSERT_EQ(Quarn(Pooled + "--chains 2 --draws 3 --burnin 10 --thin 2 --save " + file.Path.string()).status, 0);
    const auto exported = [&](const std::string& format) {
        const Outcome outcome =
            Quarn("export " + file.Path.string() + " linear --format " + format + " --out " + out.Path.string());
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        return out.Read();
    };
    const std::string csv = exported("csv");
    std::istringstream lines(csv);
    std::string line, cell;
    std::getline(lines, line);
    EXPECT_EQ(line, ".chain,.iteration,.draw,constant,value,capital,tau,sigma_e");
    std::vector<std::vector<std::string>> rows;
    while (std::getline(lines, line)) {
        std::istringstream cells(line);
        for (rows.emplace_back(); std::getline(cells, cell, ',');) rows.back().push_back(cell);
    }
    ASSERT_EQ(rows.size(), 6u);
    EXPECT_TRUE(rows[4][0] == "2" && rows[4][1] == "2" && rows[4][2] == "5");
    // sigma_e is 1/sqrt(tau) to the last digit only if both are there with all of theirs.
    for (const auto& row : rows) EXPECT_EQ(1.0 / std::sqrt(std::stod(row[6])), std::stod(row[7]));

    EXPECT_NE(
        exported("json").find("\"tau\": [[" + rows[0][6] + "," + rows[1][6] + "," + rows[2][6] + "],\n[" + rows[3][6]),
        std::string::npos);
    exported("coda");
    std::ifstream index(out.Path.string() + "-index.txt"), chain(out.Path.string() + "-chain2.txt");
    std::getline(index, line);
    std::getline(index, line);
    EXPECT_EQ(line, "value 4 6");
    std::getline(chain, line);
    EXPECT_EQ(line, "12 " + rows[3][3]);
    ExpectToFail({{"export " + file.Path.string() + " other --out x", 1, "there is no model other"},
                  {"export " + file.Path.string() + " linear --out /nowhere/x", 1, "cannot be written"}});
}

/// The last line that a program prints, or nothing if it fails.
std::string LastLineOf(const std::string& command) {
    const TemporaryFile output;
    if (std::system((command + " >" + output.Path() + " 2>/dev/null").c_str()) != 0) return "";
    std::istringstream lines(output.Read());
    std::string line, last;
    while (std::getline(lines, line)) last = line;
    return last;
}

TEST(QuarnExport, IsReadByTheProgramsThatItIsFor) {
    const NewFile file, out;
    const std::string path = out.Path.string();
    ASSERT_EQ(Quarn(Pooled + "--chains 2 --draws 50 --thin 2 --save " + file.Path.string()).status, 0);
    for (const char* format : {"csv", "coda", "json"})
        ASSERT_EQ(Quarn("export " + file.Path.string() + " linear --format " + format + " --out " + path +
                        (format == std::string("coda") ? "" : format))
                      .status,
                  0);
    // Each prints chains, draws, and a number: that of the last draw of the second chain.
    std::ifstream chain(path + "-chain2.txt");
    std::string line;
    for (int i = 0; i < 50; ++i) std::getline(chain, line);
    const double expected = std::stod(line.substr(line.find(' ') + 1));
    int readers = 0;
    const auto expect = [&](const std::string& available, const std::string& command) {
        if (std::system((available + " >/dev/null 2>&1").c_str()) != 0) return;
        ++readers;
        const std::string read = LastLineOf(command);
        ASSERT_TRUE(read.starts_with("2 50 ")) << command << "\n" << read;
        EXPECT_EQ(std::stod(read.substr(5)), expected) << command;  // to the last bit
    };
    expect("Rscript -e 'library(posterior)'",
           "Rscript -e 'd <- posterior::as_draws_df(read.csv(\"" + path +
               "csv\", check.names = FALSE)); cat(posterior::nchains(d), posterior::niterations(d), "
               "format(d[[\"constant\"]][100], digits = 17))'");
    expect("Rscript -e 'library(coda)'",
           "Rscript -e 'f <- function(c) coda::read.coda(paste0(\"" + path + "-chain\", c, \".txt\"), \"" + path +
               "-index.txt\", quiet = TRUE); d <- coda::mcmc.list(f(1), f(2)); "
               "cat(coda::nchain(d), coda::niter(d), format(d[[2]][50, \"constant\"][[1]], digits = 17))'");
    expect("python3 -c 'import json'", "python3 -c 'import json; d = json.load(open(\"" + path +
                                           "json\"))[\"posterior\"][\"constant\"]; "
                                           "print(len(d), len(d[0]), repr(d[1][49]))'");
    if (readers == 0) GTEST_SKIP() << "neither R with posterior or coda nor Python is here";
}

TEST(QuarnPlot, DrawsAPageWithGnuplotOrSaysThatItIsMissing) {
    const NewFile file, out;
    ASSERT_EQ(Quarn(Pooled + "--chains 2 --draws 300 --save " + file.Path.string()).status, 0);
    const std::string svg = out.Path.string() + ".svg";
    const Outcome outcome = Quarn("plot " + file.Path.string() + " linear --out " + svg);
    if (std::system("command -v gnuplot >/dev/null") == 0) {
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        std::ifstream stream(svg);
        const std::string page{std::istreambuf_iterator<char>(stream), {}};
        for (const char* text : {"Trace", "Density", "Autocorrelation", "sigma_e", "</svg>"})
            EXPECT_NE(page.find(text), std::string::npos) << text;
    }
    EXPECT_EQ(Quarn("plot " + file.Path.string() + " linear --out x.pdf").status, 1);
    const TemporaryFile errors;
    const std::string command = "PATH=/nowhere " QUARN_COMMAND " plot " + file.Path.string() + " linear 2>";
    EXPECT_NE(std::system((command + errors.Path()).c_str()), 0);
    EXPECT_NE(errors.Read().find("gnuplot, which is not installed"), std::string::npos);
}

}  // namespace
