// Golden streams: the first values and a hash of the bits of many more of every generator. They are the same in every
// build type, with g++ and clang++, on libstdc++ and libc++. A failure after a change of a generator or a table means
// that the change is value-breaking: results of users move, and the changelog has to say so. See docs/the-stream.md.

#include "Triple.h"

#include <quarn/random/GHK.h>
#include <quarn/random/Multivariate.h>
#include <quarn/random/TruncatedMultivariateNormal.h>
#include <quarn/random/TruncatedNormal.h>
#include <quarn/random/Univariate.h>

#include <Eigen/Cholesky>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace {

using quarn::MatrixXd;
using quarn::MatrixXi;
using quarn::RowVectorXd;
using quarn::VectorXd;
using quarn::VectorXi;
using quarn_test::ByRows;
using quarn_test::Infinity;
using quarn_test::Triple;

struct Stream {
    std::string name;
    std::function<void(Triple&, MatrixXd&)> fill;  ///< draws the next values of the stream
    double first, second, third;
    std::uint64_t hash;
};

/// Draws blocks of rows x columns, and hashes the bits of each by FNV-1a, a word at a time, column by column.
void ExpectStream(const Stream& stream, std::uint64_t seed, int blocks, Eigen::Index rows, Eigen::Index columns) {
    Triple T(seed);
    MatrixXd out(rows, columns);
    std::uint64_t hash = 0xCBF29CE484222325;
    double first[3] = {};
    for (int block = 0; block < blocks; ++block) {
        stream.fill(T, out);
        if (block == 0) std::copy_n(out.row(0).eval().data(), 3, first);
        for (const double x : out.reshaped()) hash = (hash ^ std::bit_cast<std::uint64_t>(x)) * 0x100000001B3;
    }
    char line[200];
    std::snprintf(line, sizeof line, "%.17g, %.17g, %.17g, 0x%016llX", first[0], first[1], first[2],
                  static_cast<unsigned long long>(hash));
    EXPECT_TRUE(first[0] == stream.first && first[1] == stream.second && first[2] == stream.third &&
                hash == stream.hash)
        << stream.name << ": " << line;
}

template <class Draw>
auto Cells(Draw draw) {
    return [draw](Triple& T, MatrixXd& out) { ByRows(out, [&](Eigen::Index, Eigen::Index) { return draw(T); }); };
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
    {"gamma, shape 0.02", Cells([](Triple& T) { return quarn::gamrnd(TRIPLE(T), 0.02, 3.0); }), 4.5539157938507947e-21,
     1.8037418071485404e-24, 4.871890355810709e-18, 0x9D8773BE6A606354},
    {"gamma, shape 7.0", Cells([](Triple& T) { return quarn::gamrnd(TRIPLE(T), 7.0, 3.0); }), 1.0349532091058891,
     2.0576605019818022, 1.6415468030855291, 0xB7876B0D21B22ABA},
    {"gamma, shape 31.0", Cells([](Triple& T) { return quarn::gamrnd(TRIPLE(T), 31.0, 3.0); }), 7.2832530354580829,
     9.8906790298516984, 12.293063192535506, 0x3DA993B707814100},
    {"weibull", Cells([](Triple& T) { return quarn::weibullrnd(T.rng, T.unif, 1.3, 2.0); }), 0.82051515844867262,
     1.42318587679283, 3.3353213875482632, 0x484EFF9C1C1B78C5},
    {"extreme value", Cells([](Triple& T) { return quarn::evrnd(T.rng, T.unif, 1.0, 2.0); }), 0.45815819061103225,
     1.5848504841440669, 4.735942071212131, 0x1A02D00EE85DD0CD},
    {"beta", Cells([](Triple& T) { return quarn::betarnd(TRIPLE(T), 0.7, 2.5); }), 0.042481876106811631,
     0.053253719829050486, 0.0091366079899797299, 0x16CFA18017FEAC48},
    {"beta, tiny shapes", Cells([](Triple& T) { return quarn::betarnd(TRIPLE(T), 0.002, 0.001); }), 1, 1,
     6.0017957819121511e-117, 0x36BC17F85E6459B6},
    {"chi-squared", Cells([](Triple& T) { return quarn::chi2rnd(TRIPLE(T), 3.0); }), 0.230797862876051,
     1.9347761950793405, 1.0671148021894139, 0x27C61914DEA52327},
    {"F", Cells([](Triple& T) { return quarn::frnd(TRIPLE(T), 3.0, 70.0); }), 0.080129890258457306, 3.5809949789984334,
     0.27468434950059467, 0xA06976286616168A},
    {"F, matrix", [](Triple& T, MatrixXd& out) { quarn::frnd(TRIPLE(T), 3.0, 0.01, out); }, 20231473011745276,
     0.046554945979387093, 2.4752561742910617e+39, 0x14E20AF0477A5CA5},
    {"t", Cells([](Triple& T) { return quarn::trnd(TRIPLE(T), 5.0); }), -0.44706895722552892, -1.0460276154485844,
     1.8412351652996948, 0x1FCE175D8E58A298},
    {"t, matrix", [](Triple& T, MatrixXd& out) { quarn::trnd(TRIPLE(T), 0.02, out); }, 3.193860018740098e+18,
     1.335999208879396e+22, -4214305964292445.5, 0xF96848EDA944EFD7},
    {"Poisson, mean 5.0", Cells([](Triple& T) { return quarn::poissonrnd(TRIPLE(T), 5.0); }), 6, 6, 5,
     0x54A8E9CFFA320125},
    {"Poisson, mean 50.0", Cells([](Triple& T) { return quarn::poissonrnd(TRIPLE(T), 50.0); }), 46, 57, 49,
     0xD5B8A9CFFA320125},
    {"Poisson, mean 2000.0", Cells([](Triple& T) { return quarn::poissonrnd(TRIPLE(T), 2000.0); }), 1922, 1991, 2047,
     0x602909CFFA320125},
    {"multivariate normal", Cells([](Triple& T) {
         VectorXd x(3);
         quarn::mvnormrnd(T.rng, T.norm, mean, factor, x);
         return x[2];
     }),
     1.854667637983948, -2.8438980248585164, -0.077879892220842795, 0x50F8D5825BF48CF8},
    {"Wishart", Matrices([](Triple& T, MatrixXd& out) { quarn::wishrnd(TRIPLE(T), factor, 4.5, out); }),
     10.586536696644314, -9.4741911647513817, -0.15337955204963322, 0x0CF815A7693DB764},
    {"inverse Wishart", Matrices([](Triple& T, MatrixXd& out) { quarn::iwishrnd_intdf(TRIPLE(T), factor, 7, out); }),
     0.38731708172194135, 0.40307347481100786, -0.049933221657658879, 0x370032C377BECF76},
    {"Dirichlet",
     [](Triple& T, MatrixXd& out) {
         quarn::drchrnd(TRIPLE(T), RowVectorXd(RowVectorXd::LinSpaced(9, 0.25, 2.25)), out);
     },
     0.0026544766296398947, 0.01188211002614006, 0.11966655823156368, 0xF599673107D85A33},
    {"truncated multivariate normal, rejection",
     Vectors(low,
             [](Triple& T, const VectorXd&) {
                 bool ok = false;
                 return quarn::MVN_trunc_LV(T.rng, T.norm, low, factor, ok);
             }),
     -0.55958532234050762, -1.8005869576910309, -4.3438980248585164, 0x73FD0AE7A4ECF788},
    {"truncated multivariate normal, scan",
     Vectors(low, [](Triple& T, const VectorXd& x) { return quarn::MVN_trunc_P(TRIPLE(T), mean, precision, x); }),
     -0.078129783870328096, -1.0314905280409943, -0.24638853157294682, 0x0B751634836044A7},
    {"GHK", Cells([](Triple& T) { return quarn::GHK(TRIPLE(T), factor, mean, 2); }), 0.003476633221797306,
     0.0014832178385682775, 0.0058238560522655639, 0xFCE595026FEF1B96},
    {"GHK, gradient",
     [](Triple& T, MatrixXd& out) {
         for (Eigen::Index i = 0; i < out.rows(); ++i) {
             out.row(i) =
                 quarn::GHK_mfx(TRIPLE(T), factor, mean, MatrixXd::Identity(3, 3), 2).replicate(3, 1).transpose();
         }
     },
     0.0050732649908810587, 0.012541260167198033, 0.00096271015138485894, 0xEF5F1422A3B28373},
    {"Dirichlet, tiny alpha",
     [](Triple& T, MatrixXd& out) { quarn::drchrnd(TRIPLE(T), RowVectorXd(RowVectorXd::Constant(9, 1e-3)), out); }, 0,
     0, 0, 0xE413D29D5BBA42BA},
};

// Other forms of truncated multivariate normals and of GHK, most of which prepare what they need in each call

const VectorXi codes{{1, 0, 1}};

// A covariance matrix with its factor, its inverse, and the inverses of it without one row and column.
const MatrixXd V{{0.75, 0.5, 0.25}, {0.5, 1.0, 0.5}, {0.25, 0.5, 0.75}};
const MatrixXd P{{2.0, -1.0, 0.0}, {-1.0, 2.0, -1.0}, {0.0, -1.0, 2.0}};
const MatrixXd L = V.llt().matrixL();
const std::vector<MatrixXd> W{MatrixXd{{1.5, -1.0}, {-1.0, 2.0}}, MatrixXd{{1.5, -0.5}, {-0.5, 1.5}},
                              MatrixXd{{2.0, -1.0}, {-1.0, 1.5}}};

// Latent columns: the means, for which the rejection fails in some, the choices, and the maps of these, each its own
// inverse.
const MatrixXd means = VectorXd::LinSpaced(9000, -6.0, 6.0).reshaped(3, 3000);
VectorXi choices = VectorXi::NullaryExpr(3000, [](Eigen::Index t) { return static_cast<int>(t % 4); });
const MatrixXi columnCodes =
    MatrixXi::NullaryExpr(3, 3000, [](Eigen::Index i, Eigen::Index t) { return static_cast<int>((t >> i) & 1); });
const std::vector<MatrixXd> maps{MatrixXd(), MatrixXd{{-1.0, 0.0, 0.0}, {-1.0, 1.0, 0.0}, {-1.0, 0.0, 1.0}},
                                 MatrixXd{{1.0, -1.0, 0.0}, {0.0, -1.0, 0.0}, {0.0, -1.0, 1.0}},
                                 MatrixXd{{1.0, 0.0, -1.0}, {0.0, 1.0, -1.0}, {0.0, 0.0, -1.0}}};

/// Each row of out is three columns of a latent matrix X, which draw(T, X) draws anew.
template <class Draw>
auto Latent(Draw draw) {
    return [draw, X = MatrixXd(MatrixXd::Zero(3, 3000))](Triple& T, MatrixXd& out) mutable {
        draw(T, X);
        out.reshaped<Eigen::RowMajor>() = X.reshaped();
    };
}

const Stream otherForms[] = {
    {"truncated multivariate normal, rejection by codes",
     Vectors(low,
             [](Triple& T, const VectorXd&) {
                 bool ok = false;
                 return quarn::MVN_trunc_LV(T.rng, T.norm, mean, factor, codes, ok);
             }),
     3.5592007895049891, -3.4650667677142071, 0.13290719485781133, 0x2C1355C7E7E55E44},
    {"truncated multivariate normal, scan by codes",
     Vectors(low,
             [](Triple& T, const VectorXd& x) { return quarn::MVN_trunc_P(TRIPLE(T), mean, precision, x, codes); }),
     3.4674151343650621, -2.6724567216350912, 2.8065063163323565, 0x48609EFCB5EA5454},
    {"truncated multivariate normal, scan by coefficients",
     Vectors(low,
             [](Triple& T, const VectorXd& x) {
                 static const MatrixXd C{{0.4, -0.2}, {0.25, 0.2}, {-0.25, 0.375}};
                 static const VectorXd sd{{1.0, 0.8, 1.1}};
                 return quarn::MVN_trunc_P(TRIPLE(T), mean, C, sd, x, codes);
             }),
     3.4585920609604868, -2.6290949451636489, 2.7648531798166003, 0x8D2CEA2868BFF565},
    {"truncated multivariate normal, scan by covariance",
     Vectors(low, [](Triple& T, const VectorXd& x) { return quarn::MVN_trunc_V(TRIPLE(T), mean, V, W, x); }),
     -0.036007780891573304, -3.7112367022899662, -0.72182038899586498, 0x175A24E2F1B70897},
    {"latent matrix by choice, precision",
     Latent([](Triple& T, MatrixXd& X) { quarn::MNtrunc_VP(TRIPLE(T), means, maps, maps, V, P, X, choices); }),
     -7.5084355374602465, -7.1644276148652617, -5.8341372977843342, 0xF7C321A1963B0BC9},
    {"latent matrix by choice, covariance",
     Latent([](Triple& T, MatrixXd& X) { quarn::MNtrunc_V(TRIPLE(T), means, maps, maps, V, X, choices); }),
     -7.5084355374602465, -7.1644276148652617, -5.8341372977843342, 0x828DBF25C67514E6},
    {"latent matrix by codes",
     Latent([](Triple& T, MatrixXd& X) { quarn::MVtrunc_LVP(TRIPLE(T), means, L, P, X, columnCodes); }),
     -7.5084355374602465, -7.1644276148652617, -5.8341372977843342, 0xD2B80EE9AE5187D6},
    {"GHK, linear conditions",
     Cells([](Triple& T) { return quarn::GHK(TRIPLE(T), mean, V, maps[1], MatrixXd(low), 2); }), 0.30028110262199803,
     0.17764535288253985, 0.17032749277456349, 0x1502C351EE93F3D1},
    {"GHK, last conditional", Cells([](Triple& T) { return quarn::GHK_last_conditional(TRIPLE(T), factor, mean, 2); }),
     0.74552376439649515, 0.79012809935974737, 0.72938485856511615, 0x82CD7D20DCFBDD3B},
    {"GHK, ratio", Cells([](Triple& T) {
         static const MatrixXd corner = factor.topLeftCorner(2, 2);
         static const VectorXd two = low.head(2);
         return quarn::GHK_ratio(TRIPLE(T), factor, corner, mean, two, 2);
     }),
     0.585720481306367, 0.85665090254201148, 14.349690774536286, 0x2410CC47E0A57E03},
};

// Truncated normals

auto Lower(double a) {
    return Cells([a](Triple& T) { return quarn::Chopin2011_lower(TRIPLE(T), a); });
}
auto Between(double a, double b) {
    return Cells([a, b](Triple& T) { return quarn::Botev2017(TRIPLE(T), a, b); });
}

const MatrixXd mus = VectorXd::LinSpaced(120, -6.0, 6.0).reshaped(30, 4);
const MatrixXd sigmas = MatrixXd::Constant(30, 4, 1.5);

/// Sums of matrices of 30 x 4 draws, with bounds in all regimes.
template <class Fill>
auto Sums(Fill fill) {
    return Cells([fill](Triple& T) {
        MatrixXd drawn(30, 4);
        fill(T, drawn);
        double sum = 0.0;
        for (const double x : drawn.reshaped()) sum += x;
        return sum;
    });
}

const Stream truncatedNormals[] = {
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
};

const Stream truncatedNormalMatrices[] = {
    {"tnormrnd0", Sums([](Triple& T, MatrixXd& out) { quarn::tnormrnd0(TRIPLE(T), mus, sigmas, out); }),
     241.24466887041496, 237.93017020527387, 229.1241319727541, 0x50027254DF2EAB53},
    {"tnormrnd_lower", Sums([](Triple& T, MatrixXd& out) { quarn::tnormrnd_lower(TRIPLE(T), 0.5, 1.5, mus, out); }),
     269.40248906107064, 261.90682841913957, 254.22682774761307, 0xCF30C26D0F444A9E},
    {"tnormrnd_upper", Sums([](Triple& T, MatrixXd& out) { quarn::tnormrnd_upper(TRIPLE(T), mus, 1.5, out); }),
     -228.69869952073549, -231.0383293773734, -222.89308311958922, 0x5941FDBB3157893B},
    {"one law", Sums([](Triple& T, MatrixXd& out) { quarn::tnormrnd_lower(TRIPLE(T), 0.5, 1.5, 0.0, out); }),
     180.3016984623724, 165.01516061511333, 161.02375179625926, 0x1382B02D83A1BAD9},
};

TEST(Streams, KeepTheirValues) {
    for (const Stream& stream : streams) ExpectStream(stream, 20240229, 112, 1000, 9);
}

TEST(Streams, OfOtherFormsKeepTheirValues) {
    for (const Stream& stream : otherForms) ExpectStream(stream, 20240229, 12, 1000, 9);
}

TEST(Streams, OfTruncatedNormalsKeepTheirValues) {
    for (const Stream& stream : truncatedNormals) ExpectStream(stream, 5489, 1, 1, 300000);
    for (const Stream& stream : truncatedNormalMatrices) ExpectStream(stream, 5489, 1, 1, 3000);
}

}  // namespace
