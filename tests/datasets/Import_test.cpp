#include "../support/CommaLocale.h"
#include "../support/Difference.h"
#include "../support/Matrices.h"
#include "../support/TemporaryFile.h"

#include <quarn/base/ProcessID.h>
#include <quarn/datasets/ByteSource_detail.h>
#include <quarn/datasets/Dataset.h>
#include <quarn/datasets/DelimitedText_detail.h>
#include <quarn/datasets/LineBlocks_detail.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <utility>

namespace {

using namespace std::string_literals;
using quarn::Dataset;
using quarn::MatrixXd;
using quarn::testing::Difference;
using quarn::testing::SameCells;
using quarn::testing::TemporaryFile;

Dataset Imported(const std::string& text, char delimiter = ',') {
    return Dataset(TemporaryFile(text).Path(), delimiter);
}

std::string Printed(double value) {
    if (std::isnan(value)) return "NaN";
    std::ostringstream text;
    text.precision(17);
    text << value;
    return text.str();
}

/// A dataset on one line: names | row | row ... | string variable: its values in brackets. "id" is the id column.
std::string Page(const Dataset& dataset) {
    if (!dataset.Loaded) return "not loaded. " + dataset.StatusText;
    std::string page = dataset.VarNames.empty() ? "no variables" : "";
    for (const wxString& name : dataset.VarNames)
        page += (page.empty() ? "" : " ") + (name == "QuarnSystemVar_obsID" ? "id" : name.ToStdString());
    for (Eigen::Index i = 0; i < dataset.Data.rows(); ++i) {
        page += " |";
        for (Eigen::Index j = 0; j < dataset.Data.cols(); ++j) page += " " + Printed(dataset.Data(i, j));
    }
    for (const auto& [column, variable] : dataset.StringVars) {
        page += " | " + variable.Name + ":";
        for (const std::string& value : variable.Values) page += " [" + value + "]";
    }
    return page;
}

// ---- The rules, one by one ----

const std::string Surplus = "not loaded. More values were provided for some observations than the number of variables.";
const std::string Duplicate =
    "not loaded. Duplicate variable names were found in the dataset. The first duplicate was: ";

/// Bytes of a text with the escapes of the case file.
std::string Unescaped(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        static const std::string letters = "ntr\\", meanings = "\n\t\r\\";
        if (text[i] != '\\') {
            bytes += text[i];
        } else if (text[++i] == 'x') {
            bytes += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            bytes += meanings.at(letters.find(text[i]));
        }
    }
    return bytes;
}

TEST(Import, FollowsTheRulesOfTheCaseFile) {
    std::ifstream file(QUARN_SOURCE_DIR "/tests/cases/import.txt");
    const std::string indent(4, ' '), delimiterLine = indent + "delimiter ";
    int cases = 0;
    for (std::string rule, text, page; std::getline(file, rule);) {
        if (rule.empty() || rule[0] == '#') continue;
        char delimiter = ',';
        std::getline(file, text);
        if (text.starts_with(delimiterLine)) {
            delimiter = Unescaped(text.substr(delimiterLine.size())).at(0);
            std::getline(file, text);
        }
        std::getline(file, page);
        ASSERT_TRUE(text.starts_with(indent) && page.starts_with(indent)) << rule;
        text = text == indent + "(empty)" ? "" : Unescaped(text.substr(indent.size()));
        EXPECT_EQ(Page(Imported(text, delimiter)), Unescaped(page.substr(indent.size()))) << rule;
        ++cases;
    }
    EXPECT_GT(cases, 50);
}

TEST(Import, LeavesACrossSection) {
    const Dataset dataset = Imported("a,b\n1,x\n");
    EXPECT_TRUE(dataset.Loaded);
    EXPECT_EQ(std::pair(dataset.NumObs, dataset.NumVars), std::pair(1, 3));
    EXPECT_TRUE(dataset.Name.empty() && dataset.StatusText.empty() && dataset.AssociatedModels.empty());
    EXPECT_EQ(dataset.DatasetType, 0);
    EXPECT_EQ(dataset.TimeVariable, "QuarnSystemVar_DefaultVarName");
    EXPECT_EQ(dataset.GroupVariable, "QuarnSystemVar_DefaultVarName");
    EXPECT_EQ(dataset.TimeFormat, "none");
    EXPECT_FALSE(dataset.TransformedSinceDeclaration);
    const quarn::StringVar& b = dataset.StringVars.at(2);
    EXPECT_EQ(b.Column, 2);
    EXPECT_FALSE(b.IsTimeVariable);
    EXPECT_EQ(b.TimeIndex.size(), 0);
}

TEST(Import, KeepsWhatCameBeforeAFailure) {
    const Dataset duplicate = Imported("a,a\n1,2\n");
    EXPECT_EQ(duplicate.VarNames.size(), 3U);
    EXPECT_EQ(duplicate.NumVars, 3);
    EXPECT_EQ(duplicate.Data.size(), 0);

    const Dataset surplus = Imported("a,b\n1,x\n3,4,5\n6,7\n");
    EXPECT_EQ(surplus.VarNames.size(), 3U);
    EXPECT_EQ(std::pair(surplus.NumObs, surplus.NumVars), std::pair(3, 3));
    EXPECT_TRUE(surplus.StringVars.empty());
    EXPECT_TRUE(SameCells(surplus.Data, (MatrixXd(3, 3) << 1, 1, 0, 2, 3, 4, 0, 0, 0).finished()));
}

// ---- Against a reference, line by line ----

std::vector<std::string> ReferenceTokens(const std::string& line, char delimiter) {
    std::vector<std::string> tokens;
    std::istringstream stream(line);
    for (std::string token; std::getline(stream, token, delimiter);) tokens.push_back(token);
    return tokens;
}

Dataset ReferenceImport(const std::string& text, char delimiter) {
    static const std::set<std::string> missing = {".", "\".\"", "nan", "NA", "Inf", "inf", ""};
    Dataset out({}, MatrixXd());
    out.Loaded = false;
    std::istringstream stream(text);
    std::string line;
    std::getline(stream, line);
    int first = 0;
    std::vector<std::string> names;
    for (std::string token : ReferenceTokens(line, delimiter)) {
        if (names.empty() && token != "QuarnSystemVar_obsID") {
            names.push_back("QuarnSystemVar_obsID");
            first = 1;
        }
        quarn::ProcessID(token);
        names.push_back(token);
    }
    for (const std::string& name : names) out.VarNames.Add(wxString::FromAscii(name.c_str()));
    out.NumVars = static_cast<int>(names.size());
    std::set<std::string> seen, twice;
    for (const std::string& name : names)
        if (!seen.insert(name).second) twice.insert(name);
    if (!twice.empty()) {
        out.StatusText = Duplicate.substr(12) + *twice.begin();
        return out;
    }
    std::vector<std::vector<std::string>> rows;
    while (std::getline(stream, line)) rows.push_back(ReferenceTokens(line, delimiter));
    out.NumObs = static_cast<int>(rows.size());
    out.Data = MatrixXd::Zero(out.NumObs, out.NumVars);
    std::set<int> strings;
    for (int row = 0; row < out.NumObs; ++row) {
        if (first == 1) out.Data(row, 0) = row + 1;
        int column = first;
        for (const std::string& token : rows[static_cast<std::size_t>(row)]) {
            if (column >= out.NumVars) {
                out.StatusText = Surplus.substr(12);
                return out;
            }
            char* end = nullptr;
            out.Data(row, column) = std::strtod(token.c_str(), &end);
            if (missing.contains(token))
                out.Data(row, column) = std::numeric_limits<double>::quiet_NaN();
            else if (end != token.c_str() + token.size())
                strings.insert(column);
            ++column;
        }
    }
    for (const int column : strings) {
        quarn::StringVar& variable = out.StringVars[column];
        variable.Column = column;
        variable.Name = names[static_cast<std::size_t>(column)];
        for (const auto& row : rows) {
            const auto position = static_cast<std::size_t>(column - first);
            variable.Values.push_back(position < row.size() ? row[position] : "");
        }
    }
    out.Loaded = true;
    return out;
}

class HostileText {
 public:
    explicit HostileText(std::uint64_t seed) : m_engine(seed) {}

    std::size_t Below(std::size_t limit) { return m_engine() % limit; }
    char Delimiter() { return ",,,; \t1e.-+x\0\nnp\"\r\xFF"s[Below(20)]; }

    std::string Token(char delimiter) {
        static const std::string bytes =
            "0123456789012345678901234567890123456789..--+eExpXP \t\r\"\0naifNAIF\xEF\xBB\xBF\x80_"s;
        static const std::string literals[] = {"",       ".",    "\".\"",  "nan",  "NA",   "Inf",      "inf", "NaN",
                                               "INF",    "-inf", "0x1p3",  "12ab", "abc",  " 3",       "3 ",  "1e400",
                                               "1e-400", "-0",   "Region", "1e5",  "0.5.", "-1234.567"};
        std::string token;
        const auto kind = Below(8);
        if (kind == 0) token = literals[Below(std::size(literals))];
        if (kind == 1)
            for (auto n = Below(12); n > 0; --n) token += bytes[Below(bytes.size())];
        if (kind == 2) token = Printed(std::ldexp(static_cast<double>(m_engine() >> 11), -40));
        if (kind > 2) token = std::to_string(static_cast<int>(Below(200000)) - 50000);
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

TEST(Import, AgreesWithAReferenceOnHostileText) {
    HostileText hostile(2);
    TemporaryFile file;
    int loaded = 0;
    for (int i = 0; i < 8000; ++i) {
        const char delimiter = hostile.Delimiter();
        const std::string text = hostile.Table(delimiter, 1 + hostile.Below(6), hostile.Below(12), hostile.Below(8));
        file.Write(text);
        const Dataset imported(file.Path(), delimiter);
        ASSERT_EQ(Difference(imported, ReferenceImport(text, delimiter)), "") << delimiter << "\n" << text;
        loaded += imported.Loaded ? 1 : 0;
    }
    EXPECT_GT(loaded, 4000);  // enough of them get through to the table
}

TEST(Import, AgreesWithAReferenceAcrossTheBlocksOfTheReader) {
    HostileText hostile(3);
    for (const std::size_t textsFrom : {0, 1, 3000, 29990, 40000}) {
        const std::string text = hostile.Table(',', 9, 30000, textsFrom);
        ASSERT_GT(text.size(), 1000000U);
        EXPECT_EQ(Difference(Imported(text), ReferenceImport(text, ',')), "") << textsFrom;
    }
    // The reader's blocks are 128 kB: line ends just before, at and behind the end of one.
    for (std::size_t filling = 131040; filling < 131100; ++filling) {
        const std::string line(filling / 2 - 4, '1');
        const std::string text = "a,b\n" + line + "," + line + "\n1,x\n,3" + (filling % 4 < 2 ? "\n" : "");
        ASSERT_EQ(Difference(Imported(text), ReferenceImport(text, ',')), "") << filling;
    }
}

// ---- Sources that are no plain file ----

TEST(Import, AnswersAtOnceWhereThereIsNothingToRead) {
    for (const std::string& path : {"/"s, "/tmp"s, "/nowhere/at/all"s, ""s, "/dev/null"s, "/dev/zero"s, "/dev/tty"s}) {
        const Dataset dataset(path, ',');
        EXPECT_FALSE(dataset.Loaded) << path;
        EXPECT_EQ(dataset.StatusText, "") << path;
    }
}

/// Puts a named pipe in the place of the file.
void MakePipe(const TemporaryFile& file) {
    std::filesystem::remove(file.Path());
    ASSERT_EQ(mkfifo(file.Path().c_str(), 0600), 0);
}

TEST(Import, DoesNotWaitForAPipeWithoutAWriterForEver) {
    const TemporaryFile pipe;
    MakePipe(pipe);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(quarn::detail::OpenSource(pipe.Path(), std::chrono::milliseconds(20)), nullptr);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(Import, ReadsAPipeToItsEnd) {
    const TemporaryFile pipe;
    MakePipe(pipe);
    std::string text = "a,b\n";
    for (int i = 0; i < 30000; ++i) text += std::to_string(i) + ",x\n";
    std::thread writer([&] {
        std::ofstream stream(pipe.Path(), std::ios::binary);
        stream << text.substr(0, 5) << std::flush;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        stream << text.substr(5);
    });
    const Dataset imported(pipe.Path(), ',');
    writer.join();
    EXPECT_EQ(Difference(imported, ReferenceImport(text, ',')), "");
}

TEST(Import, ReadsAFileAsLongAsItWasWhenOpened) {
    const TemporaryFile file("0123456789");
    const auto source = quarn::detail::OpenSource(file.Path());
    ASSERT_NE(source, nullptr);
    std::string bytes(20, ' ');
    std::ofstream(file.Path(), std::ios::app) << "more";
    EXPECT_EQ(source->Read(bytes.data(), 20, 4), 6U);
    EXPECT_EQ(bytes.substr(0, 7), "456789 ");
    EXPECT_EQ(source->Read(bytes.data(), 20, 10), 0U);
    EXPECT_EQ(source->Read(bytes.data(), 20, 11), 0U);
    std::filesystem::resize_file(file.Path(), 4);  // cut short: not an end, but a failure
    EXPECT_EQ(source->Read(bytes.data(), 20, 4), std::nullopt);
}

/// Bytes in small pieces, or a source that fails, or changes its bytes, from one of the reads on.
class UnreliableSource final : public quarn::detail::ByteSource {
 public:
    explicit UnreliableSource(std::string bytes, std::size_t piece) : m_bytes(std::move(bytes)), m_piece(piece) {}

    int FailsAt = -1, ChangesAt = -1, Reads = 0;
    std::string ChangesTo;

    std::optional<std::size_t> Read(char* target, std::size_t size, std::size_t offset) override {
        if (Reads == ChangesAt) m_bytes = ChangesTo;
        if (Reads++ == FailsAt) return std::nullopt;
        const std::size_t count = std::min({size, m_piece, m_bytes.size() - std::min(offset, m_bytes.size())});
        std::copy_n(m_bytes.data() + std::min(offset, m_bytes.size()), count, target);
        return count;
    }

 private:
    std::string m_bytes;
    std::size_t m_piece;
};

const std::string LateText = "1,2\n3,4\n5,6\n7,x\n8,9";

TEST(Import, TakesBytesInPiecesOfAnySize) {
    for (std::size_t piece = 1; piece < 30; ++piece) {
        UnreliableSource source(LateText, piece);
        EXPECT_EQ(quarn::detail::CountLines(source, 0), 5U);
        MatrixXd table(5, 2);
        const auto parsed = quarn::detail::ParseRows(source, 0, ',', 0, table);
        ASSERT_EQ(parsed.Outcome, quarn::detail::ParseOutcome::Complete);
        EXPECT_TRUE(SameCells(table, (MatrixXd(5, 2) << 1, 2, 3, 4, 5, 6, 7, 0, 8, 9).finished()));
        ASSERT_EQ(parsed.StringColumns.size(), 1U);
        EXPECT_EQ(parsed.StringColumns[0].Values, (std::vector<std::string>{"2", "4", "6", "x", "9"}));
    }
}

TEST(Import, FailsWithASourceThatFailsInAnyPass) {
    UnreliableSource whole(LateText, 3);
    MatrixXd table(5, 2);
    quarn::detail::ParseRows(whole, 0, ',', 0, table);
    for (int read = 0; read < whole.Reads; ++read) {
        UnreliableSource source(LateText, 3);
        source.FailsAt = read;
        EXPECT_EQ(quarn::detail::ParseRows(source, 0, ',', 0, table).Outcome, quarn::detail::ParseOutcome::Failed)
            << read;
        UnreliableSource counted(LateText, 3);
        counted.FailsAt = read;
        EXPECT_EQ(quarn::detail::CountLines(counted, 0).has_value(), read >= 8) << read;  // 7 pieces and the end
    }
}

TEST(Import, SurvivesASourceThatChangesUnderWay) {
    for (const std::string& change : {""s, "1"s, "1,2\n"s, "1,2\n3,4\n5,6\n7,8\n9,9\n1,1\n"s, "1,2,3,4\n5,6,7\n"s,
                                      "\n\n\n\n\n\n"s, std::string(5000, ',') + "\n"})
        for (int read = 0; read < 16; ++read) {
            UnreliableSource source(LateText, 3);
            source.ChangesAt = read;
            source.ChangesTo = change;
            MatrixXd table(5, 2);
            const auto parsed = quarn::detail::ParseRows(source, 0, ',', 0, table);
            if (parsed.Outcome != quarn::detail::ParseOutcome::Complete) continue;
            for (const auto& strings : parsed.StringColumns) EXPECT_EQ(strings.Values.size(), 5U);
        }
    UnreliableSource source(LateText, 100);
    for (const Eigen::Index rows : {4, 6}) {  // lines were added, or taken away, since they were counted
        MatrixXd table = MatrixXd::Ones(rows, 2);
        EXPECT_EQ(quarn::detail::ParseRows(source, 0, ',', 0, table).Outcome, quarn::detail::ParseOutcome::Failed);
    }
}

// ---- Sizes ----

TEST(Import, TakesALineOf50MB) {
    constexpr std::size_t size = 50'000'000;
    const Dataset digits = Imported("a,b\n" + std::string(size, '1') + ",2\n3,4\n");
    EXPECT_EQ(Page(digits), "id a b | 1 inf 2 | 2 3 4");
    const Dataset text = Imported("a,b\n1," + std::string(size, 'x'));
    ASSERT_TRUE(text.Loaded);
    EXPECT_EQ(text.StringVars.at(2).Values.at(0).size(), size);
    EXPECT_EQ(Page(Imported("a,b\n" + std::string(size, ','))), Surplus);
    EXPECT_EQ(Imported(std::string(size, 'n') + "\n1").VarNames.Last().length(), size);
}

TEST(Import, Takes100000Columns) {
    constexpr int columns = 100000;
    std::string text;
    for (int j = 0; j < columns; ++j) text += "v" + std::to_string(j) + ",";
    text += "\n";
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < columns; ++j) text += i == 2 && j % 1000 == 0 ? "text," : std::to_string(i + j) + ",";
        text += "\n";
    }
    const Dataset dataset = Imported(text);
    ASSERT_TRUE(dataset.Loaded);
    EXPECT_EQ(std::pair(dataset.NumObs, dataset.NumVars), std::pair(3, columns + 1));
    EXPECT_EQ(dataset.Data(1, columns), columns);
    EXPECT_EQ(dataset.Data(2, columns), columns + 1);
    EXPECT_EQ(dataset.StringVars.size(), 100U);
    EXPECT_EQ(dataset.StringVars.at(2001).Values, (std::vector<std::string>{"2000", "2001", "text"}));
}

TEST(Import, DoesNotDependOnTheLocale) {
    const std::string text = "a\n1.5\n1,5\n2.25x\n";
    const std::string page = Page(Imported(text, ';'));
    EXPECT_EQ(page, "id a | 1 1.5 | 2 1 | 3 2.25 | a: [1.5] [1,5] [2.25x]");
    if (!quarn::testing::SetCommaLocale()) GTEST_SKIP() << "no locale with a decimal comma is installed";
    const Dataset dataset = Imported(text, ';');
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(Page(dataset), page);
}

}  // namespace
