#include "Triple.h"

#include <quarn/random/Multivariate.h>
#include <quarn/random/TruncatedMultivariateNormal.h>
#include <quarn/random/TruncatedNormal.h>

#include <Eigen/Cholesky>
#include <Eigen/LU>
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::MatrixXi;
using quarn::VectorXd;
using quarn::VectorXi;
using quarn_test::NaN;
using quarn_test::SameDigits;
using quarn_test::Triple;

MatrixXd Covariance(Index n) {
    return MatrixXd::NullaryExpr(n, n, [](Index i, Index j) {
        return std::pow(-0.6, std::abs(i - j)) * (1.1 + 0.3 * static_cast<double>(i)) *
               (1.1 + 0.3 * static_cast<double>(j));
    });
}
MatrixXd Factor(const MatrixXd& V) { return V.llt().matrixL(); }
VectorXd Mean(Index n) { return VectorXd::LinSpaced(n, -1.0, 0.8); }
VectorXi Codes(Index n) {
    return VectorXi::NullaryExpr(n, [](Index i) { return static_cast<int>(i % 2); });
}

MatrixXd WithoutOne(const MatrixXd& V, Index i) {
    MatrixXd rest(V.rows() - 1, V.rows() - 1);
    for (Index r = 0; r < rest.rows(); ++r) {
        for (Index c = 0; c < rest.cols(); ++c) rest(r, c) = V(r + (r >= i), c + (c >= i));
    }
    return rest;
}

/// The scan as it is defined, by the univariate generators.
VectorXd PlainScan(Triple& T, const VectorXd& mu, const MatrixXd& P, VectorXd x, const VectorXi& codes) {
    const Index n = mu.size();
    const Index sweeps = n == 1 ? 1 : 2 * n + 10;
    if (n == 1) x = mu;  // the start is not used
    for (Index sweep = 0; sweep < sweeps; ++sweep) {
        for (Index i = 0; i < n; ++i) {
            double mean = mu[i];
            for (Index j = 0; j < n; ++j) mean -= j == i ? 0.0 : P(i, j) / P(i, i) * (x[j] - mu[j]);
            const double sd = 1.0 / std::sqrt(P(i, i));
            x[i] = codes[i] == 0 ? quarn::tnormrnd_upper(TRIPLE(T), mean, sd, 0.0)
                                 : quarn::tnormrnd_lower(TRIPLE(T), mean, sd, 0.0);
        }
    }
    return x;
}

TEST(GibbsScan, IsThatOfTheUnivariateGeneratorsInAllForms) {
    for (const Index n : {1, 2, 3, 5, 20}) {
        const MatrixXd V = Covariance(n), P = V.inverse();
        const VectorXd mu = Mean(n), sd = P.diagonal().array().rsqrt();
        std::vector<MatrixXd> W;
        MatrixXd C(n, n - 1);
        for (Index i = 0; i < n; ++i) {
            W.push_back(n == 1 ? MatrixXd(0, 0) : MatrixXd(WithoutOne(V, i).inverse()));
            for (Index k = 0; k + 1 < n; ++k) C(i, k) = P(i, k + (k >= i)) / P(i, i);
        }
        const VectorXi codes = Codes(n), none = VectorXi::Zero(n);
        const Index length = n == 1 ? 0 : n;  // of a start
        const VectorXd low = VectorXd::Constant(length, -0.4);
        const VectorXd start = (0.7 * codes.cast<double>().array() - 0.3).matrix().head(length);
        const auto expect = [&](const VectorXd& from, const VectorXi& region, auto form) {
            Triple T(3), reference(3);
            const VectorXd x = form(T);
            const VectorXd expected = PlainScan(reference, mu, P, from, region);
            EXPECT_LT((x - expected).cwiseAbs().maxCoeff(), 1e-11) << n;
            EXPECT_TRUE(SameState(T, reference)) << n;
        };
        expect(low, none, [&](Triple& T) { return quarn::MVN_trunc_P(TRIPLE(T), mu, P, low); });
        expect(low, none, [&](Triple& T) { return quarn::MVN_trunc_V(TRIPLE(T), mu, V, W, low); });
        expect(start, codes, [&](Triple& T) { return quarn::MVN_trunc_P(TRIPLE(T), mu, P, start, codes); });
        expect(start, codes, [&](Triple& T) { return quarn::MVN_trunc_P(TRIPLE(T), mu, C, sd, start, codes); });
        const VectorXi others = 7 * codes;  // any code but 0
        expect(start, codes, [&](Triple& T) { return quarn::MVN_trunc_P(TRIPLE(T), mu, P, start, others); });
    }
}

TEST(GibbsScan, StaysInTheOrthantFarOutAndReturnsAStartThatIsNotFinite) {
    const MatrixXd P = Covariance(3).inverse();
    const VectorXi codes{{1, 0, 1}};
    std::vector<double> means{-50.0, 50.0};
    for (double mean = -1e9; mean < 1.1e9; mean += 3.7e7) means.push_back(mean);
    for (const double mean : means) {
        Triple T(5);
        const VectorXd mu = VectorXd::Constant(3, mean);
        VectorXd x{{0.1, -0.1, 0.1}};
        for (int i = 0; i < 50; ++i) {
            x = quarn::MVN_trunc_P(TRIPLE(T), mu, P, x, codes);
            ASSERT_TRUE(x.allFinite() && x[0] >= 0.0 && x[1] <= 0.0 && x[2] >= 0.0) << x.transpose();
        }
    }
    Triple T(5);
    const VectorXd start{{-1.0, NaN, -1.0}}, mu = Mean(3);
    EXPECT_TRUE(SameDigits(quarn::MVN_trunc_P(TRIPLE(T), mu, P, start), start));
    EXPECT_TRUE(SameState(T, Triple(5)));
    const VectorXd notFinite{{0.0, NaN, 0.0}};  // a mean: the first sweep is the last
    EXPECT_FALSE(quarn::MVN_trunc_P(TRIPLE(T), notFinite, P, VectorXd(VectorXd::Zero(3))).allFinite());
}

TEST(Rejection, MakesAttemptsUpToItsLimit) {
    const int limits[] = {0, 16, 121, 512, 1562};
    for (int n = 1; n <= 5; ++n) {
        const MatrixXd L = Factor(Covariance(n));
        const VectorXd mu = VectorXd::Constant(n, 1000.0);
        for (const bool before : {false, true}) {
            Triple T(8), reference(8);
            bool ok = before;
            quarn::MVN_trunc_LV(T.rng, T.norm, mu, L, ok);
            EXPECT_EQ(ok, n == 1 && before) << n;
            for (int i = 0; i < n * limits[n - 1]; ++i) quarn::NormalDraw(reference.rng, reference.norm);
            EXPECT_TRUE(SameState(T, reference)) << n;
        }
    }
}

TEST(Rejection, ReturnsTheFirstDrawInTheOrthantOfTheCodes) {
    const MatrixXd L = Factor(Covariance(3));
    for (const VectorXi& codes :
         {VectorXi{{0, 0, 0}}, VectorXi{{1, 0, 1}}, VectorXi{{5, 1, -1}}, VectorXi{{1, 1, 1}}}) {
        const VectorXd mu = 2.0 * codes.cast<double>().cwiseMin(1.0).array() - 1.0;  // within the limit of attempts
        Triple T(9), reference(9), withoutCodes(9);
        for (int i = 0; i < 200; ++i) {
            VectorXd expected(3);
            const auto inside = [&](Index k) {
                return codes[k] == 1 ? expected[k] >= 0.0 : codes[k] != 0 || expected[k] <= 0.0;
            };
            do quarn::mvnormrnd(reference.rng, reference.norm, mu, L, expected);
            while (!(inside(0) && inside(1) && inside(2)));
            bool ok = false;
            ASSERT_TRUE(SameDigits(quarn::MVN_trunc_LV(T.rng, T.norm, mu, L, codes, ok), expected) && ok);
            if (!codes.isZero()) continue;
            ASSERT_TRUE(SameDigits(quarn::MVN_trunc_LV(withoutCodes.rng, withoutCodes.norm, mu, L, ok), expected));
        }
    }
}

/// J utilities relative to a base: choice c is made where utility c is above 0 and above all others.
struct Choices {
    explicit Choices(Index J) : A(1), B(1) {  // the first are not read
        for (Index c = 0; c < J; ++c) {
            MatrixXd a = MatrixXd::Identity(J, J);
            a.col(c).setConstant(-1.0);
            A.push_back(a);
            B.push_back(a.inverse());
        }
    }
    std::vector<MatrixXd> A, B;
};

TEST(LatentMatrix, ByChoiceDrawsColumnAfterColumnByRejectionThenByTheScan) {
    for (const Index J : {1, 2, 3}) {
        const Choices maps(J);
        const MatrixXd V = Covariance(J), P = V.inverse();
        const Index N = 60;
        Triple T(12), reference(12), other(12);
        MatrixXd mu(J, N), X = MatrixXd::Constant(J, N, NaN);
        VectorXi y(N);
        for (Index t = 0; t < N; ++t) {
            const double size = t % 4 == 0 ? 30.0 : 1.0;
            for (Index i = 0; i < J; ++i) mu(i, t) = size * std::sin(static_cast<double>(3 * t + i));
            y[t] = static_cast<int>(t % (J + 1));
            X.col(t).setConstant(-1.0);
            if (y[t] > 0) X(y[t] - 1, t) = 2.0;
        }
        mu(0, 7) = NaN;  // cannot be drawn: the column stays
        MatrixXd X2 = X, expected = X;
        for (Index t = 0; t < N; ++t) {
            const auto c = static_cast<std::size_t>(y[t]);
            const MatrixXd A = c == 0 ? MatrixXd(MatrixXd::Identity(J, J)) : maps.A[c], Vc = A * V * A.transpose();
            VectorXd w;
            bool ok = false;
            for (int attempt = 0; attempt <= 20 && (attempt == 0 || !w.allFinite()); ++attempt) {
                w = quarn::MVN_trunc_LV(reference.rng, reference.norm, A * mu.col(t), Factor(Vc), ok);
                if (!ok) {
                    w = quarn::MVN_trunc_P(TRIPLE(reference), A * mu.col(t), MatrixXd(Vc.inverse()), A * X.col(t));
                }
            }
            if (w.allFinite()) expected.col(t) = A.inverse() * w;
        }
        quarn::MNtrunc_VP(TRIPLE(T), mu, maps.A, maps.B, V, P, X, y);
        quarn::MNtrunc_V(TRIPLE(other), mu, maps.A, maps.B, V, X2, y);
        EXPECT_LT((X - expected).cwiseAbs().maxCoeff(), 1e-9) << J;
        EXPECT_LT((X2 - expected).cwiseAbs().maxCoeff(), 1e-9) << J;
        EXPECT_TRUE(SameState(T, reference) && SameState(other, reference)) << J;
        for (Index t = 0; t < N; ++t) {
            Index best = 0;
            const double largest = X.col(t).maxCoeff(&best);
            EXPECT_EQ(largest > 0.0 ? best + 1 : 0, y[t]) << J << ' ' << t;
        }
    }
}

TEST(LatentMatrix, OfBinaryOutcomesDrawsColumnAfterColumn) {
    for (const Index n : {1, 2, 4}) {
        const MatrixXd V = Covariance(n), L = Factor(V), P = V.inverse();
        const Index N = 40;
        const MatrixXd mu = MatrixXd::NullaryExpr(
            n, N, [](Index i, Index t) { return 3.0 * std::cos(static_cast<double>(t + 5 * i)); });
        const MatrixXi codes =
            MatrixXi::NullaryExpr(n, N, [](Index i, Index t) { return static_cast<int>((t >> i) & 1); });
        MatrixXd X = 2.0 * codes.cast<double>().array() - 1.0, expected = X;
        Triple T(13), reference(13);
        for (Index t = 0; t < N; ++t) {
            bool ok = false;
            const VectorXi code = codes.col(t);
            VectorXd w = quarn::MVN_trunc_LV(reference.rng, reference.norm, mu.col(t), L, code, ok);
            if (!ok) {
                w = quarn::MVN_trunc_P(TRIPLE(reference), mu.col(t), P, X.col(t), code);
            }
            expected.col(t) = w;
        }
        quarn::MVtrunc_LVP(TRIPLE(T), mu, L, P, X, codes);
        EXPECT_TRUE(SameDigits(X, expected)) << n;
        EXPECT_TRUE(SameState(T, reference)) << n;
    }
}

}  // namespace
