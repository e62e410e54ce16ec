#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/numerics/MatrixHelpers.h>

#include <samplers/AutoregressionData_detail.h>
#include <samplers/MarginalLikelihood.h>

#include <algorithm>
#include <cmath>

namespace quarn::samplers {
namespace {

using Eigen::Index;
using Data = Autoregression::Data;

/// The regressors of rows p, ..., N - 1: X and the lags of y.
MatrixXd RegressorsAndLags(const MatrixXd& X, const VectorXd& y, Index p) {
    const Index n = y.size() - p;
    MatrixXd all(n, X.cols() + p);
    all.leftCols(X.cols()) = X.bottomRows(n);
    for (Index lag = 1; lag <= p; ++lag) all.col(X.cols() + lag - 1) = y.segment(p - lag, n);
    return all;
}

/// Straight lines from each finite value to the next; behind the last one, that. Requires: the first one is finite.
VectorXd Interpolated(const VectorXd& y) {
    VectorXd filled = y;
    Index last = 0;
    for (Index t = 1; t < y.size(); ++t) {
        if (!std::isfinite(y(t))) continue;
        const double slope = (y(t) - y(last)) / static_cast<double>(t - last);
        for (Index s = last + 1; s < t; ++s) filled(s) = y(last) + slope * static_cast<double>(s - last);
        last = t;
    }
    filled.tail(y.size() - 1 - last).setConstant(y(last));
    return filled;
}

/// Shrinks the roots towards 0 until the coefficients are stationary: phi_l times c^l has c times the roots.
void MakeStationary(Eigen::Ref<VectorXd> phi) {
    constexpr double c = 0.95;
    VectorXd work;
    while (!detail::IsStationary(phi, work))
        for (Index lag = 0; lag < phi.size(); ++lag) phi(lag) *= std::pow(c, static_cast<double>(lag + 1));
}

}  // namespace

Autoregression::Data::Data(const VectorXd& series, const MatrixXd& X, const VectorXd& time, Index order,
                           const AutoregressionPrior& prior)
    : K(X.cols()), p(order), Prior(prior), y(Interpolated(series)), ConstantOnly((X.array() == 1.0).all()) {
    Prior.Coefficients = Completed(prior.Coefficients, K + p);
    FindMissing(series);
    SetInitialPrior(series);
    FindTouched();
    MissingTimes.resize(static_cast<Index>(Missing.size()));
    for (std::size_t i = 0; i < Missing.size(); ++i) MissingTimes(static_cast<Index>(i)) = time(Missing[i]);

    const MatrixXd all = RegressorsAndLags(X, y, p);
    const auto numTouched = static_cast<Index>(Touched.size());
    MatrixXd rest(Rows() - numTouched, K + p);
    VectorXd restY(rest.rows());
    Regressors.resize(K + p, numTouched);
    for (Index t = p, touched = 0; t < y.size(); ++t) {
        if (touched < numTouched && Touched[static_cast<std::size_t>(touched)] == t) {
            Regressors.col(touched++) = all.row(t - p).transpose();
        } else {
            rest.row(t - p - touched) = all.row(t - p);
            restY(t - p - touched) = y(t);
        }
    }
    Untouched = {LinearModelRotation(restY, rest, Prior.Coefficients), Prior.ErrorPrecision,
                 static_cast<double>(rest.rows())};
    CrossProducts = XpX(rest);
    CrossProductsWithY = XpZ(rest, restY);
    Fit = Untouched.Rotation.LeastSquares();
    FitSumOfSquares = Untouched.Rotation.SumOfSquares(Fit);
    Start = numTouched == 0 ? Fit : LinearModelRotation(y.tail(Rows()), all, Prior.Coefficients).LeastSquares();
    if (Prior.Stationary) MakeStationary(Start.tail(p));
}

void Autoregression::Data::FindMissing(const VectorXd& observed) {
    for (Index t = 0; t < observed.size(); ++t)
        if (!std::isfinite(observed(t))) Missing.push_back(t);
}

void Autoregression::Data::SetInitialPrior(const VectorXd& observed) {
    if (Prior.Initial) return;
    Prior.Initial = AutoregressionPrior::InitialValue();
    std::vector<double> finite;
    std::copy_if(observed.begin(), observed.end(), std::back_inserter(finite),
                 [](double v) { return std::isfinite(v); });
    const Eigen::Map<const VectorXd> values(finite.data(), static_cast<Index>(finite.size()));
    const double sd = values.size() > 1 ? 10.0 * vectorSd(values) : 0.0;
    if (sd > 0.0) *Prior.Initial = {vectorMean(values), 1.0 / (sd * sd)};
}

void Autoregression::Data::FindTouched() {
    for (const Index missing : Missing) {
        const Index from = std::max(missing, p), to = std::min(missing + p, y.size() - 1);
        const Index next = Touched.empty() ? p : Touched.back() + 1;
        for (Index t = std::max(from, next); t <= to; ++t) Touched.push_back(t);
        FirstTouched.push_back(std::lower_bound(Touched.begin(), Touched.end(), from) - Touched.begin());
    }
}

namespace detail {

bool IsStationary(const Eigen::Ref<const VectorXd>& phi, VectorXd& work) {
    work = phi;
    for (Index k = phi.size() - 1; k >= 0; --k) {
        const double partial = work(k);
        if (!(std::abs(partial) < 1.0)) return false;
        const double scale = 1.0 / ((1.0 - partial) * (1.0 + partial));
        for (Index i = 0, j = k - 1; i <= j; ++i, --j) {
            const double first = work(i), last = work(j);
            work(i) = (first + partial * last) * scale;
            work(j) = (last + partial * first) * scale;
        }
    }
    return true;
}

ImputedSeries::ImputedSeries(const Data& data)
    : m_data(data),
      m_y(data.y),
      m_regressors(data.Regressors),
      m_errors(data.Regressors.cols()),
      m_impulse(data.p + 1) {
    const auto m = static_cast<Index>(data.Missing.size());
    m_band.resize(std::max<Index>(std::min(data.p + 1, m), 1), m);
    m_step.resize(m);
}

void ImputedSeries::UpdateErrors(const VectorXd& beta) {
    for (Index i = 0; i < m_errors.size(); ++i)
        m_errors(i) = m_y(m_data.Touched[static_cast<std::size_t>(i)]) - m_regressors.col(i).dot(beta);
}

double ImputedSeries::SumOfSquares(const VectorXd& beta) {
    UpdateErrors(beta);
    m_difference = beta - m_data.Fit;
    m_product.noalias() = m_data.CrossProducts * m_difference;
    return m_data.FitSumOfSquares + m_difference.dot(m_product) + m_errors.squaredNorm();
}

void ImputedSeries::AddCrossProducts(double tau, MatrixXd& P, VectorXd& c) const {
    const Index k = c.size();
    for (Index i = 0; i < m_errors.size(); ++i) {
        const auto x = m_regressors.col(i);
        c += tau * m_y(m_data.Touched[static_cast<std::size_t>(i)]) * x;
        for (Index j = 0; j < k; ++j) P.col(j).tail(k - j) += tau * x(j) * x.tail(k - j);
    }
}

/// The precision of the missing values, factorised, and in m_step the gradient of their log density at the present ones.
/// Uses the errors.
void ImputedSeries::Factorise(const VectorXd& beta, double tau) {
    const Index p = m_data.p, N = m_y.size(), m = m_step.size(), width = m_band.rows();
    const AutoregressionPrior::InitialValue& initial = *m_data.Prior.Initial;
    m_impulse(0) = 1.0;
    m_impulse.tail(p) = -beta.tail(p);
    m_band.setZero();
    for (Index i = 0; i < m; ++i) {
        const Index s = m_data.Missing[static_cast<std::size_t>(i)];
        const Index from = std::max(s, p), to = std::min(s + p, N - 1);
        const Index first = m_data.FirstTouched[static_cast<std::size_t>(i)];
        m_step(i) = -tau * m_impulse.segment(from - s, to - from + 1).dot(m_errors.segment(first, to - from + 1));
        for (Index d = 0; d < width && i + d < m; ++d) {
            const Index r = m_data.Missing[static_cast<std::size_t>(i + d)];
            const Index both = std::max(r, p);
            if (both > to) break;
            m_band(d, i) =
                tau * m_impulse.segment(both - s, to - both + 1).dot(m_impulse.segment(both - r, to - both + 1));
        }
        if (s < p) {
            m_band(0, i) += initial.Precision;
            m_step(i) -= initial.Precision * (m_y(s) - initial.Mean);
        }
    }
    for (Index i = 0; i < m; ++i) {
        m_band(0, i) = std::sqrt(m_band(0, i));
        const Index below = std::min(width, m - i);
        for (Index d = 1; d < below; ++d) m_band(d, i) /= m_band(0, i);
        for (Index d = 1; d < below; ++d)
            for (Index f = d; f < below; ++f) m_band(f - d, i + d) -= m_band(f, i) * m_band(d, i);
    }
}

void ImputedSeries::SolveLower() {
    for (Index i = 0; i < m_step.size(); ++i) {
        m_step(i) /= m_band(0, i);
        const Index below = std::min(m_band.rows(), m_step.size() - i) - 1;
        m_step.segment(i + 1, below) -= m_step(i) * m_band.col(i).segment(1, below);
    }
}

void ImputedSeries::SolveUpper() {
    for (Index i = m_step.size() - 1; i >= 0; --i) {
        const Index below = std::min(m_band.rows(), m_step.size() - i) - 1;
        m_step(i) = (m_step(i) - m_step.segment(i + 1, below).dot(m_band.col(i).segment(1, below))) / m_band(0, i);
    }
}

/// Adds m_step to the missing values.
void ImputedSeries::Move() {
    for (Index i = 0; i < m_step.size(); ++i) {
        const Index s = m_data.Missing[static_cast<std::size_t>(i)];
        m_y(s) += m_step(i);
        const Index from = std::max(s, m_data.p), to = std::min(s + m_data.p, m_y.size() - 1);
        const Index first = m_data.FirstTouched[static_cast<std::size_t>(i)];
        for (Index t = std::max(from, s + 1); t <= to; ++t)
            m_regressors(m_data.K + t - s - 1, first + t - from) = m_y(s);
    }
}

void ImputedSeries::Draw(Generator& generator, const VectorXd& beta, double tau) {
    UpdateErrors(beta);
    Factorise(beta, tau);
    SolveLower();
    for (double& element : m_step) element += NormalDraw(generator.rng, generator.norm);
    SolveUpper();
    Move();
}

double ImputedSeries::LogLikelihood(const VectorXd& beta, double tau) {
    UpdateErrors(beta);
    Factorise(beta, tau);
    SolveLower();
    SolveUpper();
    Move();  // to their mode, at which the joint density is divided by that of the missing ones
    const auto n = static_cast<double>(m_data.Rows()), m = static_cast<double>(m_step.size());
    double logDensity = 0.5 * (n * (std::log(tau) - LogOf2Pi) - tau * SumOfSquares(beta) + m * LogOf2Pi) -
                        m_band.row(0).array().log().sum();
    const AutoregressionPrior::InitialValue& initial = *m_data.Prior.Initial;
    for (const Index s : m_data.Missing)
        if (s < m_data.p)
            logDensity += 0.5 * (std::log(initial.Precision) - LogOf2Pi -
                                 initial.Precision * (m_y(s) - initial.Mean) * (m_y(s) - initial.Mean));
    return logDensity;
}

}  // namespace detail
}  // namespace quarn::samplers
