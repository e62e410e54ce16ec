#pragma once

#include <quarn/base/Types.h>
#include <quarn/numerics/TextWriter_detail.h>

#include <istream>
#include <ostream>

/// The parts of a matrix passage, for forms that write a header of their own.
namespace quarn::detail {

/// Significant digits of saved cells: those of GLOBAL_IOFormatWorkspace, or of the stream where that leaves it to it.
int WorkspacePrecision(const std::ostream& stream);

/// The lines of the rows, or one empty line for an empty matrix.
void WriteBody(TextWriter& writer, const MatrixXd& matrix, int precision);

/// The matrix of a header that has been read, from what WriteBody wrote. The empty line of an empty matrix is taken from
/// the stream where it is there.
/// Errors: std::bad_alloc, also for a shape that cannot be true: see RequireRoom, with the bytes that follow for a limit,
///         and RequireText.
MatrixXd LoadBody(std::istream& stream, int rows, int columns);

}  // namespace quarn::detail
