#include <quarn/numerics/DescriptiveStatistics.h>

#include <samplers/LinearModel.h>
#include <samplers/MarginalLikelihood.h>

#include <cmath>
#include <numbers>

namespace quarn::samplers {
namespace {

double LogLikelihood(const LinearModel& model, const VectorXd& b, double tau) {
    return 0.5 * (model.N * std::log(0.5 * tau / std::numbers::pi) - tau * model.Rotation.SumOfSquares(b));
}

double LogPrior(const LinearModel& model, const VectorXd& b, double tau) {
    return model.Rotation.LogPriorDensity(b) +
           LogGammaDensity(tau, model.ErrorPrecision.Shape, model.ErrorPrecision.Rate);
}

}  // namespace

double LogMLLewisRaftery(const LinearModel& model, Eigen::Index K, const MatrixXd& draws) {
    MatrixXd unbounded = draws.leftCols(K + 1);
    unbounded.col(K) = unbounded.col(K).array().log();  // whose density has the Jacobian tau
    return LaplaceMetropolis(unbounded, [&](const VectorXd& at) {
        const double tau = std::exp(at(K));
        return LogLikelihood(model, at.head(K), tau) + LogPrior(model, at.head(K), tau) + at(K);
    });
}

double LogMLChib(const LinearModel& model, Eigen::Index K, const MatrixXd& draws) {
    RowVectorXd mean(draws.cols());
    matrixMean(draws, mean);
    const VectorXd b = mean.head(K).transpose();
    const double tau = mean(K);
    const GammaPrior& prior = model.ErrorPrecision;
    VectorXd ordinates(draws.rows());
    for (Eigen::Index r = 0; r < draws.rows(); ++r) {
        const double sumOfSquares = model.Rotation.SumOfSquares(draws.row(r).head(K).transpose());
        ordinates(r) = LogGammaDensity(tau, prior.Shape + 0.5 * model.N, prior.Rate + 0.5 * sumOfSquares);
    }
    return LogLikelihood(model, b, tau) + LogPrior(model, b, tau) - LogMeanExp(ordinates) -
           model.Rotation.LogConditionalDensity(b, tau);
}

bool PredictMeans(const MatrixXd& draws, Eigen::Index K, const std::shared_ptr<MatrixXd>& points, MatrixXd& predictions,
                  std::string& message, std::string& detail) {
    if (!points || points->cols() != K) {
        message = "A prediction needs " + std::to_string(K) + " regressors.";
        detail = "Their number is " + std::to_string(points ? points->cols() : 0) + ".";
        return false;
    }
    MatrixXd summary;
    matrixSummary(draws.leftCols(K) * points->transpose(), summary);
    predictions = MatrixXd(summary.leftCols(5));
    return true;
}

}  // namespace quarn::samplers
