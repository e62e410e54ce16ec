#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/numerics/PosteriorAnalysis.h>
#include <quarn/numerics/Sorting.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace quarn {
namespace {

using VectorView = Eigen::Ref<const VectorXd>;
using Eigen::Index;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

/// Adds the values to the counts of their bins, bin r being those above edges[r] and at or below edges[r + 1], and the
/// first bin those at edges[0] too; counts has one more cell, for values above all edges. A bin is guessed by division
/// and looked up where rounding has made the guess wrong. Requires: ascending edges from the smallest value on.
void CountInBins(const VectorView& x, const VectorXd& edges, double width, std::vector<double>& counts) {
    const Index bins = edges.size() - 1;
    const double low = edges[0], binsPerUnit = 1.0 / width, last = static_cast<double>(bins - 1);
    const double* const upper = edges.data() + 1;
    for (Index t = 0; t < x.size(); ++t) {
        const double value = x[t], guess = (value - low) * binsPerUnit;
        auto bin = static_cast<Index>(guess < last ? guess : last);  // a guess of infinity or NaN is the last bin
        if (!(value <= upper[bin] && (bin == 0 || value > upper[bin - 1]))) {
            bin = std::lower_bound(upper, upper + bins, value) - upper;
        }
        counts[static_cast<std::size_t>(bin)] += 1.0;
    }
}

}  // namespace

MatrixXd BinData(const VectorView& x) {
    const double log2OfCount = std::log(static_cast<double>(x.size())) / 0.6931471805599453;
    return BinData(x, static_cast<int>(std::ceil(2.5 * log2OfCount + 1.0)));
}

MatrixXd BinData(const VectorView& x, int bins) {
    RowVectorXd range;
    vectorMinMax(x, range);
    const bool isConstant = range[0] == range[1];
    double width = (range[1] - range[0]) / bins;
    if (isConstant) {
        bins = 1;
        width = range[0] * 0.01;
        if (width == 0.0) width = 0.001;
    }
    MatrixXd result = MatrixXd::Zero(bins + 2, 2);
    if (!std::isfinite(width)) return MatrixXd::Constant(bins + 2, 2, NaN);
    result(0, 0) = range[0];
    for (Index r = 1; r < bins + 2; ++r) result(r, 0) = result(r - 1, 0) + width;
    std::vector<double> counts(static_cast<std::size_t>(bins + 1));
    CountInBins(x, result.col(0).head(bins + 1), width, counts);
    const double uncounted = counts.back();
    result.col(1).segment(1, bins) = Eigen::Map<const VectorXd>(counts.data(), bins);
    if (uncounted > 0.0) result(bins, 1) += 1.0;
    return result;
}

VectorXd ComputePosteriors(const VectorXd& logMarginal, const MatrixXd& priors) {
    constexpr double NoWeight = -std::numeric_limits<double>::infinity();
    const Index m = logMarginal.size();
    VectorXd probabilities(m);
    if (m == 0) return probabilities;
    VectorXd weights(m);
    for (Index i = 0; i < m; ++i) weights[i] = logMarginal[i] + std::log(priors(i, 0));
    const VectorXi order = SortIndex(weights);
    const VectorXd sorted = SortVector(weights, order);
    if (!(sorted[m - 1] > NoWeight)) return VectorXd::Constant(m, NaN);  // NaN is sorted last
    VectorXd ratios(m - 1);
    double sum = 1.0;  // of the weights so far, relative to the largest of them
    for (Index i = 0; i < m - 1; ++i) {
        ratios[i] = sorted[i] == NoWeight ? 0.0 : std::exp(sorted[i] - sorted[i + 1]);
        sum = sum * ratios[i] + 1.0;
    }
    double probability = 1.0 / sum;
    probabilities[order[m - 1]] = probability;
    for (Index i = m - 2; i >= 0; --i) {
        probability *= ratios[i];
        probabilities[order[i]] = probability;
    }
    return probabilities;
}

}  // namespace quarn
