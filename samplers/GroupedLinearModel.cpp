#include <quarn/random/Generators.h>

#include <samplers/GroupedLinearModel.h>
#include <samplers/MarginalLikelihood.h>

#include <Eigen/QR>

#include <algorithm>
#include <cmath>

namespace quarn::samplers {
namespace {

using Eigen::Index;

/// Factorises in place, without allocation: the lower triangle becomes L.
template <class Matrix>
Eigen::LLT<Eigen::Ref<MatrixXd>> FactoriseInPlace(Matrix&& A) {
    Eigen::Ref<MatrixXd> ref(A);
    return Eigen::LLT<Eigen::Ref<MatrixXd>>(ref);
}

}  // namespace

GroupedLinearModel::GroupedLinearModel(const VectorXd& y, const MatrixXd& Z, const MatrixXd& X,
                                       const MatrixXi& structure)
    : m_Kz(Z.cols()), m_Kx(X.cols()) {
    Reduce(y, Z, X, structure);
    MoveOrigin();
    m_within = MatrixXd(m_within.transpose() * m_within);
    m_products.resize(m_Kx, m_Kx * NumGroups());
    for (Index g = 0; g < NumGroups(); ++g) {
        const auto R = m_rows.block(m_Kz, m_start(g), m_Kx, m_start(g + 1) - m_start(g));
        m_products.middleCols(g * m_Kx, m_Kx) = R * R.transpose();
    }
}

void GroupedLinearModel::Reduce(const VectorXd& y, const MatrixXd& Z, const MatrixXd& X, const MatrixXi& structure) {
    m_start.resize(structure.col(1).sum() + 1);
    m_start(0) = 0;
    Index g = 0, row = 0;
    for (Index s = 0; s < structure.rows(); ++s)
        for (int i = 0; i < structure(s, 1); ++i, ++g)
            m_start(g + 1) = m_start(g) + std::min(structure(s, 0), static_cast<int>(m_Kx));

    m_rows.setZero(m_Kz + m_Kx + 1, m_start(NumGroups()));
    MatrixXd within(y.size() - m_rows.cols(), m_Kz + 1);
    m_numWithin = static_cast<double>(within.rows());
    g = 0;
    for (Index s = 0; s < structure.rows(); ++s) {
        const Index T = structure(s, 0), kept = std::min(T, m_Kx);
        MatrixXd other(T, m_Kz + 1);
        for (int i = 0; i < structure(s, 1); ++i, ++g, row += T) {
            const Eigen::HouseholderQR<MatrixXd> qr(X.middleRows(row, T));
            if (m_Kz > 0) other.leftCols(m_Kz) = Z.middleRows(row, T);
            other.col(m_Kz) = y.segment(row, T);
            other.applyOnTheLeft(qr.householderQ().adjoint());
            auto rows = m_rows.middleCols(m_start(g), kept);
            rows.topRows(m_Kz) = other.topLeftCorner(kept, m_Kz).transpose();
            rows.middleRows(m_Kz, m_Kx) =
                MatrixXd(qr.matrixQR().topRows(kept).triangularView<Eigen::Upper>()).transpose();
            rows.bottomRows(1) = other.col(m_Kz).head(kept).transpose();
            within.middleRows(row - m_start(g), T - kept) = other.bottomRows(T - kept);
        }
    }

    const Eigen::HouseholderQR<MatrixXd> qr(within);
    const MatrixXd root = qr.matrixQR().topRows(std::min(within.rows(), m_Kz + 1)).triangularView<Eigen::Upper>();
    m_within.setZero(root.rows(), m_Kz + m_Kx + 1);
    m_within.leftCols(m_Kz) = root.leftCols(m_Kz);
    m_within.rightCols(1) = root.rightCols(1);
}

/// Subtracts from y its fit by least squares, with b_i = mu for all groups.
void GroupedLinearModel::MoveOrigin() {
    const Index k = m_Kz + m_Kx;
    MatrixXd all(m_rows.cols() + m_within.rows(), k + 1);
    all << m_rows.transpose(), m_within;
    m_origin = all.leftCols(k).colPivHouseholderQr().solve(all.col(k));
    m_rows.row(k) -= m_origin.transpose() * m_rows.topRows(k);
    m_within.col(k) -= m_within.leftCols(k) * m_origin;
}

/// Moments becomes the sum of W' V^-1 W over all rows W = (Z, X, y), V their covariance with the b_i integrated out.
/// Returns log |V|^-1/2.
double GroupedLinearModel::AccumulateMoments(const MatrixXd& D, double tau, Work& work) const {
    work.Moments = tau * m_within;
    work.DR.resize(m_Kx, m_Kx);
    work.S.resize(m_Kx, m_Kx);
    work.Whitened.resize(m_rows.rows(), m_Kx);
    double logDeterminant = 0.5 * m_numWithin * std::log(tau);
    for (Index g = 0; g < NumGroups(); ++g) {
        const Index m = m_start(g + 1) - m_start(g);
        const auto rows = m_rows.middleCols(m_start(g), m);
        const auto R = rows.middleRows(m_Kz, m_Kx);  // transposed
        auto DR = work.DR.leftCols(m);
        auto S = work.S.topLeftCorner(m, m);
        auto whitened = work.Whitened.leftCols(m);
        DR.noalias() = D * R;
        S.noalias() = R.transpose() * DR;
        S.diagonal().array() += 1.0 / tau;
        const auto factor = FactoriseInPlace(S);
        whitened = rows;
        factor.matrixU().solveInPlace<Eigen::OnTheRight>(whitened);
        for (Index j = 0; j < m; ++j) work.Moments.selfadjointView<Eigen::Lower>().rankUpdate(whitened.col(j));
        logDeterminant -= S.diagonal().array().log().sum();
    }
    return logDeterminant;
}

void GroupedLinearModel::CoefficientLaw(const NormalPrior& prior, const MatrixXd& D, double tau, Work& work,
                                        VectorXd& mean, Eigen::LLT<MatrixXd>& factor) const {
    const Index k = m_origin.size();
    AccumulateMoments(D, tau, work);
    mean = prior.Mean - m_origin;
    work.Shift.noalias() = prior.Precision * mean;
    mean = work.Moments.row(k).head(k).transpose() + work.Shift;
    work.Moments.topLeftCorner(k, k) += prior.Precision;
    factor.compute(work.Moments.topLeftCorner(k, k));
    factor.solveInPlace(mean);
    mean += m_origin;
}

double GroupedLinearModel::LogLikelihood(const VectorXd& t, const MatrixXd& D, double tau, Work& work) const {
    const double logDeterminant = AccumulateMoments(D, tau, work);
    VectorXd x(t.size() + 1);
    x << t - m_origin, -1.0;
    const double squares = x.dot(work.Moments.selfadjointView<Eigen::Lower>() * x);
    return logDeterminant - 0.5 * (squares + (m_numWithin + static_cast<double>(m_rows.cols())) * LogOf2Pi);
}

void GroupedLinearModel::DrawEffects(Generator& generator, const VectorXd& t, const MatrixXd& P, double tau, Work& work,
                                     MatrixXd* sumOfMeans) const {
    const Index k = m_origin.size();
    work.Effect.resize(k + 1);  // first (t - origin, -1)
    work.Effect << t - m_origin, -1.0;
    work.SumOfSquares = work.Effect.dot(m_within.selfadjointView<Eigen::Lower>() * work.Effect);
    work.Residual.resize(m_rows.cols());
    work.Residual.noalias() = -(m_rows.transpose() * work.Effect);
    work.Scatter.setZero(m_Kx, m_Kx);
    work.Precision.resize(m_Kx, m_Kx);
    auto effect = work.Effect.head(m_Kx);
    for (Index g = 0; g < NumGroups(); ++g) {
        const Index m = m_start(g + 1) - m_start(g);
        const auto R = m_rows.block(m_Kz, m_start(g), m_Kx, m);  // transposed
        auto residual = work.Residual.segment(m_start(g), m);
        work.Precision = P + tau * m_products.middleCols(g * m_Kx, m_Kx);
        const auto factor = FactoriseInPlace(work.Precision);
        effect.noalias() = tau * (R * residual);
        factor.matrixL().solveInPlace(effect);
        if (sumOfMeans != nullptr) sumOfMeans->col(g) += factor.matrixU().solve(effect);
        for (Index j = 0; j < m_Kx; ++j) effect(j) += NormalDraw(generator.rng, generator.norm);
        factor.matrixU().solveInPlace(effect);
        work.Scatter.selfadjointView<Eigen::Lower>().rankUpdate(effect);
        residual.noalias() -= R.transpose() * effect;
        work.SumOfSquares += residual.squaredNorm();
    }
}

}  // namespace quarn::samplers
