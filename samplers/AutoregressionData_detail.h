#pragma once

#include <samplers/Autoregression.h>
#include <samplers/LinearModel.h>

namespace quarn::samplers {

/// Row t of the regression is row t of y, t = p, ..., N - 1. It is touched if one of y_t, ..., y_{t-p} is missing.
/// Coefficients stand in one vector, beta = (b, phi).
struct Autoregression::Data {
    Eigen::Index K = 0, p = 0;
    AutoregressionPrior Prior;               // filled in
    VectorXd y;                              // N, with straight lines in the place of missing values
    std::vector<Eigen::Index> Missing;       // rows of y
    std::vector<Eigen::Index> Touched;       // ascending
    std::vector<Eigen::Index> FirstTouched;  // for each missing value, the first element of Touched that it touches
    MatrixXd Regressors;                     // (K + p) x Touched, with lags of y as above
    LinearModel Untouched;                   // the other rows
    MatrixXd CrossProducts;                  // of the regressors in untouched rows
    VectorXd CrossProductsWithY;
    VectorXd Fit;  // least squares in these; its sum of squares
    double FitSumOfSquares = 0.0;
    VectorXd Start;  // coefficients
    VectorXd MissingTimes;
    bool ConstantOnly = true;  // all exogenous regressors are constant terms

    /// y is as in Autoregression, from the first observed value on.
    Data(const VectorXd& y, const MatrixXd& X, const VectorXd& time, Eigen::Index p, const AutoregressionPrior& prior);

    Eigen::Index Rows() const { return y.size() - p; }

 private:
    void FindMissing(const VectorXd& observed);
    void FindTouched();
    void SetInitialPrior(const VectorXd& observed);
};

namespace detail {

/// Whether y_t = phi_1 y_{t-1} + ... + e_t is stationary: all its partial autocorrelations, which a recursion from the
/// last one on finds, lie between -1 and 1. work: any vector, to be kept between calls.
/// Source: Barndorff-Nielsen & Schou (1973), J. Multivariate Anal. 3, 408-419. Cost: p^2/2 multiply-adds.
bool IsStationary(const Eigen::Ref<const VectorXd>& phi, VectorXd& work);

/// The series with its missing values, which are given all the rest normal with a banded precision matrix: y_t and y_s
/// are independent given the others if |t - s| > p.
class ImputedSeries {
 public:
    explicit ImputedSeries(const Autoregression::Data& data);

    /// The sum of squared errors over all rows of the regression.
    double SumOfSquares(const VectorXd& beta);
    /// Adds tau times the cross-products of the touched rows to P (lower triangle) and c.
    void AddCrossProducts(double tau, MatrixXd& P, VectorXd& c) const;
    /// Draws the missing values from their law given beta, tau and the observed ones: as many normals.
    void Draw(Generator& generator, const VectorXd& beta, double tau);
    /// The log density of the observed values behind the first p rows, given beta, tau and observed values there. Moves
    /// the missing ones.
    double LogLikelihood(const VectorXd& beta, double tau);

    double Value(std::size_t missing) const { return m_y(m_data.Missing[missing]); }

 private:
    void UpdateErrors(const VectorXd& beta);
    void Factorise(const VectorXd& beta, double tau);
    void SolveLower();
    void SolveUpper();
    void Move();

    const Autoregression::Data& m_data;
    VectorXd m_y;
    MatrixXd m_regressors;  // as in Data, with the present values
    VectorXd m_errors;      // of the touched rows
    VectorXd m_impulse;     // (1, -phi): how y_t enters the errors of rows t, t + 1, ..., t + p
    MatrixXd m_band;        // element (d, i): row i + d, column i of the precision, then of its factor
    VectorXd m_step, m_difference, m_product;
};

}  // namespace detail
}  // namespace quarn::samplers
