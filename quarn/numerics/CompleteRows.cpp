#include <quarn/numerics/CompleteRows_detail.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace quarn::detail {
namespace {

constexpr Eigen::Index MarkedRows = 1024;  // their marks, 8 kB, stay in the first-level cache
constexpr Eigen::Index CopiedRows = 64;    // copied as a block if all of them are complete

}  // namespace

CompleteRows::CompleteRows(Eigen::Index rows, const std::vector<const double*>& columns)
    : m_complete(static_cast<std::size_t>(rows)) {
    for (Eigen::Index from = 0; from < rows; from += MarkedRows)
        MarkBlock(from, std::min(MarkedRows, rows - from), columns);
}

void CompleteRows::MarkBlock(Eigen::Index from, Eigen::Index rows, const std::vector<const double*>& columns) {
    // x - x is 0 for a finite x and NaN otherwise, and a NaN stays in the sum.
    std::array<double, MarkedRows> sums{};
    for (const double* const column : columns)
        for (Eigen::Index i = 0; i < rows; ++i)
            sums[static_cast<std::size_t>(i)] += column[from + i] - column[from + i];
    for (Eigen::Index i = 0; i < rows; ++i) {
        const bool complete = sums[static_cast<std::size_t>(i)] == 0.0;
        m_complete[static_cast<std::size_t>(from + i)] = complete ? 1 : 0;
        m_count += complete ? 1 : 0;
        if (complete) m_end = from + i + 1;
    }
}

void CompleteRows::Copy(const double* source, double* target) const {
    for (Eigen::Index from = 0; from < m_end; from += CopiedRows) {
        const std::uint8_t* const complete = m_complete.data() + from;
        const Eigen::Index rows = std::min(CopiedRows, m_end - from);
        if (std::memchr(complete, 0, static_cast<std::size_t>(rows)) == nullptr) {
            std::memmove(target, source + from, static_cast<std::size_t>(rows) * sizeof(double));
            target += rows;
            continue;
        }
        // Without a branch: a row that is not complete is overwritten by the next one that is, and one follows, since
        // m_end stands behind one.
        for (Eigen::Index i = 0; i < rows; ++i) {
            *target = source[from + i];
            target += complete[i];
        }
    }
}

}  // namespace quarn::detail
