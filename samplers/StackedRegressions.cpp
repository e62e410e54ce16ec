#include <quarn/numerics/MatrixHelpers.h>

#include <samplers/MarginalLikelihood.h>
#include <samplers/StackedRegressions.h>

#include <Eigen/QR>

#include <algorithm>
#include <cmath>

namespace quarn::samplers {
namespace {

using Eigen::Index;

}  // namespace

StackedRegressions::StackedRegressions(const MatrixXd& Y, const std::vector<MatrixXd>& X)
    : m_N(static_cast<double>(Y.rows())) {
    const Index M = Y.cols();
    m_start.setZero(M + 1);
    for (Index m = 0; m < M; ++m) m_start(m + 1) = m_start(m) + static_cast<int>(X[static_cast<std::size_t>(m)].cols());
    const Index K = m_start(M);
    MatrixXd all(Y.rows(), K + M);
    m_b.resize(K);
    for (Index m = 0; m < M; ++m) {
        const MatrixXd& regressors = X[static_cast<std::size_t>(m)];
        auto b = m_b.segment(m_start(m), regressors.cols());
        b = regressors.colPivHouseholderQr().solve(Y.col(m));
        all.middleCols(m_start(m), regressors.cols()) = regressors;
        all.col(K + m) = Y.col(m) - regressors * b;
    }
    const Eigen::HouseholderQR<MatrixXd> qr(all);
    m_factor = qr.matrixQR().topRows(std::min(all.rows(), all.cols())).triangularView<Eigen::Upper>();
    m_products = XpX(m_factor);
}

void StackedRegressions::ResidualProducts(const VectorXd& b, Work& work, MatrixXd& out) const {
    const Index M = NumEquations();
    work.Deviation = b - m_b;
    work.Residuals = m_factor.rightCols(M);
    for (Index m = 0; m < M; ++m) {
        const Index size = m_start(m + 1) - m_start(m);
        work.Residuals.col(m).noalias() -=
            m_factor.middleCols(m_start(m), size) * work.Deviation.segment(m_start(m), size);
    }
    out.resize(M, M);
    out.noalias() = work.Residuals.transpose() * work.Residuals;
}

/// With b measured from the least squares: precision sum of P(m,n) X_m'X_n, times the mean sum of P(m,n) X_m'r_n.
void StackedRegressions::CoefficientLaw(const NormalPrior& prior, const MatrixXd& S, Work& work, VectorXd& mean,
                                        Eigen::LLT<MatrixXd>& factor) const {
    const Index K = m_b.size(), M = NumEquations();
    work.P.setIdentity(M, M);
    work.FactorOfS.compute(S);
    work.FactorOfS.solveInPlace(work.P);
    work.Deviation = prior.Mean - m_b;
    work.Precision = prior.Precision;
    mean.resize(K);
    mean.noalias() = prior.Precision * work.Deviation;
    for (Index m = 0; m < M; ++m) {
        const Index at = m_start(m), size = m_start(m + 1) - at;
        for (Index n = 0; n <= m; ++n) {
            const Index to = m_start(n), width = m_start(n + 1) - to;
            work.Precision.block(at, to, size, width) += work.P(m, n) * m_products.block(at, to, size, width);
        }
        mean.segment(at, size).noalias() += m_products.block(at, K, size, M) * work.P.col(m);
    }
    factor.compute(work.Precision);
    factor.solveInPlace(mean);
    mean += m_b;
}

double StackedRegressions::LogLikelihood(const VectorXd& b, const MatrixXd& S, Work& work) const {
    MatrixXd products;
    ResidualProducts(b, work, products);
    const Eigen::LLT<MatrixXd> factor(S);
    const double logDeterminant = 2.0 * factor.matrixLLT().diagonal().array().log().sum();
    return -0.5 *
           (m_N * (static_cast<double>(NumEquations()) * LogOf2Pi + logDeterminant) + factor.solve(products).trace());
}

}  // namespace quarn::samplers
