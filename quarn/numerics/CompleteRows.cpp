#include <quarn/numerics/CompleteRows_detail.h>

#include <algorithm>
#include <array>
#include <numeric>

namespace quarn::detail {
namespace {

using Eigen::Index;

constexpr Index BlockRows = 1024;  // the sums of a block, 8 kB, stay in the first-level cache
/// Rows that are copied without a look at each if they lie side by side: by a loop of our own, since the C library's
/// copies were slower between columns, which seldom have the same alignment.
constexpr Index CopiedRows = 64;

using Sums = std::array<double, BlockRows>;

// x - x is 0 for a finite cell, and NaN, which stays in the sum of its row, for another. Four columns at a time spare most
// of the loads and stores of the sums.

void AddDifferences(Sums& sums, Index rows, const double* __restrict x) {
    double* __restrict const sum = sums.data();
    for (Index i = 0; i < rows; ++i) sum[i] += x[i] - x[i];
}

void AddDifferences(Sums& sums, Index rows, const double* __restrict x, const double* __restrict y,
                    const double* __restrict z, const double* __restrict w) {
    double* __restrict const sum = sums.data();
    for (Index i = 0; i < rows; ++i) sum[i] += ((x[i] - x[i]) + (y[i] - y[i])) + ((z[i] - z[i]) + (w[i] - w[i]));
}

bool AllZero(const Sums& sums, Index rows) {
    bool nonZero = false;
    for (Index i = 0; i < rows; ++i) nonZero |= sums[static_cast<std::size_t>(i)] != 0.0;  // NaN is not 0
    return !nonZero;
}

}  // namespace

CompleteRows::CompleteRows(Index rows, const std::vector<const double*>& columns)
    : m_rows(static_cast<std::size_t>(rows)) {
    for (Index from = 0; from < rows; from += BlockRows) AppendBlock(from, std::min(BlockRows, rows - from), columns);
    m_rows.resize(static_cast<std::size_t>(m_count));
}

void CompleteRows::AppendBlock(Index from, Index rows, const std::vector<const double*>& columns) {
    Sums sums;
    std::fill_n(sums.begin(), rows, 0.0);
    std::size_t k = 0;
    for (; k + 4 <= columns.size(); k += 4)
        AddDifferences(sums, rows, columns[k] + from, columns[k + 1] + from, columns[k + 2] + from,
                       columns[k + 3] + from);
    for (; k < columns.size(); ++k) AddDifferences(sums, rows, columns[k] + from);

    int* const target = m_rows.data() + m_count;
    if (AllZero(sums, rows)) {
        std::iota(target, target + rows, static_cast<int>(from));
        m_count += rows;
        return;
    }
    // Without a branch: a row that is not complete is overwritten by the next one.
    Index count = 0;
    for (Index i = 0; i < rows; ++i) {
        target[count] = static_cast<int>(from + i);
        count += sums[static_cast<std::size_t>(i)] == 0.0 ? 1 : 0;
    }
    m_count += count;
}

void CopyRows(const std::vector<int>& list, const double* source, double* target) {
    const auto n = static_cast<Index>(list.size());
    for (Index k = 0; k < n; k += CopiedRows) {
        const int* const rows = list.data() + k;
        const Index count = std::min(CopiedRows, n - k);
        if (rows[count - 1] - rows[0] == count - 1) {
            const double* const from = source + rows[0];
            for (Index i = 0; i < count; ++i) target[i] = from[i];
        } else {
            for (Index i = 0; i < count; ++i) target[i] = source[rows[i]];
        }
        target += count;
    }
}

}  // namespace quarn::detail
