#include "../support/Matrices.h"

#include <quarn/datasets/Dataset.h>
#include <quarn/optimize/LikelihoodKernels_detail.h>
#include <quarn/optimize/LogLikelihoods.h>

#include <boost/math/special_functions/erf.hpp>
#include <boost/multiprecision/cpp_bin_float.hpp>
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using Eigen::Index;
using quarn::MatrixXd;
using quarn::Optimize;
using quarn::VectorXd;
using quarn::testing::Normals;
using quarn::testing::SameCell;
using quarn::testing::SameCells;
using Digits = boost::multiprecision::cpp_bin_float_50;
using DigitsVector = Eigen::Matrix<Digits, Eigen::Dynamic, 1>;

/// Categories 0 to `categories` - 1, with fractions that do not count.
VectorXd Categories(Index n, int categories, bool fractions) {
    std::mt19937_64 engine(9);
    return VectorXd::NullaryExpr(n, [&](Index) {
        const auto word = engine();
        return static_cast<double>(word % static_cast<unsigned>(categories)) + (fractions && word % 3 == 0 ? 0.7 : 0.0);
    });
}

/// An objective with data, and its formula with 50 digits.
struct Case {
    std::string name;
    std::shared_ptr<quarn::LogLikelihood> objective;
    VectorXd t;
    Digits (*formula)(const MatrixXd& X, const VectorXd& y, const DigitsVector& t);
};

Digits Predictor(const MatrixXd& X, Index row, const DigitsVector& t, Index from = 0) {
    Digits sum = 0;
    for (Index k = 0; k < X.cols(); ++k) sum += X(row, k) * t[from + k];
    return sum;
}

Digits Linear(const MatrixXd& X, const VectorXd& y, const DigitsVector& t) {
    const Digits logVariance = t[X.cols()];
    Digits sum = (logVariance + Digits("1.83787706640934548356")) * X.rows() / 2;
    for (Index i = 0; i < X.rows(); ++i) {
        const Digits e = y[i] - Predictor(X, i, t);
        sum += e * e / exp(logVariance) / 2;
    }
    return sum;
}

Digits Logit(const MatrixXd& X, const VectorXd& y, const DigitsVector& t) {
    Digits sum = 0;
    for (Index i = 0; i < X.rows(); ++i) {
        const Digits z = Predictor(X, i, t);
        sum += log(1 + exp(z)) - y[i] * z;
    }
    return sum;
}

Digits Probit(const MatrixXd& X, const VectorXd& y, const DigitsVector& t) {
    Digits sum = 0;
    for (Index i = 0; i < X.rows(); ++i) {
        const Digits z = Predictor(X, i, t) / sqrt(Digits(2));
        sum -= y[i] * log(boost::math::erfc(Digits(-z)) / 2) + (1 - y[i]) * log(boost::math::erfc(z) / 2);
    }
    return sum;
}

Digits Multinomial(const MatrixXd& X, const VectorXd& y, const DigitsVector& t) {
    Digits sum = 0;
    for (Index i = 0; i < X.rows(); ++i) {
        Digits powers = 1;
        for (Index from = 0; from < t.size(); from += X.cols()) powers += exp(Predictor(X, i, t, from));
        sum += log(powers);
        const Index category = static_cast<Index>(y[i]);
        if (category > 0) sum -= Predictor(X, i, t, (category - 1) * X.cols());
    }
    return sum;
}

Digits Conditional(const MatrixXd& X, const VectorXd& y, const DigitsVector& t) {
    const Index J = X.rows() / y.size();
    Digits sum = 0;
    for (Index i = 0; i < y.size(); ++i) {
        Digits powers = 0;
        for (Index j = 0; j < J; ++j) powers += exp(Predictor(X, i * J + j, t));
        sum += log(powers) - Predictor(X, i * J + static_cast<Index>(y[i]), t);
    }
    return sum;
}

template <class Objective>
Case Make(const char* name, decltype(Case::formula) formula, MatrixXd X, VectorXd y, Index parameters) {
    auto objective = std::make_shared<Objective>();
    objective->X = std::move(X);
    objective->y = std::move(y);
    return {name, objective, 0.4 * Normals(parameters, 1, 3), formula};
}

/// Small ones, and some of more than one block of rows and an odd number of them.
std::vector<Case> Cases() {
    std::vector<Case> cases;
    for (const Index n : {1, 7, 293}) {
        for (const Index K : {1, 2, 3, 4, 5, 9}) {
            if (n == 293 && K != 5) continue;
            const MatrixXd X = Normals(n, K, 1);
            const VectorXd binary = Categories(n, 2, false), four = Categories(n, 4, true);
            cases.push_back(Make<quarn::logL_LM>("linear", Linear, X, Normals(n, 1, 2), K + 1));
            cases.push_back(Make<quarn::logL_BLogit>("logit", Logit, X, binary, K));
            cases.push_back(Make<quarn::logL_BProbit>("probit", Probit, X, binary, K));
            cases.push_back(Make<quarn::logL_BProbit>("weighted probit", Probit, X, 0.25 * four.array().floor(), K));
            cases.push_back(Make<quarn::logL_MLogit>("multinomial", Multinomial, X, four, 3 * K));
            cases.push_back(Make<quarn::logL_CLogit>("conditional", Conditional, Normals(4 * n, K, 4), four, K));
        }
    }
    cases.push_back(
        Make<quarn::logL_CLogit>("of 300 alternatives", Conditional, Normals(900, 2, 4), Categories(3, 300, true), 2));
    return cases;
}

TEST(LogLikelihoods, AgreeWithTheirFormulasAndTheGradientsWithCentralDifferencesInAllForms) {
    for (const Case& c : Cases()) {
        quarn::LogLikelihood& objective = *c.objective;
        const DigitsVector t = c.t.cast<Digits>();
        const double value = static_cast<double>(c.formula(objective.X, objective.y, t));
        EXPECT_NEAR(objective.f(c.t), value, 2e-15 * std::abs(value) * std::sqrt(double(objective.X.rows()))) << c.name;
        VectorXd gradient;
        EXPECT_EQ(objective.fg(c.t, gradient), objective.f(c.t)) << c.name;
        EXPECT_EQ(gradient, objective.g(c.t)) << c.name;
        for (Index k = 0; k<t.size(); k += objective.X.rows()> 100 ? 4 : 1) {
            const Digits h("1e-14");  // an error of h^2, with 50 digits to lose half of
            DigitsVector above = t, below = t;
            above[k] += h;
            below[k] -= h;
            const double slope = static_cast<double>(
                (c.formula(objective.X, objective.y, above) - c.formula(objective.X, objective.y, below)) / (2 * h));
            EXPECT_NEAR(gradient[k], slope, 1e-14 * (1 + double(objective.X.rows()))) << c.name << " " << k;
        }
    }
}

/// One observation, one regressor: the predictor is t.
template <class Objective>
void ExpectAt(double z, double y, double value, double slope) {
    Objective objective;
    constexpr bool isConditional = std::is_same_v<Objective, quarn::logL_CLogit>;
    objective.X = isConditional ? MatrixXd{{0.0}, {1.0}} : MatrixXd{{1.0}};
    objective.y = VectorXd::Constant(1, y);
    const VectorXd t = VectorXd::Constant(1, z);
    EXPECT_NEAR(objective.f(t), value, 1e-15 * value) << z << " " << y;
    EXPECT_NEAR(objective.g(t)[0], slope, 1e-15 * std::abs(slope)) << z << " " << y;
}

TEST(LogLikelihoods, KeepTheirDigitsFarIntoTheTails) {
    for (const double z : {1.0, 30.0, 40.0, 700.0, 1000.0, 1e5}) {
        const double q = z < 707.0 ? std::exp(-z) : 0.0, likely = std::log1p(q), p = q / (1 + q);
        const auto expectLogit = [&]<class Objective>() {
            ExpectAt<Objective>(z, 1.0, likely, -p);
            ExpectAt<Objective>(-z, 0.0, likely, p);
            ExpectAt<Objective>(z, 0.0, z + likely, 1 - p);
            ExpectAt<Objective>(-z, 1.0, z + likely, p - 1);
        };
        expectLogit.operator()<quarn::logL_BLogit>();
        expectLogit.operator()<quarn::logL_MLogit>();
        expectLogit.operator()<quarn::logL_CLogit>();
    }
    // log Phi(-z) = -z^2/2 - log(z sqrt(2 pi)) - 1/z^2 + ..., ratio z + 1/z - 2/z^3 + ...
    for (const double z : {1000.0, 1e5}) {
        const double value = 0.5 * z * z + std::log(z) + 0.91893853320467274178 + 1 / (z * z),
                     ratio = z + 1 / z - 2 / (z * z * z);
        ExpectAt<quarn::logL_BProbit>(-z, 1.0, value, -ratio);
        ExpectAt<quarn::logL_BProbit>(z, 0.0, value, ratio);
        ExpectAt<quarn::logL_BProbit>(z, 1.0, 0.0, 0.0);
    }
}

TEST(LogLikelihoods, MayBeWithoutObservationsOrRegressors) {
    const auto expectValue = []<class Objective>(double value) {
        Objective objective;
        EXPECT_EQ(objective.f(VectorXd()), 0.0);
        objective.y = VectorXd::Zero(3);
        objective.X.resize(3, 0);
        EXPECT_NEAR(objective.f(VectorXd()), value, 1e-15);
        EXPECT_EQ(objective.g(VectorXd()).size(), 0);
    };
    expectValue.operator()<quarn::logL_BLogit>(3 * std::log(2.0));
    expectValue.operator()<quarn::logL_BProbit>(3 * std::log(2.0));
    expectValue.operator()<quarn::logL_MLogit>(0.0);
    expectValue.operator()<quarn::logL_CLogit>(0.0);
}

TEST(LikelihoodKernels, GiveTheSameDigitsOnEveryProcessor) {
    using namespace quarn::detail;
    const Index n = 251;
    const MatrixXd X = Normals(n, 7, 1), Z = 30 * Normals(n, 4, 2);
    const VectorXd y = Categories(n, 4, true), binary = Categories(n, 2, false), b = Normals(7, 1, 3);
    VectorXd work(4 * n);
    for (const Wanted wanted : {Wanted::Value, Wanted::Gradient, Wanted::Both}) {
        const auto expectSame = [&](auto evaluate) {
            MatrixXd portable = Z;
            const double value = evaluate(portable.data(), Instructions::Portable);
            for (const Instructions set : {Instructions::Avx2, Instructions::Best}) {
                MatrixXd z = Z;
                EXPECT_TRUE(SameCell(evaluate(z.data(), set), value));
                EXPECT_TRUE(SameCells(z, portable));
            }
        };
        expectSame([&](double* z, Instructions set) { return EvaluateLogit(wanted, n, binary.data(), z, set); });
        expectSame([&](double* z, Instructions set) { return EvaluateProbit(wanted, n, binary.data(), z, set); });
        expectSame([&](double* z, Instructions set) { return EvaluateProbit(wanted, n, y.data(), z, set); });
        expectSame(
            [&](double* z, Instructions set) { return EvaluateChoice(wanted, n, 4, y.data(), z, work.data(), set); });
        expectSame([&](double* z, Instructions set) {
            return AddPredictors({X.data(), n, n, 7}, b.data(), z, set), 0;
        });
        expectSame([&](double* z, Instructions set) {
            return AddCrossProducts({X.data(), n, n, 7}, y.data(), z, set), 0;
        });
    }
}

/// The columns of a file, without the one that the dataset puts before them.
MatrixXd Table(const std::string& file) {
    const quarn::Dataset data(QUARN_SOURCE_DIR "/examples/data/" + file, ',');
    return data.Data.rightCols(data.NumVars - 1);
}

/// Constant, logpopul, selflr, age, educ, income.
MatrixXd ElectionRegressors(const MatrixXd& table) {
    MatrixXd X(table.rows(), 6);
    X << VectorXd::Ones(table.rows()), table.col(10), table.col(2), table.col(6), table.col(7), table.col(8);
    return X;
}

VectorXd Fitted(quarn::LogLikelihood& objective, Index parameters, double expectedLogL) {
    Optimize optimize(&objective);
    optimize.BFGS_fg(VectorXd::Zero(parameters), 1e-6, 2000);
    EXPECT_NEAR(-optimize.fmin, expectedLogL, 1e-10 * std::abs(expectedLogL));
    return optimize.xmin;
}

void ExpectEstimates(const MatrixXd& found, const MatrixXd& expected) {
    EXPECT_LT((found - expected).cwiseQuotient(expected).cwiseAbs().maxCoeff(), 1e-7) << found;
}

// The solutions that follow were computed with Debian's python3-statsmodels 0.13.5: Logit, Probit, MNLogit and
// ConditionalLogit, fitted by Newton's method and then polished by six further Newton steps with the models' own score
// and hessian (for the conditional logit: with the score and hessian written out in numpy), which left gradients below
// 1e-11.

TEST(LogLikelihoods, FindTheElectionStudysBinaryEstimates) {
    const MatrixXd table = Table("anes96.csv");
    quarn::logL_BLogit logit;
    quarn::logL_BProbit probit;
    probit.X = logit.X = ElectionRegressors(table);
    probit.y = logit.y = table.col(9);
    ExpectEstimates(Fitted(logit, 6, -419.08851326012643),
                    VectorXd{{-7.9778549502273615, -0.10287965665160956, 1.2258459453200639, 0.0063492215820590983,
                              0.17138358537655113, 0.076482166981174091}});
    ExpectEstimates(Fitted(probit, 6, -420.65966308552851),
                    VectorXd{{-4.5417357920887875, -0.059178571686646281, 0.70302136743590593, 0.0030762435828128177,
                              0.093513669606467412, 0.044989143753343494}});
}

TEST(LogLikelihoods, FindTheElectionStudysPartyEstimates) {
    const MatrixXd table = Table("anes96.csv");
    // Without one scale for all columns the steps between two restarts are too few: fitted on standardised columns.
    MatrixXd X = ElectionRegressors(table);
    const Eigen::RowVectorXd mean = X.rightCols(5).colwise().mean();
    const Eigen::RowVectorXd sd =
        ((X.rightCols(5).rowwise() - mean).colwise().squaredNorm() / double(X.rows())).cwiseSqrt();
    X.rightCols(5) = (X.rightCols(5).rowwise() - mean).array().rowwise() / sd.array();
    quarn::logL_MLogit objective;
    objective.X = X;
    objective.y = table.col(5);
    MatrixXd b = Fitted(objective, 36, -1461.9227472481459).reshaped(6, 6);
    b.bottomRows(5) = b.bottomRows(5).array().colwise() / sd.transpose().array();
    b.row(0) -= mean * b.bottomRows(5);
    MatrixXd expected(6, 6);  // a row for each of the categories 1 to 6
    expected << -0.37340167735848229, -0.011535974566688768, 0.29771435158937976, -0.024944995441998508,
        0.082491442139343452, 0.0051965531725110719,  //
        -2.2509131768381341, -0.088750653030491677, 0.39166864173237864, -0.022897837092989322, 0.18104275751333765,
        0.047873976087540529,  //
        -3.6655835302145294, -0.10596669898687458, 0.57345050776462592, -0.014851206884623118, -0.0071524190422851200,
        0.057575159541368347,  //
        -7.6138430904448162, -0.091556701692666470, 1.2787717866111989, -0.0086813450301142913, 0.19982795531997891,
        0.084498375250521521,  //
        -7.0604782464988993, -0.093284603957333928, 1.3469616457075990, -0.017904068947059173, 0.21693884988044820,
        0.080958412155991769,  //
        -12.105750900463383, -0.14088069240150150, 2.0700801350414904, -0.0094326487013946959, 0.32192570241595220,
        0.10889408328647959;
    ExpectEstimates(b, expected.transpose());
}

TEST(LogLikelihoods, FindTheTravellersConditionalEstimates) {
    const MatrixXd table = Table("modechoice.csv");
    quarn::logL_CLogit objective;
    objective.X = MatrixXd::Zero(840, 6);  // constants of air, train and bus, gc, ttme, income for air
    objective.y = VectorXd(210);
    for (Index i = 0; i < 840; ++i) {
        if (i % 4 < 3) objective.X(i, i % 4) = 1.0;
        objective.X(i, 3) = table(i, 6);
        objective.X(i, 4) = table(i, 3);
        if (i % 4 == 0) objective.X(i, 5) = table(i, 7);
        if (table(i, 2) == 1.0) objective.y[i / 4] = static_cast<double>(i % 4);
    }
    ExpectEstimates(Fitted(objective, 6, -199.12836871598176),
                    VectorXd{{5.207443298666678, 3.869042701532174, 3.1631942118672196, -0.015501525316108853,
                              -0.09612479610477756, 0.01328702625060322}});
}

}  // namespace
