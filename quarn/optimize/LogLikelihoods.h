#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>
#include <quarn/optimize/Optimize.h>

#include <vector>

/// Negative log-likelihoods of the linear model and of discrete-choice models, for Optimize: their minimisers are the
/// maximum-likelihood estimates. n observations, K regressors (a constant is a column of ones).
namespace quarn {

/// What the objectives share. y and X are set by the caller after construction, and may change between evaluations.
///
/// Requires: sizes of t, y and X as stated, finite cells; the gradient of fg is not its argument t. Not tested.
/// Ensures:  f, g, fg have equal digits, on every processor. Nothing overflows and no digits are lost where the
///           mathematical value is an ordinary number: predictors may be thousands in size. A probability below 1e-307
///           counts as 0 beside 1. There may be no observations, and no regressors.
/// Errors:   none reported. Overflowing predictors give NaN or an infinite value.
/// Cost:     f and g make one pass over X, fg one for both. Nothing is allocated after the first evaluation, but for
///           the result of g.
/// Threads:  evaluations of one object use its scratch memory: one thread at a time.
class QUARN_EXPORT LogLikelihood : public OptimizeFunction {
 public:
    VectorXd y;  ///< dependent variable, n
    MatrixXd X;  ///< regressors, one row per observation unless said otherwise

    double f(const VectorXd& t) override;
    VectorXd g(const VectorXd& t) override;
    double fg(const VectorXd& t, VectorXd& gradient) override;

 protected:
    /// The value where it is wanted, and else 0; the gradient where it is not null, of the size of t.
    virtual double Evaluate(const VectorXd& t, bool valueWanted, double* gradient) = 0;
    std::vector<double> m_scratch;
};

/// Linear model y = X b + e with normal errors of variance s2; t is b and then log(s2), K + 1.
/// f = e'e/(2 s2) + (log(s2) + log(2 pi)) n/2.
class QUARN_EXPORT logL_LM : public LogLikelihood {
    double Evaluate(const VectorXd& t, bool valueWanted, double* gradient) override;
};

/// Binary logit, y of 0 and 1; t is b, K. f = sum of log(1 + exp(z)) - y z, with z = X b.
class QUARN_EXPORT logL_BLogit : public LogLikelihood {
    double Evaluate(const VectorXd& t, bool valueWanted, double* gradient) override;
};

/// Binary probit, y of 0 and 1; t is b, K. f = -sum of y log(P) + (1 - y) log(1 - P), with P = Phi(X b).
class QUARN_EXPORT logL_BProbit : public LogLikelihood {
    double Evaluate(const VectorXd& t, bool valueWanted, double* gradient) override;
};

/// Multinomial logit among categories 0 to M, the integer parts of y; category 0 has coefficients 0. t holds M blocks
/// of K coefficients, block j for category j; hence M is the length of t over K.
/// f = sum of log(1 + sum_j exp(x'b_j)) - x'b_y.
class QUARN_EXPORT logL_MLogit : public LogLikelihood {
    double Evaluate(const VectorXd& t, bool valueWanted, double* gradient) override;
};

/// Conditional logit among J alternatives, 0 to J - 1, the integer parts of y. X has J consecutive rows for each
/// observation, in the order of the alternatives, n J in all; t holds K coefficients that all alternatives share. A
/// constant of an alternative is a column with 1 in its rows; one of the J has none.
/// f = sum of log(sum_j exp(x_j'b)) - x_y'b.
class QUARN_EXPORT logL_CLogit : public LogLikelihood {
    double Evaluate(const VectorXd& t, bool valueWanted, double* gradient) override;
};

}  // namespace quarn
