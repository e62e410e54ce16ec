// Golden streams: the first values and a hash of the bits of 1e6 values of every generator. They are the same in every
// build type, with g++ and clang++, on libstdc++ and libc++. A failure after a change of a generator means that the
// change is value-breaking: results of users move, and the changelog has to say so. See docs/the-stream.md.

#include "Triple.h"

#include <quarn/random/GHK.h>
#include <quarn/random/Multivariate.h>
#include <quarn/random/TruncatedMultivariateNormal.h>
#include <quarn/random/Univariate.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <functional>
#include <string>

namespace {

using quarn::MatrixXd;
using quarn::RowVectorXd;
using quarn::VectorXd;
using quarn_test::Triple;

#define TRIPLE T.rng, T.unif, T.norm

struct Stream {
    std::string name;
    std::function<void(Triple&, MatrixXd&)> fill;  ///< draws the next values of the stream
    double first, second, third;
    std::uint64_t hash;
};

/// FNV-1a over the values' bits, a word at a time.
void Absorb(std::uint64_t& hash, double value) { hash = (hash ^ std::bit_cast<std::uint64_t>(value)) * 0x100000001B3; }

/// Fills out row by row.
template <class Draw>
auto Cells(Draw draw) {
    return [draw](Triple& T, MatrixXd& out) {
        for (Eigen::Index i = 0; i < out.rows(); ++i) {
            for (Eigen::Index j = 0; j < out.cols(); ++j) out(i, j) = draw(T);
        }
    };
}

const VectorXd mean{{1.0, -2.0, 0.5}};
const MatrixXd factor{{1.5, 0.0, 0.0}, {-0.7, 0.8, 0.0}, {0.4, 0.3, 2.0}};

/// Each row of out is a 3 x 3 matrix that draw(T, matrix) makes.
template <class Draw>
auto Matrices(Draw draw) {
    return [draw](Triple& T, MatrixXd& out) {
        MatrixXd drawn(3, 3);
        for (Eigen::Index i = 0; i < out.rows(); ++i) {
            draw(T, drawn);
            out.row(i) = drawn.reshaped().transpose();
        }
    };
}

/// Each row of out is a run of three vectors, each made by draw(T, x) from the one before.
template <class Draw>
auto Vectors(VectorXd x, Draw draw) {
    return [x, draw](Triple& T, MatrixXd& out) mutable {
        for (Eigen::Index i = 0; i < out.rows(); ++i) {
            for (Eigen::Index j = 0; j < 9; j += 3) {
                x = draw(T, x);
                out.row(i).segment(j, 3) = x.transpose();
            }
        }
    };
}

const MatrixXd precision{{1.0, 0.4, -0.2}, {0.4, 1.5, 0.3}, {-0.2, 0.3, 0.8}};
const VectorXd low{{-1.0, -1.0, -1.0}};

const Stream streams[] = {
    {"uniform", Cells([](Triple& T) { return quarn::UniformDraw(T.rng, T.unif); }), 0.26950418532685821,
     0.47404593813636248, 0.85689774002778318, 0x2C4D6280CC15F91D},
    {"normal", Cells([](Triple& T) { return quarn::NormalDraw(T.rng, T.norm); }), -1.7417913272157424,
     -0.19612746515250423, 1.0551112042079982, 0xD9C7A02043D56F3C},
    {"gamma, shape 0.02", Cells([](Triple& T) { return quarn::gamrnd(TRIPLE, 0.02, 3.0); }), 4.5539157938507947e-21,
     1.8037418071485404e-24, 4.871890355810709e-18, 0x9D8773BE6A606354},
    {"gamma, shape 0.5", Cells([](Triple& T) { return quarn::gamrnd(TRIPLE, 0.5, 3.0); }), 0.01381628360280958,
     0.027977879068181784, 0.089527630462809274, 0xF9DE76DD588A5DBA},
    {"gamma, shape 1.0", Cells([](Triple& T) { return quarn::gamrnd(TRIPLE, 1.0, 3.0); }), 0.17300301422012049,
     0.075031136469948037, 0.068642010372676823, 0xDB1086C7AEDE0E2E},
    {"gamma, shape 7.0", Cells([](Triple& T) { return quarn::gamrnd(TRIPLE, 7.0, 3.0); }), 1.0349532091058891,
     2.0576605019818022, 1.6415468030855291, 0xB7876B0D21B22ABA},
    {"gamma, shape 30.0", Cells([](Triple& T) { return quarn::gamrnd(TRIPLE, 30.0, 3.0); }), 7.051659337186682,
     9.5370625439783581, 8.5989641874150564, 0x7FC0426609A17DD3},
    {"gamma, shape 31.0", Cells([](Triple& T) { return quarn::gamrnd(TRIPLE, 31.0, 3.0); }), 7.2832530354580829,
     9.8906790298516984, 12.293063192535506, 0x3DA993B707814100},
    {"gamma, matrix", [](Triple& T, MatrixXd& out) { quarn::gamrnd(TRIPLE, 2.5, 3.0, out); }, 0.16037865032200213,
     0.63020234101803785, 0.41528530927576746, 0x1E1C7BCCA88188EF},
    {"weibull", Cells([](Triple& T) { return quarn::weibullrnd(T.rng, T.unif, 1.3, 2.0); }), 0.82051515844867262,
     1.42318587679283, 3.3353213875482632, 0x484EFF9C1C1B78C5},
    {"extreme value", Cells([](Triple& T) { return quarn::evrnd(T.rng, T.unif, 1.0, 2.0); }), 0.45815819061103225,
     1.5848504841440669, 4.735942071212131, 0x1A02D00EE85DD0CD},
    {"beta", Cells([](Triple& T) { return quarn::betarnd(TRIPLE, 0.7, 2.5); }), 0.042481876106811631,
     0.053253719829050486, 0.0091366079899797299, 0x16CFA18017FEAC48},
    {"beta, tiny shapes", Cells([](Triple& T) { return quarn::betarnd(TRIPLE, 0.002, 0.001); }), 1, 1,
     6.0017957819121511e-117, 0x36BC17F85E6459B6},
    {"chi-squared", Cells([](Triple& T) { return quarn::chi2rnd(TRIPLE, 3.0); }), 0.230797862876051, 1.9347761950793405,
     1.0671148021894139, 0x27C61914DEA52327},
    {"F", Cells([](Triple& T) { return quarn::frnd(TRIPLE, 3.0, 70.0); }), 0.080129890258457306, 3.5809949789984334,
     0.27468434950059467, 0xA06976286616168A},
    {"F, matrix", [](Triple& T, MatrixXd& out) { quarn::frnd(TRIPLE, 3.0, 0.01, out); }, 20231473011745276,
     0.046554945979387093, 2.4752561742910617e+39, 0x14E20AF0477A5CA5},
    {"t", Cells([](Triple& T) { return quarn::trnd(TRIPLE, 5.0); }), -0.44706895722552892, -1.0460276154485844,
     1.8412351652996948, 0x1FCE175D8E58A298},
    {"t, matrix", [](Triple& T, MatrixXd& out) { quarn::trnd(TRIPLE, 0.02, out); }, 3.193860018740098e+18,
     1.335999208879396e+22, -4214305964292445.5, 0xF96848EDA944EFD7},
    {"Poisson, mean 5.0", Cells([](Triple& T) { return quarn::poissonrnd(TRIPLE, 5.0); }), 6, 6, 5, 0x54A8E9CFFA320125},
    {"Poisson, mean 50.0", Cells([](Triple& T) { return quarn::poissonrnd(TRIPLE, 50.0); }), 46, 57, 49,
     0xD5B8A9CFFA320125},
    {"Poisson, mean 2000.0", Cells([](Triple& T) { return quarn::poissonrnd(TRIPLE, 2000.0); }), 1922, 1991, 2047,
     0x602909CFFA320125},
    {"multivariate normal", Cells([](Triple& T) {
         VectorXd x(3);
         quarn::mvnormrnd(T.rng, T.norm, mean, factor, x);
         return x[2];
     }),
     1.854667637983948, -2.8438980248585164, -0.077879892220842795, 0x50F8D5825BF48CF8},
    {"Wishart", Matrices([](Triple& T, MatrixXd& out) { quarn::wishrnd(TRIPLE, factor, 4.5, out); }),
     10.586536696644314, -9.4741911647513817, -0.15337955204963322, 0x0CF815A7693DB764},
    {"inverse Wishart", Matrices([](Triple& T, MatrixXd& out) { quarn::iwishrnd_intdf(TRIPLE, factor, 7, out); }),
     0.38731708172194135, 0.40307347481100786, -0.049933221657658879, 0x370032C377BECF76},
    {"Dirichlet",
     [](Triple& T, MatrixXd& out) { quarn::drchrnd(TRIPLE, RowVectorXd(RowVectorXd::LinSpaced(9, 0.25, 2.25)), out); },
     0.0026544766296398947, 0.01188211002614006, 0.11966655823156368, 0xF599673107D85A33},
    {"truncated multivariate normal, rejection",
     Vectors(low,
             [](Triple& T, const VectorXd&) {
                 bool ok = false;
                 return quarn::MVN_trunc_LV(T.rng, T.norm, low, factor, ok);
             }),
     -0.55958532234050762, -1.8005869576910309, -4.3438980248585164, 0x73FD0AE7A4ECF788},
    {"truncated multivariate normal, scan",
     Vectors(low, [](Triple& T, const VectorXd& x) { return quarn::MVN_trunc_P(TRIPLE, mean, precision, x); }),
     -0.078129783870328096, -1.0314905280409943, -0.24638853157294682, 0x0B751634836044A7},
    {"GHK", Cells([](Triple& T) { return quarn::GHK(TRIPLE, factor, mean, 2); }), 0.003476633221797306,
     0.0014832178385682775, 0.0058238560522655639, 0xFCE595026FEF1B96},
    {"GHK, gradient",
     [](Triple& T, MatrixXd& out) {
         for (Eigen::Index i = 0; i < out.rows(); ++i) {
             out.row(i) = quarn::GHK_mfx(TRIPLE, factor, mean, MatrixXd::Identity(3, 3), 2).replicate(3, 1).transpose();
         }
     },
     0.0050732649908810587, 0.012541260167198033, 0.00096271015138485894, 0xEF5F1422A3B28373},
    {"Dirichlet, tiny alpha",
     [](Triple& T, MatrixXd& out) { quarn::drchrnd(TRIPLE, RowVectorXd(RowVectorXd::Constant(9, 1e-3)), out); }, 0, 0,
     0, 0xE413D29D5BBA42BA},
};

TEST(Streams, KeepTheirValues) {
    for (const Stream& stream : streams) {
        Triple T(20240229);
        MatrixXd out(1000, 9);
        std::uint64_t hash = 0xCBF29CE484222325;
        double first[3] = {};
        for (int block = 0; block < 112; ++block) {  // 1,008,000 values
            stream.fill(T, out);
            if (block == 0) std::copy_n(out.row(0).eval().data(), 3, first);
            for (const double x : out.reshaped()) Absorb(hash, x);
        }
        char line[200];
        std::snprintf(line, sizeof line, "%.17g, %.17g, %.17g, 0x%016llX", first[0], first[1], first[2],
                      static_cast<unsigned long long>(hash));
        EXPECT_TRUE(first[0] == stream.first && first[1] == stream.second && first[2] == stream.third)
            << stream.name << ": " << line;
        EXPECT_EQ(hash, stream.hash) << stream.name << ": " << line;
    }
}

}  // namespace
