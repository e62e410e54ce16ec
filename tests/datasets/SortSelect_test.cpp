#include "../support/Matrices.h"
#include "../support/Tables.h"

#include <quarn/models/Model.h>
#include <quarn/numerics/Sorting.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <random>
#include <set>

namespace {

using Eigen::Index;
using quarn::Dataset;
using quarn::MatrixXd;
using quarn::VectorXd;
using quarn::VectorXi;
using namespace quarn::testing;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

constexpr int A = 1, B = 2, S = 3, Time = 4;
const std::vector<int> Numeric = {0, A, B, 5};

/// Two numeric variables with ties, missing and infinite cells; a string variable s; a string variable time, whose
/// codes run against the order of its text.
Dataset Sample(Index rows, std::mt19937_64& engine) {
    MatrixXd data = MatrixXd::Random(rows, 6);
    const double cells[] = {-1.5, -0.0, 0.0, 2.0, NaN, Infinity, -Infinity, 1e18};
    for (Index i = 0; i < rows; ++i) {
        data(i, 0) = static_cast<double>(7 * i + 3);
        data(i, A) = cells[engine() % 8];
        data(i, B) = cells[engine() % 8];
    }
    std::vector<std::string> texts, times;
    VectorXi codes(rows);
    for (int& code : codes) {
        texts.emplace_back(engine() % 5, 'q');
        code = static_cast<int>(engine() % 9);
        times.push_back("t" + std::to_string(9 - code) + " in a text that no short string can hold");
    }
    Dataset dataset = MakeTable("id a b s time x", data);
    SetText(dataset, S, texts);
    SetText(dataset, Time, times, codes);
    return dataset;
}

/// Whether row i of the dataset is observation rows[i] of the former one, apart from the columns of string variables.
void ExpectObservations(const Dataset& now, const Dataset& before, const std::vector<int>& rows) {
    ASSERT_EQ(now.NumObs, static_cast<int>(rows.size()));
    ASSERT_EQ(now.NumVars, before.NumVars);
    ASSERT_TRUE(SameCells(now.Data(Eigen::all, Numeric), before.Data(rows, Numeric)));
    for (const int column : {S, Time}) {
        std::vector<std::string> texts;
        for (const int row : rows) texts.push_back(before.StringVars.at(column).Values[static_cast<std::size_t>(row)]);
        ASSERT_EQ(now.StringVars.at(column).Values, texts);
    }
    ASSERT_EQ(now.StringVars.at(S).TimeIndex.size(), 0);
    ASSERT_EQ(now.StringVars.at(Time).TimeIndex, before.StringVars.at(Time).TimeIndex(rows));
}

/// The numbers that a column is sorted by.
VectorXd KeyOf(const Dataset& dataset, int column, bool byCode) {
    if (!dataset.GetVariableIsString(column)) return dataset.Data.col(column);
    const quarn::StringVar& text = dataset.StringVars.at(column);
    return (column == Time && byCode ? text.TimeIndex : quarn::SortOrderToInt(text.Values)).cast<double>();
}

/// NaN comes last. Where two cells are not finite, later keys do not count.
bool ComesBefore(const std::vector<VectorXd>& keys, int i, int j) {
    for (const VectorXd& key : keys) {
        if (std::isnan(key[i]) != std::isnan(key[j])) return std::isnan(key[j]);
        if (key[i] < key[j] || key[j] < key[i]) return key[i] < key[j];
        if (!std::isfinite(key[i])) return false;
    }
    return false;
}

TEST(SortData, CarriesTextsCodesAndIdsAlong) {
    std::mt19937_64 engine(61);
    for (int round = 0; round < 600; ++round) {
        const Dataset before = Sample(static_cast<Index>(engine() % 40), engine);
        Dataset dataset = before;
        dataset.DatasetType = round % 3;
        dataset.TimeVariable = round % 4 == 0 ? "s" : "time";
        const bool byCode = dataset.DatasetType != 0 && round % 4 != 0;
        wxArrayString names;
        std::vector<VectorXd> keys;
        std::set<int> columns;
        for (auto left = engine() % 4; left > 0; --left) {
            const int column = 1 + static_cast<int>(engine() % 4);
            names.Add(before.VarNames[static_cast<std::size_t>(column)]);
            keys.push_back(KeyOf(before, column, byCode));
            columns.insert(column);
        }
        std::vector<int> rows(static_cast<std::size_t>(before.NumObs));
        std::iota(rows.begin(), rows.end(), 0);
        std::stable_sort(rows.begin(), rows.end(), [&keys](int i, int j) { return ComesBefore(keys, i, j); });
        dataset.SortData(names);
        ExpectObservations(dataset, before, rows);
        EXPECT_FALSE(dataset.TransformedSinceDeclaration);
        const bool byText = columns.contains(S) || columns.contains(Time);
        for (const int column : {S, Time}) {
            const VectorXd key = KeyOf(before, column, byCode);
            for (int i = 0; i < dataset.NumObs; ++i) {
                const int old = rows[static_cast<std::size_t>(i)];
                const double kept = byText ? before.Data(old, column) : old;
                EXPECT_TRUE(SameCell(dataset.Data(i, column), columns.contains(column) ? key[old] : kept)) << round;
            }
        }
    }
}

TEST(DropKeep, SelectsObservationsWithTheirTextsAndTellsTheModels) {
    std::mt19937_64 engine(62);
    for (int round = 0; round < 300; ++round) {
        const Dataset before = Sample(static_cast<Index>(engine() % 300), engine);
        Dataset dataset = before;
        dataset.AddAssociatedModel(std::make_shared<quarn::Model>());
        const bool keep = round % 2 == 0;
        VectorXi mask(before.NumObs);
        for (int& entry : mask) entry = round % 3 == 0 ? (round % 4) / 2 : static_cast<int>(engine() % 16 > 1);
        std::vector<int> rows;
        for (int i = 0; i < before.NumObs; ++i)
            if ((mask[i] == 1) == keep) rows.push_back(i);
        dataset.DropKeep(mask, keep);
        ExpectObservations(dataset, before, rows);
        EXPECT_TRUE(SameCells(dataset.Data, before.Data(rows, Eigen::all)));
        EXPECT_TRUE(dataset.TransformedSinceDeclaration);
        EXPECT_TRUE(dataset.AssociatedModels[0]->DatasetChanged);
    }
}

TEST(SortData, SortsByTextWhereTheDeclaredTimeVariableHasNoCodes) {
    std::mt19937_64 engine(63);
    Dataset dataset = Sample(20, engine);
    dataset.DatasetType = 2;
    dataset.TimeVariable = "time";
    dataset.StringVars.at(Time).TimeIndex.resize(0);  // as after reading it from a file
    dataset.SortData(NamesOf("time"));
    const auto& values = dataset.StringVars.at(Time).Values;
    EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
}

}  // namespace
