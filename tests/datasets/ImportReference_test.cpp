// Imports beside a plain reference, line by line.

#include "../support/Difference.h"
#include "../support/Tables.h"
#include "../support/TemporaryFile.h"

#include <quarn/base/ProcessID.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <random>
#include <set>
#include <sstream>

namespace {

using namespace std::string_literals;
using quarn::Dataset;
using quarn::MatrixXd;
using quarn::testing::TemporaryFile;

const std::string Id = "QuarnSystemVar_obsID";

std::vector<std::string> ReferenceTokens(const std::string& line, char delimiter) {
    std::vector<std::string> tokens;
    std::istringstream stream(line);
    for (std::string token; std::getline(stream, token, delimiter);) tokens.push_back(token);
    return tokens;
}

/// Parses the lines into a dataset that has its names. Returns what is wrong, or "".
std::string ReferenceRows(const std::vector<std::vector<std::string>>& rows, int first, Dataset& out) {
    static const std::set<std::string> missing = {".", "\".\"", "nan", "NA", "Inf", "inf", ""};
    std::set<int> strings;
    for (int row = 0; row < out.NumObs; ++row) {
        if (first == 1) out.Data(row, 0) = row + 1;
        int column = first;
        for (const std::string& token : rows[static_cast<std::size_t>(row)]) {
            if (column == out.NumVars)
                return "More values were provided for some observations than the number of variables.";
            char* end = nullptr;
            double& cell = out.Data(row, column);
            cell = std::strtod(token.c_str(), &end);
            if (missing.contains(token))
                cell = std::numeric_limits<double>::quiet_NaN();
            else if (end != token.c_str() + token.size())
                strings.insert(column);
            ++column;
        }
    }
    for (const int column : strings) {
        std::vector<std::string> values;
        const auto position = static_cast<std::size_t>(column - first);
        for (const auto& row : rows) values.push_back(position < row.size() ? row[position] : "");
        quarn::testing::SetText(out, column, values);
    }
    return "";
}

Dataset ReferenceImport(const std::string& text, char delimiter) {
    std::istringstream stream(text);
    std::string line;
    std::getline(stream, line);
    std::vector<std::string> names = ReferenceTokens(line, delimiter);
    const int first = names.empty() || names[0] == Id ? 0 : 1;
    for (std::string& name : names) quarn::ProcessID(name);
    if (first == 1) names.insert(names.begin(), Id);
    Dataset out({}, MatrixXd());
    out.Loaded = false;
    out.NumVars = static_cast<int>(names.size());
    for (const std::string& name : names) out.VarNames.Add(wxString::FromAscii(name.c_str()));
    std::sort(names.begin(), names.end());
    if (const auto twice = std::adjacent_find(names.begin(), names.end()); twice != names.end()) {
        out.StatusText = "Duplicate variable names were found in the dataset. The first duplicate was: " + *twice;
        return out;
    }
    std::vector<std::vector<std::string>> rows;
    while (std::getline(stream, line)) rows.push_back(ReferenceTokens(line, delimiter));
    out.NumObs = static_cast<int>(rows.size());
    out.Data = MatrixXd::Zero(out.NumObs, out.NumVars);
    out.StatusText = ReferenceRows(rows, first, out);
    out.Loaded = out.StatusText.empty();
    return out;
}

class HostileText {
 public:
    explicit HostileText(std::uint64_t seed) : m_engine(seed) {}

    std::size_t Below(std::size_t limit) { return m_engine() % limit; }
    char Delimiter() { return ",,,; \t1e.-+x\0\nnp\"\r\xFF"s[Below(20)]; }

    std::string Token(char delimiter) {
        static const auto pieces = ReferenceTokens(
            "|.|\".\"|nan|NA|Inf|inf|NaN|-inf|0x1p3|12ab|abc| |-|+|e|E5|1e400|1e-400|X|-0|0.5|5.|-1234.567|"
            ".12345678901234567|_|\"|\r|\t|\x80|\xEF\xBB\xBF|\0"s,
            '|');
        std::string token = Below(8) < 6 ? std::to_string(static_cast<int>(Below(200000)) - 50000) : "";
        for (auto left = Below(8) < 3 ? 1 + Below(3) : 0; left > 0; --left) token += pieces[Below(pieces.size())];
        std::erase(token, '\n');
        std::erase(token, delimiter);
        return token;
    }

    /// A table of rows x columns, ragged; texts stand from the row textsFrom on.
    std::string Table(char delimiter, std::size_t columns, std::size_t rows, std::size_t textsFrom) {
        std::string text = Below(3) == 0 ? "QuarnSystemVar_obsID" : Below(9) == 0 ? Token(delimiter) : "name";
        for (std::size_t j = 1; j < columns; ++j) {
            text += delimiter;
            text += Below(30) == 0 ? Token(delimiter) : "v" + std::string(j, 'x');
        }
        for (std::size_t i = 0; i < rows; ++i) {
            text += '\n';
            std::size_t count = columns;
            if (Below(20) == 0) count = Below(columns + 1);
            if (Below(30 * rows + 1) == 0) count = columns + 1 + Below(2);
            for (std::size_t j = 0; j < count; ++j) {
                if (j > 0) text += delimiter;
                text += i < textsFrom + 7 * j ? std::to_string(Below(100000)) : Token(delimiter);
                if (Below(200000) == 0) text.append(150000 + Below(100000), '7');
            }
            if (Below(50) == 0) text += delimiter;
        }
        if (Below(2) == 0) text += '\n';
        return text;
    }

 private:
    std::mt19937_64 m_engine;
};

/// What differs between the import of a text and the reference, or "".
std::string DifferenceOn(const std::string& text, char delimiter = ',') {
    const Dataset imported(TemporaryFile(text).Path(), delimiter);
    return quarn::testing::Difference(imported, ReferenceImport(text, delimiter));
}

TEST(Import, AgreesWithAReferenceOnHostileText) {
    HostileText hostile(2);
    int loaded = 0;
    for (int i = 0; i < 8000; ++i) {
        const char delimiter = hostile.Delimiter();
        const std::string text = hostile.Table(delimiter, 1 + hostile.Below(6), hostile.Below(12), hostile.Below(8));
        ASSERT_EQ(DifferenceOn(text, delimiter), "") << delimiter << "\n" << text;
        loaded += ReferenceImport(text, delimiter).Loaded ? 1 : 0;
    }
    EXPECT_GT(loaded, 4000);  // enough of them get through to the table
}

TEST(Import, AgreesWithAReferenceAcrossTheBlocksOfTheReader) {
    HostileText hostile(3);
    for (const std::size_t textsFrom : {0, 1, 3000, 29990, 40000}) {
        const std::string text = hostile.Table(',', 9, 30000, textsFrom);
        ASSERT_GT(text.size(), 1000000U);
        EXPECT_EQ(DifferenceOn(text), "") << textsFrom;
    }
    // The reader's blocks are 128 kB: line ends just before, at and behind the end of one.
    for (std::size_t filling = 131040; filling < 131100; ++filling) {
        const std::string line(filling / 2 - 4, '1');
        const std::string text = "a,b\n" + line + "," + line + "\n1,x\n,3" + (filling % 4 < 2 ? "\n" : "");
        ASSERT_EQ(DifferenceOn(text), "") << filling;
    }
}

TEST(Import, AgreesWithAReferenceOn100000Columns) {
    std::string text;
    for (int j = 0; j < 100000; ++j) text += "v" + std::to_string(j) + ",";
    for (int i = 0; i < 3; ++i) {
        text += "\n";
        for (int j = 0; j < 100000; ++j) text += i == 2 && j % 1000 == 0 ? "text," : std::to_string(i + j) + ",";
    }
    EXPECT_EQ(DifferenceOn(text), "");
}

}  // namespace
