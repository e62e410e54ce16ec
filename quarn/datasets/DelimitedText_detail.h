#pragma once

#include <quarn/base/Types.h>
#include <quarn/datasets/ByteSource_detail.h>

#include <string>
#include <string_view>
#include <vector>

/// Delimited text to numbers and strings: bytes in, table out, no files and no datasets. What a source may look like,
/// and what each form of token means, is said with Dataset(path, delimiter).
namespace quarn::detail {

/// The tokens of one line without its line end. A delimiter at the very end ends the last token and starts no other.
std::vector<std::string_view> SplitLine(std::string_view line, char delimiter);

struct StringColumn {
    int Column;
    std::vector<std::string> Values;  ///< one per row, "" where the row's line has no token for the column
};

enum class ParseOutcome {
    Complete,
    Surplus,  ///< a line had more tokens than the table has columns for; the parse ended there
    Failed    ///< the source could not be read to its end, or changed under way
};

struct ParsedRows {
    ParseOutcome Outcome;
    std::vector<StringColumn> StringColumns;  ///< in the order in which their first text token was met
};

/// Parses the lines of source from offset on into table, one line a row, from firstColumn on; columns before it stay as
/// they are. A complete parse writes every other cell, with 0 where no token reaches; another one sets all rows behind
/// the last one read to 0.
/// Requires: a line starts at offset; table.rows() is the number of lines from there. Not tested.
/// Cost:     one pass, and a second one over the rows before the first text token of a column if it comes late.
///           Allocates the values of string columns and two blocks of lines.
ParsedRows ParseRows(ByteSource& source, std::size_t offset, char delimiter, int firstColumn, MatrixXd& table);

}  // namespace quarn::detail
