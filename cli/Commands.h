#pragma once

#include <CLI/CLI.hpp>

#include <stdexcept>
#include <string>

/// The subcommands of quarn. Each adds itself to the application; its callback prints results to standard output and
/// throws Failure for what the user has to read on standard error.
namespace quarn::cli {

/// Ends the command with exit status 1.
class Failure : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

/// Ends the command with exit status 130, that of programs stopped by Ctrl-C.
class Interrupted : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

/// For a file that could not be opened or read.
std::string WhyNotOpened(const std::string& file);

void AddCompare(CLI::App& app);
void AddEstimate(CLI::App& app);
void AddExport(CLI::App& app);
void AddPlot(CLI::App& app);
void AddShow(CLI::App& app);
void AddSummarize(CLI::App& app);

}  // namespace quarn::cli
