// Exact kernel densities, without an exponential for each pair of a draw and a grid point.
//
// Lengths are in bandwidths. The sorted draws are cut into cells of width CellWidth. For a draw at distance e from the
// centre of its cell and a grid point at distance a from that centre, the kernel is
//     exp(-(a - e)^2 / 2) = exp(-a^2 / 2) * sum over p of a^p / p! * exp(-e^2 / 2) e^p,
// so that a cell acts on every grid point by its moments M(p) = sum over its draws of exp(-e^2 / 2) e^p / p!. The
// constants below depend on each other: |a e| is at most Reach * CellWidth / 2 = 2.4, where 24 terms leave out less
// than 2e-14 of the smallest possible value of the sum. Cells too far from a grid point to matter are skipped.

#include <quarn/numerics/DescriptiveStatistics.h>
#include <quarn/numerics/NormalTail_detail.h>
#include <quarn/numerics/PosteriorAnalysis.h>
#include <quarn/numerics/Reductions_detail.h>
#include <quarn/numerics/Sorting.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace quarn {
namespace {

using detail::VectorView;
using Eigen::Index;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double CellWidth = 0.125;
constexpr Index Terms = 24;
constexpr double Reach = 37.6;  // NormalKernel is 0 beyond
constexpr Index BlockSize = 64;

/// Cells left out of the sum at a grid point hold less than exp(-NegligibleLog) of it: 2^-56.
constexpr double NegligibleLog = 39.0;

/// The cells of one column that hold draws, in ascending order; the width and the centres in the unit of the draws.
struct Cells {
    double bandwidth;
    VectorXd centres;
    MatrixXd moments;  ///< one row for each cell, one column for each power

    double DistanceTo(Index cell, double point) const { return std::abs(point - centres[cell]) / bandwidth; }
    Index FirstFrom(double point) const {
        return std::lower_bound(centres.begin(), centres.end(), point) - centres.begin();
    }
};

/// Positions of the first draws of cells, and n. A cell begins at a draw and ends before the next one that is a width
/// or more above it.
std::vector<Index> CutIntoCells(const VectorXd& sorted, double width) {
    std::vector<Index> starts{0};
    for (Index i = 1; i < sorted.size(); ++i) {
        if (!(sorted[i] - sorted[starts.back()] < width)) starts.push_back(i);
    }
    starts.push_back(sorted.size());
    return starts;
}

/// Adds count <= BlockSize draws to the moments of a cell, `stride` apart, without the factor 1 / p!.
void AddMoments(const double* draws, Index count, double centre, double scale, double* moments, Index stride) {
    double e[BlockSize], weight[BlockSize];
    for (Index i = 0; i < count; ++i) {
        e[i] = (draws[i] - centre) * scale;
        weight[i] = detail::NormalKernel(std::abs(e[i]));
    }
    for (Index p = 0; p < Terms; ++p) {
        moments[p * stride] += detail::SumOf(count, [&weight](Index i) { return weight[i]; });
        for (Index i = 0; i < count; ++i) weight[i] *= e[i];
    }
}

Cells CellsOf(const VectorView& draws, double bandwidth) {
    const VectorXd sorted = SortVector(draws);
    const double width = CellWidth * bandwidth;
    const std::vector<Index> starts = CutIntoCells(sorted, width);
    const auto count = static_cast<Index>(starts.size()) - 1;
    Cells cells{bandwidth, VectorXd(count), MatrixXd::Zero(count, Terms)};
    for (Index c = 0; c < count; ++c) {
        const Index from = starts[static_cast<std::size_t>(c)], to = starts[static_cast<std::size_t>(c) + 1];
        const double centre = cells.centres[c] = sorted[from] + 0.5 * width;
        for (Index i = from; i < to; i += BlockSize) {
            AddMoments(sorted.data() + i, std::min(BlockSize, to - i), centre, 1.0 / bandwidth, &cells.moments(c, 0),
                       count);
        }
    }
    double factorial = 1.0;
    for (Index p = 2; p < Terms; ++p) cells.moments.col(p) /= factorial *= static_cast<double>(p);
    return cells;
}

/// How far, in bandwidths, the centres are whose cells matter for the sum at a point. The next cell alone gives
/// exp(-u^2 / 2) or more; n draws beyond the distance r, less half a cell, at most n exp(-r^2 / 2).
double ReachAt(const Cells& cells, double point, double logOfCount) {
    const Index next = cells.FirstFrom(point);
    double u = std::numeric_limits<double>::infinity();
    if (next < cells.centres.size()) u = cells.DistanceTo(next, point);
    if (next > 0) u = std::min(u, cells.DistanceTo(next - 1, point));
    u += 0.5 * CellWidth;
    return std::min(std::sqrt(u * u + 2.0 * (logOfCount + NegligibleLog)) + 0.5 * CellWidth, Reach);
}

/// The sum of the kernels of the draws of the cells from `from` on.
double SumOfBlock(const Cells& cells, Index from, Index count, double point) {
    double a[BlockSize], sum[BlockSize];
    const double scale = 1.0 / cells.bandwidth;
    for (Index c = 0; c < count; ++c) {
        a[c] = (point - cells.centres[from + c]) * scale;
        sum[c] = cells.moments(from + c, Terms - 1);
    }
    for (Index p = Terms - 2; p >= 0; --p) {
        const double* const moments = &cells.moments(from, p);
        for (Index c = 0; c < count; ++c) sum[c] = sum[c] * a[c] + moments[c];
    }
    return detail::SumOf(count, [&](Index c) { return sum[c] * detail::NormalKernel(std::abs(a[c])); });
}

double SumOfKernels(const Cells& cells, double point, double logOfCount) {
    const double distance = ReachAt(cells, point, logOfCount) * cells.bandwidth;
    const Index to = cells.FirstFrom(point + distance);
    double sum = 0.0;
    for (Index c = cells.FirstFrom(point - distance); c < to; c += BlockSize) {
        sum += SumOfBlock(cells, c, std::min(BlockSize, to - c), point);
    }
    return sum;
}

/// NaN throughout where X has no cells, or their range is not finite.
void FillGrid(const MatrixXd& X, VectorXd& grid) {
    grid.setConstant(NaN);
    if (X.size() == 0) return;
    RowVectorXd range;
    vectorMinMax(Eigen::Map<const VectorXd>(X.data(), X.size()), range);
    const double margin = (range[1] - range[0]) * 0.05;
    const double from = range[0] - margin, to = range[1] + margin, steps = static_cast<double>(grid.size() - 1);
    for (Index i = 0; i < grid.size(); ++i) grid[i] = static_cast<double>(i) * (to - from) / steps + from;
    if (!grid.allFinite()) grid.setConstant(NaN);
}

}  // namespace

MatrixXd KDensity(const MatrixXd& X, VectorXd& grid) {
    MatrixXd densities = MatrixXd::Constant(grid.size(), X.cols(), NaN);
    FillGrid(X, grid);
    if (grid.size() == 0 || std::isnan(grid[0])) return densities;
    const auto n = static_cast<double>(X.rows());
    // In extended precision, whose rounding is the same on every processor; the bound on log(n) is as good as log(n).
    const auto root = static_cast<double>(std::pow(static_cast<long double>(X.rows()), 0.2L));
    const double logOfCount = 0.6931471805599453 * (std::ilogb(n) + 1);
    const RowVectorXd sd = matrixSd(X);
    for (Index j = 0; j < X.cols(); ++j) {
        const double bandwidth = 1.06 * sd[j] / root;
        if (!std::isfinite(1.0 / bandwidth)) continue;
        const Cells cells = CellsOf(X.col(j), bandwidth);
        const double scale = 0.39894228040143 / (bandwidth * n);
        for (Index i = 0; i < grid.size(); ++i) densities(i, j) = scale * SumOfKernels(cells, grid[i], logOfCount);
    }
    return densities;
}

}  // namespace quarn
