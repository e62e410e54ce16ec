#pragma once

#include <quarn/base/Types.h>
#include <quarn/numerics/TextWriter_detail.h>

#include <ostream>

/// The parts of a matrix passage, for forms that write a header of their own.
namespace quarn::detail {

/// Significant digits of saved cells: those of GLOBAL_IOFormatWorkspace, or of the stream where that leaves it to it.
int WorkspacePrecision(const std::ostream& stream);

/// The lines of the rows, or one empty line for an empty matrix.
void WriteBody(TextWriter& writer, const MatrixXd& matrix, int precision);

}  // namespace quarn::detail
