#include <quarn/datasets/Dataset.h>
#include <quarn/datasets/Names_detail.h>
#include <quarn/numerics/TextWriter_detail.h>

#include <cmath>
#include <fstream>

namespace quarn {

bool Dataset::ExportData(const std::string& path, const char& delimiter) const {
    constexpr int precision = 6;  // the default of output streams
    std::ofstream file(path);
    if (!file) return false;
    detail::TextWriter writer(file);

    struct ExportedColumn {
        const double* Cells;
        const std::vector<std::string>* Texts;  ///< null for a numeric variable
    };
    std::vector<ExportedColumn> columns;
    for (int column = NumVars == 1 ? 0 : 1; column < NumVars; ++column) {
        const auto found = StringVars.find(column);
        columns.push_back({Data.col(column).data(), found == StringVars.end() ? nullptr : &found->second.Values});
        if (columns.size() > 1) writer << delimiter;
        writer << detail::ToSavedName(VarNames[static_cast<std::size_t>(column)]);
    }
    writer << '\n';

    for (std::size_t row = 0; row < static_cast<std::size_t>(NumObs); ++row) {
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const auto& [cells, texts] = columns[i];
            if (i != 0) writer << delimiter;
            if (texts != nullptr)
                writer << (*texts)[row];
            else if (std::isnan(cells[row]))
                writer << "nan";  // without the sign that some missing values carry
            else
                writer.Number(cells[row], precision);
        }
        writer << '\n';
    }
    writer.Flush();
    return true;
}

}  // namespace quarn
