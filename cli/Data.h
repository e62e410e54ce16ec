#pragma once

#include <quarn/datasets/Dataset.h>

#include <CLI/CLI.hpp>

#include <memory>
#include <string>

namespace quarn::cli {

/// A delimited file on disk or behind http://, as the user names it.
struct DataFile {
    std::string File;
    std::string Delimiter = ",";  ///< one character, or: tab, blank
};

/// Adds FILE and --delimiter. The struct must live until the callback of the command.
void AddDataFile(CLI::App& command, DataFile& file);

/// Imports it; its Name is that of the file without folders. Throws Failure with the reason.
std::shared_ptr<Dataset> LoadDataset(const DataFile& file);

}  // namespace quarn::cli
