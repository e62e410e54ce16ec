#include <quarn/base/Resizing_detail.h>
#include <quarn/numerics/MatrixHelpers.h>
#include <quarn/random/Gamma_detail.h>
#include <quarn/random/Multivariate.h>
#include <quarn/random/Univariate.h>

#include <cmath>
#include <limits>
#include <vector>

namespace quarn {

namespace {

using detail::GammaLaw;
using Eigen::Index;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

/// x = Tx in place, where T is the lower right corner of L, as large as x. By columns: each element gathers its terms
/// one by one, from the diagonal to the left, at any width of the processor's vectors.
void MultiplyLower(const MatrixXd& L, Index n, double* __restrict x) {
    const Index p = L.rows(), first = p - n;
    for (Index j = n - 1; j >= 0; --j) {
        const double* __restrict column = L.data() + (first + j) * p + first;
        const double z = x[j];
        x[j] = column[j] * z;
        for (Index i = j + 1; i < n; ++i) x[i] += column[i] * z;
    }
}

/// L z of a new z.
void CentredDraw(Rng& rng, Norm& norm, const MatrixXd& L, double* z) {
    const Index p = L.rows();
    for (Index i = 0; i < p; ++i) z[i] = NormalDraw(rng, norm);
    MultiplyLower(L, p, z);
}

}  // namespace

void mvnormrnd(Rng& rng, Norm& norm, const VectorXd& mean, const MatrixXd& L, RowVectorXd& out) {
    CentredDraw(rng, norm, L, out.data());
    out += mean.transpose();
}

void mvnormrnd(Rng& rng, Norm& norm, const VectorXd& mean, const MatrixXd& L, VectorXd& out) {
    CentredDraw(rng, norm, L, out.data());
    out += mean;
}

void mvnormrnd(Rng& rng, Norm& norm, const VectorXd& mean, const MatrixXd& L, MatrixXd& out) {
    VectorXd draw(out.cols());
    for (Index i = 0; i < out.rows(); ++i) {
        CentredDraw(rng, norm, L, draw.data());
        out.row(i) = (mean + draw).transpose();
    }
}

// Wishart

namespace {

/// Z = LA of Bartlett's decomposition. degrees(i) is df - i, for i < p; the last one is positive.
template <class Degrees>
void BartlettFactor(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& L, Degrees degrees, MatrixXd& Z) {
    const Index p = L.rows();
    detail::Resize(Z, p, p);
    Z.setZero();
    for (Index i = 1; i < p; ++i) {
        for (Index j = 0; j < i; ++j) Z(i, j) = NormalDraw(rng, norm);
    }
    for (Index i = 0; i < p; ++i) Z(i, i) = std::sqrt(gamrnd(rng, unif, norm, degrees(i) * 0.5, 0.5));
    for (Index j = 0; j < p; ++j) MultiplyLower(L, p - j, &Z(j, j));
}

/// The inverse of lower-triangular Z, by forward substitution in each column of I, from the diagonal on.
MatrixXd LowerInverse(const MatrixXd& Z) {
    const Index p = Z.rows();
    MatrixXd Y = MatrixXd::Identity(p, p);
    for (Index j = 0; j < p; ++j) {
        double* __restrict y = Y.data() + j * p;
        for (Index k = j; k < p; ++k) {
            const double* __restrict column = Z.data() + k * p;
            const double solved = y[k] / column[k];
            y[k] = solved;
            for (Index i = k + 1; i < p; ++i) y[i] -= column[i] * solved;
        }
    }
    return Y;
}

/// combine(Z), or NaN outside the domain. Subtraction in the type of df: integers are exact. out serves as Z.
template <class Df, class Combine>
void WishartDraw(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& L, Df df, MatrixXd& out, Combine combine) {
    if (&out == &L) return WishartDraw(rng, unif, norm, MatrixXd(L), df, out, combine);
    const Index p = L.rows();
    if (!(df > static_cast<Df>(p - 1)) || !std::isfinite(static_cast<double>(df))) {
        detail::Assign(out, MatrixXd::Constant(p, p, NaN));
        return;
    }
    const auto degrees = [df](Index i) { return static_cast<double>(df - static_cast<Df>(i)); };
    BartlettFactor(rng, unif, norm, L, degrees, out);
    out = combine(out);
}

MatrixXd InverseWishart(const MatrixXd& Z) { return XpX(LowerInverse(Z)); }

}  // namespace

void wishrnd_intdf(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& L, int df, MatrixXd& out) {
    WishartDraw(rng, unif, norm, L, df, out, XXpLowerTriang);
}

void wishrnd(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& L, double df, MatrixXd& out) {
    WishartDraw(rng, unif, norm, L, df, out, XXpLowerTriang);
}

void iwishrnd_intdf(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& L, int df, MatrixXd& out) {
    WishartDraw(rng, unif, norm, L, df, out, InverseWishart);
}

void iwishrnd(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& L, double df, MatrixXd& out) {
    WishartDraw(rng, unif, norm, L, df, out, InverseWishart);
}

// Dirichlet

namespace {

using Row = Eigen::Ref<RowVectorXd, 0, Eigen::InnerStride<>>;
using ConstRow = Eigen::Ref<const RowVectorXd, 0, Eigen::InnerStride<>>;

/// Tagged draws become shares of their sum.
void ToShares(Row x) {
    if (x.size() == 0) return;
    if (x.maxCoeff() < detail::leastSum) {
        for (Index j = 0; j < x.size(); ++j) x[j] = detail::LogOfTagged(x[j]);
        const double largest = x.maxCoeff();
        for (Index j = 0; j < x.size(); ++j) x[j] = std::exp(x[j] - largest);
    } else if (x.minCoeff() < 0.0) {
        for (Index j = 0; j < x.size(); ++j) x[j] = detail::ValueOfTagged(x[j]);
    }
    double sum = 0.0;
    for (Index j = 0; j < x.size(); ++j) sum += x[j];
    x *= 1.0 / sum;
}

bool InDomain(const ConstRow& alpha) {
    for (Index j = 0; j < alpha.size(); ++j) {
        if (!detail::PositiveFinite(alpha[j])) return false;
    }
    return true;
}

GammaLaw UnitGamma(double shape) { return GammaLaw(shape, 1.0); }

void DirichletRow(Rng& rng, Unif& unif, Norm& norm, const ConstRow& alpha, Row out) {
    if (!InDomain(alpha)) {
        out.setConstant(NaN);
        return;
    }
    GammaLaw law = UnitGamma(1.0);
    double shape = 1.0;
    for (Index j = 0; j < out.size(); ++j) {
        if (alpha[j] != shape) law = UnitGamma(shape = alpha[j]);  // neighbours are often equal
        out[j] = law.Tagged(rng, unif, norm);
    }
    ToShares(out);
}

}  // namespace

void drchrnd(Rng& rng, Unif& unif, Norm& norm, const RowVectorXd& alpha, RowVectorXd& out) {
    DirichletRow(rng, unif, norm, alpha, out);
}

void drchrnd(Rng& rng, Unif& unif, Norm& norm, const RowVectorXd& alpha, MatrixXd& out) {
    if (!InDomain(alpha)) {
        out.setConstant(NaN);
        return;
    }
    std::vector<GammaLaw> laws;
    for (Index j = 0; j < alpha.size(); ++j) laws.push_back(UnitGamma(alpha[j]));
    RowVectorXd x(alpha.size());
    for (Index i = 0; i < out.rows(); ++i) {
        for (Index j = 0; j < x.size(); ++j) x[j] = laws[static_cast<std::size_t>(j)].Tagged(rng, unif, norm);
        ToShares(x);
        out.row(i) = x;
    }
}

void drchrnd(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& alpha, MatrixXd& out) {
    for (Index i = 0; i < out.rows(); ++i) DirichletRow(rng, unif, norm, alpha.row(i), out.row(i));
}

}  // namespace quarn
