#pragma once

#include <quarn/base/Types.h>
#include <quarn/models/SummaryStructure.h>

#include <samplers/Export.h>

#include <string>
#include <vector>

namespace quarn::samplers {

/// A block of rows of a table of results: the parameters of one equation, say.
struct TableBlock {
    std::string Heading;            ///< a dependent variable; shown if there is more than one block
    std::vector<std::string> Rows;  ///< names of parameters
};

/// The table of posterior summaries of the draws: mean, median, sd, 5% and 95% quantile of each column of draws, from
/// the first on, as many as the blocks have rows.
/// Requires: that many columns, at least one draw. Not tested.
QUARN_SAMPLERS_EXPORT SummaryStructure PosteriorTable(const MatrixXd& draws, const std::vector<TableBlock>& blocks);

/// The line of column names above such a table, for Model::PrintTable.
QUARN_SAMPLERS_EXPORT std::string PosteriorHeader();

}  // namespace quarn::samplers
