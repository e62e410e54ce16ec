// One driver, one line search and one zoom serve all forms. How value and gradient are got is Probe's business, how the
// matrix changes is an Update's. The order of the calls of the objective is part of the interface.
//
//   here          Nocedal & Wright
//   H             H_k, approximation of the inverse Hessian
//   s, y          s_k, y_k: steps of x and of the gradient
//   f0, g0        phi(0), phi'(0) along the direction p
//   a_lo, a_hi    alpha_lo, alpha_hi

#include <quarn/base/Resizing_detail.h>
#include <quarn/numerics/Reductions_detail.h>
#include <quarn/optimize/Optimize.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace quarn {
namespace {

using Eigen::Index;

constexpr double SufficientDecrease = 0.01;  // c1
constexpr double Curvature = 0.1;            // c2: a nearly exact search, which makes few iterations
constexpr double LargestStep = 5.0;
constexpr unsigned long RestartInterval = 12;

double Dot(const VectorXd& a, const VectorXd& b) { return detail::SumOfProducts(a, 0.0, b, 0.0); }
double Norm(const VectorXd& a) { return std::sqrt(Dot(a, a)); }

enum class Calls { Separate, Together };

/// Value, and then perhaps gradient, at a point.
class Probe {
 public:
    Probe(OptimizeFunction& objective, Calls calls, Index n) : m_objective(objective), m_calls(calls), m_gradient(n) {}

    double Value(const VectorXd& x) {
        return m_calls == Calls::Together ? m_objective.fg(x, m_gradient) : m_objective.f(x);
    }

    /// At the x of the last call of Value.
    const VectorXd& Gradient(const VectorXd& x) {
        if (m_calls == Calls::Separate) m_gradient = m_objective.g(x);
        return m_gradient;
    }

 private:
    OptimizeFunction& m_objective;
    Calls m_calls;
    VectorXd m_gradient;
};

/// The objective along x + a p.
class Line {
 public:
    Line(Probe& probe, const VectorXd& x, const VectorXd& p, VectorXd& point)
        : m_probe(probe), m_x(x), m_p(p), m_point(point) {}

    double Value(double a) {
        m_point = m_x + a * m_p;
        return m_probe.Value(m_point);
    }

    /// At the a of the last call of Value.
    double Slope() { return Dot(m_probe.Gradient(m_point), m_p); }

 private:
    Probe& m_probe;
    const VectorXd& m_x;
    const VectorXd& m_p;
    VectorXd& m_point;
};

double ZoomAlong(Line& line, double a_lo, double a_hi, double c1, double c2, double f0, double g0, double f_lo) {
    for (;;) {
        const double a = 0.5 * (a_lo + a_hi);
        if (!(std::min(a_lo, a_hi) < a && a < std::max(a_lo, a_hi))) return a_lo;  // also for ends that are NaN
        const double value = line.Value(a);
        if (value > f0 + c1 * a * g0 || value > f_lo) {
            a_hi = a;
            continue;
        }
        const double slope = line.Slope();
        if (std::abs(slope) < -c2 * g0) return a;
        if (slope * (a_hi - a_lo) > 0.0) a_hi = a_lo;
        a_lo = a;
        f_lo = value;
    }
}

// The end that goes in as a_lo is the one with the lower value. With the rejected step in its place the bisection could
// close in on that step, and would never end: on (a - 0.1)^2, say.
double SearchAlong(Line& line, double f0, double g0, unsigned long maximum) {
    constexpr double c1 = SufficientDecrease, c2 = Curvature;
    double a = 1.0, previous = 0.0, previousValue = f0;
    for (unsigned long i = 0; i < maximum; ++i) {
        const double value = line.Value(a);
        if (value > f0 + c1 * a * g0 || (i > 0 && value > previousValue)) {
            return ZoomAlong(line, previous, a, c1, c2, f0, g0, previousValue);
        }
        previousValue = value;
        const double slope = line.Slope();
        if (std::abs(slope) < -c2 * g0) return a;
        if (slope > 0.0) return ZoomAlong(line, a, previous, c1, c2, f0, g0, value);
        previous = a;
        a = 0.5 * (a + LargestStep);
    }
    return a;
}

/// Changes H by the steps s of x and y of the gradient; Hy is H y, of the old H.
using Update = void (*)(MatrixXd& H, const VectorXd& s, const VectorXd& y, const VectorXd& Hy);

/// (I - rho s y') H (I - rho y s') + rho s s', multiplied out for a symmetric H; H stays exactly symmetric.
void UpdateBFGS(MatrixXd& H, const VectorXd& s, const VectorXd& y, const VectorXd& Hy) {
    const double rho = 1.0 / Dot(y, s);
    const double scale = rho + rho * rho * Dot(y, Hy);
    for (Index j = 0; j < s.size(); ++j) {
        for (Index i = 0; i < s.size(); ++i) H(i, j) += scale * (s[i] * s[j]) - rho * (s[i] * Hy[j] + Hy[i] * s[j]);
    }
}

void UpdateDFP(MatrixXd& H, const VectorXd& s, const VectorXd& y, const VectorXd& Hy) {
    const double ys = Dot(s, y), yHy = Dot(y, Hy);
    for (Index j = 0; j < s.size(); ++j) {
        for (Index i = 0; i < s.size(); ++i) H(i, j) += s[i] * s[j] / ys - Hy[i] * Hy[j] / yHy;
    }
}

unsigned long TenTimes(unsigned long n) {
    constexpr unsigned long Most = std::numeric_limits<unsigned long>::max();
    return n > Most / 10 ? Most : 10 * n;
}

double Minimise(Optimize& run, Calls calls, Update update, const VectorXd& start, double tolerance,
                unsigned long maximum) {
    const Index n = start.size();
    Probe probe(*run.Function, calls, n);
    VectorXd x = start, gradient = VectorXd::Ones(n), p(n), s(n), y(n), Hy(n), point(n);
    MatrixXd H(n, n);
    double value = std::numeric_limits<double>::quiet_NaN();
    for (unsigned long i = 0; i < maximum && Norm(gradient) > tolerance; ++i) {
        if (i % RestartInterval == 0) {
            H.setIdentity();
            value = probe.Value(x);
            gradient = probe.Gradient(x);
            const double norm = Norm(gradient);
            if (!(norm > tolerance)) break;  // NaN ends the run
            p = -gradient / norm;
        } else {
            p.noalias() = -(H * gradient);
        }
        Line line(probe, x, p, point);
        const double a = SearchAlong(line, value, Dot(gradient, p), TenTimes(maximum));
        s = a * p;
        point = x + s;
        const bool moved = point != x;
        x = point;
        value = probe.Value(x);
        const VectorXd& newGradient = probe.Gradient(x);
        y = newGradient - gradient;
        gradient = newGradient;
        if (!moved) continue;  // a step that was lost in rounding
        Hy.noalias() = H * y;
        update(H, s, y, Hy);
    }
    run.fmin = value;
    run.xmin = std::move(x);
    return value;
}

double SearchOnce(OptimizeFunction& objective, Calls calls, const VectorXd& x, const VectorXd& p, double f0, double g0,
                  unsigned long maximum) {
    Probe probe(objective, calls, x.size());
    VectorXd point(x.size());
    Line line(probe, x, p, point);
    return SearchAlong(line, f0, g0, maximum);
}

double ZoomOnce(OptimizeFunction& objective, Calls calls, const VectorXd& x, const VectorXd& p, double a_lo,
                double a_hi, double c1, double c2, double f0, double g0, double f_lo) {
    Probe probe(objective, calls, x.size());
    VectorXd point(x.size());
    Line line(probe, x, p, point);
    return ZoomAlong(line, a_lo, a_hi, c1, c2, f0, g0, f_lo);
}

struct Bracket {
    double a, b;
};

constexpr double GoldenRatio = 1.61803398875;
constexpr double FirstDistance = 1e-05;

/// Walks from start in the direction in which the function is lower, while it falls. The last three points, of which
/// start and start + 1e-05 are the first two, give the bracket.
Bracket FindBracket(double (*function)(double), double start) {
    double nearest = start + FirstDistance;
    double nearestValue = function(nearest);
    const double sign = function(start - FirstDistance) < nearestValue ? -1.0 : 1.0;
    double before = start;
    function(start);
    double step = FirstDistance * GoldenRatio;
    double latest = nearest + sign * step;
    double latestValue = function(latest);
    while (latestValue < nearestValue) {
        before = nearest;
        nearest = latest;
        nearestValue = latestValue;
        step *= GoldenRatio;
        latest = nearest + sign * step;
        latestValue = function(latest);
    }
    return {std::min({before, nearest, latest}), std::max({before, nearest, latest})};
}

}  // namespace

double Optimize::BFGS(const VectorXd& start, double tolerance, unsigned long maximum) {
    return Minimise(*this, Calls::Separate, UpdateBFGS, start, tolerance, maximum);
}
double Optimize::BFGS_fg(const VectorXd& start, double tolerance, unsigned long maximum) {
    return Minimise(*this, Calls::Together, UpdateBFGS, start, tolerance, maximum);
}
double Optimize::DFP(const VectorXd& start, double tolerance, unsigned long maximum) {
    return Minimise(*this, Calls::Separate, UpdateDFP, start, tolerance, maximum);
}
double Optimize::DFP_fg(const VectorXd& start, double tolerance, unsigned long maximum) {
    return Minimise(*this, Calls::Together, UpdateDFP, start, tolerance, maximum);
}

double Optimize::LineSearch_WP(const VectorXd& x, const VectorXd& p, double f0, double g0, unsigned long maximum) {
    return SearchOnce(*Function, Calls::Separate, x, p, f0, g0, maximum);
}
double Optimize::LineSearch_WP_fg(const VectorXd& x, const VectorXd& p, double f0, double g0, unsigned long maximum) {
    return SearchOnce(*Function, Calls::Together, x, p, f0, g0, maximum);
}

double Optimize::Zoom(const VectorXd& x, const VectorXd& p, double a_lo, double a_hi, double c1, double c2, double f0,
                      double g0, double f_lo) {
    return ZoomOnce(*Function, Calls::Separate, x, p, a_lo, a_hi, c1, c2, f0, g0, f_lo);
}
double Optimize::Zoom_fg(const VectorXd& x, const VectorXd& p, double a_lo, double a_hi, double c1, double c2,
                         double f0, double g0, double f_lo) {
    return ZoomOnce(*Function, Calls::Together, x, p, a_lo, a_hi, c1, c2, f0, g0, f_lo);
}

double Optimize::GoldenSection(double (*function)(double), double start, double width, unsigned long) {
    constexpr double Near = 0.618034, Far = 0.381966;
    auto [a, b] = FindBracket(function, start);
    double left = Near * a + Far * b, right = Far * a + Near * b;
    double leftValue = function(left), rightValue = function(right);
    while (b - a > width) {
        const double span = b - a;
        if (leftValue > rightValue) {
            a = left;
            left = right;
            leftValue = rightValue;
            right = Far * a + Near * b;
            rightValue = function(right);
        } else {
            b = right;
            right = left;
            rightValue = leftValue;
            left = Near * a + Far * b;
            leftValue = function(left);
        }
        // The weights have six digits. A point that is kept again and again leaves its place by an error that grows by
        // the golden ratio each time, and in the end passes the other one.
        if (!(left < right)) {
            left = Near * a + Far * b;
            right = Far * a + Near * b;
            leftValue = function(left);
            rightValue = function(right);
        }
        if (!(b - a < span)) break;
    }
    return 0.5 * (a + b);
}

double TestFunction_1d::f(double x) { return 0.25 * x * x * x * x - 2.0 * x; }
double TestFunction_1d::g(double x) { return x * x * x - 2.0; }

double TestFunction_Xd::f(const VectorXd& x) {
    VectorXd gradient(x.size());
    return fg(x, gradient);
}

VectorXd TestFunction_Xd::g(const VectorXd& x) {
    VectorXd gradient(x.size());
    fg(x, gradient);
    return gradient;
}

double TestFunction_Xd::fg(const VectorXd& x, VectorXd& gradient) {
    double value = (1.0 - x[0]) * (1.0 - x[0]);
    detail::Assign(gradient, VectorXd::Zero(x.size()));
    gradient[0] = -2.0 * (1.0 - x[0]);
    for (Index i = 1; i < x.size(); ++i) {
        const double away = x[i] - x[i - 1] * x[i - 1];
        value += 10.0 * away * away;
        gradient[i - 1] -= 40.0 * away * x[i - 1];
        gradient[i] += 20.0 * away;
    }
    return value;
}

}  // namespace quarn
