#include <quarn/base/Globals.h>
#include <quarn/base/LargeTables_detail.h>
#include <quarn/numerics/LineFeeds_detail.h>
#include <quarn/numerics/MatrixText.h>
#include <quarn/numerics/MatrixText_detail.h>
#include <quarn/numerics/NumberText_detail.h>
#include <quarn/numerics/SavedText_detail.h>
#include <quarn/numerics/StreamLines_detail.h>
#include <quarn/numerics/TokenEnds_detail.h>

#include <algorithm>
#include <limits>
#include <string_view>

namespace quarn {
namespace {

using Eigen::Index;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

/// atof of the token [begin, end), which lies in a block of StreamLines.
double ReadCell(const char* begin, const char* end) {
    double value = 0.0;
    if (detail::ReadShortDecimal(begin, end, value)) return value;
    if (std::string_view(begin, end) == "nan") return NaN;
    if (detail::ReadDecimal(begin, value) == end) return value;
    return detail::ReadNumber(begin, end).Value;
}

/// Calls store(column, begin, end) for the tokens of the line at begin, one more than it has delimiters. Returns the
/// start of the next line.
template <class Store>
const char* ForEachToken(const char* begin, detail::TokenEnds& ends, const Store& store) {
    for (Index column = 0;; ++column) {
        const char* const end = ends.Next();
        store(column, begin, end);
        begin = end + 1;
        if (*end == '\n') return begin;
    }
}

/// Calls line(row, begin, ends) for the lines of a block, from the given row on; line returns where the next one
/// starts. Returns the row behind the last one.
template <class Line>
Index ForEachLine(std::string_view block, char delimiter, Index row, const Line& line) {
    detail::TokenEnds ends(block.data(), delimiter);
    const char* const blockEnd = block.data() + block.size();
    for (const char* at = block.data(); at != blockEnd; ++row) at = line(row, at, ends);
    return row;
}

/// Columns of the whole-file form: its tokens, without an empty one at the end of the line.
Index CountTokens(std::string_view line, char delimiter) {
    if (line.empty()) return 0;
    return std::count(line.begin(), line.end(), delimiter) + (line.back() == delimiter ? 0 : 1);
}

}  // namespace

namespace detail {

int WorkspacePrecision(const std::ostream& stream) {
    constexpr int fullPrecision = 15;
    const int precision = Quarn_SYSTEM_NAMESPACE::GLOBAL_IOFormatWorkspace.precision;
    if (precision == Eigen::FullPrecision) return fullPrecision;
    if (precision > 0) return precision;
    return std::max(static_cast<int>(stream.precision()), 1);
}

void WriteBody(TextWriter& writer, const MatrixXd& matrix, int precision) {
    if (matrix.size() == 0)
        writer << '\n';
    else
        writer.Rows(matrix, FieldSeparator, precision);
}

MatrixXd LoadBody(std::istream& stream, int rows, int columns) {
    const std::int64_t before = IsAlwaysAllowed(rows, columns) ? UnknownSize : BytesLeft(stream);
    RequireRoom(rows, columns, before);
    MatrixXd matrix;
    ResizeUninitialised(matrix, rows, columns);
    if (matrix.size() == 0) {
        if (stream.peek() == '\n') stream.get();
        return matrix;
    }
    LoadMatrix(stream, matrix, rows, columns, FieldSeparator);
    if (before != UnknownSize) RequireText(stream, matrix.size(), before - BytesLeft(stream));
    return matrix;
}

}  // namespace detail

void SaveMatrix(const MatrixXd& matrix, std::ostream& stream) {
    detail::TextWriter writer(stream);
    writer << matrix.rows() << detail::FieldSeparator << matrix.cols() << '\n';
    detail::WriteBody(writer, matrix, detail::WorkspacePrecision(stream));
    writer.Flush();
}

void LoadMatrix(std::istream& stream, MatrixXd& matrix, int rows, int columns, char delimiter) {
    if (rows < 1) return;
    detail::StreamLines lines(stream, rows);
    Index row = 0;
    for (auto block = lines.Next(); !block.empty(); block = lines.Next()) {
        if (columns < 1) continue;
        row = ForEachLine(block, delimiter, row, [&](Index i, const char* begin, detail::TokenEnds& ends) {
            double value = 0.0;
            Index count = 0;
            const char* const next = ForEachToken(begin, ends, [&](Index j, const char* first, const char* last) {
                count = j + 1;
                if (j < columns) matrix(i, j) = value = ReadCell(first, last);
            });
            for (; count < columns; ++count) matrix(i, count) = value;
            return next;
        });
    }
    if (columns > 0) matrix.block(row, 0, rows - row, columns).setZero();
}

MatrixXd LoadMatrix(std::istream& stream, char delimiter) {
    detail::StreamLines lines(stream, detail::StreamLines::AllLines);
    const std::string_view text = lines.Next(detail::StreamLines::Everything);
    const auto rows = static_cast<Index>(detail::CountLineFeeds(text.data(), text.data() + text.size()));
    const Index columns = CountTokens(text.substr(0, text.find('\n')), delimiter);
    detail::RequireRoom(rows, columns, detail::CellsPerByte * static_cast<std::int64_t>(text.size()));
    MatrixXd matrix;
    detail::ResizeUninitialised(matrix, rows, columns);
    ForEachLine(text, delimiter, 0, [&](Index i, const char* begin, detail::TokenEnds& ends) {
        Index count = 0;
        const char* const next = ForEachToken(begin, ends, [&](Index j, const char* first, const char* last) {
            const bool isCell = j < columns && !(first == last && *last == '\n');
            if (!isCell) return;
            matrix(i, j) = std::string_view(first, last) == "." ? NaN : ReadCell(first, last);
            count = j + 1;
        });
        for (; count < columns; ++count) matrix(i, count) = NaN;
        return next;
    });
    return matrix;
}

void SaveVectorXi(const VectorXi& vector, std::ostream& stream) {
    detail::TextWriter writer(stream);
    writer << vector.size() << '\n';
    for (const int element : vector) writer << element << '\n';
    writer.Flush();
}

void LoadVectorXi(std::istream& stream, VectorXi& vector, int count) {
    std::string line;
    for (int i = 0; i < count; ++i) {
        if (!detail::ReadLine(stream, line)) {
            vector.segment(i, count - i).setZero();
            return;
        }
        vector(i) = detail::ToInt(line);
    }
}

VectorXi LoadVectorXi(std::istream& stream) {
    std::string line;
    detail::ReadLine(stream, line);
    const int count = std::max(detail::ToInt(line), 0);
    detail::RequireRoom(count, 1, detail::BytesLeft(stream));
    VectorXi vector(count);
    LoadVectorXi(stream, vector, count);
    return vector;
}

}  // namespace quarn
