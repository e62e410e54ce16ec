#include <quarn/random/Multivariate.h>

#include <samplers/CovarianceMatrices.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <stdexcept>

namespace quarn::samplers {
namespace {

/// Calls visit(row, column, position) for each element of the lower triangle, in order.
template <class Visit>
void ForTriangle(Eigen::Index p, const Visit& visit) {
    Eigen::Index k = 0;
    for (Eigen::Index i = 0; i < p; ++i)
        for (Eigen::Index j = 0; j <= i; ++j) visit(i, j, k++);
}

}  // namespace

void PackTriangle(const MatrixXd& S, Eigen::Ref<VectorXd> out) {
    ForTriangle(S.rows(), [&](Eigen::Index i, Eigen::Index j, Eigen::Index k) { out(k) = S(i, j); });
}

void UnpackTriangle(const Eigen::Ref<const VectorXd>& elements, MatrixXd& out) {
    ForTriangle(out.rows(),
                [&](Eigen::Index i, Eigen::Index j, Eigen::Index k) { out(i, j) = out(j, i) = elements(k); });
}

std::vector<std::string> CovarianceNames(const std::vector<std::string>& names) {
    std::vector<std::string> result;
    for (std::size_t i = 0; i < names.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) result.push_back("cov(" + names[i] + "," + names[j] + ")");
        result.push_back("var(" + names[i] + ")");
    }
    return result;
}

VectorXd UnboundedFromCovariance(const MatrixXd& S) {
    const Eigen::Index p = S.rows();
    VectorXd u(TriangleSize(p));
    const Eigen::LLT<MatrixXd> factor(S);
    const Eigen::LLT<MatrixXd> inverse(factor.solve(MatrixXd::Identity(p, p)));
    if (factor.info() != Eigen::Success || inverse.info() != Eigen::Success)
        return VectorXd::Constant(u.size(), std::numeric_limits<double>::quiet_NaN());
    MatrixXd L = inverse.matrixL();
    L.diagonal() = L.diagonal().array().log();
    PackTriangle(L, u);
    return u;
}

MatrixXd CovarianceFromUnbounded(const VectorXd& u, Eigen::Index p) {
    MatrixXd L(p, p);
    UnpackTriangle(u, L);
    L.diagonal() = L.diagonal().array().exp();
    const MatrixXd inverse = L.triangularView<Eigen::Lower>().solve(MatrixXd::Identity(p, p));
    return inverse.transpose() * inverse;
}

double LogJacobian(const VectorXd& u, Eigen::Index p) {
    // From u to L: the diagonal of L. From L to P = LL': 2^p prod L(i,i)^(p-i). From P to its inverse: |P|^-(p+1).
    double sum = static_cast<double>(p) * std::numbers::ln2;
    for (Eigen::Index i = 0; i < p; ++i)
        sum += static_cast<double>(1 + p - i - 2 * (p + 1)) * u(TriangleSize(i + 1) - 1);
    return sum;
}

void InverseWishartDraw::operator()(Generator& generator, double df, const MatrixXd& scale, MatrixXd& out) {
    m_factor.compute(scale);
    const bool scaleIsPositive = m_factor.info() == Eigen::Success;
    m_inverse.setIdentity(scale.rows(), scale.cols());
    m_factor.solveInPlace(m_inverse);
    m_factor.compute(m_inverse);
    if (!scaleIsPositive || m_factor.info() != Eigen::Success)
        throw std::runtime_error("A covariance matrix became singular.");
    iwishrnd(generator.rng, generator.unif, generator.norm, m_factor.matrixLLT(), df, out);
}

}  // namespace quarn::samplers
