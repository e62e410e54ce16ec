#include "../support/Matrices.h"
#include "../support/Panels.h"
#include "../support/Tables.h"

#include <quarn/numerics/DescriptiveStatistics.h>

#include <gtest/gtest.h>

#include <map>

namespace {

using Eigen::Index;
using quarn::Dataset;
using quarn::MatrixXd;
using quarn::VectorXd;
using namespace quarn::testing;

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
    std::multimap<double, double> byTime;
    for (Index i = 0; i < dataset.NumObs; ++i) {
        const double x = dataset.Data(i, XColumn), group = dataset.Data(i, GroupColumn), time = TimeOf(dataset, i);
        if (std::isfinite(x + time) && std::isfinite(group) && group == dataset.Data(row, GroupColumn))
            byTime.emplace(time, x);
    }
    std::vector<double> x;
    for (const auto& entry : byTime) x.push_back(entry.second);
    return Compute(statistic, VectorXd::Map(x.data(), std::ssize(x)));
}

TEST(GroupStatistics, AreThoseOfTheCompleteRowsOfTheGroup) {
    std::mt19937_64 engine(81);
    for (int round = 0; round < 300; ++round) {
        const bool isSparse = round % 25 == 0;  // many groups, hardly a value
        const int groups = isSparse ? 200 : static_cast<int>(engine() % 9);
        Dataset dataset = RandomPanel(RandomKind(engine), groups, engine);
        for (Index i = 0; isSparse && i < dataset.NumObs; ++i)
            if (i % 97 != 0) dataset.Data(i, XColumn) = NaN;
        dataset.TransformedSinceDeclaration =
            dataset.TimeVariable == "text" && round % 2 == 0 && dataset.Data.col(GroupColumn).allFinite();
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
    Dataset dataset = RandomPanel({}, 6, engine);
    Dataset withTextGroups = dataset;
    SetText(withTextGroups, GroupColumn, std::vector<std::string>(static_cast<std::size_t>(dataset.NumObs), "g"));
    dataset.Data.col(XColumn).setConstant(NaN);
    for (Dataset* const none : {&dataset, &withTextGroups}) {
        for (const std::string statistic : StatisticNames) {
            std::string message;
            const VectorXd values = none->CalculateGroupStats("x", "d", statistic, message);
            EXPECT_EQ(message, "OK");
            EXPECT_TRUE(SameCells(values, VectorXd::Constant(none->NumObs, statistic == "groupcounts" ? 0.0 : NaN)));
        }
    }
}

}  // namespace
