// Random variates beside std, Boost.Random and GSL. Items are draws: numbers, vectors, matrices. Each peer draws from
// its own usual engine with objects that live as long as the run: std from std::mt19937_64, Boost from
// boost::mt19937_64, GSL from its mt19937 (words of 32 bits). The rows "quarn" call the scalar form, "quarn_out" the
// form that fills a matrix.

#include <quarn/random/Multivariate.h>
#include <quarn/random/Univariate.h>

#include <benchmark/benchmark.h>
#include <boost/random.hpp>
#if QUARN_BENCH_GSL
#include <gsl/gsl_matrix.h>
#include <gsl/gsl_randist.h>
#include <gsl/gsl_rng.h>
#include <gsl/gsl_vector.h>
#endif

#include <array>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::RowVectorXd;
using quarn::VectorXd;

constexpr Index batch = 1000;

struct Triple {
    quarn::Rng rng{1};
    quarn::Unif unif;
    quarn::Norm norm;
};

#define TRIPLE T.rng, T.unif, T.norm

/// A benchmark of `batch` calls of draw(generators), each of which gives a number that depends on what was drawn.
template <class Generators, class Draw>
void Register(const std::string& name, Draw draw) {
    benchmark::RegisterBenchmark(name.c_str(), [draw](benchmark::State& state) {
        Generators T;
        std::array<double, batch> values;
        Draw own = draw;
        for (auto _ : state) {
            for (double& x : values) x = static_cast<double>(own(T));
            benchmark::DoNotOptimize(values);
        }
        state.SetItemsProcessed(state.iterations() * batch);
    });
}

/// A benchmark of a form that fills a matrix of `batch` cells.
template <class Fill>
void RegisterFill(const std::string& name, Fill fill) {
    benchmark::RegisterBenchmark(name.c_str(), [fill](benchmark::State& state) {
        Triple T;
        MatrixXd out(batch / 10, 10);
        for (auto _ : state) {
            fill(T, out);
            benchmark::DoNotOptimize(out.data());
        }
        state.SetItemsProcessed(state.iterations() * batch);
    });
}

/// The peers' distribution objects draw from this engine.
template <class Engine>
struct Plain {
    Engine rng{1};
};

template <class Law>
void RegisterStd(const std::string& name, Law law) {
    Register<Plain<std::mt19937_64>>(name, [law](auto& T) mutable { return law(T.rng); });
}

template <class Law>
void RegisterBoost(const std::string& name, Law law) {
    Register<Plain<boost::random::mt19937_64>>(name, [law](auto& T) mutable { return law(T.rng); });
}

#if QUARN_BENCH_GSL
struct Gsl {
    std::shared_ptr<gsl_rng> rng{gsl_rng_alloc(gsl_rng_mt19937), gsl_rng_free};
};

template <class Draw>
void RegisterGsl(const std::string& name, Draw draw) {
    Register<Gsl>(name, [draw](Gsl& T) { return draw(T.rng.get()); });
}
#else
template <class Draw>
void RegisterGsl(const std::string&, Draw) {}
struct gsl_rng;
#endif

std::string Key(const std::string& function, const std::string& form, const char* key, double value) {
    char text[100];
    std::snprintf(text, sizeof text, "%s/%s/%s:%g", function.c_str(), form.c_str(), key, value);
    return text;
}

void RegisterElementary() {
    Register<Triple>("UniformDraw/quarn", [](Triple& T) { return quarn::UniformDraw(T.rng, T.unif); });
    RegisterFill("UniformDraw/quarn_out", [](Triple& T, MatrixXd& out) { quarn::unifrnd(T.rng, T.unif, out); });
    RegisterStd("UniformDraw/std", std::uniform_real_distribution<double>());
    RegisterBoost("UniformDraw/boost", boost::random::uniform_01<double>());
    Register<Triple>("NormalDraw/quarn", [](Triple& T) { return quarn::NormalDraw(T.rng, T.norm); });
    RegisterStd("NormalDraw/std", std::normal_distribution<double>());
    RegisterBoost("NormalDraw/boost_ziggurat", boost::random::normal_distribution<double>());
#if QUARN_BENCH_GSL
    RegisterGsl("UniformDraw/gsl", [](gsl_rng* r) { return gsl_rng_uniform(r); });
    RegisterGsl("NormalDraw/gsl_polar", [](gsl_rng* r) { return gsl_ran_gaussian(r, 1.0); });
    RegisterGsl("NormalDraw/gsl_ziggurat", [](gsl_rng* r) { return gsl_ran_gaussian_ziggurat(r, 1.0); });
#endif
}

void RegisterGamma(double a) {
    const auto name = [a](const char* form) { return Key("gamrnd", form, "shape", a); };
    Register<Triple>(name("quarn"), [a](Triple& T) { return quarn::gamrnd(TRIPLE, a, 2.0); });
    RegisterFill(name("quarn_out"), [a](Triple& T, MatrixXd& out) { quarn::gamrnd(TRIPLE, a, 2.0, out); });
    RegisterStd(name("std"), std::gamma_distribution<double>(a, 0.5));
    RegisterBoost(name("boost"), boost::random::gamma_distribution<double>(a, 0.5));
#if QUARN_BENCH_GSL
    RegisterGsl(name("gsl"), [a](gsl_rng* r) { return gsl_ran_gamma(r, a, 0.5); });
#endif
}

void RegisterQuotients() {
    Register<Triple>("betarnd/quarn/a:2.5/b:1.5", [](Triple& T) { return quarn::betarnd(TRIPLE, 2.5, 1.5); });
    RegisterFill("betarnd/quarn_out/a:2.5/b:1.5",
                 [](Triple& T, MatrixXd& out) { quarn::betarnd(TRIPLE, 2.5, 1.5, out); });
    RegisterBoost("betarnd/boost/a:2.5/b:1.5", boost::random::beta_distribution<double>(2.5, 1.5));
    Register<Triple>("chi2rnd/quarn/df:5", [](Triple& T) { return quarn::chi2rnd(TRIPLE, 5.0); });
    RegisterStd("chi2rnd/std/df:5", std::chi_squared_distribution<double>(5.0));
    Register<Triple>("frnd/quarn/df1:5/df2:8", [](Triple& T) { return quarn::frnd(TRIPLE, 5.0, 8.0); });
    RegisterFill("frnd/quarn_out/df1:5/df2:8", [](Triple& T, MatrixXd& out) { quarn::frnd(TRIPLE, 5.0, 8.0, out); });
    RegisterStd("frnd/std/df1:5/df2:8", std::fisher_f_distribution<double>(5.0, 8.0));
    Register<Triple>("trnd/quarn/df:5", [](Triple& T) { return quarn::trnd(TRIPLE, 5.0); });
    RegisterFill("trnd/quarn_out/df:5", [](Triple& T, MatrixXd& out) { quarn::trnd(TRIPLE, 5.0, out); });
    RegisterStd("trnd/std/df:5", std::student_t_distribution<double>(5.0));
    RegisterBoost("trnd/boost/df:5", boost::random::student_t_distribution<double>(5.0));
#if QUARN_BENCH_GSL
    RegisterGsl("betarnd/gsl/a:2.5/b:1.5", [](gsl_rng* r) { return gsl_ran_beta(r, 2.5, 1.5); });
    RegisterGsl("chi2rnd/gsl/df:5", [](gsl_rng* r) { return gsl_ran_chisq(r, 5.0); });
    RegisterGsl("frnd/gsl/df1:5/df2:8", [](gsl_rng* r) { return gsl_ran_fdist(r, 5.0, 8.0); });
    RegisterGsl("trnd/gsl/df:5", [](gsl_rng* r) { return gsl_ran_tdist(r, 5.0); });
#endif
}

void RegisterInversions() {
    Register<Triple>("weibullrnd/quarn/shape:1.5",
                     [](Triple& T) { return quarn::weibullrnd(T.rng, T.unif, 1.5, 2.0); });
    RegisterStd("weibullrnd/std/shape:1.5", std::weibull_distribution<double>(1.5, 2.0));
    Register<Triple>("evrnd/quarn", [](Triple& T) { return quarn::evrnd(T.rng, T.unif, 0.0, 1.0); });
    RegisterStd("evrnd/std", std::extreme_value_distribution<double>(0.0, 1.0));
#if QUARN_BENCH_GSL
    RegisterGsl("weibullrnd/gsl/shape:1.5", [](gsl_rng* r) { return gsl_ran_weibull(r, 2.0, 1.5); });
    RegisterGsl("evrnd/gsl", [](gsl_rng* r) { return gsl_ran_gumbel1(r, 1.0, 1.0); });
#endif
}

void RegisterPoisson(double lambda) {
    const auto name = [lambda](const char* form) { return Key("poissonrnd", form, "lambda", lambda); };
    Register<Triple>(name("quarn"), [lambda](Triple& T) { return quarn::poissonrnd(TRIPLE, lambda); });
    RegisterStd(name("std"), std::poisson_distribution<int>(lambda));
    Register<Plain<std::mt19937_64>>(name("std_new_object"),
                                     [lambda](auto& T) { return std::poisson_distribution<int>(lambda)(T.rng); });
    RegisterBoost(name("boost"), boost::random::poisson_distribution<int>(lambda));
#if QUARN_BENCH_GSL
    RegisterGsl(name("gsl"), [lambda](gsl_rng* r) { return gsl_ran_poisson(r, lambda); });
#endif
}

MatrixXd Factor(Index p) {
    return MatrixXd::NullaryExpr(p, p, [](Index i, Index j) { return i < j ? 0.0 : i == j ? 1.0 : 0.2; });
}

#if QUARN_BENCH_GSL
std::shared_ptr<gsl_matrix> GslMatrix(const MatrixXd& X) {
    const auto rows = static_cast<std::size_t>(X.rows()), columns = static_cast<std::size_t>(X.cols());
    std::shared_ptr<gsl_matrix> copy(gsl_matrix_alloc(rows, columns), gsl_matrix_free);
    for (std::size_t i = 0; i < rows; ++i) {
        for (std::size_t j = 0; j < columns; ++j) {
            gsl_matrix_set(copy.get(), i, j, X(static_cast<Index>(i), static_cast<Index>(j)));
        }
    }
    return copy;
}

std::shared_ptr<gsl_vector> GslVector(Index p) {
    return {gsl_vector_calloc(static_cast<std::size_t>(p)), gsl_vector_free};
}
#endif

void RegisterMultivariateNormal(Index p) {
    const auto name = [p](const char* form) { return Key("mvnormrnd", form, "p", static_cast<double>(p)); };
    const MatrixXd L = Factor(p);
    const VectorXd mean = VectorXd::Zero(p);
    Register<Triple>(name("quarn"), [L, mean, out = VectorXd(mean)](Triple& T) mutable {
        quarn::mvnormrnd(T.rng, T.norm, mean, L, out);
        return out[0];
    });
    Register<Triple>(name("quarn_out100"), [L, mean, out = MatrixXd(100, L.rows()), i = 0](Triple& T) mutable {
        if (i++ % 100 == 0) quarn::mvnormrnd(T.rng, T.norm, mean, L, out);
        return out(0, 0);
    });
    Register<Triple>(name("std_eigen"), [L, z = VectorXd(mean), out = VectorXd(mean)](Triple& T) mutable {
        for (double& x : z) x = T.norm(T.rng);
        out.noalias() = L.triangularView<Eigen::Lower>() * z;
        return out[0];
    });
#if QUARN_BENCH_GSL
    RegisterGsl(name("gsl"), [L = GslMatrix(L), mu = GslVector(p), out = GslVector(p)](gsl_rng* r) {
        gsl_ran_multivariate_gaussian(r, mu.get(), L.get(), out.get());
        return gsl_vector_get(out.get(), 0);
    });
#endif
}

void RegisterWishart(Index p) {
    const auto name = [p](const char* function, const char* form) {
        return Key(function, form, "p", static_cast<double>(p));
    };
    const MatrixXd L = Factor(p);
    const double df = static_cast<double>(p) + 5.0;
    Register<Triple>(name("wishrnd", "quarn"), [L, df, out = MatrixXd()](Triple& T) mutable {
        quarn::wishrnd(TRIPLE, L, df, out);
        return out(0, 0);
    });
    Register<Triple>(name("iwishrnd", "quarn"), [L, df, out = MatrixXd()](Triple& T) mutable {
        quarn::iwishrnd(TRIPLE, L, df, out);
        return out(0, 0);
    });
#if QUARN_BENCH_GSL
    RegisterGsl(name("wishrnd", "gsl"), [L = GslMatrix(L), out = GslMatrix(L), work = GslMatrix(L), df](gsl_rng* r) {
        gsl_ran_wishart(r, df, L.get(), out.get(), work.get());
        return gsl_matrix_get(out.get(), 0, 0);
    });
#endif
}

void RegisterDirichlet(double alpha) {
    const auto name = [alpha](const char* form) { return Key("drchrnd", form, "alpha", alpha) + "/k:10"; };
    const RowVectorXd shapes = RowVectorXd::Constant(10, alpha);
    Register<Triple>(name("quarn"), [shapes, out = RowVectorXd(shapes)](Triple& T) mutable {
        quarn::drchrnd(TRIPLE, shapes, out);
        return out[0];
    });
#if QUARN_BENCH_GSL
    RegisterGsl(name("gsl"),
                [a = std::vector<double>(10, alpha), out = std::make_shared<std::vector<double>>(10)](gsl_rng* r) {
                    gsl_ran_dirichlet(r, 10, a.data(), out->data());
                    return (*out)[0];
                });
#endif
}

const bool registered = [] {
    RegisterElementary();
    for (const double a : {0.05, 0.5, 1.0, 2.5, 20.0, 50.0}) RegisterGamma(a);
    RegisterQuotients();
    RegisterInversions();
    for (const double lambda : {1.0, 5.0, 20.0, 100.0, 900.0, 5000.0}) RegisterPoisson(lambda);
    for (const Index p : {3, 10, 50}) RegisterMultivariateNormal(p);
    for (const Index p : {2, 5, 20}) RegisterWishart(p);
    for (const double alpha : {0.05, 0.5, 1.5, 50.0}) RegisterDirichlet(alpha);
    return true;
}();

}  // namespace
