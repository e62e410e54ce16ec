#pragma once

#include <quarn/base/Export.h>
#include <quarn/base/Types.h>

/// Minimisation of smooth functions: quasi-Newton methods with a line search for the strong Wolfe conditions, and a
/// golden-section search for functions of one variable.
namespace quarn {

/// A function to minimise, of a vector of length n.
class QUARN_EXPORT OptimizeFunction {
 public:
    virtual double f(const VectorXd& x) = 0;                       ///< value at x
    virtual VectorXd g(const VectorXd& x) = 0;                     ///< gradient at x, n
    virtual double fg(const VectorXd& x, VectorXd& gradient) = 0;  ///< both at once
    virtual ~OptimizeFunction() = default;
};

/// Minimiser of one objective. A run overwrites fmin and xmin; it can be repeated, also from xmin.
///
/// BFGS, DFP: value at the result, with updates of the inverse Hessian after Broyden, Fletcher, Goldfarb and Shanno or
/// after Davidon, Fletcher and Powell. Iterations 0, 12, 24 and so on forget the matrix, evaluate at x again, and go
/// down the gradient by steps that begin at unit length.
///
///   start      n
///   tolerance  the run ends where the Euclidean norm of the gradient is at or below it, or NaN
///   maximum    of iterations; a line search makes at most ten times as many tries
///
/// The forms _fg call fg once where the others call f, and g if the gradient is needed; results are the same.
///
/// Ensures:  fmin is the last value, xmin the point it belongs to. A run without evaluation (maximum 0, or tolerance
///           at or above the norm sqrt(n) of the gradient that is assumed at the outset) leaves start in xmin, and NaN
///           in fmin.
/// Errors:   none reported. A run that reached the maximum looks like one that converged: compare the norm of the
///           gradient at xmin. Where the objective falls without end, or is NaN, each line search makes all its tries.
///           Curvature is not tested: below the precision of the objective steps are arbitrary. A step that leaves x
///           where it was does not change the matrix.
/// Cost:     an iteration evaluates at each try of the line search, and at the new point; n^2 operations beside.
///           Vectors and the matrix are allocated once per run.
/// Source:   Nocedal & Wright (2006), Numerical Optimization, 2nd ed., algorithms 6.1, 3.5, 3.6, and equation (6.15).
class QUARN_EXPORT Optimize {
 public:
    explicit Optimize(OptimizeFunction* function) : Function(function) {}

    OptimizeFunction* Function;  ///< not owned; must outlive the runs
    double fmin = 0.0;
    VectorXd xmin;

    double BFGS(const VectorXd& start, double tolerance, unsigned long maximum);
    double BFGS_fg(const VectorXd& start, double tolerance, unsigned long maximum);
    double DFP(const VectorXd& start, double tolerance, unsigned long maximum);
    double DFP_fg(const VectorXd& start, double tolerance, unsigned long maximum);

    /// Step length a at which x + a p meets the strong Wolfe conditions with c1 = 0.01 and c2 = 0.1: value at most
    /// f0 + c1 a g0 and slope less than -c2 g0 in size. Tries 1, then the middle between the last try and 5, until a
    /// step serves or Zoom takes over.
    ///
    ///   f0, g0   value at x, and slope along p there, which is below 0
    ///   maximum  of tries; at 0 the result is 1, and where all tries are used up it is the step that was due next
    double LineSearch_WP(const VectorXd& x, const VectorXd& p, double f0, double g0, unsigned long maximum);
    double LineSearch_WP_fg(const VectorXd& x, const VectorXd& p, double f0, double g0, unsigned long maximum);

    /// Such a step between a_lo and a_hi (in either order) by bisection. a_lo is the end with the lower value, f_lo.
    /// Ends:     an interval that cannot be halved any more (no double is between its ends) ends the search with a_lo,
    ///           whether or not it serves; after at most 1100 evaluations or so, and mostly 60, whatever the objective
    ///           returns.
    double Zoom(const VectorXd& x, const VectorXd& p, double a_lo, double a_hi, double c1, double c2, double f0,
                double g0, double f_lo);
    double Zoom_fg(const VectorXd& x, const VectorXd& p, double a_lo, double a_hi, double c1, double c2, double f0,
                   double g0, double f_lo);

    /// Point of a minimum of a function of one variable, to half of `width`: a bracket by steps from start that grow by
    /// the golden ratio, then golden-section search. The last argument is not read.
    /// Ends:     a bracket that does not shrink any more ends the search: with a width below the spacing of doubles,
    ///           with NaN from the function, and where the function falls without end, for which the result is not
    ///           finite.
    double GoldenSection(double (*function)(double), double start, double width, unsigned long maximum);
};

/// Objectives for trials. x^4/4 - 2x has its minimum at the cube root of 2; the static functions also serve
/// GoldenSection.
struct QUARN_EXPORT TestFunction_1d {
    static double f(double x);
    static double g(double x);
};

/// (1 - x_0)^2 + 10 sum (x_i - x_{i-1}^2)^2 of a vector of any length from 1 on: 0 at the vector of ones, at the end
/// of a curved valley.
class QUARN_EXPORT TestFunction_Xd : public OptimizeFunction {
 public:
    double f(const VectorXd& x) override;
    VectorXd g(const VectorXd& x) override;
    double fg(const VectorXd& x, VectorXd& gradient) override;
};

}  // namespace quarn
