#include "../support/Matrices.h"
#include "../support/Panels.h"

#include <quarn/numerics/DescriptiveStatistics.h>

#include <gtest/gtest.h>

namespace {

using Eigen::Index;
using quarn::Dataset;
using quarn::MatrixXd;
using quarn::VectorXd;
using quarn::testing::SameCell;
using quarn::testing::SameCells;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
const char* const StatisticNames[] = {"groupmeans",   "groupvars", "groupsds",
                                      "groupmedians", "groupsums", "groupcounts"};

double Compute(const std::string& statistic, const VectorXd& x) {
    if (statistic == "groupcounts") return static_cast<double>(x.size());
    if (x.size() == 0) return NaN;
    if (statistic == "groupmeans") return quarn::vectorMean(x);
    if (statistic == "groupmedians") return quarn::vectorMedian(x);
    if (statistic == "groupsums") return quarn::vectorMean(x) * static_cast<double>(x.size());
    if (x.size() < 2) return NaN;
    return statistic == "groupvars" ? quarn::vectorVar(x) : quarn::vectorSd(x);
}

/// The statistic of the rows of the same group that are finite in x, group and time, by ascending time.
double StatisticByHand(const Dataset& dataset, Index row, const std::string& statistic) {
    std::vector<std::pair<double, Index>> rows;
    for (Index i = 0; i < dataset.NumObs; ++i) {
        const double x = dataset.Data(i, quarn::testing::XColumn), time = quarn::testing::TimeOf(dataset, i);
        const double group = dataset.Data(i, quarn::testing::GroupColumn);
        if (std::isfinite(x) && std::isfinite(time) && std::isfinite(group) &&
            group == dataset.Data(row, quarn::testing::GroupColumn))
            rows.emplace_back(time, i);
    }
    std::sort(rows.begin(), rows.end());
    VectorXd x(static_cast<Index>(rows.size()));
    for (std::size_t i = 0; i < rows.size(); ++i)
        x[static_cast<Index>(i)] = dataset.Data(rows[i].second, quarn::testing::XColumn);
    return Compute(statistic, x);
}

TEST(GroupStatistics, AreThoseOfTheCompleteRowsOfTheGroup) {
    std::mt19937_64 engine(81);
    for (int round = 0; round < 300; ++round) {
        const bool isSparse = round % 25 == 0;  // many groups, hardly a value
        const int groups = isSparse ? 200 : static_cast<int>(engine() % 9);
        Dataset dataset = quarn::testing::RandomPanel(quarn::testing::RandomKind(engine), groups, engine);
        for (Index i = 0; isSparse && i < dataset.NumObs; ++i)
            if (i % 97 != 0) dataset.Data(i, quarn::testing::XColumn) = NaN;
        dataset.TransformedSinceDeclaration = dataset.TimeVariable == "text" && round % 2 == 0 &&
                                              dataset.Data.col(quarn::testing::GroupColumn).allFinite();
        const MatrixXd before = dataset.Data;
        for (const std::string statistic : StatisticNames) {
            std::string message;
            const VectorXd values = dataset.CalculateGroupStats("x", "d", statistic, message);
            ASSERT_EQ(message, "OK");
            ASSERT_EQ(values.size(), dataset.NumObs);
            for (Index row = 0; row < values.size(); ++row) {
                const double expected = StatisticByHand(dataset, row, statistic);
                if (statistic == "groupsums" && !std::isnan(expected)) {
                    EXPECT_NEAR(values[row], expected, 1e-13);
                } else {
                    EXPECT_TRUE(SameCell(values[row], expected)) << round << " " << statistic << " " << row;
                }
            }
        }
        EXPECT_TRUE(SameCells(dataset.Data, before));
    }
}

TEST(GroupStatistics, OfNothingAreMissingAndCountsZero) {
    std::mt19937_64 engine(82);
    Dataset dataset = quarn::testing::RandomPanel({}, 6, engine);
    Dataset withTextGroups = dataset;
    withTextGroups.StringVars[quarn::testing::GroupColumn] = {
        quarn::testing::GroupColumn, "group", std::vector<std::string>(std::size_t(dataset.NumObs), "g"), false, {}};
    dataset.Data.col(quarn::testing::XColumn).setConstant(NaN);
    for (Dataset* const none : {&dataset, &withTextGroups}) {
        for (const std::string statistic : StatisticNames) {
            std::string message;
            const VectorXd values = none->CalculateGroupStats("x", "d", statistic, message);
            EXPECT_EQ(message, "OK");
            EXPECT_TRUE(SameCells(values, VectorXd::Constant(none->NumObs, statistic == "groupcounts" ? 0.0 : NaN)));
        }
    }
}

TEST(GroupStatistics, SayWhyTheyCannotBeTaken) {
    std::mt19937_64 engine(83);
    Dataset dataset = quarn::testing::RandomPanel({}, 5, engine);
    const auto expect = [&dataset](const char* variable, const std::string& statistic, const std::string& expected) {
        std::string message;
        EXPECT_EQ(dataset.CalculateGroupStats(variable, "the data", statistic, message).size(), 0);
        EXPECT_EQ(message, expected);
    };
    expect(
        "text", "groupsds",
        "Variable \"text\" in dataset \"the data\" is a string variable and the \"groupsds\" function cannot be used "
        "on it.");
    expect("x", "groupmodes", "Unknown group statistic: groupmodes");
    quarn::testing::BreakDeclaration(dataset);
    expect("text", "groupmeans",
           "The dataset has undergone transformations since it was last declared as a panel dataset, which invalidate "
           "this designation. Use the \"set_pd\" function again to get more information.");
    for (const int type : {0, 1}) {
        dataset.DatasetType = type;
        expect("text", "groupcounts",
               "Dataset \"the data\" has not been declared as a panel dataset. Use the \"set_pd\" function before "
               "calling the \"groupcounts\" function.");
    }
}

}  // namespace
