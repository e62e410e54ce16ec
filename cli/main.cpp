#include "Commands.h"

#include <clocale>
#include <exception>
#include <iostream>
#include <new>
#include <string>

namespace {

enum ExitStatus { Success = 0, DataFailure = 1, UsageError = 2, Stopped = 130 };

const char* const RunWithHelp = "\nRun with --help for more information.";

int Fail(const std::string& message, ExitStatus status) {
    std::cerr << "quarn: " << message << '\n';
    return status;
}

int Run(int argc, char** argv) {
    CLI::App app("Econometric data and models from the command line.");
    app.name("quarn");
    app.set_version_flag("--version", "quarn " QUARN_VERSION);
    app.require_subcommand(1);
    app.footer(
        "Results go to standard output, messages to standard error.\n"
        "Exit status: 0 success, 1 a problem with the data, 2 a problem with the command line, 130 stopped by Ctrl-C.\n"
        "quarn COMMAND --help tells more about a command.");
    quarn::cli::AddCompare(app);
    quarn::cli::AddEstimate(app);
    quarn::cli::AddExport(app);
    quarn::cli::AddPlot(app);
    quarn::cli::AddShow(app);
    quarn::cli::AddSummarize(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& request) {  // --help, --version
        app.exit(request);
    } catch (const CLI::RequiredError& error) {
        // Without a command, whatever stands in its place is the trouble.
        const bool unknown = app.get_subcommands().empty() && argc > 1;
        const std::string message = unknown ? std::string("there is no command ") + argv[1] : error.what();
        return Fail(message + RunWithHelp, UsageError);
    } catch (const CLI::ParseError& error) {
        return Fail(std::string(error.what()) + RunWithHelp, UsageError);
    }
    std::cout.flush();
    return std::cout ? Success : Fail("cannot write to standard output", DataFailure);
}

}  // namespace

int main(int argc, char** argv) {
    // Names of files and datasets are text in the user's encoding. Numbers never depend on the locale.
    if (std::setlocale(LC_CTYPE, "") == nullptr) std::setlocale(LC_CTYPE, "C.UTF-8");
    try {
        return Run(argc, argv);
    } catch (const quarn::cli::Interrupted& stop) {
        return Fail(stop.what(), Stopped);
    } catch (const std::bad_alloc&) {
        return Fail("not enough memory", DataFailure);
    } catch (const std::exception& failure) {
        return Fail(failure.what(), DataFailure);
    }
}
