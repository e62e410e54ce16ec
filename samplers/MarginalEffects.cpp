#include <quarn/numerics/DescriptiveStatistics.h>

#include <samplers/MarginalEffects.h>

namespace quarn::samplers {

MatrixXd PointsOfEffect(int type, const std::shared_ptr<MatrixXd>& points, int at, std::string& message,
                        std::string& detail) {
    if (!points || points->rows() == 0) {
        message = "The model has no regressors to compute effects at.";
        return {};
    }
    RowVectorXd mean;
    switch (type) {
        case AverageEffect:
            return *points;
        case EffectAtMeans:
            matrixMean(*points, mean);
            return mean;
        case EffectAtPoint:
            if (at >= 0 && at < points->rows()) return points->row(at);
            message = "There is no such row of regressors: " + std::to_string(at) + ".";
            detail = "They have " + std::to_string(points->rows()) + " rows.";
            return {};
        default:
            message = "There is no such type of marginal effects: " + std::to_string(type) + ".";
            return {};
    }
}

std::string DescribeEffect(int type, const std::string& of) {
    switch (type) {
        case AverageEffect:
            return "Average over the points of the marginal effects on " + of;
        case EffectAtMeans:
            return "Marginal effects on " + of + " at the means of the points";
        case EffectAtPoint:
            return "Marginal effects on " + of + " at a given point";
        default:
            return "Marginal effects on " + of;
    }
}

}  // namespace quarn::samplers
