#include <quarn/base/FormatLine.h>
#include <quarn/numerics/DescriptiveStatistics.h>

#include <samplers/PosteriorTable.h>

namespace quarn::samplers {

SummaryStructure PosteriorTable(const MatrixXd& draws, const std::vector<TableBlock>& blocks) {
    SummaryStructure table;
    table.SpacesVector.resize(static_cast<Eigen::Index>(blocks.size()));
    Eigen::Index b = 0;
    for (const TableBlock& block : blocks) {
        table.DepVars.push_back(block.Heading);
        table.IndVars.insert(table.IndVars.end(), block.Rows.begin(), block.Rows.end());
        table.SpacesVector(b++) = static_cast<int>(block.Rows.size());
    }
    MatrixXd summary;  // its first five columns are those of the table
    matrixSummary(draws, summary);
    table.SummaryMatrix = summary.topLeftCorner(static_cast<Eigen::Index>(table.IndVars.size()), 5);
    return table;
}

std::string PosteriorHeader() {
    return ExpandContractString("") + "\t        Mean\t      Median\t     Sd.dev.\t          5%\t         95%\n";
}

}  // namespace quarn::samplers
