#include "../support/Matrices.h"
#include "../support/Panels.h"

#include <quarn/numerics/MatrixHelpers.h>

#include <gtest/gtest.h>

namespace {

using Eigen::Index;
using quarn::Dataset;
using quarn::MatrixXd;
using quarn::VectorXd;
using quarn::testing::SameCells;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

int ToInt(double cell) { return quarn::double2int(MatrixXd::Constant(1, 1, cell))(0, 0); }

/// The lag of x, row by row: the last row of the same group whose time is lag periods before.
VectorXd LagByHand(const Dataset& dataset, const VectorXd& x, int lag) {
    VectorXd result = VectorXd::Constant(x.size(), NaN);
    std::vector<long> groups, times;
    for (Index i = 0; i < x.size(); ++i) {
        groups.push_back(dataset.DatasetType == 2 ? ToInt(dataset.Data(i, quarn::testing::GroupColumn)) : 0);
        times.push_back(ToInt(quarn::testing::TimeOf(dataset, i)));
    }
    for (std::size_t i = 0; i < groups.size(); ++i)
        for (std::size_t j = 0; j < groups.size(); ++j)
            if (groups[j] == groups[i] && times[j] == times[i] - lag && (lag != 0 || i == j))
                result[static_cast<Index>(i)] = x[static_cast<Index>(j)];
    return result;
}

VectorXd DifferenceByHand(const Dataset& dataset, VectorXd x, int order, int lag) {
    for (int pass = 0; pass < order; ++pass) x -= LagByHand(dataset, x, lag);
    return x;
}

TEST(Lags, AreThoseOfThePlainSearchInEveryPanel) {
    std::mt19937_64 engine(71);
    for (int round = 0; round < 1500; ++round) {
        Dataset dataset = quarn::testing::RandomPanel(quarn::testing::RandomKind(engine), int(engine() % 9), engine);
        const int scale = dataset.TimeVariable == "time" && engine() % 2 == 0 ? 3000 : 1;
        const int lag = scale * (static_cast<int>(engine() % 7) - 3), order = static_cast<int>(engine() % 5) - 1;
        const MatrixXd before = dataset.Data;
        const VectorXd x = before.col(quarn::testing::XColumn);
        std::string message;
        const VectorXd lags = dataset.TakeLags("x", "d", lag, message);
        ASSERT_EQ(message, "OK");
        EXPECT_TRUE(SameCells(lags, LagByHand(dataset, x, lag))) << round;
        const VectorXd differences = dataset.TakeDiffs("x", "d", order, lag, message);
        ASSERT_EQ(message, "OK");
        EXPECT_TRUE(SameCells(differences, DifferenceByHand(dataset, x, order, lag))) << round;
        EXPECT_TRUE(SameCells(dataset.Data, before));
    }
}

/// A time series of these times, with x of 1, 4, 9, ...
Dataset Series(const std::vector<double>& times) {
    const auto n = static_cast<Index>(times.size());
    wxArrayString names;
    for (const char* name : {"QuarnSystemVar_obsID", "group", "time", "x"}) names.Add(name);
    MatrixXd data = MatrixXd::Zero(n, 4);
    data.col(0).setLinSpaced(n, 1.0, static_cast<double>(n));
    data.col(2) = VectorXd::Map(times.data(), n);
    data.col(3) = data.col(0).cwiseAbs2();
    Dataset dataset(names, data);
    EXPECT_EQ(dataset.SetTimeSeries("time", "index"), "OK");
    return dataset;
}

TEST(Lags, GoByDateInTimeSeries) {
    constexpr int Extreme = std::numeric_limits<int>::max();
    for (const std::vector<double>& times : {std::vector<double>{},
                                             {5},
                                             {1, 2, 3, 5, 6, 7},
                                             {7, 3, 1, 6, 2, 5},
                                             {-1e9, 1e9, 0, 1},
                                             {NaN, 4, NaN, 3, 5},
                                             {-2147483647.0, 2147483647.0, 0},
                                             {1e300, 2, 1}}) {
        for (const int lag : {0, 1, -1, 2, 4, Extreme, -Extreme - 1}) {
            Dataset dataset = Series(times);
            const VectorXd x = dataset.Data.col(3);
            std::string message;
            EXPECT_TRUE(SameCells(dataset.TakeLags("x", "d", lag, message), LagByHand(dataset, x, lag)));
            for (const int order : {-3, 0, 1, 2, 3}) {
                EXPECT_TRUE(SameCells(dataset.TakeDiffs("x", "d", order, lag, message),
                                      DifferenceByHand(dataset, x, order, lag)));
            }
            EXPECT_TRUE(dataset.TakeDiffs("x", "d", Extreme, 1, message).array().isNaN().all());  // and ends
            EXPECT_EQ(message, "OK");
        }
    }
    Dataset dataset = Series({1, 2, 3, 5, 6, 7});
    std::string message;
    const VectorXd expected = (VectorXd(6) << NaN, NaN, 2.0, NaN, NaN, 2.0).finished();
    EXPECT_TRUE(SameCells(dataset.TakeDiffs("x", "d", 2, 1, message), expected));
}

TEST(Lags, SayWhyTheyCannotBeTaken) {
    std::mt19937_64 engine(72);
    Dataset panel = quarn::testing::RandomPanel({}, 5, engine);
    const auto expect = [](Dataset dataset, const char* variable, const std::string& before, const std::string& after) {
        std::string message;
        EXPECT_EQ(dataset.TakeLags(variable, "the data", 1, message).size(), 0);
        EXPECT_EQ(message, after.empty() ? before : before + "lag" + after);
        EXPECT_EQ(dataset.TakeDiffs(variable, "the data", 0, 1, message).size(), 0);
        EXPECT_EQ(message, after.empty() ? before : before + "diff" + after);
    };
    expect(panel, "text", "Variable \"text\" in dataset \"the data\" is a string variable and the \"",
           "\" function cannot be used on it.");
    Dataset series = Series({1, 2, 2.0 + 1});
    series.Data(2, 2) = 2.0;
    series.TransformedSinceDeclaration = true;
    expect(series, "x",
           "The dataset has undergone transformations since it was last declared as a time-series dataset, which "
           "invalidate this designation. Use the \"set_ts\" function again to get more information.",
           "");
    quarn::testing::BreakDeclaration(panel);
    const std::string stalePanel =
        "The dataset has undergone transformations since it was last declared as a panel dataset, which invalidate "
        "this designation. Use the \"set_pd\" function again to get more information.";
    expect(panel, "text", stalePanel, "");
    panel.SetCrossSection();
    expect(panel, "text",
           "Dataset \"the data\" has not been declared as a time-series or panel dataset. Use the \"set_ts\" or "
           "\"set_pd\" functions before calling the \"",
           "\" function.");
}

TEST(Lags, RunAStaleDeclarationAgain) {
    std::mt19937_64 engine(73);
    quarn::testing::PanelKind kind;
    kind.hasTextTimes = true;
    Dataset dataset = quarn::testing::RandomPanel(kind, 6, engine);
    quarn::VectorXi mask = quarn::VectorXi::Ones(dataset.NumObs);
    mask.head(3).setZero();
    dataset.DropKeep(mask, true);
    dataset.ChangeData(0, quarn::testing::TextColumn, "2011m2");
    std::string message;
    const VectorXd lags = dataset.TakeLags("x", "d", 1, message);
    EXPECT_EQ(message, "OK");
    EXPECT_FALSE(dataset.TransformedSinceDeclaration);
    EXPECT_TRUE(SameCells(lags, LagByHand(dataset, dataset.Data.col(quarn::testing::XColumn), 1)));
}

}  // namespace
