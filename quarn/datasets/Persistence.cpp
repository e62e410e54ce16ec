#include <quarn/datasets/Dataset.h>
#include <quarn/datasets/Declaration_detail.h>
#include <quarn/datasets/Names_detail.h>
#include <quarn/numerics/MatrixText_detail.h>
#include <quarn/numerics/SavedText_detail.h>

#include <algorithm>
#include <istream>
#include <utility>

namespace quarn {
namespace {

using detail::FieldSeparator;

void WriteStringVar(detail::TextWriter& writer, const StringVar& stringVar, int observations) {
    writer << stringVar.Column << FieldSeparator << stringVar.Name << FieldSeparator
           << (stringVar.IsTimeVariable ? "1\n" : "0\n");
    // A load reads a line for each observation: one too many or too few would shift all that follows.
    const auto& values = stringVar.Values;
    for (std::size_t i = 0; i < static_cast<std::size_t>(observations); ++i)
        writer << (i < values.size() ? std::string_view(values[i]) : std::string_view()) << '\n';
}

}  // namespace

void Dataset::SaveDataset(std::ostream& stream) const {
    if (!stream.good()) return;
    detail::TextWriter writer(stream);
    writer << NumObs << FieldSeparator << NumVars << '\n';
    writer << DatasetType << FieldSeparator << TimeVariable << FieldSeparator << GroupVariable << FieldSeparator
           << TimeFormat << FieldSeparator << (TransformedSinceDeclaration ? "1\n" : "0\n");
    for (std::size_t i = 0; i < VarNames.size(); ++i) {
        if (i != 0) writer << FieldSeparator;
        writer << detail::ToSavedName(VarNames[i]);
    }
    writer << '\n';
    detail::WriteBody(writer, Data, detail::WorkspacePrecision(stream));
    writer << static_cast<int>(StringVars.size()) << '\n';
    for (const auto& [column, stringVar] : StringVars) WriteStringVar(writer, stringVar, NumObs);
    writer << SaveId << '\n';
    writer.Flush();
}

Dataset::Dataset(std::istream& stream) : NumObs(0), NumVars(0) {
    const auto counts = detail::ReadFields(stream, 3);
    const int observations = detail::ToInt(counts[1]), variables = detail::ToInt(counts[2]);
    const auto bytesLeft = detail::BytesLeft(stream);
    detail::RequireRoom(observations, variables, bytesLeft);
    detail::RequireRoom(1, variables, bytesLeft);
    Name = detail::ToTableName(counts[0]);
    NumObs = observations;
    NumVars = variables;

    auto declaration = detail::ReadFields(stream, 5);
    DatasetType = detail::ToInt(declaration[0]);
    TimeVariable = std::move(declaration[1]);
    GroupVariable = std::move(declaration[2]);
    TimeFormat = std::move(declaration[3]);
    TransformedSinceDeclaration = detail::ToInt(declaration[4]) == 1;

    std::string line;
    detail::ReadLine(stream, line);
    detail::RequireText(stream, NumVars, std::ssize(line) + 1);
    VarNames.Alloc(static_cast<std::size_t>(NumVars));
    for (const std::string& name : detail::SplitFields(line, static_cast<std::size_t>(NumVars)))
        VarNames.Add(detail::ToTableName(name));
    if (NumObs > 0 && NumVars > 0) {
        Data = detail::LoadBody(stream, NumObs, NumVars);
    } else {
        Data.resize(NumObs, NumVars);
        detail::ReadLine(stream, line);
    }

    detail::ReadLine(stream, line);
    // Behind the end of the stream all entries are the same: an empty one of column 0.
    bool more = true;
    for (int entries = detail::ToInt(line); entries > 0 && more; --entries) {
        more = stream.good();
        LoadStringVar(stream);
    }
    detail::ReadLine(stream, SaveId);
    RestoreTimeCodes();
    Loaded = true;
}

void Dataset::LoadStringVar(std::istream& stream) {
    const auto head = detail::ReadFields(stream, 3);
    StringVar stringVar;
    stringVar.Column = detail::ToInt(head[0]);
    stringVar.Name = head[1];
    stringVar.IsTimeVariable = detail::ToInt(head[2]) == 1;
    if (stringVar.Column >= 0 && stringVar.Column < NumVars) {
        stringVar.Values.resize(static_cast<std::size_t>(NumObs));
        for (std::string& value : stringVar.Values) detail::ReadLine(stream, value);
        StringVars[stringVar.Column] = std::move(stringVar);
    } else {
        std::string line;
        int skipped = 0;
        while (skipped < NumObs && detail::ReadLine(stream, line)) ++skipped;
    }
}

void Dataset::RestoreTimeCodes() {
    const bool hasCodes = std::any_of(StringVars.begin(), StringVars.end(),
                                      [](const auto& entry) { return entry.second.IsTimeVariable; });
    if (!hasCodes || DatasetType == detail::CrossSectionType) return;
    const bool transformed = std::exchange(TransformedSinceDeclaration, true);
    int type = 0;
    CheckType(type);  // declares anew what is marked as transformed
    TransformedSinceDeclaration = transformed;
}

}  // namespace quarn
