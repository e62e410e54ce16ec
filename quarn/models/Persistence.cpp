#include <quarn/models/Model.h>
#include <quarn/numerics/MatrixText.h>
#include <quarn/numerics/MatrixText_detail.h>
#include <quarn/numerics/SavedText_detail.h>

#include <algorithm>
#include <fstream>
#include <string_view>

namespace quarn {
namespace {

using detail::FieldSeparator;
using detail::TextWriter;
using std::ssize;

constexpr std::string_view NoLink = "empty";

std::string_view Word(bool flag) { return flag ? "true" : "false"; }

std::string Line(std::istream& stream) {
    std::string line;
    detail::ReadLine(stream, line);
    return line;
}

int LoadInt(std::istream& stream) { return detail::ToInt(Line(stream)); }

bool LoadFlag(std::istream& stream) { return Line(stream) == Word(true); }

// ---- Lists ----

void SaveNames(TextWriter& writer, const std::vector<std::string>& names) {
    writer << ssize(names) << '\n';
    for (std::size_t i = 0; i < names.size(); ++i) writer << names[i] << (i + 1 < names.size() ? FieldSeparator : '\n');
}

std::vector<std::string> LoadNames(std::istream& stream) {
    const int count = LoadInt(stream);
    if (count < 1) return {};
    const std::string line = Line(stream);
    detail::RequireText(stream, count, ssize(line) + 1);
    return detail::SplitFields(line, static_cast<std::size_t>(count));
}

void SaveInts(TextWriter& writer, const std::vector<int>& list) {
    writer << ssize(list);
    for (const int entry : list) writer << FieldSeparator << entry;
    writer << '\n';
}

/// The entries behind their number on a line that was just read from the stream.
std::vector<int> ParseInts(const std::istream& stream, const std::string& line) {
    const int count = std::max(detail::ToInt(line), 0);
    detail::RequireText(stream, count, ssize(line) + 1);
    const auto fields = detail::SplitFields(line, static_cast<std::size_t>(count) + 1);
    std::vector<int> list(static_cast<std::size_t>(count));
    std::transform(fields.begin() + 1, fields.end(), list.begin(), detail::ToInt);
    return list;
}

// ---- Text of several lines ----

void SaveText(TextWriter& writer, std::string_view text) {
    writer << std::int64_t{std::count(text.begin(), text.end(), '\n')} << '\n' << text << '\n';
}

std::string LoadText(std::istream& stream) {
    std::string text, line;
    for (int lines = LoadInt(stream); lines > 0 && detail::ReadLine(stream, line); --lines) text += line + '\n';
    return text + Line(stream);
}

// ---- Matrices ----

void SaveShape(TextWriter& writer, const MatrixXd& matrix) {
    writer << matrix.rows() << FieldSeparator << matrix.cols() << '\n';
}

/// What is saved for a matrix: an empty one for a null pointer.
const MatrixXd& Saved(const std::shared_ptr<MatrixXd>& matrix) {
    static const MatrixXd empty;
    return matrix ? *matrix : empty;
}

void SaveMatrix(TextWriter& writer, const MatrixXd& matrix, int precision) {
    SaveShape(writer, matrix);
    detail::WriteBody(writer, matrix, precision);
}

MatrixXd LoadPassage(std::istream& stream) {
    const auto shape = detail::ReadFields(stream, 2);
    return detail::LoadBody(stream, detail::ToInt(shape[0]), detail::ToInt(shape[1]));
}

void SaveElements(TextWriter& writer, const MatrixMap& elements, int precision) {
    writer << ssize(elements) << '\n';
    for (const auto& [name, matrix] : elements) {
        const MatrixXd& saved = Saved(matrix);
        writer << name << FieldSeparator;
        SaveShape(writer, saved);
        if (saved.size() != 0) detail::WriteBody(writer, saved, precision);
    }
}

MatrixMap LoadElements(std::istream& stream) {
    MatrixMap elements;
    for (int entries = LoadInt(stream); entries > 0; --entries) {
        const auto header = detail::ReadFields(stream, 3);
        if (stream.fail()) break;
        elements[header[0]] =
            std::make_shared<MatrixXd>(detail::LoadBody(stream, detail::ToInt(header[1]), detail::ToInt(header[2])));
    }
    return elements;
}

}  // namespace

SummaryStructure::SummaryStructure(std::istream& stream) {
    DepVars = LoadNames(stream);
    IndVars = LoadNames(stream);
    SummaryMatrix = LoadPassage(stream);
    SpacesVector = LoadVectorXi(stream);
}

void SummaryStructure::SaveSummaryStructure(std::ostream& stream) const {
    TextWriter writer(stream);
    SaveNames(writer, DepVars);
    SaveNames(writer, IndVars);
    writer.Flush();
    SaveMatrix(SummaryMatrix, stream);
    SaveVectorXi(SpacesVector, stream);
}

Model::Model(std::istream& stream) {
    ModelName = Line(stream);
    ModelCode = LoadInt(stream);
    ModelType = Line(stream);
    ModelCommand = Line(stream);
    ModelFlag = LoadFlag(stream);
    SetTableTop(LoadText(stream));
    ElapsedTime = Line(stream);
    SamplesNames = LoadNames(stream);
    Samples = std::make_shared<MatrixXd>(LoadPassage(stream));
    ObsId = std::make_shared<MatrixXd>(LoadPassage(stream));
    Summary = SummaryStructure(stream);
    std::string line = Line(stream);
    IntList = ParseInts(stream, line);
    for (int lists = LoadInt(stream); lists > 0 && detail::ReadLine(stream, line); --lists)
        IntLists.push_back(ParseInts(stream, line));
    Elements = LoadElements(stream);
    HiddenElements = LoadElements(stream);
    DatasetChanged = LoadFlag(stream);
    DatasetWasDeleted = LoadFlag(stream);
    DatasetLink = Line(stream);
    if (DatasetLink == NoLink) DatasetLink.clear();
}

void Model::SaveModel(std::ostream& stream) const {
    if (!stream.good()) return;
    const int precision = detail::WorkspacePrecision(stream);
    TextWriter writer(stream);
    writer << ModelCode << '\n' << ModelType << '\n' << ModelCommand << '\n' << Word(ModelFlag) << '\n';
    SaveText(writer, TableTop ? std::string_view(*TableTop) : std::string_view());
    writer << ElapsedTime << '\n';
    SaveNames(writer, SamplesNames);
    SaveMatrix(writer, Saved(Samples), precision);
    SaveMatrix(writer, Saved(ObsId), precision);
    writer.Flush();
    Summary.SaveSummaryStructure(stream);
    SaveInts(writer, IntList);
    writer << ssize(IntLists) << '\n';
    for (const auto& list : IntLists) SaveInts(writer, list);
    SaveElements(writer, Elements, precision);
    SaveElements(writer, HiddenElements, precision);
    writer << Word(DatasetChanged) << '\n' << Word(DatasetWasDeleted) << '\n';
    writer << (DatasetLink.empty() ? NoLink : std::string_view(DatasetLink)) << '\n';
    writer.Flush();
}

bool Model::ExportSamples(const std::string& path, const char& delimiter) const {
    constexpr int precision = 6;  // the default of output streams
    std::ofstream file(path);
    if (!file) return false;
    TextWriter writer(file);
    for (std::size_t i = 0; i < SamplesNames.size(); ++i) {
        if (i != 0) writer << delimiter;
        writer << SamplesNames[i];
    }
    writer << '\n';
    if (Samples) writer.Rows(*Samples, delimiter, precision);
    writer.Flush();
    file.close();
    return !file.fail();
}

}  // namespace quarn
