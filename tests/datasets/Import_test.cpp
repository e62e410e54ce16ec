#include "../support/CommaLocale.h"
#include "../support/Tables.h"
#include "../support/TemporaryFile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <sstream>

namespace {

using namespace std::string_literals;
using quarn::Dataset;
using quarn::testing::TemporaryFile;

const std::string Id = "QuarnSystemVar_obsID";

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
        page += (page.empty() ? "" : " ") + (name == Id ? "id" : name.ToStdString());
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
    EXPECT_EQ(quarn::testing::Saved(dataset),
              "1~3\n0~QuarnSystemVar_DefaultVarName~QuarnSystemVar_DefaultVarName~none~0\n" + Id +
                  "~a~b\n1~1~0\n1\n2~b~0\nx\n\n");
    EXPECT_TRUE(dataset.Name.empty() && dataset.AssociatedModels.empty());
    EXPECT_EQ(dataset.StringVars.at(2).TimeIndex.size(), 0);
}

TEST(Import, DoesNotDependOnTheLocale) {
    const std::string text = "a\n1.5\n1,5\n2.25x\n";
    const quarn::testing::ForeignNumbers foreign;
    if (!foreign.IsInC) GTEST_SKIP() << "no locale with a decimal comma is installed";
    const Dataset dataset = Imported(text, ';');
    EXPECT_EQ(dataset.Data.col(1), Eigen::Vector3d(1.5, 1, 2.25));
    EXPECT_EQ(dataset.StringVars.at(1).Values, (std::vector{"1.5"s, "1,5"s, "2.25x"s}));
}

TEST(Import, TakesLinesOf50MB) {
    constexpr std::size_t size = 50'000'000;
    EXPECT_EQ(Page(Imported("a,b\n" + std::string(size, '1') + ",2\n3,4\n")), "id a b | 1 inf 2 | 2 3 4");
    EXPECT_EQ(Imported("a,b\n1," + std::string(size, 'x')).StringVars.at(2).Values.at(0).size(), size);
    EXPECT_FALSE(Imported("a,b\n" + std::string(size, ',')).Loaded);
    EXPECT_EQ(Imported(std::string(size, 'n') + "\n1").VarNames.Last().length(), size);
}

}  // namespace
