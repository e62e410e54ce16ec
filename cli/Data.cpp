#include "Data.h"

#include "Commands.h"

#include <wx/strconv.h>

#include <algorithm>
#include <filesystem>
#include <string_view>

namespace quarn::cli {
namespace {

/// One character as it stands, or the name of one that is hard to type.
std::string CheckDelimiter(const std::string& text) {
    return text.size() == 1 || text == "tab" || text == "blank" ? "" : "must be one character, tab or blank";
}

char DelimiterOf(const std::string& text) {
    if (text == "tab") return '\t';
    return text == "blank" ? ' ' : text.front();
}

constexpr std::string_view Http = "http://";

std::shared_ptr<Dataset> Import(const std::string& file, char delimiter) {
    if (!file.starts_with(Http)) return std::make_shared<Dataset>(file, delimiter);
    const std::string address = file.substr(Http.size());
    const auto slash = std::min(address.find('/'), address.size());
    return std::make_shared<Dataset>(address.substr(0, slash), address.substr(slash), delimiter);
}

}  // namespace

void AddDataFile(CLI::App& command, DataFile& file) {
    command
        .add_option("FILE", file.File,
                    "Delimited text: a line of names, then one line per observation; a path or http://host[:port]/path")
        ->required();
    command.add_option("-d,--delimiter", file.Delimiter, "Character between fields, or: tab, blank")
        ->type_name("C")
        ->capture_default_str()
        ->check(CheckDelimiter);
}

std::shared_ptr<Dataset> LoadDataset(const DataFile& file) {
    auto dataset = Import(file.File, DelimiterOf(file.Delimiter));
    if (!dataset->Loaded)
        throw Failure(file.File + ": " + (dataset->StatusText.empty() ? WhyNotOpened(file.File) : dataset->StatusText));
    dataset->Name = wxString(std::filesystem::path(file.File).filename().string().c_str(), wxConvLibc);
    return dataset;
}

}  // namespace quarn::cli
