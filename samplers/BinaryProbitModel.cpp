#include <quarn/base/FormatLine.h>
#include <quarn/numerics/Densities.h>
#include <quarn/numerics/DescriptiveStatistics.h>

#include <samplers/BinaryProbit.h>
#include <samplers/ModelCodes.h>
#include <samplers/PosteriorTable.h>
#include <samplers/StoredResults.h>

#include <limits>

namespace quarn::samplers {
namespace {

using Eigen::Index;

constexpr char Kind[] = "a binary probit";

/// Mean over the rows of X of phi(x'b), for each draw b.
VectorXd MeanDensities(const MatrixXd& X, const MatrixXd& draws) {
    VectorXd means(draws.rows());
    MatrixXd density(X.rows(), 1);
    for (Index r = 0; r < draws.rows(); ++r) {
        density.noalias() = X * draws.row(r).transpose();
        normpdf(density, 0.0, 1.0, density);
        means(r) = vectorMean(density.col(0));
    }
    return means;
}

bool HasColumns(const MatrixXd& points, Index K, const std::string& who, std::string& message, std::string& detail) {
    if (points.cols() == K) return true;
    message = who + " needs " + std::to_string(K) + " regressors.";
    detail = "Their number is " + std::to_string(points.cols()) + ".";
    return false;
}

}  // namespace

BinaryProbitModel::BinaryProbitModel(const std::shared_ptr<Model>& results) {
    SetMembersShallow(results);
    ModelCode = BinaryProbitCode;
}

bool BinaryProbitModel::CalculateMFX(int type, std::shared_ptr<MatrixXd> points, int at,
                                     std::shared_ptr<MatrixXd> effects, std::string& message, std::string& detail,
                                     EventDispatcher*) {
    if (!HasDraws(*this, 1, Kind, message)) return false;
    if (!points || points->rows() == 0) points = HiddenElements[RegressorsKey];
    const MatrixXd X = PointsOfEffect(type, points, at, message, detail);
    if (X.rows() == 0 || !HasColumns(X, Samples->cols(), "A marginal effect", message, detail)) return false;
    MatrixXd summary;
    matrixSummary(MeanDensities(X, *Samples).asDiagonal() * *Samples, summary);
    *effects = MatrixXd(summary.leftCols(5));
    return true;
}

void BinaryProbitModel::PrintMFX(const MatrixXd& effects, int type, const EventDispatcher& dispatcher) {
    const Index K = effects.rows();
    if (K != static_cast<Index>(SamplesNames.size()) || effects.cols() != 5) return;
    const auto X = HiddenElements[RegressorsKey];
    const bool hasX = X && X->rows() > 0 && X->cols() == K;
    std::vector<std::string> names;
    MatrixXd rows(K, 5);
    for (Index j = 0; j < K; ++j) {
        if (hasX && (X->col(j).array() == (*X)(0, j)).all()) continue;
        rows.row(static_cast<Index>(names.size())) = effects.row(j);
        names.push_back(SamplesNames[static_cast<std::size_t>(j)]);
    }
    SummaryStructure table;
    table.SetDepVars(Summary.DepVars);
    table.SetIndVars(names);
    table.SetSummaryMatrix(rows.topRows(static_cast<Index>(names.size())));
    table.SetSpacesVector(VectorXi::Constant(1, static_cast<int>(names.size())));
    PrintTable("Marginal effects: ", DescribeEffect(type, "P(y = 1)"), "", PosteriorHeader(), table, dispatcher,
               LabelWidth);
}

bool BinaryProbitModel::Predict(bool, bool, std::shared_ptr<MatrixXd> points, int, std::string,
                                std::shared_ptr<MatrixXd> predictions, std::string& message, std::string& detail,
                                EventDispatcher*) {
    const MatrixXd at = points ? *points : MatrixXd();
    if (!HasDraws(*this, 1, Kind, message) || !HasColumns(at, Samples->cols(), "A prediction", message, detail))
        return false;
    const MatrixXd indices = *Samples * at.transpose();
    const auto isNaN = indices.array().isNaN();
    MatrixXd probabilities, summary;
    normcdf(isNaN.select(0.0, indices), 0.0, 1.0, probabilities);  // throws for NaN
    probabilities = isNaN.select(std::numeric_limits<double>::quiet_NaN(), probabilities).eval();
    matrixSummary(probabilities, summary);
    *predictions = MatrixXd(summary.leftCols(5));
    return true;
}

}  // namespace quarn::samplers
