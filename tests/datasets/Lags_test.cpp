#include "../support/Matrices.h"
#include "../support/Messages.h"
#include "../support/Panels.h"
#include "../support/Tables.h"

#include <gtest/gtest.h>

namespace {

using Eigen::Index;
using quarn::Dataset;
using quarn::MatrixXd;
using quarn::VectorXd;
using namespace quarn::testing;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

/// The lag of x, row by row: the last row of the same group whose time is lag periods before. With a lag of 0, x.
VectorXd LagByHand(const Dataset& dataset, const VectorXd& x, int lag) {
    if (lag == 0) return x;
    VectorXd result = VectorXd::Constant(x.size(), NaN);
    for (Index i = 0; i < x.size(); ++i)
        for (Index j = 0; j < x.size(); ++j) {
            const double distance = TimeOf(dataset, i) - TimeOf(dataset, j);  // NaN between infinite times
            const double group = dataset.DatasetType == 2 ? dataset.Data(i, GroupColumn) : 0.0;
            const bool isSameGroup = dataset.DatasetType != 2 || group == dataset.Data(j, GroupColumn);
            if (distance == lag && isSameGroup && std::isfinite(group)) result[i] = x[j];
        }
    return result;
}

VectorXd DifferenceByHand(const Dataset& dataset, VectorXd x, int order, int lag) {
    for (int pass = 0; pass < order; ++pass) x -= LagByHand(dataset, x, lag);
    return x;
}

/// Whether lags and differences are those by hand, and the dataset is left as it was.
void ExpectLagsByHand(Dataset& dataset, int order, int lag) {
    const MatrixXd before = dataset.Data;
    const VectorXd x = before.col(XColumn);
    std::string message;
    EXPECT_TRUE(SameCells(dataset.TakeLags("x", "d", lag, message), LagByHand(dataset, x, lag)));
    EXPECT_EQ(message, "OK");
    const VectorXd differences = dataset.TakeDiffs("x", "d", order, lag, message);
    EXPECT_TRUE(SameCells(differences, DifferenceByHand(dataset, x, order, lag)));
    EXPECT_EQ(message, "OK");
    EXPECT_TRUE(SameCells(dataset.Data, before));
}

TEST(Lags, AreThoseOfThePlainSearchInEveryPanel) {
    std::mt19937_64 engine(71);
    for (int round = 0; round < 1500; ++round) {
        SCOPED_TRACE(round);
        Dataset dataset = RandomPanel(RandomKind(engine), int(engine() % 9), engine);
        const int scale = dataset.TimeVariable == "time" && engine() % 2 == 0 ? 3000 : 1;
        const int lag = scale * (static_cast<int>(engine() % 7) - 3);
        ExpectLagsByHand(dataset, static_cast<int>(engine() % 5) - 1, lag);
    }
}

/// A time series of these times, with x of 1, 4, 9, ...
Dataset Series(const std::vector<double>& times) {
    const auto n = static_cast<Index>(times.size());
    MatrixXd data = MatrixXd::Zero(n, 4);
    data.col(0).setLinSpaced(n, 1.0, static_cast<double>(n));
    data.col(TimeColumn) = VectorXd::Map(times.data(), n);
    data.col(XColumn) = data.col(0).cwiseAbs2();
    Dataset dataset = MakeTable("id group time x", data);
    EXPECT_EQ(dataset.SetTimeSeries("time", "index"), "OK");
    return dataset;
}

TEST(Lags, GoByDateInTimeSeries) {
    constexpr int Extreme = std::numeric_limits<int>::max();
    std::string message;
    for (const std::vector<double>& times : {std::vector<double>{},
                                             {5},
                                             {1, 2, 3, 5, 6, 7},
                                             {7, 3, 1, 6, 2, 5},
                                             {-1e9, 1e9, 0, 1},
                                             {NaN, 4, NaN, 3, 5},
                                             {-2147483647.0, 2147483647.0, 0},
                                             {1e300, 2, 1},
                                             {-1e10, 0, -1},
                                             {202401010002, 202401010001, 202401010003},
                                             {9007199254740992, 9007199254740994, 9007199254740996}}) {
        Dataset dataset = Series(times);
        for (const int lag : {0, 1, -1, 2, 4, Extreme, -Extreme - 1})
            for (const int order : {-3, 0, 1, 2, 3}) ExpectLagsByHand(dataset, order, lag);
        EXPECT_TRUE(dataset.TakeDiffs("x", "d", Extreme, 1, message).array().isNaN().all());  // and ends
    }
    Dataset dataset = Series({1, 2, 3, 5, 6, 7});
    const VectorXd expected = (VectorXd(6) << NaN, NaN, 2.0, NaN, NaN, 2.0).finished();
    EXPECT_TRUE(SameCells(dataset.TakeDiffs("x", "d", 2, 1, message), expected));
}

/// Why one of the functions of time gives nothing.
std::string WhyNot(Dataset& dataset, const std::string& function, const char* variable = "text") {
    std::string message;
    const VectorXd result = function == "lag"    ? dataset.TakeLags(variable, "the data", 1, message)
                            : function == "diff" ? dataset.TakeDiffs(variable, "the data", 0, 1, message)
                                                 : dataset.CalculateGroupStats(variable, "the data", function, message);
    EXPECT_EQ(result.size(), 0);
    return message;
}

TEST(TimeFunctions, SayWhyTheyGiveNothing) {
    std::mt19937_64 engine(72);
    Dataset panel = RandomPanel({}, 5, engine), series = Series({1, 2, 3});
    const std::string isText = "Variable \"text\" in dataset \"the data\" is a string variable and the \"";
    const std::string undeclared = "Dataset \"the data\" has not been declared as a ";
    const std::string noPanel = "panel dataset. Use the \"set_pd\" function before calling the \"";
    const std::string noTime =
        "time-series or panel dataset. Use the \"set_ts\" or \"set_pd\" functions before calling the \"";
    const std::string end = "\" function.";

    EXPECT_EQ(WhyNot(panel, "groupmodes", "x"), "Unknown group statistic: groupmodes");
    for (const std::string function : {"lag", "diff", "groupsds"})
        EXPECT_EQ(WhyNot(panel, function), isText + function + "\" function cannot be used on it.");
    BreakDeclaration(panel);
    BreakDeclaration(series);
    for (const char* function : {"lag", "diff", "groupmeans"}) EXPECT_EQ(WhyNot(panel, function), StalePanel);
    EXPECT_EQ(WhyNot(series, "groupmeans"), undeclared + noPanel + "groupmeans" + end);
    panel.SetCrossSection();
    for (const std::string function : {"lag", "diff"}) {
        EXPECT_EQ(WhyNot(series, function), StaleSeries);
        EXPECT_EQ(WhyNot(panel, function), undeclared + noTime + function + end);
    }
    EXPECT_EQ(WhyNot(panel, "groupcounts"), undeclared + noPanel + "groupcounts" + end);
}

}  // namespace
