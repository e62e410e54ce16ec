#include <quarn/numerics/MatrixHelpers.h>
#include <quarn/random/Multivariate.h>
#include <quarn/random/TruncatedMultivariateNormal.h>
#include <quarn/random/TruncatedNormal_detail.h>

#include <Eigen/Cholesky>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace quarn {

namespace {

using namespace detail::truncated;
using Eigen::Index;

// Rejection

/// Draws into x, of mu's size. Without codes, all coordinates are to be at most 0. For n = 1 no attempt is made.
void Reject(Rng& rng, Norm& norm, const VectorXd& mu, const MatrixXd& L, const VectorXi* codes, VectorXd& x, bool& ok) {
    const auto fails = [&](Index i) {
        const int code = codes ? (*codes)[i] : 0;
        return (code == 1 && x[i] < 0.0) || (code == 0 && x[i] > 0.0);
    };
    const double limit = std::min(std::floor(std::pow(static_cast<double>(mu.size()), 5) * 0.5), 0x1p62);
    for (auto left = static_cast<std::int64_t>(limit); left > 0; --left) {
        mvnormrnd(rng, norm, mu, L, x);
        ok = true;
        for (Index i = 0; i < x.size(); ++i) ok = ok && !fails(i);
        if (ok) return;
    }
}

VectorXd Reject(Rng& rng, Norm& norm, const VectorXd& mu, const MatrixXd& L, const VectorXi* codes, bool& ok) {
    VectorXd x = VectorXd::Constant(mu.size(), NaN);
    Reject(rng, norm, mu, L, codes, x, ok);
    return x;
}

// The Gibbs scan

/// The laws of the coordinates given the others: coordinate i has mean mu(i) + sum over j of K(i,j) (x(j) - mu(j)) and
/// standard deviation sd(i). K is kept in units of the standard deviations, Q(i,j) = K(i,j) sd(j) / sd(i), with 0 on
/// the diagonal.
struct Conditionals {
    Conditionals(const MatrixXd& K, const VectorXd& deviations)
        : Q(deviations.cwiseInverse().asDiagonal() * K * deviations.asDiagonal()), sd(deviations) {}
    MatrixXd Q;
    VectorXd sd;
};

Index Other(Index i, Index k) { return k < i ? k : k + 1; }  ///< the k-th coordinate but i

Conditionals FromCoefficients(const MatrixXd& C, const VectorXd& sd) {
    const Index n = sd.size();
    MatrixXd K = MatrixXd::Zero(n, n);
    for (Index i = 0; i < n; ++i) {
        for (Index k = 0; k + 1 < n; ++k) K(i, Other(i, k)) = -C(i, k);
    }
    return {K, sd};
}

Conditionals FromPrecision(const MatrixXd& P) {
    MatrixXd K = -(P.diagonal().cwiseInverse().asDiagonal() * P);
    K.diagonal().setZero();
    return {K, P.diagonal().cwiseSqrt().cwiseInverse()};
}

Conditionals FromCovariance(const MatrixXd& V, const std::vector<MatrixXd>& W) {
    const Index n = V.rows();
    if (n == 1) return {MatrixXd::Zero(1, 1), V.cwiseSqrt()};
    MatrixXd K = MatrixXd::Zero(n, n);
    VectorXd sd(n);
    RowVectorXd v(n - 1);
    for (Index i = 0; i < n; ++i) {
        for (Index k = 0; k + 1 < n; ++k) v[k] = V(i, Other(i, k));
        const MatrixXd& inverse = W[static_cast<std::size_t>(i)];
        const RowVectorXd b = v * inverse;
        for (Index k = 0; k + 1 < n; ++k) K(i, Other(i, k)) = b[k];
        sd[i] = std::sqrt(V(i, i) - quadForm_xA(inverse, v));
    }
    return {K, sd};
}

/// The scan, with its working space. It is done in units of the conditional standard deviations, which leaves one
/// multiplication and two additions between a draw and the bound of the next: with g = mu / sd and d = (x - mu) / sd,
/// the mean of coordinate i given the others is sd(i) (g(i) + s(i)) with s(i) = sum over j of Q(i,j) d(j), and the draw
/// is d(i) = s(i) - z with z at or above g(i) + s(i), or for codes other than 0, d(i) = s(i) + z with z at or above
/// -(g(i) + s(i)). s(i) gathers its terms as the other coordinates are drawn: those of i + 1, ..., n - 1 in the sweep
/// before, then those of 0, ..., i - 1.
class Scan {
 public:
    explicit Scan(Index n) : m_g(n), m_d(n), m_s(n) {}

    /// x goes from the start to the draw. codes may be null: all 0.
    void Run(Rng& rng, Unif& unif, Norm& norm, const VectorXd& mu, const Conditionals& laws, const VectorXi* codes,
             VectorXd& x) {
        const Index n = x.size();
        if (n > 1 && !x.allFinite()) return;
        Begin(mu, laws, x);
        DrawsAhead draw{rng, unif, norm};
        const Index sweeps = n == 1 ? 1 : 2 * n + 10;
        for (Index sweep = 0; sweep < sweeps; ++sweep) {
            for (Index i = 0; i < n; ++i) {
                const double s = m_s[i], mean = m_g[i] + s;
                m_s[i] = 0.0;
                const bool positive = codes && (*codes)[i] != 0;
                m_d[i] = positive ? s + ShortenedKernel(draw, -mean) : s - ShortenedKernel(draw, mean);
                Add(laws.Q, i, n);
            }
            if (!m_d.allFinite()) break;
        }
        for (Index i = 0; i < n; ++i) {
            const double drawn = mu[i] + laws.sd[i] * m_d[i];  // the rounding of which may leave the orthant
            const bool positive = codes && (*codes)[i] != 0;
            x[i] = (positive ? drawn < 0.0 : drawn > 0.0) ? 0.0 : drawn;
        }
    }

 private:
    void Begin(const VectorXd& mu, const Conditionals& laws, const VectorXd& x) {
        m_g = mu.cwiseQuotient(laws.sd);
        m_d = (x - mu).cwiseQuotient(laws.sd);
        m_s.setZero();
        for (Index j = 1; j < x.size(); ++j) Add(laws.Q, j, j);
    }

    /// The terms of coordinate j in s(0), ..., s(end-1).
    void Add(const MatrixXd& Q, Index j, Index end) {
        const double d = m_d[j];
        const double* __restrict column = Q.data() + j * Q.rows();
        double* __restrict s = m_s.data();
        for (Index i = 0; i < end; ++i) s[i] += column[i] * d;
    }

    VectorXd m_g, m_d, m_s;
};

VectorXd ScanFrom(Rng& rng, Unif& unif, Norm& norm, const VectorXd& mu, const Conditionals& laws, const VectorXi* codes,
                  const VectorXd& start) {
    VectorXd x = mu.size() == 1 ? mu : start;  // in one dimension the start is not used
    Scan(x.size()).Run(rng, unif, norm, mu, laws, codes, x);
    return x;
}

// The latent matrix

/// What is needed to draw a column: by rejection, and by the scan.
struct ColumnLaw {
    MatrixXd L;
    Conditionals conditionals;
};

MatrixXd CholeskyFactor(const MatrixXd& V) { return V.llt().matrixL(); }

MatrixXd Inverse(const MatrixXd& V) { return V.ldlt().solve(MatrixXd::Identity(V.rows(), V.cols())); }

/// The inverses of V without row and column i, for all i.
std::vector<MatrixXd> InversesWithoutOne(const MatrixXd& V) {
    const Index n = V.rows();
    std::vector<MatrixXd> W;
    MatrixXd rest(n - 1, n - 1);
    for (Index i = 0; i < n; ++i) {
        for (Index c = 0; c + 1 < n; ++c) {
            for (Index r = 0; r + 1 < n; ++r) rest(r, c) = V(Other(i, r), Other(i, c));
        }
        W.push_back(Inverse(rest));
    }
    return W;
}

/// out = Ax, each element summed from the first column to the last.
void Multiply(const MatrixXd& A, const VectorXd& x, VectorXd& out) {
    out.setZero();
    for (Index j = 0; j < A.cols(); ++j) out += A.col(j) * x[j];
}

/// laws[c] is that of choice c, in the coordinates of A[c].
void UpdateByChoice(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, const std::vector<MatrixXd>& A,
                    const std::vector<MatrixXd>& B, const std::vector<ColumnLaw>& laws, MatrixXd& X,
                    const VectorXi& y) {
    constexpr int Tries = 21;
    VectorXd old(X.rows()), m(X.rows()), start(X.rows()), draw(X.rows());
    Scan scan(X.rows());
    for (Index t = 0; t < X.cols(); ++t) {
        const auto c = static_cast<std::size_t>(y[t]);
        m = mu.col(t);
        start = X.col(t);
        if (c != 0) {
            old = start;
            Multiply(A[c], old, start);
            old = m;
            Multiply(A[c], old, m);
        }
        bool ok = false, finite = false;
        for (int attempt = 0; attempt < Tries && !finite; ++attempt) {
            Reject(rng, norm, m, laws[c].L, nullptr, draw, ok);
            if (!ok) {
                draw = start;
                scan.Run(rng, unif, norm, m, laws[c].conditionals, nullptr, draw);
            }
            finite = draw.allFinite();
        }
        if (!finite) continue;  // the old column stays, to the last digit
        if (c != 0) {
            old = draw;
            Multiply(B[c], old, draw);
        }
        X.col(t) = draw;
    }
}

/// The laws of all choices: conditionals(c, Vc) are those of the scan, with Vc = A[c] V A[c]'.
template <class ConditionalsOf>
std::vector<ColumnLaw> LawsOfChoices(const std::vector<MatrixXd>& A, const MatrixXd& V, ConditionalsOf conditionals) {
    std::vector<ColumnLaw> laws;
    for (std::size_t c = 0; c <= static_cast<std::size_t>(V.rows()); ++c) {
        const MatrixXd Vc = c == 0 ? V : MatrixXd(A[c] * V * A[c].transpose());
        laws.push_back({CholeskyFactor(Vc), conditionals(c, Vc)});
    }
    return laws;
}

}  // namespace

VectorXd MVN_trunc_LV(Rng& rng, Norm& norm, const VectorXd& mu, const MatrixXd& L, bool& ok) {
    return Reject(rng, norm, mu, L, nullptr, ok);
}

VectorXd MVN_trunc_LV(Rng& rng, Norm& norm, const VectorXd& mu, const MatrixXd& L, const VectorXi& codes, bool& ok) {
    return Reject(rng, norm, mu, L, &codes, ok);
}

VectorXd MVN_trunc_P(Rng& rng, Unif& unif, Norm& norm, const VectorXd& mu, const MatrixXd& P, const VectorXd& start) {
    return ScanFrom(rng, unif, norm, mu, FromPrecision(P), nullptr, start);
}

VectorXd MVN_trunc_P(Rng& rng, Unif& unif, Norm& norm, const VectorXd& mu, const MatrixXd& P, const VectorXd& start,
                     const VectorXi& codes) {
    return ScanFrom(rng, unif, norm, mu, FromPrecision(P), &codes, start);
}

VectorXd MVN_trunc_P(Rng& rng, Unif& unif, Norm& norm, const VectorXd& mu, const MatrixXd& C, const VectorXd& sd,
                     const VectorXd& start, const VectorXi& codes) {
    return ScanFrom(rng, unif, norm, mu, FromCoefficients(C, sd), &codes, start);
}

VectorXd MVN_trunc_V(Rng& rng, Unif& unif, Norm& norm, const VectorXd& mu, const MatrixXd& V,
                     const std::vector<MatrixXd>& W, const VectorXd& start) {
    return ScanFrom(rng, unif, norm, mu, FromCovariance(V, W), nullptr, start);
}

void MNtrunc_VP(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, const std::vector<MatrixXd>& A,
                const std::vector<MatrixXd>& B, const MatrixXd& V, const MatrixXd& P, MatrixXd& X, VectorXi& y) {
    const auto conditionals = [&](std::size_t c, const MatrixXd& Vc) {
        return FromPrecision(c == 0 ? P : Inverse(Vc));
    };
    UpdateByChoice(rng, unif, norm, mu, A, B, LawsOfChoices(A, V, conditionals), X, y);
}

void MNtrunc_V(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, const std::vector<MatrixXd>& A,
               const std::vector<MatrixXd>& B, const MatrixXd& V, MatrixXd& X, VectorXi& y) {
    const auto conditionals = [](std::size_t, const MatrixXd& Vc) {
        return FromCovariance(Vc, InversesWithoutOne(Vc));
    };
    UpdateByChoice(rng, unif, norm, mu, A, B, LawsOfChoices(A, V, conditionals), X, y);
}

void MVtrunc_LVP(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& mu, const MatrixXd& L, const MatrixXd& P,
                 MatrixXd& X, const MatrixXi& codes) {
    const Conditionals conditionals = FromPrecision(P);
    VectorXd m(X.rows()), draw(X.rows());
    Scan scan(X.rows());
    VectorXi code(X.rows());
    bool ok = false;
    for (Index t = 0; t < X.cols(); ++t) {
        m = mu.col(t);
        code = codes.col(t);
        Reject(rng, norm, m, L, &code, draw, ok);
        if (!ok) {
            draw = X.col(t);
            scan.Run(rng, unif, norm, m, conditionals, &code, draw);
        }
        X.col(t) = draw;
    }
}

}  // namespace quarn
