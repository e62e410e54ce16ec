#include <samplers/Autoregression.h>
#include <samplers/BinaryProbit.h>
#include <samplers/LinearRegression.h>
#include <samplers/MultinomialProbit.h>
#include <samplers/PanelRegression.h>
#include <samplers/RegressionMixture.h>
#include <samplers/RunRecord.h>
#include <samplers/SUR.h>

#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <tuple>
#include <utility>

namespace quarn::samplers {
namespace {

const int most = std::numeric_limits<int>::max();

/// What a damaged file may give: an unfinished model, and draws that do not fit the sizes beside them.
std::vector<std::shared_ptr<Model>> Damaged() {
    std::vector<std::shared_ptr<Model>> results;
    const std::vector<std::vector<int>> lists = {{},         {0},         {-1},       {most},
                                                 {0, 0},     {-3, 4},     {9, 9},     {2, most},
                                                 {0, -1, 1}, {3, 200, 7}, {2, -1, 2}, {most, most, most}};
    for (const auto& [rows, columns] : {std::pair(0, 0), {0, 5}, {3, 0}, {3, 2}, {3, 5}})
        for (const auto& list : lists) {
            results.push_back(std::make_shared<Model>());
            results.back()->IntList = list;
            results.back()->SetSamplesShallow(
                columns + rows > 0 ? std::make_shared<MatrixXd>(MatrixXd::Ones(rows, columns)) : nullptr);
        }
    return results;
}

/// Calls all that reads results, with points of some widths and with none. It may succeed where the draws can be those of
/// such a model. Nothing may be read that is not there, which the sanitizers tell.
template <class ModelType>
void UseAll(const std::shared_ptr<Model>& results) {
    ModelType model(results);
    const auto out = std::make_shared<MatrixXd>();
    std::ostringstream unread;
    const EventDispatcher dispatcher(MakeStreamSink(unread, TerminalStyle::None));
    const auto expectReported = [&](const auto& call) {
        std::string message, detail;
        const bool isDone = call(message, detail);
        EXPECT_EQ(isDone, message.empty()) << message;
        EXPECT_FALSE(isDone && (!results->Samples || results->Samples->size() == 0));
    };
    for (const int columns : {-1, 0, 1, 2, 3, 5, 18}) {
        const auto points = columns < 0 ? nullptr : std::make_shared<MatrixXd>(MatrixXd::Ones(2, columns));
        expectReported([&](auto& message, auto& detail) {
            return model.Predict(true, true, points, 0, "", out, message, detail, nullptr);
        });
        expectReported([&](auto& message, auto& detail) {
            return model.CalculateMFX(0, points, 0, out, message, detail, nullptr);
        });
        expectReported(
            [&](auto& message, auto& detail) { return model.Forecast(2, points, out, message, detail, nullptr); });
        model.PrintMFX(MatrixXd::Ones(columns < 0 ? 9 : columns, 5), 0, dispatcher);
    }
    expectReported([&](auto& message, auto& detail) { return model.TestStability(out, message, detail, nullptr); });
}

TEST(DamagedResults, AreReportedByAllModels) {
    for (const auto& results : Damaged()) {
        UseAll<AutoregressionModel>(results);
        UseAll<BinaryProbitModel>(results);
        UseAll<LinearRegressionModel>(results);
        UseAll<MultinomialProbitModel>(results);
        UseAll<PanelRegressionModel>(results);
        UseAll<RegressionMixtureModel>(results);
        UseAll<SURModel>(results);
    }
}

TEST(DamagedResults, GiveARunOfOneChain) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    Model model;
    model.SetSamplesShallow(std::make_shared<MatrixXd>(MatrixXd::Ones(6, 2)));
    for (const auto& [chains, draws, seed] :
         {std::tuple(2.0, 4.0, 1.0), {0.5, 12.0, 1.0}, {-2.0, -3.0, 1.0}, {nan, 3.0, 1.0}, {2.0, 3.0, 1e300}}) {
        model.HiddenElements["run"] = std::make_shared<MatrixXd>(6, 1);
        *model.HiddenElements["run"] << chains, draws, 10.0, 1.0, 0.0, seed;
        const RunRecord record = GetRunRecord(model);
        EXPECT_EQ(std::pair(record.Chains, record.Draws), std::pair(std::int64_t{1}, std::int64_t{6})) << chains;
    }
    *model.HiddenElements["run"] << 2.0, 3.0, 10.0, 1.0, 0.0, 7.0;
    EXPECT_EQ(GetRunRecord(model).Draws, 3);
}

}  // namespace
}  // namespace quarn::samplers
