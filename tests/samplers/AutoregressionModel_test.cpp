#include "SamplerTesting.h"

#include <quarn/numerics/DescriptiveStatistics.h>

#include <samplers/Autoregression.h>

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

namespace quarn::samplers {
namespace {

/// Growth of real GDP, 400 log differences, on a constant. Quarters are missing, as cells or as observations.
std::shared_ptr<Autoregression> Growth(const std::vector<int>& missing, bool asObservations) {
    Dataset data(QUARN_SOURCE_DIR "/examples/data/usmacro.csv", ',');
    EXPECT_EQ(data.SetTimeSeries("date", "yyyyqx"), "OK");
    const VectorXd gdp = data.GetVariable("realgdp");
    VectorXd growth = VectorXd::Constant(gdp.size(), std::nan(""));
    for (Eigen::Index t = 1; t < gdp.size(); ++t) growth(t) = 400.0 * std::log(gdp(t) / gdp(t - 1));
    VectorXi mask = VectorXi::Ones(gdp.size());
    for (const int row : missing) {
        mask(row) = 0;
        growth(row) = std::nan("");
    }
    data.AddVariable(growth, "growth");
    data.AddVariable(VectorXd::Ones(gdp.size()), "constant");
    if (asObservations) data.DropKeep(mask, true);

    std::vector<std::string> names = {"growth", "constant"}, warnings;
    std::vector<VectorXi> lags(2, VectorXi::Zero(1));
    MatrixXd prepared, ids;
    VectorXd time;
    MatrixXi unused;
    std::vector<std::vector<int>> rows;
    EXPECT_EQ(data.Prepare_TimeSeries(names, lags, 1, prepared, ids, time, unused, rows, warnings, 1), "OK");
    const AutoregressionPrior vague{{VectorXd::Zero(3), 1e-12 * MatrixXd::Identity(3, 3)}, {1e-3, 1e-3}, {}};
    auto sampler = std::make_shared<Autoregression>(prepared.col(0), prepared.rightCols(1), time, ids, 2, "growth",
                                                    std::vector<std::string>{"constant"}, vague);
    RunToEnd(*sampler, {.Draws = 40'000, .Burnin = 500});
    return sampler;
}

TEST(Autoregression, GrowthOfUSOutputIsThatOfLeastSquares) {
    // R 4.2.2, lm(g[3:n] ~ g[2:(n-1)] + g[1:(n-2)]), g <- 400 * diff(log(realgdp)).
    const double estimate[] = {1.7638875881, 0.2686725502, 0.1593581488};
    const double error[] = {0.34424621676, 0.06980662820, 0.06934525207};
    const auto sampler = Growth({}, false);
    for (int j = 0; j < 3; ++j) {
        const auto column = sampler->GetpSamples()->col(j);
        EXPECT_NEAR(vectorMean(column), estimate[j], 0.03 * error[j]) << j;
        EXPECT_NEAR(vectorSd(column), error[j], 0.03 * error[j]) << j;
    }
}

TEST(Autoregression, ImputesQuartersAsTheKalmanSmootherDoes) {
    // R 4.2.2, f <- arima(g, c(2, 0, 0), method = "ML") and KalmanSmooth at its estimates. It takes the first two
    // quarters as draws from a stationary series, and the parameters as known. The coefficients are those of optim for
    // the likelihood given these quarters.
    const double smoothed[] = {4.7703895, 4.6210976, 4.9247294, 5.6105798, 3.9558258, 4.3053170};
    const double sd[] = {3.311748, 3.325945, 3.311748, 3.188771, 3.244280, 3.244280};
    const std::vector<int> quarters = {50, 51, 52, 100, 150, 151};
    const auto sampler = Growth(quarters, false);
    EXPECT_NEAR(vectorMean(sampler->GetpSamples()->col(1)), 0.25831853, 0.05 * 0.0708);
    EXPECT_NEAR(vectorMean(sampler->GetpSamples()->col(2)), 0.17017157, 0.05 * 0.0711);
    const MatrixXd imputed = *sampler->MakeModel()->Elements.at("imputed");
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(imputed(i, 0), quarters[static_cast<std::size_t>(i)]);
        EXPECT_NEAR(imputed(i, 1), smoothed[i], 0.05 * sd[i]) << i;
        EXPECT_NEAR(imputed(i, 2), sd[i], 0.05 * sd[i]) << i;
    }
    const auto withoutRows = Growth(quarters, true);
    EXPECT_EQ(*withoutRows->GetpSamples(), *sampler->GetpSamples());
    EXPECT_EQ(withoutRows->GetObsId()(49, 0), -1.0);
}

/// An AR(1) whose parameters are known but for rounding.
std::shared_ptr<Model> KnownProcess(const VectorXd& y, std::int64_t seed) {
    const auto N = static_cast<Eigen::Index>(y.size());
    AutoregressionPrior prior{
        {(VectorXd(2) << 1.0, 0.8).finished(), 1e14 * MatrixXd::Identity(2, 2)}, {1e12, 1e12 / 4.0}, {}};
    Autoregression sampler(y, MatrixXd::Ones(N, 1), VectorXd::LinSpaced(N, 1.0, static_cast<double>(N)),
                           MatrixXd::Zero(N, 1), 1, "y", {"constant"}, prior);
    RunToEnd(sampler, {.Draws = 40'000, .Burnin = 10, .Seed = seed});
    return sampler.MakeModel();
}

/// Mean and standard deviation h periods ahead of y = 1 + 0.8 y_{-1} + e, with errors of variance 1/4.
void ExpectForecast(const MatrixXd& forecast, Eigen::Index row, double y, int h) {
    const double power = std::pow(0.8, h), sd = std::sqrt(0.25 * (1.0 - power * power) / (1.0 - 0.64));
    EXPECT_NEAR(forecast(row, 0), 5.0 + power * (y - 5.0), 5.0 * sd / 200.0) << h;
    EXPECT_NEAR(forecast(row, 2), sd, 0.02 * sd) << h;
    EXPECT_NEAR(forecast(row, 4), forecast(row, 1) + 1.645 * sd, 0.05 * sd) << h;
}

TEST(AutoregressionModel, ForecastsAreThoseOfTheKnownProcess) {
    const VectorXd y = VectorXd::LinSpaced(10, 4.0, 9.0);
    VectorXd gap = y;
    gap.tail(2).setConstant(std::nan(""));  // forecasts go on from values that are themselves unknown
    const auto full = KnownProcess(y, 1), cut = KnownProcess(gap, 2);
    const auto fromFull = std::make_shared<MatrixXd>(), fromCut = std::make_shared<MatrixXd>();
    std::string message, detail;
    ASSERT_TRUE(full->Forecast(12, nullptr, fromFull, message, detail, nullptr));
    ASSERT_TRUE(cut->Forecast(3, nullptr, fromCut, message, detail, nullptr));
    for (const int h : {1, 2, 5, 12}) ExpectForecast(*fromFull, h - 1, 9.0, h);
    for (const int h : {1, 2, 3}) ExpectForecast(*fromCut, h - 1, y(7), h + 2);

    const auto points = std::make_shared<MatrixXd>(MatrixXd::Ones(12, 1)), again = std::make_shared<MatrixXd>();
    ASSERT_TRUE(full->Forecast(12, points, again, message, detail, nullptr));
    EXPECT_EQ(*again, *fromFull);
    EXPECT_FALSE(full->Forecast(11, points, again, message, detail, nullptr));
    EXPECT_NE(detail.find("12 x 1"), std::string::npos);
    EXPECT_FALSE(full->Forecast(0, nullptr, again, message, detail, nullptr));
}

TEST(AutoregressionModel, ForecastsTheSameAfterItWasSaved) {
    VectorXd y = VectorXd::LinSpaced(10, 4.0, 9.0) / 3.0;
    y(9) = std::nan("");
    const auto model = KnownProcess(y, -5'000'000'000);
    std::stringstream file;
    file << "name\n";
    model->SaveModel(file);
    AutoregressionModel loaded(std::make_shared<Model>(file));
    const auto before = std::make_shared<MatrixXd>(), after = std::make_shared<MatrixXd>();
    std::string message, detail;
    ASSERT_TRUE(model->Forecast(4, nullptr, before, message, detail, nullptr));
    ASSERT_TRUE(loaded.Forecast(4, nullptr, after, message, detail, nullptr));
    EXPECT_LT((*before - *after).cwiseAbs().maxCoeff(), 1e-9);
    loaded.HiddenElements.clear();
    EXPECT_FALSE(loaded.Forecast(4, nullptr, after, message, detail, nullptr));
}

TEST(AutoregressionModel, PredictsAndTestsStabilityFromItsDraws) {
    const auto model = Growth({}, false)->MakeModel();
    const auto points = std::make_shared<MatrixXd>(1, 3), out = std::make_shared<MatrixXd>();
    *points << 1.0, 4.0, -2.0;
    std::string message, detail;
    ASSERT_TRUE(model->Predict(false, false, points, 0, "", out, message, detail, nullptr));
    EXPECT_NEAR((*out)(0, 0), points->row(0).dot(model->Summary.SummaryMatrix.col(0).head(3)), 1e-9);

    ASSERT_TRUE(model->TestStability(out, message, detail, nullptr));
    // Real roots of z^2 - 0.27 z - 0.16: far from 1 in any draw that the data allow.
    EXPECT_GT((*out)(0, 0), 0.999);
    EXPECT_NEAR((*out)(0, 1), 0.5 * (0.2687 + std::sqrt(0.2687 * 0.2687 + 4.0 * 0.1594)), 0.03);
    std::ostringstream page;
    model->PrintStabTest(*out, EventDispatcher(MakeStreamSink(page, TerminalStyle::None)));
    EXPECT_NE(page.str().find("\nlargest modulus\t"), std::string::npos) << page.str();
    EXPECT_NE(page.str().find("Pr(stationary)"), std::string::npos);

    const auto explosive = KnownProcess(VectorXd::LinSpaced(10, 4.0, 9.0), 1);
    explosive->Samples->col(1).setConstant(-1.25);
    ASSERT_TRUE(explosive->TestStability(out, message, detail, nullptr));
    EXPECT_EQ((*out)(0, 0), 0.0);
    EXPECT_NEAR((*out)(0, 1), 1.25, 1e-12);
}

}  // namespace
}  // namespace quarn::samplers
