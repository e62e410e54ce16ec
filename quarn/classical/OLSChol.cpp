#include <quarn/base/LargeTables_detail.h>
#include <quarn/classical/OLSChol.h>
#include <quarn/numerics/CrossProduct_detail.h>
#include <quarn/numerics/ResidualProducts_detail.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace quarn {
namespace {

/// X'X and X'y with the digits of XpX and XpZ, in one pass over X.
void NormalEquations(const VectorXd& y, const MatrixXd& X, MatrixXd& square, MatrixXd& product) {
    constexpr Eigen::Index ChunkRows = 256;
    detail::CrossProductSums squares(X.cols()), products(X.cols(), 1);
    for (Eigen::Index from = 0; from < X.rows(); from += ChunkRows) {
        const Eigen::Index n = std::min(ChunkRows, X.rows() - from);
        squares.Add(n, X.data() + from, X.rows(), nullptr);
        products.Add(n, X.data() + from, X.rows(), y.data() + from, X.rows());
    }
    square.resize(X.cols(), X.cols());
    product.resize(X.cols(), 1);
    squares.Total(square);
    products.Total(product);
}

/// Each correction is at most a quarter of the one before, so that this many reach the last bit.
constexpr int MaxCorrections = 26;

/// Corrects b while that converges, and leaves e = y - X b. The length of a vector of coefficients, each weighed by
/// that of its column, measures a correction: the units of the columns do not matter.
class Refinement {
 public:
    Refinement(const VectorXd& y, const MatrixXd& X, const Eigen::LDLT<MatrixXd>& ldlt, VectorXd columnSquares)
        : m_y(y), m_X(X), m_ldlt(ldlt), m_columnSquares(std::move(columnSquares)) {}

    void Run(VectorXd& b, VectorXd& e) const {
        VectorXd g;
        detail::ResidualProducts(m_X, m_y, b, e, g);
        double previous = Squares(b).sum();
        for (int i = 0; i < MaxCorrections; ++i) {
            const VectorXd correction = m_ldlt.solve(g);
            const double size = Squares(correction).sum();
            // Not convergent, or NaN: the data are collinear to working precision, and b stays as it is.
            if (!(size <= previous / 16.0) || !IsSeen(Squares(correction), b, 1.0)) return;
            b += correction;
            // If convergence goes on as it did, does the next correction reach a digit? With a margin of 2^10.
            const double next = size * (size / previous);
            if (!IsSeen(VectorXd::Constant(b.size(), next), b, 0x1p-20)) {
                detail::Residuals(m_X, m_y, b, e);
                return;
            }
            previous = size;
            detail::ResidualProducts(m_X, m_y, b, e, g);
        }
    }

 private:
    VectorXd Squares(const VectorXd& coefficients) const {
        return m_columnSquares.cwiseProduct(coefficients.cwiseAbs2());
    }

    /// Whether changes with these squares alter a digit of any coefficient.
    bool IsSeen(const VectorXd& squares, const VectorXd& b, double margin) const {
        constexpr double Epsilon = std::numeric_limits<double>::epsilon();
        return (squares.array() > margin * (Epsilon * Epsilon) * Squares(b).array()).any();
    }

    const VectorXd& m_y;
    const MatrixXd& m_X;
    const Eigen::LDLT<MatrixXd>& m_ldlt;
    VectorXd m_columnSquares;
};

double SumOfSquares(const VectorXd& e) {
    detail::CrossProductSums sums(1);  // as XpX, without a copy of e as a matrix
    sums.Add(e.size(), e.data(), e.size(), nullptr);
    MatrixXd square(1, 1);
    sums.Total(square);
    return square(0, 0);
}

}  // namespace

void OLSChol::Fit(const VectorXd& y, const MatrixXd& X) {
    N = static_cast<int>(X.rows());
    K = static_cast<int>(X.cols());
    MatrixXd square, product;
    NormalEquations(y, X, square, product);
    ldlt.compute(square);
    b = ldlt.solve(product);
    Refinement(y, X, ldlt, square.diagonal()).Run(b, e);
    s2 = SumOfSquares(e) / (N - K);
}

OLSChol::OLSChol(const VectorXd& y, const MatrixXd& X) {
    Fit(y, X);
    detail::ResizeUninitialised(V, N, K);
    V.noalias() = s2 * X;
}

OLSChol::OLSChol(const VectorXd& y, const MatrixXd& X, std::string label_, const std::list<std::string>& labels_)
    : label(std::move(label_)), labels(labels_) {
    Fit(y, X);
    V.setIdentity(K, K);
}

}  // namespace quarn
