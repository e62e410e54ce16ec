#include "../support/Matrices.h"

#include <quarn/datasets/Dataset.h>
#include <quarn/models/Model.h>
#include <quarn/numerics/Sorting.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <random>

namespace {

using Eigen::Index;
using quarn::Dataset;
using quarn::MatrixXd;
using quarn::VectorXi;
using quarn::testing::SameCell;
using quarn::testing::SameCells;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Infinity = std::numeric_limits<double>::infinity();

const char* const VariableNames[] = {"QuarnSystemVar_obsID", "a", "b", "s", "time", "x"};
constexpr int A = 1, B = 2, S = 3, Time = 4;

/// Two numeric variables with ties, missing and infinite cells; a string variable s; a string variable time, whose
/// codes run against the order of its text.
Dataset Sample(Index rows, std::mt19937_64& engine) {
    wxArrayString names;
    for (const char* name : VariableNames) names.Add(name);
    MatrixXd data = MatrixXd::Random(rows, 6);
    const double cells[] = {-1.5, -0.0, 0.0, 2.0, NaN, Infinity, -Infinity, 1e18};
    for (Index i = 0; i < rows; ++i) {
        data(i, 0) = static_cast<double>(7 * i + 3);
        data(i, A) = cells[engine() % 8];
        data(i, B) = cells[engine() % 8];
    }
    Dataset dataset(names, data);
    quarn::StringVar s{S, "s", {}, false, {}}, time{Time, "time", {}, true, VectorXi(rows)};
    for (Index i = 0; i < rows; ++i) {
        s.Values.emplace_back(engine() % 5, 'q');
        const int code = static_cast<int>(engine() % 9);
        time.Values.push_back("t" + std::to_string(9 - code) + " in a text that no short string can hold");
        time.TimeIndex[i] = code;
    }
    dataset.StringVars = {{S, s}, {Time, time}};
    return dataset;
}

/// Whether row i of the dataset is observation rows[i] of the former one, apart from the columns of string variables.
void ExpectObservations(const Dataset& now, const Dataset& before, const std::vector<int>& rows) {
    ASSERT_EQ(now.NumObs, static_cast<int>(rows.size()));
    ASSERT_EQ(now.Data.rows(), now.NumObs);
    ASSERT_EQ(now.NumVars, before.NumVars);
    for (const int column : {S, Time}) ASSERT_EQ(now.StringVars.at(column).Values.size(), rows.size());
    ASSERT_EQ(now.StringVars.at(S).TimeIndex.size(), 0);
    ASSERT_EQ(now.StringVars.at(Time).TimeIndex.size(), now.NumObs);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const auto row = static_cast<Index>(i), old = static_cast<Index>(rows[i]);
        for (const int column : {0, A, B, 5})
            ASSERT_TRUE(SameCell(now.Data(row, column), before.Data(old, column))) << i;
        for (const int column : {S, Time})
            ASSERT_EQ(now.StringVars.at(column).Values[i], before.StringVars.at(column).Values[rows[i]]) << i;
        ASSERT_EQ(now.StringVars.at(Time).TimeIndex[row], before.StringVars.at(Time).TimeIndex[old]) << i;
    }
}

/// -1, 0 or 1 as the value of a row in a column comes before, with or after that of another; NaN last. Sets `end` where
/// later keys do not count.
int Compare(const Dataset& d, int column, bool byCode, int i, int j, bool& end) {
    const auto sign = [](auto a, auto b) { return a < b ? -1 : (b < a ? 1 : 0); };
    const auto r = static_cast<std::size_t>(i), q = static_cast<std::size_t>(j);
    if (column == Time && byCode) return sign(d.StringVars.at(Time).TimeIndex[i], d.StringVars.at(Time).TimeIndex[j]);
    if (column == S || column == Time)
        return sign(d.StringVars.at(column).Values[r], d.StringVars.at(column).Values[q]);
    const double a = d.Data(i, column), b = d.Data(j, column);
    end = !std::isfinite(a) && !std::isfinite(b);
    if (std::isnan(a) || std::isnan(b)) return sign(std::isnan(a), std::isnan(b));
    return sign(a, b);
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
        std::vector<int> keys(engine() % 4);
        for (int& key : keys) names.Add(VariableNames[key = 1 + static_cast<int>(engine() % 4)]);
        const bool byText = std::any_of(keys.begin(), keys.end(), [](int key) { return key == S || key == Time; });
        std::vector<int> rows(static_cast<std::size_t>(before.NumObs));
        std::iota(rows.begin(), rows.end(), 0);
        std::stable_sort(rows.begin(), rows.end(), [&](int i, int j) {
            bool end = false;
            for (const int key : keys) {
                if (const int c = Compare(before, key, byCode, i, j, end); c != 0) return c < 0;
                if (end) return false;
            }
            return false;
        });
        dataset.SortData(names);
        ExpectObservations(dataset, before, rows);
        EXPECT_FALSE(dataset.TransformedSinceDeclaration);
        for (const int column : {S, Time}) {
            const bool isKey = std::find(keys.begin(), keys.end(), column) != keys.end();
            const VectorXi codes = column == Time && byCode
                                       ? before.StringVars.at(Time).TimeIndex
                                       : quarn::SortOrderToInt(before.StringVars.at(column).Values);
            for (int i = 0; i < dataset.NumObs; ++i) {
                const int old = rows[static_cast<std::size_t>(i)];
                const double kept = byText ? before.Data(old, column) : old;
                EXPECT_TRUE(SameCell(dataset.Data(i, column), isKey ? codes[old] : kept)) << round;
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
        for (std::size_t i = 0; i < rows.size(); ++i)
            EXPECT_TRUE(SameCells(dataset.Data.row(static_cast<Index>(i)), before.Data.row(rows[i])));
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
    wxArrayString names;
    names.Add("time");
    dataset.SortData(names);
    const auto& values = dataset.StringVars.at(Time).Values;
    EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
    dataset.DropKeep(VectorXi::Zero(20), true);
    EXPECT_EQ(dataset.NumObs, 0);
    EXPECT_EQ(dataset.NumVars, 6);
}

}  // namespace
