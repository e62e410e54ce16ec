#include "Workspace.h"

#include "Commands.h"

#include <samplers/Sampler.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <new>
#include <sstream>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

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

bool SameCells(const MatrixXd& a, const MatrixXd& b) {
    return a.rows() == b.rows() && a.cols() == b.cols() &&
           ((a.array() == b.array()) || (a.array().isNaN() && b.array().isNaN())).all();
}

bool SameData(const Dataset& a, const Dataset& b) {
    return a.VarNames == b.VarNames && SameCells(a.Data, b.Data) &&
           std::ranges::equal(a.StringVars, b.StringVars, [](const auto& x, const auto& y) {
               return x.first == y.first && x.second.Values == y.second.Values;
           });
}

/// Gives a dataset the time structure of another one with the same data. False if it cannot have it.
bool TakeStructure(Dataset& to, const Dataset& from) {
    if (from.DatasetType == 0) return true;
    const std::string status = from.DatasetType == 1
                                   ? to.SetTimeSeries(from.TimeVariable, from.TimeFormat)
                                   : to.SetPanelData(from.TimeVariable, from.GroupVariable, from.TimeFormat);
    return status == "OK";
}

/// A file of this process beside another one, removed unless it is put in its place.
class FileBeside {
 public:
    explicit FileBeside(std::string target) : m_target(std::move(target)), m_path(m_target + ".XXXXXX") {
        m_descriptor = mkstemp(m_path.data());
    }
    FileBeside(const FileBeside&) = delete;
    FileBeside& operator=(const FileBeside&) = delete;
    ~FileBeside() {
        if (m_descriptor < 0) return;
        close(m_descriptor);
        if (!m_inPlace) unlink(m_path.c_str());
    }

    bool IsOpen() const { return m_descriptor >= 0; }
    const std::string& Path() const { return m_path; }

    /// With the permissions of the file that was there, or those of a new file; on the disk before it bears the name.
    bool PutInPlace() {
        struct stat before = {};
        const mode_t mask = umask(0);
        umask(mask);
        const mode_t mode = stat(m_target.c_str(), &before) == 0 ? before.st_mode & 07777U : 0666U & ~mask;
        m_inPlace = fchmod(m_descriptor, mode) == 0 && fsync(m_descriptor) == 0 &&
                    std::rename(m_path.c_str(), m_target.c_str()) == 0;
        return m_inPlace;
    }

 private:
    std::string m_target, m_path;
    int m_descriptor = -1;
    bool m_inPlace = false;
};

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

void Workspace::AddModel(const std::string& name, const std::shared_ptr<Model>& model,
                         const std::shared_ptr<Dataset>& dataset) {
    std::string key = dataset->Name.utf8_string();
    for (char& c : key)
        if (c == '~' || c == '\n') c = '_';
    const std::string base = key;
    std::shared_ptr<Dataset> linked = Top.GetpDataset(key);
    for (int number = 2; linked != nullptr && !(SameData(*linked, *dataset) && TakeStructure(*linked, *dataset));
         ++number) {
        key = base + '_' + std::to_string(number);
        linked = Top.GetpDataset(key);
    }
    if (linked == nullptr) {
        linked = dataset;
        Top.AddDataset(key, linked);
    }
    Top.RemoveModel(name);
    samplers::LinkToDataset(model, linked);
    Top.AddModel(name, model);
}

void Workspace::Save(const std::string& file) {
    std::error_code error;
    const auto resolved = std::filesystem::canonical(file, error);  // the file behind a link, not the link
    FileBeside temporary(error ? file : resolved.string());
    const std::string notSaved = file + ": cannot be saved; what was there is as before";
    if (!temporary.IsOpen()) throw Failure(notSaved);
    std::ofstream stream(temporary.Path(), std::ios::binary);
    int counter = 0;
    Top.NotifyAssociatedModelsForSaving(counter);
    Top.SaveStructure(stream);
    stream.close();
    if (!stream || !temporary.PutInPlace()) throw Failure(notSaved);
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

std::shared_ptr<Model> FindModel(const QuarnStructure& top, const std::string& file, const std::string& path) {
    const Place place = FindItem(top, path, QuarnStructure::ModelItem);
    if (place.Structure == nullptr) throw Failure(file + ": there is no model " + path);
    return place.Structure->GetpModel(place.Name);
}

}  // namespace quarn::cli
