#include <quarn/numerics/CompleteRows_detail.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace quarn::detail {
namespace {

using Eigen::Index;

constexpr Index BlockRows = 1024;  // the sums of a block, 8 kB, stay in the first-level cache
constexpr Index CopiedRows = 64;   // copied without a look at each row if all of them are complete

using Sums = std::array<double, BlockRows>;

/// Adds x - x of each cell of some columns to the sums of their rows: 0 for a finite cell, NaN, which stays, for
/// another.
template <int Columns>
void AddDifferences(Sums& sums, const double* const* columns, Index from, Index rows) {
    for (Index i = 0; i < rows; ++i) {
        double sum = sums[static_cast<std::size_t>(i)];
        for (int k = 0; k < Columns; ++k) sum += columns[k][from + i] - columns[k][from + i];
        sums[static_cast<std::size_t>(i)] = sum;
    }
}

bool AllZero(const Sums& sums, Index rows) {
    bool nonZero = false;
    for (Index i = 0; i < rows; ++i) nonZero |= sums[static_cast<std::size_t>(i)] != 0.0;  // NaN is not 0
    return !nonZero;
}

}  // namespace

CompleteRows::CompleteRows(Index rows, const std::vector<const double*>& columns)
    : m_complete(static_cast<std::size_t>(rows), 1), m_count(rows), m_end(rows) {
    for (Index from = 0; from < rows; from += BlockRows) MarkBlock(from, std::min(BlockRows, rows - from), columns);
    while (m_end > 0 && !Contains(m_end - 1)) --m_end;
}

void CompleteRows::MarkBlock(Index from, Index rows, const std::vector<const double*>& columns) {
    constexpr std::size_t atOnce = 4;  // spares most of the loads and stores of the sums
    Sums sums;
    std::fill_n(sums.begin(), rows, 0.0);
    std::size_t k = 0;
    for (; k + atOnce <= columns.size(); k += atOnce) AddDifferences<atOnce>(sums, columns.data() + k, from, rows);
    for (; k < columns.size(); ++k) AddDifferences<1>(sums, columns.data() + k, from, rows);
    if (AllZero(sums, rows)) return;
    for (Index i = 0; i < rows; ++i) {
        if (sums[static_cast<std::size_t>(i)] == 0.0) continue;
        m_complete[static_cast<std::size_t>(from + i)] = 0;
        --m_count;
    }
}

void CompleteRows::Copy(const double* source, double* target) const {
    Index from = 0;
    while (from < m_end) {
        // A run of complete rows, to the next row that is not, or to the end.
        const std::uint8_t* const complete = m_complete.data() + from;
        const auto* const gap =
            static_cast<const std::uint8_t*>(std::memchr(complete, 0, static_cast<std::size_t>(m_end - from)));
        const Index run = gap == nullptr ? m_end - from : gap - complete;
        if (run >= CopiedRows || gap == nullptr) {
            std::memmove(target, source + from, static_cast<std::size_t>(run) * sizeof(double));
            target += run;
            from += run;
            continue;
        }
        // Without a branch: a row that is not complete is overwritten by the next one that is, and one follows, since
        // m_end stands behind one.
        for (const Index stop = std::min(from + CopiedRows, m_end); from < stop; ++from) {
            *target = source[from];
            target += m_complete[static_cast<std::size_t>(from)];
        }
    }
}

}  // namespace quarn::detail
