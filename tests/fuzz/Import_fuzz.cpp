#include "../support/Matrices.h"
#include "Property.h"

#include <quarn/datasets/ByteSource_detail.h>
#include <quarn/datasets/DelimitedText_detail.h>
#include <quarn/datasets/LineBlocks_detail.h>

#include <algorithm>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using namespace quarn;

/// The import of what a descriptor leads to.
Dataset ImportFrom(int descriptor, char delimiter) {
    return {"/proc/self/fd/" + std::to_string(descriptor), delimiter};
}

Dataset ImportFile(const std::string& text, char delimiter) {
    const int file = memfd_create("text", 0);
    fuzz::Require(file >= 0 && write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()));
    Dataset dataset = ImportFrom(file, delimiter);
    close(file);
    return dataset;
}

/// Through a pipe, which the import holds in memory as a whole. Requires: no more bytes than a pipe takes at once.
Dataset ImportMemory(const std::string& text, char delimiter) {
    int ends[2];
    fuzz::Require(pipe(ends) == 0 && write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size()));
    close(ends[1]);
    Dataset dataset = ImportFrom(ends[0], delimiter);
    close(ends[0]);
    return dataset;
}

/// Bytes that come in small pieces, so that lines go on from one read to the next.
class Pieces final : public detail::ByteSource {
 public:
    Pieces(const std::string& bytes, std::size_t length) : m_bytes(bytes), m_length(length) {}
    std::optional<std::size_t> Read(char* target, std::size_t size, std::size_t offset) override {
        const std::size_t left = m_bytes.size() - std::min(offset, m_bytes.size());
        const std::size_t count = std::min({size, m_length, left});
        if (count != 0) std::memcpy(target, m_bytes.data() + offset, count);
        return count;
    }

 private:
    const std::string& m_bytes;
    std::size_t m_length;
};

/// The table and the texts of an import that went through, parsed again from the lines behind the header.
void RequireSameInPieces(const Dataset& dataset, const std::string& text, char delimiter, std::size_t length) {
    Pieces source(text, length);
    const std::string header = text.substr(0, text.find('\n'));
    const auto ownColumns = detail::SplitLine(header, delimiter).size();
    const int firstColumn = dataset.NumVars - static_cast<int>(ownColumns);
    const auto lines = detail::CountLines(source, header.size() + 1);
    fuzz::Require(lines && static_cast<int>(*lines) == dataset.NumObs);
    MatrixXd table = dataset.Data;
    table.rightCols(static_cast<Eigen::Index>(ownColumns)).setConstant(-1.0);
    const auto parsed = detail::ParseRows(source, header.size() + 1, delimiter, firstColumn, table);
    fuzz::Require(parsed.Outcome == detail::ParseOutcome::Complete && testing::SameCells(table, dataset.Data));
    fuzz::Require(parsed.StringColumns.size() == dataset.StringVars.size());
    for (const auto& [column, values] : parsed.StringColumns)
        fuzz::Require(values == dataset.StringVars.at(column).Values);
}

}  // namespace

/// Any bytes as a delimited text, behind the delimiter and the length of the pieces in which it is read once more.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    fuzz::Input input(data, size);
    const auto delimiter = static_cast<char>(input.Byte());
    const std::size_t length = 1 + input.Byte();
    const std::string text = input.Rest();
    const Dataset fromFile = ImportFile(text, delimiter), fromMemory = ImportMemory(text, delimiter);
    fuzz::Require(fromFile.Loaded == fromMemory.Loaded && fromFile.StatusText == fromMemory.StatusText);
    fuzz::Require(fromFile.VarNames == fromMemory.VarNames && fromFile.NumVars == fromMemory.NumVars);
    if (fromFile.Loaded) {
        fuzz::Require(fuzz::Saved(fromFile) == fuzz::Saved(fromMemory));
        fuzz::RequireComesBack(fromFile);
        RequireSameInPieces(fromFile, text, delimiter, length);
    } else {
        fuzz::Require(!fromFile.StatusText.empty());
    }
    return 0;
}
