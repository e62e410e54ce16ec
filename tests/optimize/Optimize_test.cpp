#include <quarn/optimize/Optimize.h>

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace {

using quarn::MatrixXd;
using quarn::Optimize;
using quarn::VectorXd;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

VectorXd V(std::initializer_list<double> cells) {
    VectorXd v(static_cast<Eigen::Index>(cells.size()));
    std::copy(cells.begin(), cells.end(), v.begin());
    return v;
}

/// An objective that writes down its calls: f, g, or b for both at once, and where.
struct Recorder : quarn::OptimizeFunction {
    using Value = std::function<double(const VectorXd&)>;
    using Gradient = std::function<VectorXd(const VectorXd&)>;
    Recorder(Value value, Gradient gradient) : m_value(std::move(value)), m_gradient(std::move(gradient)) {}

    double f(const VectorXd& x) override {
        Note('f', x);
        return m_value(x);
    }
    VectorXd g(const VectorXd& x) override {
        Note('g', x);
        return m_gradient(x);
    }
    double fg(const VectorXd& x, VectorXd& gradient) override {
        Note('b', x);
        gradient = m_gradient(x);
        return m_value(x);
    }
    void Note(char call, const VectorXd& x) {
        calls += call;
        if (call != 'g') valued.push_back(x);
    }

    std::string calls;
    std::vector<VectorXd> valued;  ///< the points whose value was asked for

 private:
    Value m_value;
    Gradient m_gradient;
};

using Line = std::function<double(double)>;

/// A function of the step alone, from x = 0 along p = 1.
Recorder OnLine(const Line& value, const Line& slope) {
    return Recorder([=](const VectorXd& x) { return value(x[0]); },
                    [=](const VectorXd& x) { return V({slope(x[0])}); });
}

struct Search {
    const char* name;
    Line value, slope;
    unsigned long maximum;
    double step;
    std::vector<double> tries;  // abscissae of the trial points
    std::string calls;          // of the separate form
};

Search ParabolaAbout(double centre, const char* name, unsigned long maximum, double step, std::vector<double> tries,
                     std::string calls) {
    return {name,
            [=](double a) { return (a - centre) * (a - centre); },
            [=](double a) { return 2 * (a - centre); },
            maximum,
            step,
            std::move(tries),
            std::move(calls)};
}

std::vector<Search> Searches() {
    const auto nan = [](double) { return NaN; };
    return {
        ParabolaAbout(0.9, "no tries", 0, 1.0, {}, ""),
        ParabolaAbout(0.95, "accepted at once, in spite of a c2 of 0.1", 10, 1.0, {1.0}, "fg"),
        // Slope 0.2 above 0.18 at 1: between 1 and 0, of which 1 has the lower value.
        ParabolaAbout(0.9, "zoom from the other side", 10, 0.875, {1.0, 0.5, 0.75, 0.875}, "fgfffg"),
        ParabolaAbout(0.3, "zoom from a step too high", 10, 0.3125, {1.0, 0.5, 0.25, 0.375, 0.3125}, "ffgfgffg"),
        ParabolaAbout(3.6, "steps that grow towards 5, then zoom", 10, 3.5, {1.0, 3.0, 4.0, 3.5}, "fgfgfgfg"),
        {"tries run out", [](double a) { return -a; }, [](double) { return -1.0; }, 3, 4.5, {1.0, 3.0, 4.0}, "fgfgfg"},
        {"NaN tries every step", nan, nan, 3, 4.5, {1.0, 3.0, 4.0}, "fgfgfg"},
    };
}

TEST(LineSearch, TriesTheDocumentedStepsWithTheDocumentedCalls) {
    for (const Search& search : Searches()) {
        Recorder separate = OnLine(search.value, search.slope), together = separate;
        const double f0 = search.value(0.0), g0 = search.slope(0.0);
        EXPECT_EQ(Optimize(&separate).LineSearch_WP(V({0}), V({1}), f0, g0, search.maximum), search.step)
            << search.name;
        EXPECT_EQ(Optimize(&together).LineSearch_WP_fg(V({0}), V({1}), f0, g0, search.maximum), search.step);
        std::vector<VectorXd> tries;
        for (const double a : search.tries) tries.push_back(V({a}));
        EXPECT_EQ(separate.calls, search.calls) << search.name;
        EXPECT_EQ(together.calls, std::string(tries.size(), 'b')) << search.name;
        EXPECT_TRUE(separate.valued == tries && together.valued == tries) << search.name;
    }
}

TEST(Zoom, EndsWhateverTheObjectiveReturns) {
    const std::vector<double (*)(double)> objectives = {
        [](double) { return NaN; }, [](double) { return 1.0; }, [](double) { return -1.0; },
        [](double a) { return a == 0.0 ? 0.0 : 1.0; }, [](double a) { return std::sin(1e9 * a); }};
    for (const auto value : objectives) {
        for (const auto& [lo, hi] :
             {std::pair(0.0, 1.0), std::pair(1.0, 0.0), std::pair(3.0, 3.0), std::pair(NaN, 1.0)}) {
            Recorder separate = OnLine(value, [](double) { return -1.0; }), together = separate;
            const double a = Optimize(&separate).Zoom(V({0}), V({1}), lo, hi, 0.01, 0.1, 0.0, -1.0, 0.0);
            const double b = Optimize(&together).Zoom_fg(V({0}), V({1}), lo, hi, 0.01, 0.1, 0.0, -1.0, 0.0);
            EXPECT_TRUE(a == b || (std::isnan(a) && std::isnan(b)));
            EXPECT_LE(together.calls.size(), 1100U);
        }
    }
}

// Problems of More, Garbow and Hillstrom (1981), ACM Trans. Math. Softw. 7, 17-41, and two quadratics.
struct Problem {
    const char* name;
    VectorXd start;
    Recorder::Value value;
    Recorder::Gradient gradient;
    double tolerance, distance;  // of the gradient's norm, and of the value from its minimum 0
};

Problem Residuals(const char* name, VectorXd start, std::function<VectorXd(const VectorXd&)> r,
                  std::function<MatrixXd(const VectorXd&)> jacobian, double tolerance = 1e-6, double distance = 1e-10) {
    return {name,
            std::move(start),
            [r](const VectorXd& x) { return r(x).squaredNorm(); },
            [r, jacobian](const VectorXd& x) -> VectorXd { return 2 * jacobian(x).transpose() * r(x); },
            tolerance,
            distance};
}

std::vector<Problem> Problems() {
    const double r5 = std::sqrt(5.0), r10 = std::sqrt(10.0), r90 = std::sqrt(90.0), r01 = std::sqrt(0.1);
    const auto powell = [=](const VectorXd& x) {
        return V({x[0] + 10 * x[1], r5 * (x[2] - x[3]), std::pow(x[1] - 2 * x[2], 2), r10 * std::pow(x[0] - x[3], 2)});
    };
    const auto powellJacobian = [=](const VectorXd& x) -> MatrixXd {
        const double b = 2 * (x[1] - 2 * x[2]), d = 2 * r10 * (x[0] - x[3]);
        return (MatrixXd(4, 4) << 1, 10, 0, 0, 0, 0, r5, -r5, 0, b, -2 * b, 0, d, 0, 0, -d).finished();
    };
    const auto wood = [=](const VectorXd& x) {
        return V({10 * (x[1] - x[0] * x[0]), 1 - x[0], r90 * (x[3] - x[2] * x[2]), 1 - x[2], r10 * (x[1] + x[3] - 2),
                  r01 * (x[1] - x[3])});
    };
    const auto woodJacobian = [=](const VectorXd& x) -> MatrixXd {
        return (MatrixXd(6, 4) << -20 * x[0], 10, 0, 0, -1, 0, 0, 0, 0, 0, -2 * r90 * x[2], r90, 0, 0, -1, 0, 0, r10, 0,
                r10, 0, r01, 0, -r01)
            .finished();
    };
    const auto scaled = [](double ratio) {
        return std::pair(
            [=](const VectorXd& x) {
                return V({x[0] - 1, ratio * (x[1] + 2), 3 * x[2]});
            },
            [=](const VectorXd&) -> MatrixXd {
                return V({1, ratio, 3}).asDiagonal();
            });
    };
    return {
        Residuals(
            "Rosenbrock", V({-1.2, 1}),
            [](const VectorXd& x) {
                return V({10 * (x[1] - x[0] * x[0]), 1 - x[0]});
            },
            [](const VectorXd& x) -> MatrixXd {
                return MatrixXd{{-20 * x[0], 10}, {-1, 0}};
            }),
        Residuals("Powell", V({3, -1, 0, 1}), powell, powellJacobian, 1e-6, 1e-6),
        Residuals("Wood", V({-3, -1, -3, -1}), wood, woodJacobian),
        Residuals("quadratic", V({5, 5, 5}), scaled(1.0).first, scaled(1.0).second),
        Residuals("quadratic scaled 1 to 1e6", V({5, 5, 5}), scaled(1e3).first, scaled(1e3).second),
    };
}

TEST(Optimize, ReachesTheMinimaOfKnownProblemsInAllForms) {
    for (const Problem& problem : Problems()) {
        using Form = double (Optimize::*)(const VectorXd&, double, unsigned long);
        for (const auto& [separateForm, togetherForm] : {std::pair<Form, Form>(&Optimize::BFGS, &Optimize::BFGS_fg),
                                                         std::pair<Form, Form>(&Optimize::DFP, &Optimize::DFP_fg)}) {
            Recorder separate(problem.value, problem.gradient), together = separate;
            Optimize a(&separate), b(&together);
            const double value = (a.*separateForm)(problem.start, problem.tolerance, 2000);
            (b.*togetherForm)(problem.start, problem.tolerance, 2000);
            EXPECT_LE(problem.gradient(a.xmin).norm(), problem.tolerance) << problem.name;
            EXPECT_LE(value, problem.distance) << problem.name;
            EXPECT_EQ(value, problem.value(a.xmin));
            EXPECT_EQ(value, a.fmin);
            EXPECT_EQ(a.fmin, b.fmin) << problem.name;
            EXPECT_EQ(a.xmin, b.xmin) << problem.name;
            // One call of fg at each point of a call of f.
            EXPECT_EQ(together.calls, std::string(together.calls.size(), 'b'));
            EXPECT_TRUE(separate.valued == together.valued) << problem.name;
        }
    }
}

/// The updates as they stand in books, with full matrices.
TEST(Optimize, FollowsTheTextbookUpdatesAndForgetsThemEveryTwelveIterations) {
    const Problem problem = Problems()[0];
    for (const bool bfgs : {true, false}) {
        VectorXd x = problem.start, g = problem.gradient(x), p;
        double f = problem.value(x);
        MatrixXd H, I = MatrixXd::Identity(2, 2);
        for (unsigned long i = 0; i < 15; ++i) {
            if (i % 12 == 0) {
                H = I;
                p = -g / g.norm();
            } else {
                p = -H * g;
            }
            Recorder objective(problem.value, problem.gradient);
            Optimize optimize(&objective);
            const VectorXd s = optimize.LineSearch_WP(x, p, f, g.dot(p), 150) * p;
            const VectorXd y = problem.gradient(x + s) - g, Hy = H * y;
            const double rho = 1 / y.dot(s);
            H = bfgs ? MatrixXd((I - rho * s * y.transpose()) * H * (I - rho * y * s.transpose()) +
                                rho * s * s.transpose())
                     : MatrixXd(H + rho * s * s.transpose() - Hy * Hy.transpose() / y.dot(Hy));
            x += s;
            g = problem.gradient(x);
            f = problem.value(x);
            bfgs ? optimize.BFGS(problem.start, 0.0, i + 1) : optimize.DFP(problem.start, 0.0, i + 1);
            EXPECT_LT((optimize.xmin - x).norm(), 1e-6) << i;
        }
    }
}

TEST(Optimize, EvaluatesNoMoreThanItSays) {
    Recorder square([](const VectorXd& x) { return x.squaredNorm() + 7; }, [](const VectorXd& x) { return 2 * x; });
    Optimize optimize(&square);
    for (const auto& [tolerance, maximum] : {std::pair(0.0, 0UL), std::pair(1.5, 100UL)}) {  // sqrt(2) < 1.5
        EXPECT_TRUE(std::isnan(optimize.BFGS_fg(V({3, 4}), tolerance, maximum)) && std::isnan(optimize.fmin));
        EXPECT_EQ(optimize.xmin, V({3, 4}));
    }
    EXPECT_EQ(square.calls, "") << "no iterations, or a loose tolerance";
    EXPECT_EQ(optimize.DFP(V({0, 0}), 0.0, 100), 7.0);
    EXPECT_EQ(optimize.xmin, V({0, 0}));
    EXPECT_EQ(square.calls, "fg") << "a stationary start";

    Recorder slope([](const VectorXd& x) { return -x[0]; }, [](const VectorXd&) { return V({-1}); });
    Optimize(&slope).BFGS_fg(V({0}), 1e-9, 1);
    EXPECT_EQ(slope.calls.size(), 1U + 10U + 1U) << "ten times the iterations for a line search";
}

TEST(Optimize, EndsAtAToleranceThatCannotBeReached) {
    const Problem problem = Problems()[1];
    Recorder objective(problem.value, problem.gradient);
    Optimize optimize(&objective);
    optimize.BFGS_fg(problem.start, 0.0, 300);
    EXPECT_LE(optimize.fmin, 1e-8);
    EXPECT_TRUE(optimize.xmin.allFinite());
    optimize.BFGS_fg(optimize.xmin, 0.0, 5);  // from its own result
    EXPECT_LE(optimize.fmin, 1e-8);
}

TEST(GoldenSection, FindsMinimaOnBothSidesAndAlwaysEnds) {
    quarn::TestFunction_Xd unused;
    Optimize optimize(&unused);
    for (const double start : {-20.0, 0.0, 1.2599, 1.26, 50.0})
        EXPECT_NEAR(optimize.GoldenSection(quarn::TestFunction_1d::f, start, 1e-7, 0), std::cbrt(2.0), 2e-7) << start;
    EXPECT_NEAR(optimize.GoldenSection([](double x) { return std::abs(x - 3); }, 3.0, 1e-9, 0), 3.0, 0.500001e-9);
    EXPECT_NEAR(optimize.GoldenSection([](double x) { return std::abs(x - 18.605); }, 0.0, 1e-8, 0), 18.605,
                0.500001e-8);
    for (const double width : {0.0, -1.0, NaN}) optimize.GoldenSection(quarn::TestFunction_1d::f, 1.0, width, 0);
    EXPECT_NEAR(optimize.GoldenSection(quarn::TestFunction_1d::f, 1.0, 0.0, 0), std::cbrt(2.0), 1e-6);
    optimize.GoldenSection([](double) { return NaN; }, 0.0, 0.0, 0);
    EXPECT_FALSE(std::isfinite(optimize.GoldenSection([](double x) { return -x; }, 0.0, 1e-6, 0)));
}

TEST(TestFunctions, HaveTheirMinimaAndGradients) {
    EXPECT_NEAR(quarn::TestFunction_1d::g(std::cbrt(2.0)), 0.0, 1e-14);
    quarn::TestFunction_Xd function;
    Optimize optimize(&function);
    for (const int n : {1, 2, 7}) {
        optimize.BFGS_fg(VectorXd::Constant(n, -0.5), 1e-8, 1000);
        EXPECT_LT((optimize.xmin - VectorXd::Ones(n)).norm(), 1e-6) << n;
        EXPECT_LE(function.g(optimize.xmin).norm(), 1e-8);
    }
}

}  // namespace
