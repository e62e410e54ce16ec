#include <quarn/base/FormatLine.h>
#include <quarn/numerics/DescriptiveStatistics.h>

#include <samplers/Autoregression.h>
#include <samplers/LinearModel.h>
#include <samplers/ModelCodes.h>
#include <samplers/PosteriorTable.h>
#include <samplers/RunRecord.h>
#include <samplers/StoredResults.h>

#include <Eigen/Eigenvalues>

#include <cmath>

namespace quarn::samplers {
namespace {

using Eigen::Index;

constexpr int MostPeriods = 100000;

/// The largest modulus of the eigenvalues of the companion matrix.
double LargestRoot(const Eigen::Ref<const RowVectorXd>& phi) {
    const Index p = phi.size();
    if (!phi.allFinite()) return std::nan("");
    MatrixXd companion = MatrixXd::Zero(p, p);
    companion.row(0) = phi;
    companion.diagonal(-1).setOnes();
    return Eigen::EigenSolver<MatrixXd>(companion, false).eigenvalues().cwiseAbs().maxCoeff();
}

/// y in the periods ahead, a row for each, a column for each draw (b, phi, tau, ...).
MatrixXd Paths(const MatrixXd& draws, const MatrixXd& X, const MatrixXd& lastValues, Generator generator) {
    const Index K = X.cols(), p = lastValues.cols(), H = X.rows();
    MatrixXd paths(H, draws.rows());
    VectorXd y(p + H);  // the last values, in order of time, and the path
    for (Index r = 0; r < draws.rows(); ++r) {
        const VectorXd draw = draws.row(r);
        const double sd = 1.0 / std::sqrt(draw(K + p));
        y.head(p) = lastValues.row(lastValues.rows() == 1 ? 0 : r).reverse();
        for (Index h = 0; h < H; ++h)
            y(p + h) = X.row(h).dot(draw.head(K)) + y.segment(h, p).reverse().dot(draw.segment(K, p)) +
                       sd * NormalDraw(generator.rng, generator.norm);
        paths.col(r) = y.tail(H);
    }
    return paths;
}

}  // namespace

AutoregressionModel::AutoregressionModel(const std::shared_ptr<Model>& results) {
    SetMembersShallow(results);
    ModelCode = AutoregressionCode;
}

bool AutoregressionModel::IsComplete(std::string& message) const {
    const auto last = HiddenElements.find("lastValues");
    const bool isWhole = IntList.size() == 2 && IntList[0] > 0 && last != HiddenElements.end() && last->second &&
                         last->second->cols() == IntList[0] && Samples &&
                         (last->second->rows() == 1 || last->second->rows() == Samples->rows());
    return HasDraws(*this, isWhole ? Index{IntList[0]} + 2 : -1, "an autoregression", message);
}

bool AutoregressionModel::Predict(bool, bool, std::shared_ptr<MatrixXd> points, int, std::string,
                                  std::shared_ptr<MatrixXd> predictions, std::string& message, std::string& detail,
                                  EventDispatcher*) {
    if (!IsComplete(message)) return false;
    return PredictMeans(*Samples, Samples->cols() - 2, points, *predictions, message, detail);
}

bool AutoregressionModel::Forecast(int periods, std::shared_ptr<MatrixXd> points, std::shared_ptr<MatrixXd> forecasts,
                                   std::string& message, std::string& detail, EventDispatcher*) {
    if (!IsComplete(message)) return false;
    const Index K = Samples->cols() - 2 - IntList[0];
    if (periods < 1 || periods > MostPeriods) {
        message = "A forecast needs a number of periods from 1 to " + std::to_string(MostPeriods) + ".";
        detail = "Their number is " + std::to_string(periods) + ".";
        return false;
    }
    const bool isGiven = points && points->size() > 0;
    const bool fits = isGiven ? points->rows() == periods && points->cols() == K : IntList[1] == 1;
    if (!fits || (isGiven && !points->allFinite())) {
        message =
            "A forecast needs finite values of the " + std::to_string(K) + " exogenous regressors in each period.";
        detail = isGiven ? "The values given are " + std::to_string(points->rows()) + " x " +
                               std::to_string(points->cols()) + "."
                         : "None are given.";
        return false;
    }
    const MatrixXd X = isGiven ? *points : MatrixXd::Ones(periods, K);
    const MatrixXd paths = Paths(*Samples, X, *HiddenElements.at("lastValues"),
                                 MakeGenerator(GetRunRecord(*this).Seed, FirstAuxiliaryStream));
    MatrixXd summary;
    matrixSummary(paths.transpose(), summary);
    *forecasts = MatrixXd(summary.leftCols(5));
    return true;
}

bool AutoregressionModel::TestStability(std::shared_ptr<MatrixXd> statistics, std::string& message, std::string&,
                                        EventDispatcher*) {
    if (!IsComplete(message)) return false;
    const Index p = IntList[0], K = Samples->cols() - 2 - p;
    VectorXd modulus(Samples->rows());
    for (Index r = 0; r < modulus.size(); ++r) modulus(r) = LargestRoot(Samples->row(r).segment(K, p));
    RowVectorXd summary;
    vectorSummary(modulus, summary);
    *statistics = MatrixXd(1, 6);
    *statistics << (modulus.array() < 1.0).cast<double>().mean(), summary.head(5);
    return true;
}

void AutoregressionModel::PrintStabTest(const MatrixXd& statistics, const EventDispatcher& dispatcher) {
    SummaryStructure table;
    table.DepVars = {""};
    table.IndVars = {"largest modulus"};
    table.SpacesVector = VectorXi::Ones(1);
    table.SummaryMatrix = statistics.rightCols(5);
    PrintTable("Stability test: ", "The series is stationary if the largest modulus of its roots is below 1.",
               FormatLine("Pr(stationary)", statistics.leftCols<1>()), PosteriorHeader(), table, dispatcher,
               LabelWidth);
}

}  // namespace quarn::samplers
