#include <quarn/classical/OLSChol.h>
#include <quarn/numerics/MatrixHelpers.h>

#include <samplers/LinearModelRotation.h>
#include <samplers/MarginalLikelihood.h>

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <Eigen/LU>

#include <cmath>
#include <numbers>

// The matrix that is factorised is made the identity in the new coordinates, and its accuracy is what counts: it is X'X,
// with columns of unit length, if X has full rank, and else the prior's precision. The other one then has eigenvalues
// with an absolute error of the largest one times 1e-16.

namespace quarn::samplers {
namespace {

constexpr double SmallestPivot = 1e-7;  // of columns of unit length: below, X counts as collinear

/// log density of independent normals with the given precisions.
double LogDensity(const VectorXd& x, const VectorXd& mean, const VectorXd& precision) {
    return 0.5 * (precision.array().log() - precision.array() * (x - mean).array().square() - LogOf2Pi).sum();
}

}  // namespace

LinearModelRotation::LinearModelRotation(const VectorXd& y, const MatrixXd& X, const NormalPrior& prior) {
    const Eigen::Index K = X.cols();
    const MatrixXd A = XpX(X);
    const VectorXd length = A.diagonal().array().sqrt();
    const VectorXd scale = (length.array() > 0.0).select(length.array().inverse(), 1.0);
    const Eigen::LLT<MatrixXd> unit(scale.asDiagonal() * A * scale.asDiagonal());
    const bool fullRank =
        X.rows() > K && unit.info() == Eigen::Success && unit.matrixLLT().diagonal().minCoeff() > SmallestPivot;

    // base = RR' becomes the identity, other diagonal: with R^-1 other R'^-1 = U diag U', Q = R'^-1 U.
    const MatrixXd R = fullRank ? MatrixXd(length.asDiagonal() * MatrixXd(unit.matrixL()))
                                : MatrixXd(Eigen::LLT<MatrixXd>(prior.Precision).matrixL());
    const auto triangle = R.triangularView<Eigen::Lower>();
    const MatrixXd& other = fullRank ? prior.Precision : A;
    const MatrixXd half = triangle.solve(other);
    const Eigen::SelfAdjointEigenSolver<MatrixXd> eigen(triangle.solve(half.transpose()));
    const VectorXd values = eigen.eigenvalues().cwiseMax(0.0);
    m_Q = triangle.transpose().solve(eigen.eigenvectors());
    m_inverse = eigen.eigenvectors().transpose() * R.transpose();
    m_logAbsDetQ = -R.diagonal().array().log().sum();
    m_priorMean = Coordinates(prior.Mean);
    if (fullRank) {
        m_data = VectorXd::Ones(K);
        m_prior = values;
        const OLSChol fit(y, X, "", {});
        m_dataMean = Coordinates(fit.b);
        m_residual = fit.e.squaredNorm();
    } else {
        m_data = (values.array() > 1e-14 * values.maxCoeff()).select(values, 0.0);
        m_prior = VectorXd::Ones(K);
        const VectorXd c = m_Q.transpose() * XpZ(X, y);
        m_dataMean = (m_data.array() > 0.0).select(c.array() / m_data.array(), m_priorMean.array());
        m_residual = (y - X * LeastSquares()).squaredNorm();
    }
}

double LinearModelRotation::Draw(Generator& generator, double tau, VectorXd& b, VectorXd& work) const {
    const Eigen::Index K = m_data.size();
    work.resize(K);
    double sum = m_residual;
    for (Eigen::Index j = 0; j < K; ++j) {
        const double precision = tau * m_data(j) + m_prior(j);
        const double mean = (tau * m_data(j) * m_dataMean(j) + m_prior(j) * m_priorMean(j)) / precision;
        work(j) = mean + NormalDraw(generator.rng, generator.norm) / std::sqrt(precision);
        sum += m_data(j) * (work(j) - m_dataMean(j)) * (work(j) - m_dataMean(j));
    }
    b.noalias() = m_Q * work;
    return sum;
}

double LinearModelRotation::SumOfSquares(const VectorXd& b) const {
    return m_residual + (m_data.array() * (Coordinates(b) - m_dataMean).array().square()).sum();
}

double LinearModelRotation::LogPriorDensity(const VectorXd& b) const {
    return LogDensity(Coordinates(b), m_priorMean, m_prior) - m_logAbsDetQ;
}

double LinearModelRotation::LogConditionalDensity(const VectorXd& b, double tau) const {
    const VectorXd precision = tau * m_data + m_prior;
    const VectorXd weighted = tau * m_data.cwiseProduct(m_dataMean) + m_prior.cwiseProduct(m_priorMean);
    return LogDensity(Coordinates(b), weighted.cwiseQuotient(precision), precision) - m_logAbsDetQ;
}

VectorXd LinearModelRotation::LeastSquares() const { return m_Q * m_dataMean; }

}  // namespace quarn::samplers
