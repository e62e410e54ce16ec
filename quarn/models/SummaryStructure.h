#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

#include <iosfwd>
#include <string>
#include <vector>

namespace quarn {

/// A results table as data: R rows of numbers with a label each, in B blocks of consecutive rows with a heading each.
class QUARN_EXPORT SummaryStructure {
 public:
    std::vector<std::string> DepVars;  ///< B block headings: the names of the dependent variables; "" for none
    std::vector<std::string> IndVars;  ///< R row labels, over all blocks in order
    MatrixXd SummaryMatrix;            ///< R x 5 in the table of results: mean, median, sd, 5% and 95% quantile
    VectorXi SpacesVector;             ///< rows of each block, B entries of sum R

    SummaryStructure() = default;  ///< without rows
    SummaryStructure(const SummaryStructure&) = default;
    SummaryStructure(SummaryStructure&&) = default;
    SummaryStructure& operator=(SummaryStructure&&) = default;
    /// Errors: std::bad_alloc, with the table as it was.
    SummaryStructure& operator=(const SummaryStructure& other) { return *this = SummaryStructure(other); }

    /// Reads what SaveSummaryStructure wrote, at the position of the stream, and nothing behind it.
    /// Errors: those of Model(stream).
    explicit SummaryStructure(std::istream& stream);

    /// Writes the passage of a table inside a larger text, and flushes the stream. Two lists, each a line with its
    /// length and then, if it has any entries, a line of them with "~" between: DepVars, IndVars. Then SummaryMatrix and
    /// SpacesVector as SaveMatrix and SaveVectorXi have them.
    /// Requires: no "~" and no line feed in a name. Not tested.
    void SaveSummaryStructure(std::ostream& stream) const;

    void SetDepVars(const std::vector<std::string>& names);
    void SetIndVars(const std::vector<std::string>& names);
    void SetSummaryMatrix(const MatrixXd& matrix);
    void SetSpacesVector(const VectorXi& rows);
    VectorXi GetSpacesVector() const;
};

}  // namespace quarn
