#include <quarn/base/LargeTables_detail.h>
#include <quarn/datasets/DelimitedText_detail.h>
#include <quarn/datasets/LineBlocks_detail.h>
#include <quarn/numerics/NumberText_detail.h>
#include <quarn/numerics/TokenEnds_detail.h>

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

// The hot loop is RowParser::ParseLine. What must change together: the line feed at the end of every block and the
// bytes around it, which LineBlocks promises; the bytes that TokenEnds and the readers of numbers look ahead and
// behind; and CanBePartOfNumber, which says with which delimiters ReadDecimal stops at a token's end by itself.

namespace quarn::detail {
namespace {

static_assert(LineBlocks::ReadAhead >= TokenEnds::ReadAhead && LineBlocks::ReadAhead >= NumberReadAhead &&
              LineBlocks::ReadBehind >= NumberReadBehind);

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

bool IsMissing(std::string_view token) {
    constexpr std::array<std::string_view, 7> literals = {"", ".", "\".\"", "nan", "NA", "Inf", "inf"};
    return token.size() <= 3 && std::find(literals.begin(), literals.end(), token) != literals.end();
}

bool CanBePartOfNumber(char c) { return std::string_view("0123456789+-.eE").find(c) != std::string_view::npos; }

class RowParser {
 public:
    RowParser(char delimiter, int firstColumn, MatrixXd& table)
        : m_delimiter(delimiter),
          m_numbersEndThemselves(!CanBePartOfNumber(delimiter)),
          m_firstColumn(firstColumn),
          m_rows(table.rows()),
          m_table(table),
          m_stringIndex(static_cast<std::size_t>(table.cols()), NotString) {}

    ParsedRows Parse(ByteSource& source, std::size_t offset) {
        ParseOutcome outcome = ParseLines(source, offset);
        if (outcome != ParseOutcome::Complete) {
            if (m_table.size() != 0) m_table.bottomRows(m_rows - m_row).setZero();
        } else if (!FillEarlyStrings(source, offset)) {
            outcome = ParseOutcome::Failed;
        }
        return {outcome, std::move(m_strings)};
    }

 private:
    static constexpr int NotString = -1;

    ParseOutcome ParseLines(ByteSource& source, std::size_t offset) {
        LineBlocks blocks(source, offset);
        while (const auto block = blocks.Next()) {
            TokenEnds ends(block->Begin, m_delimiter);
            for (const char* at = block->Begin; at != block->End; ++m_row) {
                if (m_row == m_rows) return ParseOutcome::Failed;
                at = ParseLine(at, ends);
                if (at == nullptr) return ParseOutcome::Surplus;
            }
        }
        return blocks.Failed() || m_row != m_rows ? ParseOutcome::Failed : ParseOutcome::Complete;
    }

    /// Parses one line into the current row. Returns the start of the next line, or null after surplus tokens.
    const char* ParseLine(const char* at, TokenEnds& ends) {
        const Eigen::Index columns = m_table.cols();
        Eigen::Index column = m_firstColumn;
        double* cell = m_table.data() + (columns == 0 ? 0 : column * m_rows + m_row);  // none has no address
        for (;;) {
            const char* const end = ends.Next();
            if (*end == '\n' && end == at) break;
            if (column == columns) {
                ++m_row;  // this row keeps its cells
                return nullptr;
            }
            if (m_stringIndex[static_cast<std::size_t>(column)] != NotString || !ReadShortDecimal(at, end, *cell))
                *cell = ParseToken(at, end, column);
            ++column;
            cell += m_rows;
            at = end;
            if (*at == '\n') break;
            ++at;
        }
        if (column != columns) FinishShortLine(column);
        return at + 1;
    }

    /// The number that a token of any form stands for; keeps its text if the column holds, or now becomes, strings.
    double ParseToken(const char* at, const char* end, Eigen::Index column) {
        const std::string_view token(at, static_cast<std::size_t>(end - at));
        int& stringIndex = m_stringIndex[static_cast<std::size_t>(column)];
        NumberPrefix number{NaN, end};
        if (!IsMissing(token)) {
            number = ReadTokenNumber(at, end);
            if (number.End != end && stringIndex == NotString) stringIndex = AddStringColumn(column);
        }
        if (stringIndex != NotString) ValuesOf(stringIndex).emplace_back(token);
        return number.Value;
    }

    NumberPrefix ReadTokenNumber(const char* at, const char* end) const {
        double value = 0.0;
        const char* const stop = m_numbersEndThemselves ? ReadDecimal(at, value) : nullptr;
        // Only an x behind a number can make more of it than a decimal.
        if (stop != nullptr && (stop == end || (*stop | 0x20) != 'x')) return {value, stop};
        return ReadNumber(at, end);
    }

    std::vector<std::string>& ValuesOf(int stringIndex) {
        return m_strings[static_cast<std::size_t>(stringIndex)].Values;
    }

    int AddStringColumn(Eigen::Index column) {
        std::vector<std::string> values;
        values.reserve(static_cast<std::size_t>(m_rows));
        AdviseLargePages(values.data(), values.capacity() * sizeof(std::string));
        values.resize(static_cast<std::size_t>(m_row));
        m_strings.push_back({static_cast<int>(column), std::move(values)});
        m_earlyRows.push_back(m_row);
        return static_cast<int>(m_strings.size()) - 1;
    }

    void FinishShortLine(Eigen::Index column) {
        for (Eigen::Index c = column; c < m_table.cols(); ++c) m_table(m_row, c) = 0.0;
        for (StringColumn& strings : m_strings)
            if (strings.Column >= column) strings.Values.emplace_back();
    }

    /// Collects the texts that string columns had before their first text token: numbers and missing literals.
    /// False if the source failed.
    bool FillEarlyStrings(ByteSource& source, std::size_t offset) {
        if (m_earlyRows.empty()) return true;
        const Eigen::Index lastRow = *std::max_element(m_earlyRows.begin(), m_earlyRows.end());
        if (lastRow == 0) return true;
        LineBlocks blocks(source, offset);
        m_row = 0;
        while (const auto block = blocks.Next()) {
            TokenEnds ends(block->Begin, m_delimiter);
            for (const char* at = block->Begin; at != block->End; ++m_row) {
                if (m_row == lastRow) return true;
                at = FillEarlyLine(at, ends);
            }
        }
        return !blocks.Failed() && m_row == lastRow;
    }

    const char* FillEarlyLine(const char* at, TokenEnds& ends) {
        for (auto column = static_cast<std::size_t>(m_firstColumn);; ++column) {
            const char* const end = ends.Next();
            // A line can only have grown by a change of the source between the passes.
            const int index = column < m_stringIndex.size() ? m_stringIndex[column] : NotString;
            if (index != NotString && m_row < m_earlyRows[static_cast<std::size_t>(index)])
                ValuesOf(index)[static_cast<std::size_t>(m_row)].assign(at, end);
            at = end + 1;
            if (*end == '\n') return at;
        }
    }

    const char m_delimiter;
    const bool m_numbersEndThemselves;  ///< a number's characters stop before any delimiter
    const Eigen::Index m_firstColumn;
    const Eigen::Index m_rows;
    MatrixXd& m_table;
    Eigen::Index m_row = 0;
    std::vector<StringColumn> m_strings;
    std::vector<int> m_stringIndex;         ///< by column: index into m_strings, or NotString
    std::vector<Eigen::Index> m_earlyRows;  ///< by string column: rows parsed before it was one
};

}  // namespace

std::vector<std::string_view> SplitLine(std::string_view line, char delimiter) {
    std::vector<std::string_view> tokens;
    while (!line.empty()) {
        const auto length = std::min(line.find(delimiter), line.size());
        tokens.push_back(line.substr(0, length));
        line.remove_prefix(std::min(length + 1, line.size()));
    }
    return tokens;
}

ParsedRows ParseRows(ByteSource& source, std::size_t offset, char delimiter, int firstColumn, MatrixXd& table) {
    return RowParser(delimiter, firstColumn, table).Parse(source, offset);
}

}  // namespace quarn::detail
