#include "Workspace.h"

#include "Commands.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <new>
#include <sstream>
#include <string_view>
#include <system_error>

namespace quarn::cli {
namespace {

/// Five lines of digits stand at the head of a workspace. The position of the stream is then again what it was.
bool IsWorkspace(std::istream& stream) {
    const auto here = stream.tellg();
    bool isWorkspace = true;
    for (int count = 0; count < 5 && isWorkspace; ++count) {
        char line[12] = {};  // for as many digits as a number of items can have
        stream.getline(line, sizeof line);
        const std::string_view text = line;
        isWorkspace =
            stream.good() && !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
    }
    stream.clear();
    stream.seekg(here);
    return isWorkspace;
}

bool Holds(const QuarnStructure& structure, const std::string& name, int kind) {
    switch (kind) {
        case QuarnStructure::MatrixItem:
            return structure.Matrices.contains(name);
        case QuarnStructure::DatasetItem:
            return structure.Datasets.contains(name);
        case QuarnStructure::ModelItem:
            return structure.Models.contains(name);
        case QuarnStructure::StructureItem:
            return structure.Structures.contains(name);
        case QuarnStructure::StringItem:
            return structure.Strings.contains(name);
        default:
            return false;
    }
}

}  // namespace

Workspace::Workspace(const std::string& file) {
    std::error_code error;
    std::ifstream source(file, std::ios::binary);
    if (!source || std::filesystem::is_directory(file, error)) throw Failure(file + ": " + WhyNotOpened(file));
    // Loading asks how much follows, which a pipe cannot tell: it is read to its end first.
    std::stringstream text;
    const bool isFile = std::filesystem::is_regular_file(file, error);
    if (!isFile) text << source.rdbuf();
    std::istream& stream = isFile ? static_cast<std::istream&>(source) : text;

    if (!IsWorkspace(stream)) throw Failure(file + ": it is not a workspace");
    std::map<std::string, std::shared_ptr<Dataset>> datasets;
    try {
        Top = QuarnStructure(stream, datasets);
    } catch (const std::bad_alloc&) {
        throw Failure(file + ": it is damaged, or there is not enough memory for it");
    }
    // A whole file is read to its last line and not further.
    const bool endedEarly = !stream.good();
    if (endedEarly || stream.peek() != std::char_traits<char>::eof())
        throw Failure(file + ": it is damaged: " + (endedEarly ? "it ends early" : "text follows behind its end"));
    Top.AssociateModelsToDatasets(datasets);
}

Place FindItem(const QuarnStructure& top, const std::string& path, int kind) {
    int found = QuarnStructure::NoItem;
    if (kind == QuarnStructure::NoItem ? top.HasMember(path, found) : Holds(top, path, kind))
        return {&top, path, kind == QuarnStructure::NoItem ? found : kind};
    for (auto slash = path.rfind('/'); slash != std::string::npos && slash != 0; slash = path.rfind('/', slash - 1)) {
        const auto nested = top.GetpStructure(path.substr(0, slash));
        Place place = nested == nullptr ? Place() : FindItem(*nested, path.substr(slash + 1), kind);
        if (place.Structure != nullptr) return place;
    }
    return {};
}

}  // namespace quarn::cli
