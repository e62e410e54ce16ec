#include <quarn/base/Resizing_detail.h>
#include <quarn/numerics/Densities.h>
#include <quarn/numerics/NormalTail_detail.h>
#include <quarn/numerics/Reductions_detail.h>

#include <Eigen/LU>
#include <boost/math/distributions/fisher_f.hpp>
#include <boost/math/distributions/normal.hpp>
#include <boost/math/distributions/weibull.hpp>

#include <cmath>
#include <limits>

namespace quarn {
namespace {

using Eigen::Index;

constexpr double RootHalf = 0.70710678118654752440;
constexpr double LogPiQuarter = 0.28618247146235004;

/// out(i) = law(x(i)).
template <class Law>
void ForCells(const MatrixXd& x, MatrixXd& out, Law law) {
    detail::Assign(out, x.unaryExpr(law));
}

double NormalDensity(double z, double s) { return std::exp(-0.5 * z * z) * detail::InverseRootTwoPi / s; }

/// Phi(z), with all its digits in the lower tail.
double NormalProbability(double z) { return 0.5 * std::erfc(-z * RootHalf); }

double Logit(double x) { return std::log(x) - std::log1p(-x); }

// Restricted to the tail from t = -m/s > 0 on. At the distance d = x/s from there, phi(t + d)/phi(t) is
// exp(-d (d/2 + t)), and Phi(m/s) = phi(t) MillsRatio(t): phi(t), which may underflow, cancels.
double TailDecay(double d, double t) { return std::exp(-d * (0.5 * d + t)); }

/// What lgamma(x) has beyond (x - 1/2) log(x) - x + log(2 pi)/2, for x >= 10, to an absolute error of 5e-17.
double StirlingRest(double x) {
    const double w = 1.0 / (x * x);
    const double series =
        1.0 / 12 - w * (1.0 / 360 - w * (1.0 / 1260 -
                                         w * (1.0 / 1680 - w * (1.0 / 1188 - w * (691.0 / 360360 - w * (1.0 / 156))))));
    return series / x;
}

double LogGamma(double x) {
    int sign = 0;
    return ::lgamma_r(x, &sign);  // std::lgamma writes the sign to a global variable
}

/// exp(constant - q/2).
struct NormalLaw {
    explicit NormalLaw(const MatrixXd& V) : logConstant(-static_cast<double>(V.rows()) * detail::LogRootTwoPi) {
        const Eigen::PartialPivLU<MatrixXd> lu(V);
        const VectorXd pivots = lu.matrixLU().diagonal();
        double sign = static_cast<double>(lu.permutationP().determinant());
        for (Index i = 0; i < pivots.size(); ++i) {
            logConstant -= 0.5 * std::log(std::abs(pivots[i]));
            if (pivots[i] < 0.0) sign = -sign;
        }
        if (sign < 0.0) logConstant = std::numeric_limits<double>::quiet_NaN();  // root of a negative determinant
    }

    template <class Difference>
    double Density(const Difference& difference, const MatrixXd& F, VectorXd& y) const {
        y.noalias() = F * difference.transpose();
        return std::exp(logConstant - 0.5 * detail::SumOfSquares(y, 0.0));
    }

    double logConstant;
};

}  // namespace

void normpdf(const MatrixXd& x, double m, double s, MatrixXd& out) {
    ForCells(x, out, [=](double cell) { return NormalDensity((cell - m) / s, s); });
}

void normcdf(const MatrixXd& x, double m, double s, MatrixXd& out) {
    const boost::math::normal_distribution<double> law(m, s);
    ForCells(x, out, [&](double cell) { return boost::math::cdf(law, cell); });
}

double logitnormpdf(const double& x, const double& m, const double& s) {
    return NormalDensity((Logit(x) - m) / s, s) / (x * (1.0 - x));
}
void logitnormpdf(const MatrixXd& x, double m, double s, MatrixXd& out) {
    ForCells(x, out, [=](double cell) { return logitnormpdf(cell, m, s); });
}

double logitnormcdf(const double& x, const double& m, const double& s) { return NormalProbability((Logit(x) - m) / s); }
void logitnormcdf(const MatrixXd& x, double m, double s, MatrixXd& out) {
    ForCells(x, out, [=](double cell) { return logitnormcdf(cell, m, s); });
}

double truncnpdf(const double& x, const double& m, const double& s) {
    const double t = -m / s;
    if (t > 0.0) return TailDecay(x / s, t) / (s * detail::MillsRatio(t));
    return NormalDensity((x - m) / s, s) / NormalProbability(-t);
}
void truncnpdf(const MatrixXd& x, double m, double s, MatrixXd& out) {
    ForCells(x, out, [=](double cell) { return truncnpdf(cell, m, s); });
}

double truncncdf(const double& x, const double& m, const double& s) {
    const double t = -m / s, z = (x - m) / s;
    if (t > 0.0 && x >= 0.0) return 1.0 - TailDecay(x / s, t) * (detail::MillsRatio(z) / detail::MillsRatio(t));
    return (NormalProbability(z) - NormalProbability(t)) / NormalProbability(-t);
}
void truncncdf(const MatrixXd& x, double m, double s, MatrixXd& out) {
    ForCells(x, out, [=](double cell) { return truncncdf(cell, m, s); });
}

double logisticpdf(const double& x, const double& m, const double& s) {
    const double e = std::exp(-std::abs((m - x) / s));  // the density is even in u, and exp(|u|) may overflow
    const double perScale = s > 0.0 ? 1.0 / s : std::numeric_limits<double>::quiet_NaN();
    return e * perScale / ((1.0 + e) * (1.0 + e));
}
void logisticpdf(const MatrixXd& x, double m, double s, MatrixXd& out) {
    ForCells(x, out, [=](double cell) { return logisticpdf(cell, m, s); });
}

double logisticcdf(const double& x, const double& m, const double& s) { return 1.0 / (1.0 + std::exp((m - x) / s)); }
void logisticcdf(const MatrixXd& x, double m, double s, MatrixXd& out) {
    ForCells(x, out, [=](double cell) { return logisticcdf(cell, m, s); });
}

double weibullpdf(const double& x, const double& shape, const double& scale) {
    return boost::math::pdf(boost::math::weibull_distribution<double>(shape, scale), x);
}
void weibullpdf(const MatrixXd& x, double shape, double scale, MatrixXd& out) {
    const boost::math::weibull_distribution<double> law(shape, scale);
    ForCells(x, out, [&](double cell) { return boost::math::pdf(law, cell); });
}

double fisherpdf(const double& x, const double& df1, const double& df2) {
    return boost::math::pdf(boost::math::fisher_f_distribution<double>(df1, df2), x);
}
void fisherpdf(const MatrixXd& x, double df1, double df2, MatrixXd& out) {
    const boost::math::fisher_f_distribution<double> law(df1, df2);
    ForCells(x, out, [&](double cell) { return boost::math::pdf(law, cell); });
}

double mvnormpdf(const RowVectorXd& x, const RowVectorXd& m, const MatrixXd& V, const MatrixXd& F) {
    VectorXd y(x.size());
    const RowVectorXd difference = x - m;
    return NormalLaw(V).Density(difference, F, y);
}

void mvnormpdf(const MatrixXd& X, const RowVectorXd& m, const MatrixXd& V, const MatrixXd& F, MatrixXd& out) {
    const NormalLaw law(V);
    VectorXd y(X.cols()), densities(X.rows());
    RowVectorXd difference(X.cols());
    for (Index i = 0; i < X.rows(); ++i) {
        difference = X.row(i) - m;
        densities[i] = law.Density(difference, F, y);
    }
    detail::Assign(out, densities);
}

double lmvgamma(double a, int p) {
    double sum = static_cast<double>(p) * (static_cast<double>(p) - 1.0) * LogPiQuarter;
    for (int j = 0; j < p; ++j) sum += LogGamma(a - 0.5 * j);
    return sum;
}
void lmvgamma(const MatrixXd& a, int p, MatrixXd& out) {
    ForCells(a, out, [=](double cell) { return lmvgamma(cell, p); });
}

double mvgamma(double a, int p) { return std::exp(lmvgamma(a, p)); }
void mvgamma(const MatrixXd& a, int p, MatrixXd& out) {
    ForCells(a, out, [=](double cell) { return mvgamma(cell, p); });
}

double lbeta(double a, double b) {
    constexpr double Large = 10.0;
    const double p = std::min(a, b), q = std::max(a, b);
    if (!(p > 0.0 && q >= Large && std::isfinite(q))) return LogGamma(a) + LogGamma(b) - LogGamma(a + b);
    const double share = p / (p + q);
    const double restOfLarge = StirlingRest(q) - StirlingRest(p + q);
    if (p < Large) {
        return LogGamma(p) + restOfLarge + p - p * std::log(p + q) + (q - 0.5) * std::log1p(-share);
    }
    const double rest = StirlingRest(p) + restOfLarge;
    return detail::LogRootTwoPi - 0.5 * std::log(q) + rest + (p - 0.5) * std::log(share) + q * std::log1p(-share);
}
void lbeta(const MatrixXd& a, const MatrixXd& b, MatrixXd& out) {
    detail::Assign(out, a.binaryExpr(b, [](double p, double q) { return lbeta(p, q); }));
}

double beta(double a, double b) { return std::exp(lbeta(a, b)); }
void beta(const MatrixXd& a, const MatrixXd& b, MatrixXd& out) {
    detail::Assign(out, a.binaryExpr(b, [](double p, double q) { return beta(p, q); }));
}

}  // namespace quarn
