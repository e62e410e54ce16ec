#include "../support/Matrices.h"
#include "../support/Tables.h"

#include <quarn/models/Model.h>

#include <gtest/gtest.h>

#include <clocale>
#include <limits>

namespace {

using quarn::Dataset;
using quarn::MatrixXd;
using quarn::VectorXd;
using quarn::testing::SameCells;
using Names = std::vector<std::string>;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

/// Ids and v1 to v6, cells row + column / 10; v2 and v5 are string variables.
Dataset Sample() {
    const MatrixXd cells = MatrixXd::NullaryExpr(3, 7, [](auto i, auto j) { return double(i + 1) + double(j) / 10; });
    Dataset dataset = quarn::testing::MakeTable("id v1 v2 v3 v4 v5 v6", cells);
    for (const std::string name : {"v2", "v5"})
        quarn::testing::SetText(dataset, name[1] - '0', {name + "a", name + "b", name + "c"});
    return dataset;
}

/// The string variables as "column name first-value".
Names Strings(const Dataset& dataset) {
    Names strings;
    for (const auto& [key, variable] : dataset.StringVars) {
        EXPECT_EQ(key, variable.Column);
        strings.push_back(std::to_string(key) + " " + variable.Name + " " + variable.Values.at(0));
    }
    return strings;
}

const Names Untouched = {"2 v2 v2a", "5 v5 v5a"};
const VectorXd Three = VectorXd::LinSpaced(3, 7, 9);
const MatrixXd Ids = (MatrixXd(1, 2) << 1, 0).finished();

const Names Both = {"w", "x"}, OneExists = {"w", "v2"}, Existing = {"v2", "v1"};
MatrixXd cell = MatrixXd::Ones(1, 1);

struct BookkeepingCase {
    const char* operation;
    void (*run)(Dataset&);
    bool marks;  ///< sets TransformedSinceDeclaration and tells the models
    Names strings;
};

const BookkeepingCase bookkeepingCases[] = {
    {"AddVariable", [](Dataset& d) { d.AddVariable(Three, "v7"); }, false, Untouched},
    {"ReplaceVariable, number", [](Dataset& d) { d.ReplaceVariable(Three, "v1"); }, true, Untouched},
    {"ReplaceVariable, string", [](Dataset& d) { d.ReplaceVariable(Three, "v2"); }, true, {"5 v5 v5a"}},
    {"RenameVariable, number", [](Dataset& d) { d.RenameVariable("v1", "w"); }, false, Untouched},
    {"RenameVariable, string", [](Dataset& d) { d.RenameVariable("v2", "w"); }, false, {"2 w v2a", "5 v5 v5a"}},
    {"DeleteVariable, first", [](Dataset& d) { d.DeleteVariable("v1"); }, true, {"1 v2 v2a", "4 v5 v5a"}},
    {"DeleteVariable, between", [](Dataset& d) { d.DeleteVariable("v3"); }, true, {"2 v2 v2a", "4 v5 v5a"}},
    {"DeleteVariable, last", [](Dataset& d) { d.DeleteVariable("v6"); }, true, Untouched},
    {"DeleteVariable, string", [](Dataset& d) { d.DeleteVariable("v2"); }, true, {"4 v5 v5a"}},
    {"ChangeData, numeric", [](Dataset& d) { d.ChangeData(0, 1, 1, 1, cell); }, true, Untouched},
    {"ChangeData, text", [](Dataset& d) { d.ChangeData(0, 5, "new"); }, true, {"2 v2 v2a", "5 v5 new"}},
    {"One2One, number", [](Dataset& d) { d.MatchOservations_One2One(Ids, Three, "v1"); }, true, Untouched},
    {"One2One, string", [](Dataset& d) { d.MatchOservations_One2One(Ids, Three, "v5"); }, true, {"2 v2 v2a"}},
    {"One2One, new", [](Dataset& d) { d.MatchOservations_One2One(Ids, Three, "w"); }, false, Untouched},
    {"One2One, no ids", [](Dataset& d) { d.MatchOservations_One2One(MatrixXd(), Three, "v1"); }, true, Untouched},
    {"One2Many, number", [](Dataset& d) { d.MatchOservations_One2Many(Ids, Three, "v1"); }, true, Untouched},
    {"One2Many, string", [](Dataset& d) { d.MatchOservations_One2Many(Ids, Three, "v2"); }, true, {"5 v5 v5a"}},
    {"One2Many, new", [](Dataset& d) { d.MatchOservations_One2Many(Ids, Three, "w"); }, false, Untouched},
    {"several, all new", [](Dataset& d) { d.MatchOservations_One2One(Ids, Ids, Both); }, false, Untouched},
    {"several, one old", [](Dataset& d) { d.MatchOservations_One2One(Ids, Ids, OneExists); }, true, {"5 v5 v5a"}},
    {"DisassociateStringVar", [](Dataset& d) { d.DisassociateStringVar(5); }, true, {"2 v2 v2a"}},
    {"DisassociateStringVar, number", [](Dataset& d) { d.DisassociateStringVar(1); }, true, Untouched},
    {"DisassociateStringVars", [](Dataset& d) { d.DisassociateStringVars(); }, true, {}},
    {"GetVariables", [](Dataset& d) { d.GetVariables(Existing); }, false, Untouched},
};

TEST(Bookkeeping, IsThatOfTheTable) {
    for (const BookkeepingCase& c : bookkeepingCases)
        for (const bool before : {false, true}) {
            Dataset dataset = Sample();
            const auto model = std::make_shared<quarn::Model>();
            dataset.AddAssociatedModel(model);
            dataset.TransformedSinceDeclaration = before;
            c.run(dataset);
            EXPECT_EQ(Strings(dataset), c.strings) << c.operation;
            EXPECT_EQ(dataset.TransformedSinceDeclaration, c.marks || before) << c.operation;
            EXPECT_EQ(model->DatasetChanged, c.marks) << c.operation;
            EXPECT_EQ(dataset.GetAssociatedModels().size(), 1U) << c.operation;
            EXPECT_EQ(dataset.Data.rows(), dataset.NumObs) << c.operation;
            EXPECT_EQ(dataset.Data.cols(), dataset.NumVars) << c.operation;
            EXPECT_EQ(static_cast<int>(dataset.VarNames.size()), dataset.NumVars) << c.operation;
        }
}

TEST(Variables, AreFoundByTheirExactName) {
    Dataset dataset = Sample();
    EXPECT_EQ(dataset.GetVariableIndex("v3"), 3);
    for (const char* name : {"V3", "v3 ", "", "v", "v33", "pa\xC3\xADs", "\xFF"}) {
        EXPECT_EQ(dataset.GetVariableIndex(name), dataset.NumVars) << name;
        EXPECT_FALSE(dataset.VariableExists(name) || dataset.GetVariableIsString(name)) << name;
        EXPECT_EQ(dataset.GetVariable(name).size(), 0) << name;
    }
    dataset.AddVariable(Three, "v3");  // the leftmost of that name is meant
    EXPECT_EQ(dataset.GetVariableIndex("v3"), 3);
    EXPECT_TRUE(SameCells(dataset.GetVariable("v3"), dataset.Data.col(3)));
    EXPECT_TRUE(SameCells(dataset.Data.col(7), Three));
    EXPECT_TRUE(dataset.GetVariableIsString("v2") && dataset.GetVariableIsString(5));
    EXPECT_FALSE(dataset.GetVariableIsString("v1") || dataset.GetVariableIsString(-1));
}

TEST(Variables, ComeInTheOrderOfTheListHoweverLong) {
    Dataset dataset = Sample();
    dataset.AddVariable(Three, "v1");
    for (const std::size_t length : {0, 1, 5, 15, 16, 17, 40}) {
        Names names, unknown(length, "unknown");
        MatrixXd expected(3, length);
        for (std::size_t k = 0; k < length; ++k) {
            const auto column = static_cast<Eigen::Index>(1 + 5 * k % 6);
            names.push_back("v" + std::to_string(column));
            expected.col(static_cast<Eigen::Index>(k)) = dataset.Data.col(column);
        }
        EXPECT_TRUE(SameCells(dataset.GetVariables(names), expected)) << length;
        EXPECT_FALSE(dataset.ListContainsStringVariables(unknown)) << length;
        unknown.push_back("v5");
        EXPECT_TRUE(dataset.ListContainsStringVariables(unknown)) << length;
    }
}

TEST(Variables, KeepNamesOutsideASCIIApart) {
    for (const char* locale : {"C", "C.UTF-8"}) {
        if (std::setlocale(LC_CTYPE, locale) == nullptr) continue;
        Dataset dataset = Sample();
        for (const char* name :
             {"pa\xC3\xADs", "pa\xC3\xB1s", "\xFE", "\xC3\xBF", "\xFF", "\xC3\xBF\xFF", "\xEF\x9F\xBF", "\xC0\xBF"}) {
            EXPECT_FALSE(dataset.VariableExists(name)) << locale;
            dataset.AddVariable(Three, name);
            EXPECT_EQ(dataset.GetVariableIndex(name), dataset.NumVars - 1) << locale;
        }
    }
    std::setlocale(LC_CTYPE, "C");
}

TEST(Variables, AreAddedReplacedAndDeletedInPlace) {
    Dataset dataset = Sample();
    const MatrixXd before = dataset.Data;
    dataset.AddVariable(Three, "new");
    EXPECT_TRUE(SameCells(dataset.Data.leftCols(7), before) && SameCells(dataset.Data.col(7), Three));
    dataset.ReplaceVariable(Three, "v2");
    EXPECT_TRUE(SameCells(dataset.Data.col(2), Three));
    for (const char* name : {"v6", "v1", "v2"}) dataset.DeleteVariable(name);
    MatrixXd expected(3, 5);
    expected << before.col(0), before.middleCols(3, 3), Three;
    EXPECT_TRUE(SameCells(dataset.Data, expected));
    EXPECT_EQ(dataset.VarNames[4], "new");
    dataset.TimeVariable = "v3";
    dataset.RenameVariable("v3", "w");
    EXPECT_EQ(dataset.TimeVariable, "v3");
    EXPECT_EQ(dataset.GetVariableIndex("w"), 1);
}

TEST(Variables, ChangeCellsAndTextsApart) {
    Dataset dataset = Sample();
    MatrixXd block = MatrixXd::Constant(2, 2, NaN), expected = dataset.Data;
    expected.block(1, 2, 2, 2) = block;  // column 1 behind the ids is column 2
    dataset.ChangeData(1, 1, 2, 2, block);
    EXPECT_EQ(dataset.StringVars.at(2).Values, (Names{"v2a", "v2b", "v2c"}));
    dataset.ChangeData(1, 2, "new");
    EXPECT_EQ(dataset.StringVars.at(2).Values, (Names{"v2a", "new", "v2c"}));
    EXPECT_TRUE(SameCells(dataset.Data, expected));
}

}  // namespace
