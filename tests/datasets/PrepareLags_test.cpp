#include "../support/Matrices.h"
#include "Series.h"

#include <quarn/datasets/Declaration_detail.h>

#include <gtest/gtest.h>

#include <numeric>

namespace {

using quarn::Dataset;
using quarn::MatrixXd;
using quarn::VectorXd;
using quarn::VectorXi;
using namespace quarn::testing;
using Names = std::vector<std::string>;
using Lags = std::vector<VectorXi>;

/// The lags of single variables by time, cut at both ends.
MatrixXd LagsByHand(Dataset& dataset, const Names& names, const Lags& lags) {
    const VectorXd times = quarn::detail::TimeValues(dataset);
    std::vector<int> rows(static_cast<std::size_t>(dataset.NumObs));
    std::iota(rows.begin(), rows.end(), 0);
    std::stable_sort(rows.begin(), rows.end(), [&](int a, int b) { return times(a) < times(b); });
    int top = 0, end = 0;
    MatrixXd all(dataset.NumObs, 0);
    std::string message;
    for (std::size_t k = 0; k < names.size(); ++k)
        for (const int lag : lags[k]) {
            top = std::max(top, lag);
            end = std::max(end, -lag);
            all.conservativeResize(Eigen::NoChange, all.cols() + 1);
            all.rightCols<1>() = dataset.TakeLags(names[k], "", lag, message)(rows);
        }
    return all.middleRows(std::min(top, dataset.NumObs), std::max(0, dataset.NumObs - top - end));
}

TEST(PrepareTimeSeries2, GivesLagsByDateWithoutTheRowsThatTheyCost) {
    Draw draw{std::mt19937_64(14)};
    int numPrepared = 0;
    for (int round = 0; round < 1500; ++round) {
        Dataset dataset = draw.Series();
        if (draw(2) > 0) {  // three groups, times shared between them
            const Eigen::ArrayXi time = dataset.Data.col(1).array().cast<int>();
            dataset.Data.col(1) = (time / 3).cast<double>();
            dataset.Data.col(5) = (time - time / 3 * 3 + 7).cast<double>();
            ASSERT_EQ(dataset.SetPanelData("t", "one", "index"), "OK");
        }
        Names names;
        Lags lags;
        for (int k = draw(4); k > 0; --k) {
            names.emplace_back(dataset.VarNames[static_cast<std::size_t>(2 + draw(3))]);
            for (int& lag : lags.emplace_back(draw(4))) lag = draw(9) - 4;
        }
        const MatrixXd expected = LagsByHand(dataset, names, lags);
        MatrixXd data;
        ASSERT_EQ(PrepareLags(dataset, names, lags, data), expected.rows() > 0 ? "OK" : "noData");
        if (expected.rows() == 0) continue;
        ASSERT_TRUE(SameCells(data, expected));
        ++numPrepared;
    }
    EXPECT_GT(numPrepared, 700);
}

}  // namespace
