#include <quarn/base/Resizing_detail.h>
#include <quarn/numerics/CompleteRows_detail.h>
#include <quarn/numerics/CrossProduct_detail.h>
#include <quarn/numerics/MatrixHelpers.h>
#include <quarn/numerics/Reductions_detail.h>

#include <Eigen/Eigenvalues>

#include <cmath>
#include <limits>

namespace quarn {
namespace {

using Eigen::Index;

void MirrorLowerTriangle(MatrixXd& A) { A.triangularView<Eigen::StrictlyUpper>() = A.transpose(); }
void MirrorUpperTriangle(MatrixXd& A) { A.triangularView<Eigen::StrictlyLower>() = A.transpose(); }

int ToInt(double cell) {
    const double whole = std::round(cell);
    // Written so that NaN fails.
    const bool fits = whole >= std::numeric_limits<int>::min() && whole <= std::numeric_limits<int>::max();
    return fits ? static_cast<int>(whole) : std::numeric_limits<int>::min();
}

double Power(double base, double exponent) { return std::pow(base, exponent); }

bool IsExactlySymmetric(const MatrixXd& A) {
    for (Index i = 1; i < A.rows(); ++i) {
        for (Index j = 0; j < i; ++j) {
            if (!(A(i, j) == A(j, i))) return false;  // also where either is NaN
        }
    }
    return true;
}

bool HasPositiveEigenvalues(const MatrixXd& A) {
    if (A.rows() == 0) return true;
    const Eigen::SelfAdjointEigenSolver<MatrixXd> solver(A, Eigen::EigenvaluesOnly);
    return solver.info() == Eigen::Success && (solver.eigenvalues().array() > 0.0).all();  // NaN is not above 0
}

}  // namespace

VectorXd XpZ(const MatrixXd& X, const VectorXd& z) { return detail::CrossProduct(X, z.data(), 1); }
MatrixXd XpZ(const MatrixXd& X, const MatrixXd& Z) { return detail::CrossProduct(X, Z.data(), Z.cols()); }
MatrixXd XpX(const MatrixXd& X) { return detail::RankUpdate(X, nullptr); }
MatrixXd XXp(const MatrixXd& X) { return detail::RankUpdate(X.transpose(), nullptr); }
MatrixXd XpDX(const MatrixXd& X, const VectorXd& d) { return detail::RankUpdate(X, d.data()); }
VectorXd XpDy(const MatrixXd& X, const VectorXd& d, const VectorXd& y) { return XpZ(X, VectorXd(d.cwiseProduct(y))); }

// Column j of the product, on its side of the diagonal, is a combination of the columns of the factor that reach row j.
MatrixXd XXpUpperTriang(const MatrixXd& U) {
    MatrixXd product = MatrixXd::Zero(U.rows(), U.rows());
    for (Index j = 0; j < U.rows(); ++j) {
        for (Index k = j; k < U.rows(); ++k) product.col(j).head(j + 1) += U(j, k) * U.col(k).head(j + 1);
    }
    MirrorUpperTriangle(product);
    return product;
}

MatrixXd XXpLowerTriang(const MatrixXd& L) {
    MatrixXd product = MatrixXd::Zero(L.rows(), L.rows());
    for (Index j = 0; j < L.rows(); ++j) {
        const Index n = L.rows() - j;
        for (Index k = 0; k <= j; ++k) product.col(j).tail(n) += L(j, k) * L.col(k).tail(n);
    }
    MirrorLowerTriangle(product);
    return product;
}

double quadForm_Ax(const MatrixXd& A, const VectorXd& x) { return detail::SumOfProducts(XpZ(A, x), 0.0, x, 0.0); }
double quadForm_xA(const MatrixXd& A, const RowVectorXd& x) { return quadForm_Ax(A, VectorXd(x.transpose())); }

MatrixXd floor(const MatrixXd& A) {
    return A.unaryExpr([](double cell) { return std::floor(cell); });
}
MatrixXd ceil(const MatrixXd& A) {
    return A.unaryExpr([](double cell) { return std::ceil(cell); });
}
MatrixXd round(const MatrixXd& A) {
    return A.unaryExpr([](double cell) { return std::round(cell); });
}
MatrixXi double2int(const MatrixXd& A) { return A.unaryExpr(&ToInt); }

void vectorPower(const VectorXd& v, const int& p, VectorXd& out) {
    const double exponent = p;
    detail::Assign(out, v.unaryExpr([exponent](double base) { return Power(base, exponent); }));
}

void matrixPower(MatrixXd& A, const int& p) {
    if (p < 2) return;
    const MatrixXd transposed = A.transpose();
    for (int done = 1; done < p; ++done) A = XpZ(transposed, A);
}

void matrixEPower(const MatrixXd& A, const MatrixXd& B, MatrixXd& out) { detail::Assign(out, A.binaryExpr(B, &Power)); }
void matrixEPower(MatrixXd& A, const MatrixXd& B) { matrixEPower(A, B, A); }
void matrixEPowerExpand(MatrixXd& A, double p) {
    A = A.unaryExpr([p](double base) { return Power(base, p); });
}

bool check_SymmetricPD(const MatrixXd& A, int n, bool& dimensions, bool& symmetric, bool& positiveDefinite) {
    if (A.rows() != n || A.cols() != n) return dimensions = false;
    if (!IsExactlySymmetric(A)) return symmetric = false;
    if (!HasPositiveEigenvalues(A)) return positiveDefinite = false;
    return true;
}

std::string dropMissing(const MatrixXd& A, MatrixXd& out) {
    std::vector<int> rows;
    return dropMissing(A, out, rows);
}

std::string dropMissing(const MatrixXd& A, MatrixXd& out, std::vector<int>& rows) {
    std::vector<const double*> columns;
    for (Index j = 0; j < A.cols(); ++j) columns.push_back(A.col(j).data());
    const detail::CompleteRows complete(A.rows(), columns);
    if (complete.Count() == 0) return "noData";
    rows.insert(rows.end(), complete.Rows().begin(), complete.Rows().end());

    MatrixXd kept(complete.Count(), A.cols());  // of its own, since out may be A
    for (Index j = 0; j < A.cols(); ++j) complete.Copy(A.col(j).data(), kept.col(j).data());
    out.swap(kept);
    return "OK";
}

}  // namespace quarn
