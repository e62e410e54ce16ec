#include <quarn/datasets/Names_detail.h>
#include <quarn/numerics/MatrixText_detail.h>
#include <quarn/numerics/SavedText_detail.h>
#include <quarn/numerics/TextWriter_detail.h>
#include <quarn/workspace/QuarnStructure.h>

#include <algorithm>
#include <istream>
#include <ostream>
#include <set>
#include <string_view>
#include <utility>

namespace quarn {
namespace {

using detail::FieldSeparator;
using DatasetsByKey = std::map<std::string, std::shared_ptr<Dataset>>;

constexpr std::string_view EndOfString = "_#_end_of_string_#_";

/// Calls visit for the structures of a tree, each before those below it, in the order of their names.
template <class Visit>
void ForEachStructure(QuarnStructure& top, const Visit& visit) {
    std::vector<QuarnStructure*> toDo{&top};
    while (!toDo.empty()) {
        QuarnStructure& structure = *toDo.back();
        toDo.pop_back();
        visit(structure);
        for (auto nested = structure.Structures.rbegin(); nested != structure.Structures.rend(); ++nested)
            toDo.push_back(nested->second.get());
    }
}

// ---- Saving ----

void WriteText(std::ostream& stream, const std::string& text, char end) {
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    stream.put(end);
}

/// What stands before the structures below.
void WriteBeginning(std::ostream& stream, const QuarnStructure& structure) {
    detail::TextWriter writer(stream);
    for (const auto count : {structure.Matrices.size(), structure.Datasets.size(), structure.Models.size(),
                             structure.Structures.size(), structure.Strings.size()})
        writer << static_cast<std::int64_t>(count) << '\n';
    const int precision = detail::WorkspacePrecision(stream);
    for (const auto& [name, matrix] : structure.Matrices) {
        writer << name << FieldSeparator << matrix->rows() << FieldSeparator << matrix->cols() << '\n';
        detail::WriteBody(writer, *matrix, precision);
    }
    writer.Flush();
    for (const auto& [name, dataset] : structure.Datasets) {
        WriteText(stream, name, FieldSeparator);
        dataset->SaveDataset(stream);
    }
    for (const auto& [name, model] : structure.Models) {
        WriteText(stream, name, '\n');
        model->SaveModel(stream);
    }
}

void WriteStrings(std::ostream& stream, const QuarnStructure& structure) {
    if (structure.Strings.empty()) return;
    detail::TextWriter writer(stream);
    for (const auto& [name, text] : structure.Strings) writer << name << '\n' << *text << EndOfString << '\n';
    writer.Flush();
}

// ---- Loading ----

class Loader {
 public:
    Loader(std::istream& stream, DatasetsByKey& datasets) : m_stream(stream), m_datasets(datasets) {}

    void Load(QuarnStructure& top) {
        Begin(top);
        while (!m_open.empty()) {
            Structure& level = m_open.back();
            if (level.NestedLeft > 0 && HasMore()) {
                --level.NestedLeft;
                const auto nested = std::make_shared<QuarnStructure>();
                level.Target->AddStructure(ReadText(), nested);
                Begin(*nested);
            } else {
                for (int left = level.Strings; left > 0 && HasMore(); --left) LoadString(*level.Target);
                m_open.pop_back();
            }
        }
    }

 private:
    /// A structure whose end has not been reached.
    struct Structure {
        QuarnStructure* Target;
        int NestedLeft, Strings;
    };

    bool HasMore() { return m_stream.good() && m_stream.peek() != std::char_traits<char>::eof(); }

    std::string ReadText() {
        std::string line;
        detail::ReadLine(m_stream, line);
        return line;
    }

    /// What stands before the structures below.
    void Begin(QuarnStructure& target) {
        int counts[5];
        for (int& count : counts) count = detail::ToInt(ReadText());
        for (int left = counts[0]; left > 0 && HasMore(); --left) LoadMatrix(target);
        for (int left = counts[1]; left > 0 && HasMore(); --left) LoadDataset(target);
        for (int left = counts[2]; left > 0 && HasMore(); --left) LoadModel(target);
        m_open.push_back({&target, counts[3], counts[4]});
    }

    void LoadMatrix(QuarnStructure& target) {
        const auto header = detail::ReadFields(m_stream, 3);
        const int rows = detail::ToInt(header[1]), columns = detail::ToInt(header[2]);
        target.AddMatrix(header[0], std::make_shared<MatrixXd>(detail::LoadBody(m_stream, rows, columns)));
    }

    void LoadDataset(QuarnStructure& target) {
        const auto dataset = std::make_shared<Dataset>(m_stream);
        target.AddDataset(detail::ToSavedName(dataset->Name), dataset);
        m_datasets.emplace(dataset->SaveId, dataset);
    }

    void LoadModel(QuarnStructure& target) {
        const auto model = std::make_shared<Model>(m_stream);
        target.AddModel(model->ModelName, model);
    }

    void LoadString(QuarnStructure& target) {
        const std::string name = ReadText();
        const auto text = std::make_shared<std::string>();
        auto mark = std::string::npos;
        for (bool more = true; mark == std::string::npos && more;) {
            // The mark may begin in what was read before.
            const std::size_t from = text->size() - std::min(text->size(), EndOfString.size() - 1);
            *text += ReadText();
            more = m_stream.good();
            mark = text->find(EndOfString, from);
        }
        // The last one: the end of a text and its mark can hold another, as "_#_end_of_string" does.
        if (mark != std::string::npos) text->erase(text->rfind(EndOfString), EndOfString.size());
        target.AddString(name, text);
    }

    std::istream& m_stream;
    DatasetsByKey& m_datasets;
    std::vector<Structure> m_open;  ///< from the top down
};

}  // namespace

void QuarnStructure::NotifyAssociatedModelsForSaving(int& counter) {
    // A key of an earlier file, or that of a dataset outside the tree, would lead to another dataset in this file.
    ForEachStructure(*this, [](QuarnStructure& structure) {
        for (const auto& entry : structure.Models) entry.second->DatasetLink.clear();
    });
    std::set<const Dataset*> datasets;
    ForEachStructure(*this, [&](QuarnStructure& structure) {
        for (const auto& entry : structure.Datasets) {
            Dataset& dataset = *entry.second;
            dataset.SaveId = "dataset" + std::to_string(counter++);
            dataset.NotifyAssociatedModels(2, dataset.SaveId);
            datasets.insert(&dataset);
        }
    });
    // The copy of a dataset lists the models of its source, and passes its own key on to them. A model whose dataset is
    // in the file belongs to that one, whichever was visited last.
    ForEachStructure(*this, [&datasets](QuarnStructure& structure) {
        for (const auto& entry : structure.Models) {
            Model& model = *entry.second;
            if (model.DatasetLink.empty() || model.Dataset.empty()) continue;
            if (datasets.contains(model.Dataset.front().get())) model.DatasetLink = model.Dataset.front()->SaveId;
        }
    });
}

void QuarnStructure::SaveStructure(std::ostream& stream) const {
    // The structures on the way down, each with the next one below it that is to be written.
    std::vector<std::pair<const QuarnStructure*, decltype(Structures)::const_iterator>> open;
    const auto begin = [&](const QuarnStructure& structure) {
        WriteBeginning(stream, structure);
        open.emplace_back(&structure, structure.Structures.begin());
    };
    begin(*this);
    while (!open.empty()) {
        auto& [structure, next] = open.back();
        if (next == structure->Structures.end()) {
            WriteStrings(stream, *structure);
            open.pop_back();
        } else {
            const auto& [name, nested] = *next++;
            WriteText(stream, name, '\n');
            begin(*nested);
        }
    }
}

// Delegates, so that the destructor runs, and takes a deep tree apart, where the load throws.
QuarnStructure::QuarnStructure(std::istream& stream, DatasetsByKey& datasets) : QuarnStructure() {
    Loader(stream, datasets).Load(*this);
}

void QuarnStructure::AssociateModelsToDatasets(DatasetsByKey& datasets) {
    ForEachStructure(*this, [&datasets](QuarnStructure& structure) {
        for (const auto& [name, model] : structure.Models) {
            // An empty link is none, though a dataset that was saved without a key stands under it.
            if (model->DatasetWasDeleted || model->DatasetLink.empty() ||
                model->ModelCode < Model::FirstCodeWithDataset)
                continue;
            const auto dataset = datasets.find(model->DatasetLink);
            if (dataset == datasets.end()) continue;
            dataset->second->AddAssociatedModel(model);
            model->SetDataset(dataset->second);
        }
    });
}

}  // namespace quarn
