// Truncated normals beside other methods of drawing them. Items are draws. Peers draw from std::mt19937_64 and the
// standard distributions, as an application would; robert and inverse are written out below. Fixed bounds: one bound
// for all cells; what a method can compute from it once, it does.

#include <quarn/random/TruncatedNormal.h>

#include <benchmark/benchmark.h>
#include <boost/math/special_functions/erf.hpp>
#if QUARN_BENCH_GSL
#include <gsl/gsl_randist.h>
#include <gsl/gsl_rng.h>
#endif

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numbers>
#include <random>
#include <string>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::VectorXd;

constexpr Index cells = 10000;
constexpr double Infinity = std::numeric_limits<double>::infinity();

struct Ours {
    quarn::Rng rng{1};
    quarn::Unif unif;
    quarn::Norm norm;
};

struct Standard {
    std::mt19937_64 rng{1};
    std::uniform_real_distribution<double> unif;
    std::normal_distribution<double> norm;
    double Uniform() { return unif(rng); }
    double Normal() { return norm(rng); }
};

double Above(double z) { return std::erfc(z / std::numbers::sqrt2) / 2.0; }
double Quantile(double above) { return std::numbers::sqrt2 * boost::math::erfc_inv(2.0 * above); }

/// Robert (1995), Stat. Comput. 5, 121-125: plain rejection, or rejection from an exponential shifted to the bound.
struct Robert : Standard {
    double a, rate;
    explicit Robert(double bound = 0.0) { Set(bound); }
    void Set(double bound) {
        a = bound;
        rate = (a + std::sqrt(a * a + 4.0)) / 2.0;
    }
    double Lower() {
        double z;
        if (a < 0.257) {  // the two take the same time in R's truncnorm
            do z = Normal();
            while (z < a);
            return z;
        }
        do z = a - std::log(1.0 - Uniform()) / rate;
        while (Uniform() > std::exp(-0.5 * (z - rate) * (z - rate)));
        return z;
    }
    /// Between a and b > 0: evenly over the interval, or from the half-line where that is accepted more often.
    double Between(double b) {
        double z;
        if (b - a > (a > 0.0 ? 1.0 / std::max(a, 0.5) : 2.5)) {
            do z = Lower();
            while (z > b);
            return z;
        }
        const double nearest = std::max(a, 0.0);  // b is above 0
        do z = a + (b - a) * Uniform();
        while (Uniform() > std::exp(0.5 * (nearest * nearest - z * z)));
        return z;
    }
};

struct Inverse : Standard {
    double above, below = 0.0;
    explicit Inverse(double a = 0.0, double b = Infinity) { Set(a, b); }
    void Set(double a, double b = Infinity) {
        above = Above(a);
        below = Above(b);
    }
    double Lower() { return Quantile(above + Uniform() * (below - above)); }
};

#if QUARN_BENCH_GSL
struct Gsl {
    double a;
    gsl_rng* rng = gsl_rng_alloc(gsl_rng_mt19937);
    explicit Gsl(double bound = 0.0) : a(bound) {}
    ~Gsl() { gsl_rng_free(rng); }
    void Set(double bound) { a = bound; }
    double Lower() {
        if (a > 0.257) return gsl_ran_ugaussian_tail(rng, a);
        double z;
        do z = gsl_ran_ugaussian(rng);
        while (z < a);
        return z;
    }
};
#endif

void SetItems(benchmark::State& state) { state.SetItemsProcessed(state.iterations() * cells); }

std::string Name(const char* function, const char* form, double a) {
    char text[80];
    std::snprintf(text, sizeof text, "%s/%s/a:%g/%d", function, form, a, static_cast<int>(cells));
    return text;
}

std::string Name(const char* function, double a, double b) {
    char text[80];
    std::snprintf(text, sizeof text, "%s/fixed/a:%g/b:%g/%d", function, a, b, static_cast<int>(cells));
    return text;
}

/// Standard normal means, as of a probit model; `beyond` moves all bounds up or down.
VectorXd Means(double beyond) {
    std::mt19937_64 engine(7);
    std::normal_distribution<double> normal(-beyond, 1.0);
    return VectorXd::NullaryExpr(cells, [&](Index) { return normal(engine); });
}

template <class Peer>
void AddLower(const char* name, double a) {
    benchmark::RegisterBenchmark(Name(name, "fixed", a).c_str(), [a](benchmark::State& state) {
        Peer peer(a);
        MatrixXd out(cells, 1);
        for (auto _ : state) {
            for (Index i = 0; i < cells; ++i) out(i) = peer.Lower();
            benchmark::ClobberMemory();
        }
        SetItems(state);
    });
}

template <class Peer>
void AddVarying(const char* name, double beyond) {
    benchmark::RegisterBenchmark(Name(name, "varying", beyond).c_str(), [beyond](benchmark::State& state) {
        Peer peer;
        const VectorXd mu = Means(beyond);
        VectorXd out(cells);
        for (auto _ : state) {
            for (Index i = 0; i < cells; ++i) {
                peer.Set(-mu(i));
                out(i) = peer.Lower() + mu(i);
            }
            benchmark::ClobberMemory();
        }
        SetItems(state);
    });
}

void AddLowerFamily(double a) {
    benchmark::RegisterBenchmark(Name("tnormrnd_lower", "fixed", a).c_str(), [a](benchmark::State& state) {
        Ours ours;
        MatrixXd out(cells, 1);
        for (auto _ : state) quarn::tnormrnd_lower(ours.rng, ours.unif, ours.norm, 0.0, 1.0, a, out);
        SetItems(state);
    });
    benchmark::RegisterBenchmark(Name("tnormrnd_lower", "scalar", a).c_str(), [a](benchmark::State& state) {
        Ours ours;
        MatrixXd out(cells, 1);
        for (auto _ : state) {
            for (Index i = 0; i < cells; ++i)
                out(i) = quarn::tnormrnd_lower(ours.rng, ours.unif, ours.norm, 0.0, 1.0, a);
            benchmark::ClobberMemory();
        }
        SetItems(state);
    });
    AddLower<Robert>("robert", a);
    if (a < 30.0) AddLower<Inverse>("inverse", a);  // its probabilities underflow
#if QUARN_BENCH_GSL
    AddLower<Gsl>("gsl_tail", a);
#endif
}

void AddVaryingFamily(double beyond) {
    benchmark::RegisterBenchmark(Name("tnormrnd_lower", "varying", beyond).c_str(), [beyond](benchmark::State& state) {
        Ours ours;
        const VectorXd mu = Means(beyond);
        VectorXd out(cells);
        for (auto _ : state) quarn::tnormrnd_lower(ours.rng, ours.unif, ours.norm, mu, 1.0, out);
        SetItems(state);
    });
    AddVarying<Robert>("robert", beyond);
    AddVarying<Inverse>("inverse", beyond);
#if QUARN_BENCH_GSL
    AddVarying<Gsl>("gsl_tail", beyond);
#endif
}

template <class Draw>
void AddBetween(const char* name, double a, double b, Draw draw) {
    benchmark::RegisterBenchmark(Name(name, a, b).c_str(), [draw](benchmark::State& state) {
        auto copy = draw;
        MatrixXd out(cells, 1);
        for (auto _ : state) {
            for (Index i = 0; i < cells; ++i) out(i) = copy();
            benchmark::ClobberMemory();
        }
        SetItems(state);
    });
}

void AddBetweenFamily(double a, double b) {
    AddBetween("Botev2017", a, b,
               [ours = Ours(), a, b]() mutable { return quarn::Botev2017(ours.rng, ours.unif, ours.norm, a, b); });
    const bool mirrored = b < 0.0;
    AddBetween("robert", a, b, [peer = Robert(mirrored ? -b : a), far = mirrored ? -a : b, mirrored]() mutable {
        return mirrored ? -peer.Between(far) : peer.Between(far);
    });
    AddBetween("inverse", a, b, [peer = Inverse(), a, b]() mutable {
        peer.Set(a, b);
        return peer.Lower();
    });
}

const bool registered = [] {
    for (const double a : {-5.0, -3.0, -2.0, -1.0, -0.5, 0.0, 0.5, 1.0, 1.5, 2.0, 2.25, 2.5, 3.0, 5.0, 10.0, 100.0}) {
        AddLowerFamily(a);
    }
    for (const double beyond : {-2.0, 0.0, 2.0}) AddVaryingFamily(beyond);
    for (const auto& [a, b] : {std::pair(-0.5, 0.5),
                               {-1.0, 1.0},
                               {-1.0, 2.0},
                               {0.2, 0.3},
                               {0.5, 2.4},
                               {1.0, 1.5},
                               {1.0, 4.0},
                               {5.0, 5.1},
                               {5.0, 9.0},
                               {-9.0, -2.0}}) {
        AddBetweenFamily(a, b);
    }
    return true;
}();

}  // namespace
