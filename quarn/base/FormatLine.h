#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

#include <string>

/// The lines of a results table. Cells are separated by tabs and fill their width, so that every line stands under its
/// header on a terminal with tab stops every 8 columns: a label of 15 characters, then numbers of 12, or the wider
/// columns of the model comparison. Widths are counted in characters of UTF-8 text, not in bytes.
namespace quarn {

constexpr int LabelWidth = 15;
constexpr int NumberWidth = 12;

/// A label, then each number right-aligned in 12 characters, then a line end.
/// Numbers have up to 7 significant digits and never more than 12 characters: whole numbers below 1e11 in full, others
/// from 1e-4 to below 1e11 in fixed notation, the rest in scientific notation; "NaN", "Inf" and "-Inf".
/// Always with a full stop, whatever the locale.
QUARN_EXPORT std::string FormatLine(const std::string& label, const RowVectorXd& numbers);
QUARN_EXPORT std::string FormatLine(const std::string& label, const RowVectorXd& numbers, int labelWidth);

/// A line of the model comparison: name (15), the numbers of first (14 each), type (21, right-aligned), then the
/// numbers of rest, the first of them in 15 and any further one in 20 characters.
QUARN_EXPORT std::string FormatLine(const std::string& name, const std::string& type, const RowVectorXd& first,
                                    const RowVectorXd& rest);

/// The text brought to the width of the label column: padded with blanks on the right, or cut, the cut marked by "~".
QUARN_EXPORT std::string ExpandContractString(const std::string& text);

/// The text with blanks before it up to width; longer text comes back whole.
QUARN_EXPORT std::string FormatStringRightAlign(const std::string& text, int width);

}  // namespace quarn
