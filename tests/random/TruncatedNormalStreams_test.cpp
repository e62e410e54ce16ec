// The first values of every regime and family of truncated normals, and a hash of the bits of more of them. A failure
// after a change of a generator or a table means that the change is value-breaking: the changelog has to say so.

#include "Triple.h"

#include <quarn/random/TruncatedNormal.h>

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <limits>
#include <string>

namespace {

using quarn::MatrixXd;
using quarn::VectorXd;

using quarn_test::Triple;

constexpr double Infinity = std::numeric_limits<double>::infinity();

struct Stream {
    std::string name;
    std::function<double(Triple&)> draw;
    double first, second, third;
    std::uint64_t hash;  ///< FNV-1a over the bits of 300000 values, a word at a time
};

auto Lower(double a) {
    return [a](Triple& t) { return quarn::Chopin2011_lower(t.rng, t.unif, t.norm, a); };
}
auto Between(double a, double b) {
    return [a, b](Triple& t) { return quarn::Botev2017(t.rng, t.unif, t.norm, a, b); };
}

/// The sum of a matrix of 30 x 4 draws, with bounds in all regimes.
template <class Fill>
auto Sum(Fill fill) {
    const MatrixXd mus = VectorXd::LinSpaced(120, -6.0, 6.0).reshaped(30, 4);
    return [fill, mus](Triple& t) {
        MatrixXd out(30, 4);
        fill(t, mus, out);
        double sum = 0.0;
        for (const double x : out.reshaped()) sum += x;
        return sum;
    };
}

const Stream streams[] = {
    {"rejection from the normal", Lower(-4.0), 0.7898459491169938, -0.68712584902818397, 0.09486131333763019,
     0x642E7FA844C88DFA},
    {"cells from the first", Lower(-3.25), 0.79787686753397224, 0.55794650443752669, -2.0731839043867319,
     0xBB00201E260C41E5},
    {"cells, half the law", Lower(0.0), 1.2471649044903503, 1.0634204351057477, 0.022949477749990479,
     0x9F5A5BE91D206965},
    {"cells, few", Lower(2.3), 2.8291269946782163, 2.7291454452099142, 2.4850617745368293, 0xD364443E84CBB986},
    {"tail", Lower(3.0), 3.0788811473625102, 3.1117664959381295, 4.1107544037332495, 0x0790E4C176281865},
    {"far tail", Lower(1e6), 1000000.0000002397, 1000000.0000003416, 1000000.0000039492, 0x9E1467BCBC12EF4A},
    {"two bounds, tail", Between(0.67, 0.9), 0.85285688062155485, 0.67474209250749939, 0.73054954441484599,
     0x190DB315F19C03FD},
    {"two bounds, lower tail", Between(-Infinity, -2.0), -2.6629393079427843, -2.0097060310630588, -2.139832100197014,
     0xE21A50AB20B63A1C},
    {"two bounds, rejection", Between(-0.5, 2.0), 0.7898459491169938, 0.09486131333763019, 0.20112615486323374,
     0x09466EB1A9AE710E},
    {"two bounds, inversion", Between(-0.5, 0.25), 0.092497020343146177, -0.30228051512615278, 0.036986580446734425,
     0xF202D0A64837A95A},
    {"two bounds, narrow", Between(0.5, 0.5 + 1e-9), 0.50000000078682094, 0.5000000002504803, 0.50000000071067119,
     0x5A0A99D8EA874A8F},
    {"matrix, tnormrnd0", Sum([](Triple& t, [[maybe_unused]] const MatrixXd& mus, MatrixXd& out) {
         quarn::tnormrnd0(t.rng, t.unif, t.norm, mus, MatrixXd::Constant(30, 4, 1.5), out);
     }),
     241.24466887041496, 237.93017020527387, 229.1241319727541, 0x50027254DF2EAB53},
    {"matrix, tnormrnd_lower", Sum([](Triple& t, [[maybe_unused]] const MatrixXd& mus, MatrixXd& out) {
         quarn::tnormrnd_lower(t.rng, t.unif, t.norm, 0.5, 1.5, mus, out);
     }),
     269.40248906107064, 261.90682841913957, 254.22682774761307, 0xCF30C26D0F444A9E},
    {"matrix, tnormrnd_upper", Sum([](Triple& t, [[maybe_unused]] const MatrixXd& mus, MatrixXd& out) {
         quarn::tnormrnd_upper(t.rng, t.unif, t.norm, mus, 1.5, out);
     }),
     -228.69869952073549, -231.0383293773734, -222.89308311958922, 0x5941FDBB3157893B},
    {"matrix, one law", Sum([](Triple& t, [[maybe_unused]] const MatrixXd& mus, MatrixXd& out) {
         quarn::tnormrnd_lower(t.rng, t.unif, t.norm, 0.5, 1.5, 0.0, out);
     }),
     180.3016984623724, 165.01516061511333, 161.02375179625926, 0x1382B02D83A1BAD9},
};

TEST(TruncatedNormalStreams, AreWhatTheyWere) {
    for (const Stream& stream : streams) {
        Triple t(5489);
        std::uint64_t hash = 0xCBF29CE484222325;
        double values[3];
        const int count = stream.name.starts_with("matrix") ? 3000 : 300000;
        for (int i = 0; i < count; ++i) {
            const double x = stream.draw(t);
            if (i < 3) values[i] = x;
            hash = (hash ^ std::bit_cast<std::uint64_t>(x)) * 0x100000001B3;
        }
        char text[120];
        std::snprintf(text, sizeof text, "%.17g, %.17g, %.17g, 0x%016llX", values[0], values[1], values[2],
                      static_cast<unsigned long long>(hash));
        EXPECT_TRUE(values[0] == stream.first && values[1] == stream.second && values[2] == stream.third &&
                    hash == stream.hash)
            << stream.name << ": " << text;
    }
}

}  // namespace
