#include <quarn/base/Globals.h>
#include <quarn/random/Gamma_detail.h>
#include <quarn/random/Univariate.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace quarn {

namespace {

using detail::GammaLaw;
using detail::PositiveFinite;
using Eigen::Index;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

/// The one loop of all matrix forms: out(i, j) = draw(i, j).
template <class Draw>
void FillByRows(MatrixXd& out, Draw draw) {
    for (Index i = 0; i < out.rows(); ++i) {
        for (Index j = 0; j < out.cols(); ++j) out(i, j) = draw(i, j);
    }
}

}  // namespace

double gamrnd(Rng& rng, Unif& unif, Norm& norm, const double& shape, const double& rate) {
    return GammaLaw(shape, rate)(rng, unif, norm);
}

void gamrnd(Rng& rng, Unif& unif, Norm& norm, double shape, double rate, MatrixXd& out) {
    const GammaLaw law(shape, rate);
    FillByRows(out, [&](Index, Index) { return law(rng, unif, norm); });
}

void gamrnd(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& shape, const MatrixXd& rate, MatrixXd& out) {
    FillByRows(out, [&](Index i, Index j) { return gamrnd(rng, unif, norm, shape(i, j), rate(i, j)); });
}

void gamrnd(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& shape, double rate, MatrixXd& out) {
    FillByRows(out, [&](Index i, Index j) { return gamrnd(rng, unif, norm, shape(i, j), rate); });
}

// Weibull

namespace {
/// 1/shape; NaN outside the domain.
double WeibullPower(double shape, double scale) {
    return PositiveFinite(shape) && PositiveFinite(scale) ? 1.0 / shape : NaN;
}

double Weibull(Rng& rng, Unif& unif, double power, double scale) {
    if (std::isnan(power)) return NaN;
    return scale * std::pow(-std::log(1.0 - UniformDraw(rng, unif)), power);
}
}  // namespace

double weibullrnd(Rng& rng, Unif& unif, const double& shape, const double& scale) {
    return Weibull(rng, unif, WeibullPower(shape, scale), scale);
}

void weibullrnd(Rng& rng, Unif& unif, double shape, double scale, MatrixXd& out) {
    const double power = WeibullPower(shape, scale);
    FillByRows(out, [&](Index, Index) { return Weibull(rng, unif, power, scale); });
}

void weibullrnd(Rng& rng, Unif& unif, const MatrixXd& shape, const MatrixXd& scale, MatrixXd& out) {
    FillByRows(out, [&](Index i, Index j) { return weibullrnd(rng, unif, shape(i, j), scale(i, j)); });
}

void unifrnd(Rng& rng, Unif& unif, MatrixXd& out) {
    FillByRows(out, [&](Index, Index) { return UniformDraw(rng, unif); });
}

double evrnd(Rng& rng, Unif& unif, const double& location, const double& scale) {
    if (!std::isfinite(location) || !PositiveFinite(scale)) return NaN;
    return location - scale * std::log(-std::log(UniformDraw(rng, unif)));
}

void evrnd(Rng& rng, Unif& unif, double location, double scale, MatrixXd& out) {
    FillByRows(out, [&](Index, Index) { return evrnd(rng, unif, location, scale); });
}

void evrnd(Rng& rng, Unif& unif, const MatrixXd& location, const MatrixXd& scale, MatrixXd& out) {
    FillByRows(out, [&](Index i, Index j) { return evrnd(rng, unif, location(i, j), scale(i, j)); });
}

// Quotients of gamma variates. The draws are tagged: one too small for a double comes as its logarithm.

namespace {

/// Two gamma laws, drawn one after the other. Both are undefined if one is: nothing is drawn then.
struct GammaPair {
    GammaLaw first, second;

    static GammaPair Of(double shape1, double shape2, double rate) {
        if (!PositiveFinite(shape1) || !PositiveFinite(shape2)) rate = NaN;
        return {GammaLaw(shape1, rate), GammaLaw(shape2, rate)};
    }
};

double Beta(Rng& rng, Unif& unif, Norm& norm, const GammaPair& laws) {
    const double x = laws.first.Tagged(rng, unif, norm), y = laws.second.Tagged(rng, unif, norm);
    if (x < detail::leastSum && y < detail::leastSum) {
        return 1.0 / (1.0 + std::exp(detail::LogOfTagged(y) - detail::LogOfTagged(x)));
    }
    const double value = detail::ValueOfTagged(x);
    return value / (value + detail::ValueOfTagged(y));
}

constexpr double betaRate = 80.0;

/// (df2/df1)(x/y) of tagged draws x, y.
double FRatio(double x, double y, double df1, double df2) {
    if (x < 0.0 || y < 0.0) return (df2 / df1) * std::exp(detail::LogOfTagged(x) - detail::LogOfTagged(y));
    return (df2 / df1) * (x / y);
}

GammaPair FPair(double df1, double df2) { return GammaPair::Of(df1 * 0.5, df2 * 0.5, 0.5); }

/// A df of which 2/df overflows makes all draws 0, whatever the rate.
GammaLaw TScale(double df) { return GammaLaw(df * 0.5, std::max(df * 0.5, std::numeric_limits<double>::min())); }

/// z / sqrt(g) of a tagged draw g; NaN, without a draw of z, if that is NaN.
double TRatio(Rng& rng, Norm& norm, double g) {
    if (std::isnan(g)) return NaN;
    const double z = NormalDraw(rng, norm);
    return g < 0.0 ? z * std::exp(-0.5 * g) : z / std::sqrt(g);
}

}  // namespace

double betarnd(Rng& rng, Unif& unif, Norm& norm, const double& a, const double& b) {
    return Beta(rng, unif, norm, GammaPair::Of(a, b, betaRate));
}

void betarnd(Rng& rng, Unif& unif, Norm& norm, double a, double b, MatrixXd& out) {
    const GammaPair laws = GammaPair::Of(a, b, betaRate);
    FillByRows(out, [&](Index, Index) { return Beta(rng, unif, norm, laws); });
}

void betarnd(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& a, const MatrixXd& b, MatrixXd& out) {
    FillByRows(out, [&](Index i, Index j) { return betarnd(rng, unif, norm, a(i, j), b(i, j)); });
}

double chi2rnd(Rng& rng, Unif& unif, Norm& norm, const double& df) { return gamrnd(rng, unif, norm, df * 0.5, 0.5); }

void chi2rnd(Rng& rng, Unif& unif, Norm& norm, double df, MatrixXd& out) {
    gamrnd(rng, unif, norm, df * 0.5, 0.5, out);
}

void chi2rnd(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& df, MatrixXd& out) {
    FillByRows(out, [&](Index i, Index j) { return chi2rnd(rng, unif, norm, df(i, j)); });
}

double frnd(Rng& rng, Unif& unif, Norm& norm, const double& df1, const double& df2) {
    const GammaPair laws = FPair(df1, df2);
    const double x = laws.first.Tagged(rng, unif, norm);
    return FRatio(x, laws.second.Tagged(rng, unif, norm), df1, df2);
}

void frnd(Rng& rng, Unif& unif, Norm& norm, double df1, double df2, MatrixXd& out) {
    const GammaPair laws = FPair(df1, df2);
    MatrixXd x(out.rows(), out.cols());
    FillByRows(x, [&](Index, Index) { return laws.first.Tagged(rng, unif, norm); });
    FillByRows(out, [&](Index i, Index j) { return FRatio(x(i, j), laws.second.Tagged(rng, unif, norm), df1, df2); });
}

void frnd(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& df1, const MatrixXd& df2, MatrixXd& out) {
    MatrixXd x(out.rows(), out.cols());
    FillByRows(x, [&](Index i, Index j) { return FPair(df1(i, j), df2(i, j)).first.Tagged(rng, unif, norm); });
    FillByRows(out, [&](Index i, Index j) {
        const double y = FPair(df1(i, j), df2(i, j)).second.Tagged(rng, unif, norm);
        return FRatio(x(i, j), y, df1(i, j), df2(i, j));
    });
}

double trnd(Rng& rng, Unif& unif, Norm& norm, const double& df) {
    return TRatio(rng, norm, TScale(df).Tagged(rng, unif, norm));
}

void trnd(Rng& rng, Unif& unif, Norm& norm, double df, MatrixXd& out) {
    const GammaLaw law = TScale(df);
    FillByRows(out, [&](Index, Index) { return law.Tagged(rng, unif, norm); });
    FillByRows(out, [&](Index i, Index j) { return TRatio(rng, norm, out(i, j)); });
}

void trnd(Rng& rng, Unif& unif, Norm& norm, const MatrixXd& df, MatrixXd& out) {
    FillByRows(out, [&](Index i, Index j) { return TScale(df(i, j)).Tagged(rng, unif, norm); });
    FillByRows(out, [&](Index i, Index j) { return TRatio(rng, norm, out(i, j)); });
}

// Poisson

namespace {

double PoissonByProduct(Rng& rng, Unif& unif, double lambda) {
    const double limit = std::exp(-lambda);
    double product = UniformDraw(rng, unif), count = 0.0;
    for (; product > limit; count += 1.0) product *= UniformDraw(rng, unif);
    return count;
}

constexpr double leastStirling = 16.0;

/// ln n! - (n + 1/2) ln n + n by Stirling's series, for n from 16: the first term left out is below 2e-16.
double StirlingRest(double n) {
    const double r = 1.0 / n, r2 = r * r;
    return Quarn_COMP_GLOBALS::log2pi_half +
           r * (1.0 / 12.0 - r2 * (1.0 / 360.0 - r2 * (1.0 / 1260.0 - r2 * (1.0 / 1680.0 - r2 / 1188.0))));
}

/// ln n! of a whole number n. std::lgamma is slower and writes a global variable.
double LogFactorial(double n) {
    if (n < leastStirling) {
        double factorial = 1.0;
        for (int k = 2; k <= static_cast<int>(n); ++k) factorial *= k;
        return std::log(factorial);
    }
    return (n + 0.5) * std::log(n) - n + StirlingRest(n);
}

/// Logistic rejection from the law of mean lambda, in [30, 1000), with its constants.
class AtkinsonLaw {
 public:
    explicit AtkinsonLaw(double lambda)
        : m_lambda(lambda),
          m_c(0.767 - 3.36 / lambda),
          m_b(std::numbers::pi / std::sqrt(3.0 * lambda)),
          m_a(m_b * lambda) {}

    double operator()(Rng& rng, Unif& unif) const {
        for (;;) {
            const double u = UniformDraw(rng, unif);
            const double x = (m_a - std::log((1.0 - u) / u)) / m_b;
            const double n = std::floor(x + 0.5);
            if (!(n >= 0.0 && n <= std::numeric_limits<int>::max())) continue;  // u of 1 makes n infinite
            const double v = UniformDraw(rng, unif);
            if (Accepts(n, m_a - m_b * x, v)) return n;
        }
    }

 private:
    /// Whether K + n ln(lambda) - ln n! >= y + ln(v/(1 + e^y)^2), where K = ln(c) - lambda - ln(b).
    /// The difference of the sides is first worked out with two logarithms instead of five. As both ways are wrong by
    /// less than 1e-11, it decides when it is not within 1e-9 of 0.
    bool Accepts(double n, double y, double v) const {
        const double root = 1.0 + std::exp(y), square = root * root;
        if (n >= leastStirling) {
            const double difference = std::log(m_c * square / (m_b * v * std::sqrt(n))) + n * std::log(m_lambda / n) +
                                      (n - m_lambda) - StirlingRest(n) - y;
            if (std::fabs(difference) > 1e-9) return difference > 0.0;
        }
        const double K = std::log(m_c) - m_lambda - std::log(m_b);
        return K + n * std::log(m_lambda) - LogFactorial(n) >= y + std::log(v / square);
    }

    double m_lambda, m_c, m_b, m_a;
};

}  // namespace

double poissonrnd(Rng& rng, Unif& unif, Norm& norm, const double& lambda) {
    if (!(lambda >= 0.0 && lambda <= std::numeric_limits<double>::max())) return NaN;
    if (lambda < 30.0) return PoissonByProduct(rng, unif, lambda);
    if (lambda < 1000.0) return AtkinsonLaw(lambda)(rng, unif);
    return std::round(NormalDraw(rng, norm) * std::sqrt(lambda) + lambda);
}

}  // namespace quarn
