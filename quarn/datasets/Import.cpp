#include <quarn/base/LargeTables_detail.h>
#include <quarn/base/ProcessID.h>
#include <quarn/datasets/ByteSource_detail.h>
#include <quarn/datasets/Dataset.h>
#include <quarn/datasets/DelimitedText_detail.h>
#include <quarn/datasets/Http_detail.h>
#include <quarn/datasets/LineBlocks_detail.h>
#include <quarn/datasets/Names_detail.h>
#include <quarn/datasets/StatusTexts.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <limits>
#include <new>
#include <utility>

namespace quarn {
namespace {

struct Header {
    std::vector<std::string> Names;  ///< of the columns of the table, the observation ids included
    int FirstColumn = 0;             ///< of the table that comes from the source: 1 behind generated ids
    std::size_t End = 0;             ///< offset of the line after the header
};

/// Nothing if the source failed. A source without any byte has a header without names.
std::optional<Header> ReadHeader(detail::ByteSource& source, char delimiter) {
    Header header;
    detail::LineBlocks blocks(source);
    const auto block = blocks.Next();
    if (blocks.Failed()) return std::nullopt;
    if (!block) return header;
    const auto length = static_cast<std::size_t>(block->End - block->Begin);
    const std::string_view line(block->Begin, std::string_view(block->Begin, length).find('\n'));
    header.End = line.size() + 1;
    for (const std::string_view token : detail::SplitLine(line, delimiter)) {
        if (header.Names.empty() && token != ReservedNames::ObservationId) {
            header.Names.emplace_back(ReservedNames::ObservationId);
            header.FirstColumn = 1;
        }
        ProcessID(header.Names.emplace_back(token));
    }
    return header;
}

int CheckedCount(std::size_t count) {
    if (count > static_cast<std::size_t>(std::numeric_limits<int>::max())) throw std::bad_alloc();
    return static_cast<int>(count);
}

/// The first in alphabetical order of the names that stand more than once.
std::optional<std::string> FirstDuplicate(std::vector<std::string> names) {
    std::sort(names.begin(), names.end());
    const auto duplicate = std::adjacent_find(names.begin(), names.end());
    if (duplicate == names.end()) return std::nullopt;
    return *duplicate;
}

}  // namespace

Dataset::Dataset(const std::string& path, const char& delimiter) : NumObs(0), NumVars(0) {
    if (const auto source = detail::OpenSource(path)) Import(*source, delimiter);
}

Dataset::Dataset(const std::string& host, const std::string& file, const char& delimiter) : NumObs(0), NumVars(0) {
    try {
        ImportOverHttp(host, file, delimiter);
    } catch (const std::exception& exception) {
        *this = Dataset({}, MatrixXd());
        Loaded = false;
        StatusText = std::string(StatusTexts::Exception) + exception.what() + StatusTexts::EndOfException;
    }
}

void Dataset::ImportOverHttp(const std::string& host, const std::string& file, char delimiter) {
    detail::HttpReply reply = detail::FetchFile(host, file);
    StatusText = detail::WhyNotFetched(reply, host, file);
    if (!StatusText.empty()) return;
    detail::MakePlainLines(reply.Body);
    Import(*detail::MakeMemorySource(std::move(reply.Body)), delimiter);
}

void Dataset::Import(detail::ByteSource& source, char delimiter) {
    const auto header = ReadHeader(source, delimiter);
    if (!header) return;
    const int columns = CheckedCount(header->Names.size());
    if (const auto duplicate = FirstDuplicate(header->Names)) {
        StatusText = StatusTexts::DuplicateNames + *duplicate;
    } else {
        const auto lines = detail::CountLines(source, header->End);
        if (!lines) return;
        NumObs = CheckedCount(*lines);
        detail::ResizeUninitialised(Data, NumObs, columns);
        if (header->FirstColumn == 1) Data.col(0).setLinSpaced(NumObs, 1.0, NumObs);
        auto parsed = detail::ParseRows(source, header->End, delimiter, header->FirstColumn, Data);
        if (parsed.Outcome == detail::ParseOutcome::Failed) {
            Data.resize(0, 0);
            NumObs = 0;
            return;
        }
        if (parsed.Outcome == detail::ParseOutcome::Surplus) {
            StatusText = StatusTexts::SurplusValues;
        } else {
            for (auto& [column, values] : parsed.StringColumns) {
                StringVar& stringVar = StringVars[column];
                stringVar.Column = column;
                stringVar.Name = header->Names[static_cast<std::size_t>(column)];
                stringVar.Values = std::move(values);
            }
            SetCrossSection();
            Loaded = true;
        }
    }
    NumVars = columns;
    VarNames.Alloc(header->Names.size());
    for (const std::string& name : header->Names) VarNames.Add(detail::ToTableName(name));
}

}  // namespace quarn
