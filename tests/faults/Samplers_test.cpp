#include "../support/Matrices.h"
#include "FailingAllocations.h"

#include <samplers/Autoregression.h>
#include <samplers/GroupedLinearModel.h>
#include <samplers/LinearModel.h>

namespace {

using namespace quarn;
using namespace quarn::samplers;
using quarn::testing::End;
using quarn::testing::FailEach;
using quarn::testing::Normals;

TEST(FailingAllocations, EndTheWorkOfSamplersByBadAlloc) {
    const MatrixXd X = Normals(12, 2, 1);
    const VectorXd y = Normals(12, 1, 2);
    const auto nothing = [](End) {};

    VectorXd lateStart = y;
    lateStart.head(3).setConstant(quarn::testing::NaN);
    EXPECT_GT(FailEach(
                  [&] {
                      Autoregression(lateStart, X, VectorXd::LinSpaced(12, 1, 12), MatrixXd::Ones(12, 1), 2, "y",
                                     {"a", "b"}, {});
                  },
                  nothing),
              20);

    // Two groups of six, with one regressor in common.
    const MatrixXi structure = Eigen::RowVector2i(6, 2);
    const NormalPrior prior{VectorXd::Zero(3), MatrixXd::Identity(3, 3)};
    Generator generator = MakeGenerator(1, 0);
    EXPECT_GT(FailEach(
                  [&] {
                      const GroupedLinearModel model(y, X.leftCols(1), X, structure);
                      GroupedLinearModel::Work work;
                      VectorXd mean;
                      Eigen::LLT<MatrixXd> factor;
                      model.CoefficientLaw(prior, MatrixXd::Identity(2, 2), 1.0, work, mean, factor);
                      model.DrawEffects(generator, mean, MatrixXd::Identity(2, 2), 1.0, work, nullptr);
                      model.CoefficientLaw(prior, MatrixXd::Identity(2, 2), 1.0, work, mean, factor);
                  },
                  nothing),
              20);

    const auto points = std::make_shared<MatrixXd>(Normals(4, 2, 3));
    EXPECT_GT(FailEach(
                  [&] {
                      MatrixXd predictions = MatrixXd::Ones(7, 7);
                      std::string message, detail;
                      PredictMeans(X, 2, points, predictions, message, detail);
                  },
                  nothing),
              3);
}

}  // namespace
