#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

#include <iosfwd>

/// The text form in which every saved object stores its numbers: a passage of lines inside a larger text.
///
///   matrix          "R~C", then one line per row, cells separated by "~"; an empty matrix has one empty line there
///   integer vector  "n", then one line per element
///
/// Cells are what an output stream makes of a double with the precision of GLOBAL_IOFormatWorkspace: "nan", "-nan",
/// "inf" and "-inf" included. With its 17 significant digits every double but the payload of a NaN survives. Of the
/// stream, the precision alone shows, and only where the shared format leaves it to the stream; no locale shows at all.
///
/// The functions work at the position of an open stream and report nothing: what is no number reads as 0, as atof and
/// atoi of the "C" locale have it, and lines behind the end of the stream are empty.
/// Errors: std::bad_alloc. Cost: linear; memory for a block of text, or the longest line, beside the result.
namespace quarn {

/// Writes a passage and flushes the stream.
QUARN_EXPORT void SaveMatrix(const MatrixXd& matrix, std::ostream& stream);
QUARN_EXPORT void SaveVectorXi(const VectorXi& vector, std::ostream& stream);

/// Reads the body of a passage, whose header the caller has read: rows lines of columns cells into the top left corner
/// of matrix. Of a longer line the surplus is dropped, and a shorter one repeats its last value; an empty cell or line
/// is 0. With rows below 1 nothing is read; with columns below 1 the lines are skipped.
/// Requires: matrix is at least rows x columns. Not tested.
QUARN_EXPORT void LoadMatrix(std::istream& stream, MatrixXd& matrix, int rows, int columns, char delimiter);

/// Reads delimited numbers without a header up to the end of the stream. Each line is a row, an empty one too; the first
/// one tells the number of columns. A delimiter at the very end of a line starts no further cell. "nan" and "." are
/// missing; so are the cells that a short line lacks. Surplus cells are dropped.
/// Errors: std::bad_alloc also where a first line so long stands above so many short ones that the matrix would have
///         more than 64 cells per byte of text (and more than 65536).
/// Cost:   holds the text in memory as a whole.
QUARN_EXPORT MatrixXd LoadMatrix(std::istream& stream, char delimiter);

/// Reads count lines, without a header, into the first elements of vector. With count below 1 nothing is read.
/// Requires: vector has at least count elements. Not tested.
QUARN_EXPORT void LoadVectorXi(std::istream& stream, VectorXi& vector, int count);

/// Reads a passage. A header that cannot be read, is no number or is negative gives the empty vector.
/// Errors: std::bad_alloc also for a header of more elements (and more than 65536) than bytes follow.
QUARN_EXPORT VectorXi LoadVectorXi(std::istream& stream);

}  // namespace quarn
