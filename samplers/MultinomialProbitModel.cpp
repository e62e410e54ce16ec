#include <quarn/base/FormatLine.h>
#include <quarn/numerics/DescriptiveStatistics.h>

#include <samplers/ChoiceProbability.h>
#include <samplers/ModelCodes.h>
#include <samplers/MultinomialProbit.h>
#include <samplers/PosteriorTable.h>
#include <samplers/StoredResults.h>

#include <algorithm>
#include <optional>

namespace quarn::samplers {
namespace {

using Eigen::Index;

/// J, K and M of a model.
struct Shape {
    Index J = 0, K = 0, M = 0;

    Index Coefficients() const { return J * K + M; }
    Index Parameters() const { return Coefficients() + J * (J + 1) / 2 - 1; }
    Index Choices() const { return J + 1; }
    Index Columns() const { return K + M * J; }
};

/// Nothing, with a message, for a model without the results of a multinomial probit.
std::optional<Shape> ReadShape(const Model& model, std::string& message) {
    const Index sum = SumOfSizes(model.IntList), columns = model.Samples ? model.Samples->cols() : 0;
    Shape shape;
    // No product overflows where the sum is that small.
    if (model.IntList.size() == 3 && model.IntList[0] > 0 && sum > 0 && sum <= columns + 1)
        shape = {model.IntList[0], model.IntList[1], model.IntList[2]};
    const bool fits = shape.J > 0 && shape.Parameters() == columns;
    if (!HasDraws(model, fits ? columns : -1, "a multinomial probit", message)) return std::nullopt;
    return shape;
}

bool HasColumns(const MatrixXd& points, const Shape& shape, const std::string& who, std::string& message,
                std::string& detail) {
    if (points.cols() == shape.Columns()) return true;
    message = who + " needs " + std::to_string(shape.K) + " regressors and " + std::to_string(shape.M * shape.J) +
              " differences of attributes.";
    detail = "Their number is " + std::to_string(points.cols()) + ".";
    return false;
}

/// Calls visit(d, probit, probability) for the d-th of the draws that predictions use, a row each of a matrix that they
/// fill; returns the summaries of its columns.
template <class Visit>
MatrixXd SummaryOverDraws(const MatrixXd& samples, const Shape& shape, Index columns, const Visit& visit) {
    MatrixXd results(std::min(samples.rows(), MultinomialProbitModel::PredictionDraws), columns), summary;
    for (Index d = 0; d < results.rows(); ++d) {
        const VectorXd draw = samples.row(d * samples.rows() / results.rows()).transpose();
        const ScaledProbit probit(draw, shape.J, shape.K, shape.M);
        results.row(d) = visit(probit, ChoiceProbability(probit.S)).transpose();
    }
    matrixSummary(results, summary);
    return summary.leftCols(5);
}

VectorXd MeanUtilities(const ScaledProbit& probit, const Shape& shape, const VectorXd& point) {
    return probit.MeanUtilities(point.head(shape.K), point.tail(shape.M * shape.J).reshaped(shape.J, shape.M));
}

/// Derivatives of the mean utilities with respect to the elements of a point: a row each.
MatrixXd UtilityDerivatives(const ScaledProbit& probit, const Shape& shape) {
    MatrixXd derivatives = MatrixXd::Zero(shape.Columns(), shape.J);
    derivatives.topRows(shape.K) = probit.B;
    for (Index m = 0; m < shape.M; ++m)
        for (Index j = 0; j < shape.J; ++j) derivatives(shape.K + m * shape.J + j, j) = probit.g(m);
    return derivatives;
}

/// Names of the elements of a point: of regressors as they stand under the first alternative, then those of attributes
/// with the number of the alternative.
std::vector<std::string> PointNames(const Model& model, const Shape& shape) {
    std::vector<std::string> names(model.Summary.IndVars.begin(), model.Summary.IndVars.begin() + shape.K);
    for (Index m = 0; m < shape.M; ++m)
        for (Index j = 0; j < shape.J; ++j)
            names.push_back(model.Summary.IndVars[static_cast<std::size_t>(shape.J * shape.K + m)] + "(" +
                            std::to_string(j + 1) + ")");
    return names;
}

}  // namespace

MultinomialProbitModel::MultinomialProbitModel(const std::shared_ptr<Model>& results) {
    SetMembersShallow(results);
    ModelCode = MultinomialProbitCode;
}

bool MultinomialProbitModel::Predict(bool, bool, std::shared_ptr<MatrixXd> points, int, std::string,
                                     std::shared_ptr<MatrixXd> predictions, std::string& message, std::string& detail,
                                     EventDispatcher*) {
    const auto shape = ReadShape(*this, message);
    const MatrixXd at = points ? *points : MatrixXd();
    if (!shape || !HasColumns(at, *shape, "A prediction", message, detail)) return false;
    Generator generator = MakeGenerator(0, FirstAuxiliaryStream);
    *predictions = SummaryOverDraws(*Samples, *shape, at.rows() * shape->Choices(),
                                    [&](const ScaledProbit& probit, const ChoiceProbability& probability) {
                                        VectorXd row(at.rows() * shape->Choices());
                                        for (Index r = 0; r < at.rows(); ++r) {
                                            const VectorXd mu = MeanUtilities(probit, *shape, at.row(r).transpose());
                                            for (int c = 0; c <= shape->J; ++c)
                                                row(r * shape->Choices() + c) =
                                                    probability(generator, mu, c, Replications);
                                        }
                                        return row;
                                    });
    return true;
}

bool MultinomialProbitModel::CalculateMFX(int type, std::shared_ptr<MatrixXd> points, int at,
                                          std::shared_ptr<MatrixXd> effects, std::string& message, std::string& detail,
                                          EventDispatcher*) {
    const auto shape = ReadShape(*this, message);
    if (!shape) return false;
    if (!points || points->rows() == 0) points = HiddenElements[MeansKey];
    const MatrixXd used = PointsOfEffect(type, points, at, message, detail);
    if (used.rows() == 0 || !HasColumns(used, *shape, "A marginal effect", message, detail)) return false;
    Generator generator = MakeGenerator(0, FirstAuxiliaryStream);
    *effects = SummaryOverDraws(*Samples, *shape, shape->Choices() * shape->Columns(),
                                [&](const ScaledProbit& probit, const ChoiceProbability& probability) {
                                    const MatrixXd derivatives = UtilityDerivatives(probit, *shape);
                                    MatrixXd sum = MatrixXd::Zero(shape->Columns(), shape->Choices());
                                    for (Index r = 0; r < used.rows(); ++r) {
                                        const VectorXd mu = MeanUtilities(probit, *shape, used.row(r).transpose());
                                        for (int c = 0; c <= shape->J; ++c)
                                            sum.col(c) +=
                                                probability.Derivatives(generator, mu, c, derivatives, Replications);
                                    }
                                    return VectorXd(sum.reshaped() / static_cast<double>(used.rows()));
                                });
    return true;
}

void MultinomialProbitModel::PrintMFX(const MatrixXd& effects, int type, const EventDispatcher& dispatcher) {
    std::string message;
    const auto shape = ReadShape(*this, message);
    if (!shape || static_cast<Index>(Summary.IndVars.size()) < shape->Coefficients()) return;
    if (effects.rows() != shape->Choices() * shape->Columns() || effects.cols() != 5) return;
    SummaryStructure table;
    for (Index c = 0; c <= shape->J; ++c) {
        table.DepVars.push_back("P(choice " + std::to_string(c) + ")");
        const auto names = PointNames(*this, *shape);
        table.IndVars.insert(table.IndVars.end(), names.begin(), names.end());
    }
    table.SetSummaryMatrix(effects);
    table.SetSpacesVector(VectorXi::Constant(shape->Choices(), static_cast<int>(shape->Columns())));
    PrintTable("Marginal effects: ", DescribeEffect(type, "the probabilities of the choices"), "", PosteriorHeader(),
               table, dispatcher, LabelWidth);
}

}  // namespace quarn::samplers
