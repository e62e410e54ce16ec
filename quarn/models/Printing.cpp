#include <quarn/base/FormatLine.h>
#include <quarn/models/Model.h>
#include <quarn/models/ShadedLine_detail.h>
#include <quarn/numerics/NumberFormat_detail.h>

#include <optional>

namespace quarn {
namespace {

using Eigen::Index;

/// The rows of a table, plain and shaded in turn.
class RowPrinter {
 public:
    RowPrinter(const SummaryStructure& summary, EventDispatcher& output)
        : m_summary(summary),
          m_output(output),
          m_hasHeadings(summary.DepVars.size() > 1),
          m_rows(summary.SummaryMatrix.cols() != 0 ? summary.SummaryMatrix.rows() : 0) {}

    /// The heading of a block: the row behind it is shaded.
    void PrintHeading(std::size_t block) {
        if (!m_hasHeadings || block >= m_summary.DepVars.size() || m_summary.DepVars[block].empty()) return;
        m_output.Print(ExpandContractString(m_summary.DepVars[block]) + "\t \t \t \t \t\n", true);
        m_isShaded = true;
    }

    void PrintRows(int count, std::optional<int> labelWidth) {
        for (int i = 0; i < count && m_row < m_rows; ++i, ++m_row) {
            const auto label = static_cast<std::size_t>(m_row);
            const std::string name = label < m_summary.IndVars.size() ? m_summary.IndVars[label] : "";
            const RowVectorXd numbers = m_summary.SummaryMatrix.row(m_row);
            const std::string line = labelWidth ? FormatLine(name, numbers, *labelWidth) : FormatLine(name, numbers);
            detail::PrintRow(m_output, line, m_isShaded);
            m_isShaded = !m_isShaded;
        }
    }

 private:
    const SummaryStructure& m_summary;
    EventDispatcher& m_output;
    bool m_hasHeadings;
    Index m_rows;             ///< with numbers: without columns a file can claim any count of them
    bool m_isShaded = false;  ///< the next row
    Index m_row = 0;          ///< over all blocks
};

/// The line of a log marginal likelihood, or nothing where the model has none.
std::string LogMLLine(const MatrixMap& elements, const char* key, const std::string& label) {
    const auto found = elements.find(key);
    if (found == elements.end() || !found->second || found->second->size() == 0) return {};
    constexpr int precision = 6;  // the default of output streams
    char text[detail::NumberRoom];
    const std::string number(text, detail::WriteNumber(text, (*found->second)(0, 0), precision));
    return label + FormatStringRightAlign(number, NumberWidth) + "\t   \t";
}

}  // namespace

void Model::PrintTable(const std::string& heading, const std::string& top, const std::string& tail,
                       const std::string& header, const SummaryStructure& summary, const EventDispatcher& dispatcher,
                       int width) const {
    EventDispatcher output = dispatcher;
    output.PrintModel(heading, ModelName);
    if (!top.empty()) output.Print(top, false);
    output.PrintNewLine();
    output.PrintLine();
    output.Print(header, true);
    output.PrintLine();

    RowPrinter rows(summary, output);
    const Index blocks = summary.SpacesVector.size();
    for (Index block = 0; block < blocks; ++block) {
        const bool isLast = block == blocks - 1;
        rows.PrintHeading(static_cast<std::size_t>(block));
        rows.PrintRows(summary.SpacesVector(block), isLast ? std::optional(width) : std::nullopt);
        if (!isLast) output.Print(" \t \t \t \t \t\n", false);
    }

    output.PrintLine();
    if (tail.empty()) return;
    output.Print(tail, false);
    output.PrintNewLine();
}

std::string Model::TopWithLogML() const {
    return (TableTop ? *TableTop : std::string()) + LogMLLine(Elements, LogMLKey, "\nlog-ML (Lewis & Raftery): \t") +
           LogMLLine(Elements, LogMLCJKey, "\nlog-ML (Chib & Jeliazkov):\t");
}

void Model::PrintResults(const EventDispatcher& dispatcher) const {
    const std::string header =
        ExpandContractString("  ") + "\t        Mean\t      Median\t     Sd.dev.\t          5%\t         95%\n";
    PrintTable(ModelType, TopWithLogML(), "Elapsed time (sec.):   " + ElapsedTime, header, Summary, dispatcher,
               LabelWidth);
}

void Model::PrintDiagnostics(const MatrixXd& diagnostics, const EventDispatcher& dispatcher) const {
    const std::string label = ExpandContractString("");
    const std::string header = label + "\t            \t  Spectral  \t      MCMC  \t  Relative  \tInefficiency\n" +
                               label + "\t        Mean\tdensity at 0\t   sd. error\t Numer. Eff.\t   factor   \n";
    SummaryStructure table = Summary;
    table.SetSummaryMatrix(diagnostics);
    PrintTable("MCMC Diagnostics: ", TopWithLogML(), "", header, table, dispatcher, LabelWidth);
}

}  // namespace quarn
