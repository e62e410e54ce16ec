#include <quarn/random/GHK.h>

#include <samplers/ChoiceProbability.h>

#include <Eigen/Cholesky>

#include <algorithm>
#include <limits>

namespace quarn::samplers {

std::vector<MatrixXd> ChoiceCoordinates(Eigen::Index J) {
    std::vector<MatrixXd> coordinates(static_cast<std::size_t>(J) + 1, MatrixXd::Identity(J, J));
    for (Eigen::Index c = 0; c < J; ++c) coordinates[static_cast<std::size_t>(c) + 1].col(c).setConstant(-1.0);
    return coordinates;
}

ChoiceProbability::ChoiceProbability(const MatrixXd& S) : m_coordinates(ChoiceCoordinates(S.rows())) {
    for (const MatrixXd& A : m_coordinates) m_factors.push_back(Eigen::LLT<MatrixXd>(A * S * A.transpose()).matrixL());
}

double ChoiceProbability::operator()(Generator& generator, const VectorXd& mu, int c, int replications) const {
    const auto choice = static_cast<std::size_t>(c);
    const VectorXd mean = m_coordinates[choice] * mu;
    const double p = GHK(generator.rng, generator.unif, generator.norm, mean, m_factors[choice], replications);
    return std::max(p, std::numeric_limits<double>::min());
}

VectorXd ChoiceProbability::Derivatives(Generator& generator, const VectorXd& mu, int c, const MatrixXd& derivatives,
                                        int replications) const {
    const auto choice = static_cast<std::size_t>(c);
    const MatrixXd& A = m_coordinates[choice];
    const MatrixXd& L = m_factors[choice];
    // The bounds of the coordinates are -A mu. For J of 1 the gradient is that with respect to the bound over L.
    MatrixXd bounds = -derivatives * A.transpose();
    if (mu.size() == 1) bounds /= L(0, 0);
    return GHK_mfx(generator.rng, generator.unif, generator.norm, L, -A * mu, bounds, replications);
}

ScaledProbit::ScaledProbit(const Eigen::Ref<const VectorXd>& draw, Eigen::Index J, Eigen::Index K, Eigen::Index M)
    : B(Eigen::Map<const MatrixXd>(draw.data(), K, J)), g(draw.segment(J * K, M)), S(MatrixXd::Identity(J, J)) {
    Eigen::Index at = J * K + M;
    for (Eigen::Index i = 1; i < J; ++i)
        for (Eigen::Index j = 0; j <= i; ++j) S(i, j) = S(j, i) = draw(at++);
}

VectorXd ScaledProbit::MeanUtilities(const VectorXd& x, const MatrixXd& a) const { return B.transpose() * x + a * g; }

}  // namespace quarn::samplers
