#include <quarn/numerics/Quadrature.h>

#include <Eigen/Eigenvalues>

#include <cmath>
#include <limits>

namespace quarn {
namespace {

using Eigen::Index;
using Extended = long double;
using ExtendedVector = Eigen::Matrix<Extended, Eigen::Dynamic, 1>;

/// The symmetric tridiagonal matrix of a family of orthonormal polynomials.
struct Jacobi {
    ExtendedVector diagonal;     // n
    ExtendedVector subdiagonal;  // n - 1
};

struct Node {
    Extended x, weight;
};

/// An eigenvalue of the matrix to the last digits, and the squared first component of its normalised eigenvector.
///
/// The eigenvector of x is proportional to p_0(x), ..., p_(n-1)(x), the orthonormal polynomials, with p_0 = 1. The
/// solver's own eigenvectors have small absolute errors, which are large beside the small components of large rules;
/// the recurrence of the polynomials keeps the digits of these too. p_n(x)/p_n'(x) improves x itself. At the outer nodes
/// of rules of thousands the polynomials leave the range of extended precision: from 2^8000 on, where the weight is 0 as
/// a double, they are taken relative to that.
Node Refined(const Jacobi& matrix, Extended x) {
    constexpr Extended Large = 0x1p8000L, PerLarge = 0x1p-8000L;
    const Index n = matrix.diagonal.size();
    Extended squares = 0;
    for (int pass = 0; pass < 2; ++pass) {
        Extended before = 0, p = 1, slopeBefore = 0, slope = 0;
        squares = 0;
        for (Index i = 0; i < n; ++i) {
            squares += p * p;
            const Extended b = i > 0 ? matrix.subdiagonal[i - 1] : 0;
            const Extended next = i + 1 < n ? matrix.subdiagonal[i] : 1;  // p_n up to a factor
            const Extended following = ((x - matrix.diagonal[i]) * p - b * before) / next;
            const Extended slopeFollowing = (p + (x - matrix.diagonal[i]) * slope - b * slopeBefore) / next;
            before = p;
            p = following;
            slopeBefore = slope;
            slope = slopeFollowing;
            if (std::abs(p) > Large) {
                before *= PerLarge;
                p *= PerLarge;
                slopeBefore *= PerLarge;
                slope *= PerLarge;
                squares = std::numeric_limits<Extended>::infinity();
            }
        }
        if (pass == 0) x -= p / slope;
    }
    return {x, 1 / squares};
}

/// Nodes and weights; the weights sum to `total`.
MatrixXd Rule(const Jacobi& matrix, double total, bool symmetric, bool& ok) {
    const Index n = matrix.diagonal.size();
    Eigen::SelfAdjointEigenSolver<Eigen::Matrix<Extended, Eigen::Dynamic, Eigen::Dynamic>> solver;
    solver.computeFromTridiagonal(matrix.diagonal, matrix.subdiagonal, Eigen::EigenvaluesOnly);
    ok = solver.info() == Eigen::Success;
    if (!ok) return MatrixXd(0, 2);
    ExtendedVector x = solver.eigenvalues();
    if (symmetric) x = (0.5L * (x - x.reverse())).eval();
    MatrixXd rule(n, 2);
    for (Index i = 0; i < n; ++i) {
        const Node node = Refined(matrix, x[i]);
        rule(i, 0) = static_cast<double>(node.x);
        rule(i, 1) = static_cast<double>(node.weight * total);
    }
    return rule;
}

}  // namespace

MatrixXd LaguerreQuad(int n, bool& ok) {
    ok = false;
    if (n < 1) return MatrixXd(0, 2);
    Jacobi matrix{ExtendedVector(n), ExtendedVector(n - 1)};
    for (Index i = 0; i < n; ++i) matrix.diagonal[i] = static_cast<Extended>(2 * i + 1);
    for (Index i = 0; i + 1 < n; ++i) matrix.subdiagonal[i] = static_cast<Extended>(i + 1);
    return Rule(matrix, 1.0, false, ok);
}

MatrixXd HermiteQuad(int n, bool& ok) {
    constexpr double RootPi = 1.7724538509055159;
    ok = false;
    if (n < 1) return MatrixXd(0, 2);
    Jacobi matrix{ExtendedVector::Zero(n), ExtendedVector(n - 1)};
    for (Index k = 1; k < n; ++k) matrix.subdiagonal[k - 1] = std::sqrt(static_cast<Extended>(k) * 0.5L);
    return Rule(matrix, RootPi, true, ok);
}

}  // namespace quarn
