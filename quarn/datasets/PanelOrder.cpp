#include <quarn/base/LargeTables_detail.h>
#include <quarn/datasets/PanelOrder_detail.h>
#include <quarn/numerics/SortKeys_detail.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

namespace quarn::detail {
namespace {

using Eigen::Index;

constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

/// Whole numbers up to this size have exact differences that fit an Index.
constexpr double LargestWhole = 2251799813685248.0;  // 2^51

/// A table with so many cells for each row still costs less than a sort.
double CellLimit(Index n) { return std::min(4.0 * static_cast<double>(n) + 64.0, 2147483647.0); }

struct Range {
    double low, high;
    bool isWhole;  ///< all cells are whole numbers of no more than LargestWhole

    double Span() const { return high - low + 1.0; }
};

/// Four lanes, for a minimum has to wait for the one before it.
Range RangeOf(const double* x, Index n) {
    constexpr Index Lanes = 4;
    constexpr double Rounder = 3.0 * LargestWhole;  // adding and subtracting it rounds a cell to a whole number
    double low[Lanes], high[Lanes], fraction[Lanes] = {};
    std::fill_n(low, Lanes, Infinity);
    std::fill_n(high, Lanes, -Infinity);
    const auto take = [&](Index lane, double cell) {
        low[lane] = cell < low[lane] ? cell : low[lane];
        high[lane] = cell > high[lane] ? cell : high[lane];
        fraction[lane] += std::abs((cell + Rounder) - Rounder - cell);
    };
    Index i = 0;
    for (; i + Lanes <= n; i += Lanes)
        for (Index lane = 0; lane < Lanes; ++lane) take(lane, x[i + lane]);
    for (; i < n; ++i) take(0, x[i]);
    Range all{*std::min_element(low, low + Lanes), *std::max_element(high, high + Lanes), false};
    const double fractions = (fraction[0] + fraction[1]) + (fraction[2] + fraction[3]);  // NaN if a cell is not finite
    all.isWhole = fractions == 0.0 && all.low >= -LargestWhole && all.high <= LargestWhole;
    return all;
}

/// The period of each row within the span of its group's times: the first place of each group, and the time there.
/// False if that takes more places than allowed.
bool CutSpans(const double* group, const double* time, Index n, const Range& groups, const Range& times,
              std::vector<int>& starts, std::vector<Index>& firstTimes) {
    const auto count = static_cast<std::size_t>(groups.Span());
    starts.assign(count + 1, 0);
    firstTimes.assign(count, 0);
    if (groups.Span() * times.Span() <= CellLimit(n)) {
        const int span = static_cast<int>(times.Span());
        for (std::size_t k = 0; k < count; ++k) starts[k + 1] = starts[k] + span;
        return true;
    }
    std::vector<Index> lastTimes(count, -1);
    std::fill(firstTimes.begin(), firstTimes.end(), std::numeric_limits<Index>::max());
    for (Index i = 0; i < n; ++i) {
        const auto k = static_cast<std::size_t>(group[i] - groups.low);
        const auto t = static_cast<Index>(time[i] - times.low);
        firstTimes[k] = std::min(firstTimes[k], t);
        lastTimes[k] = std::max(lastTimes[k], t);
    }
    Index place = 0;
    for (std::size_t k = 0; k < count; ++k) {
        if (lastTimes[k] >= 0) place += lastTimes[k] - firstTimes[k] + 1;
        if (static_cast<double>(place) > CellLimit(n)) return false;
        starts[k + 1] = static_cast<int>(place);
    }
    return true;
}

bool AnyTwice(const std::vector<int>& places, Index count) {
    std::vector<std::uint64_t> taken(static_cast<std::size_t>(count) / 64 + 1, 0);
    std::uint64_t twice = 0;
    for (const int place : places) {
        std::uint64_t& word = taken[static_cast<std::size_t>(place) / 64];
        const std::uint64_t bit = std::uint64_t{1} << (place % 64);
        twice |= word & bit;
        word |= bit;
    }
    return twice != 0;
}

}  // namespace

PanelOrder::PanelOrder(const double* group, const double* time, Index n) : m_group(group), m_time(time), m_n(n) {
    if (FindInOrder()) return;
    m_group = CompactIds(group, n, m_ranks);
    if (BuildGrid()) {
        m_way = Way::Grid;
    } else {
        Sort();
        m_way = Way::Sorted;
    }
}

bool PanelOrder::FindInOrder() {
    m_starts.assign(1, 0);
    for (Index i = 1; i < m_n; ++i) {
        if (m_group[i - 1] == m_group[i]) {
            if (!(m_time[i - 1] < m_time[i])) return false;
        } else if (m_group[i - 1] < m_group[i]) {
            m_starts.push_back(static_cast<int>(i));
        } else {
            return false;
        }
    }
    if (m_n > 0) m_starts.push_back(static_cast<int>(m_n));
    return true;
}

bool PanelOrder::BuildGrid() {
    const Range groups = RangeOf(m_group, m_n), times = RangeOf(m_time, m_n);
    if (!groups.isWhole || !times.isWhole || groups.Span() > CellLimit(m_n)) return false;
    std::vector<Index> firstTimes;
    if (!CutSpans(m_group, m_time, m_n, groups, times, m_starts, firstTimes)) return false;

    // One table for both: place = shift of the group + time.
    for (std::size_t k = 0; k < firstTimes.size(); ++k) firstTimes[k] = m_starts[k] - firstTimes[k];
    const std::vector<Index>& shift = firstTimes;
    m_placeOfRow.resize(static_cast<std::size_t>(m_n));
    for (Index i = 0; i < m_n; ++i) {
        const auto k = static_cast<std::size_t>(m_group[i] - groups.low);
        m_placeOfRow[static_cast<std::size_t>(i)] =
            static_cast<int>(shift[k] + static_cast<Index>(m_time[i] - times.low));
    }
    m_lowestGroup = groups.low;
    return !AnyTwice(m_placeOfRow, Places());
}

void PanelOrder::Sort() {
    m_placeOfRow.clear();
    m_rowAtPlace = OrderOf(std::vector{m_group, m_time}, m_n);
    m_times.resize(m_n);
    m_starts.clear();
    for (Index place = 0; place < m_n; ++place) {
        m_times[place] = m_time[m_rowAtPlace[place]];
        if (place == 0 || m_group[m_rowAtPlace[place]] != m_group[m_rowAtPlace[place - 1]])
            m_starts.push_back(static_cast<int>(place));
    }
    m_starts.push_back(static_cast<int>(m_n));
}

const double* PanelOrder::Times() const {
    if (m_way == Way::Grid) return nullptr;
    return m_way == Way::InOrder ? m_time : m_times.data();
}

double PanelOrder::GroupId(Index group) const {
    if (m_way == Way::Grid) return m_lowestGroup + static_cast<double>(group);
    const int place = m_starts[static_cast<std::size_t>(group)];
    return m_group[m_way == Way::InOrder ? place : m_rowAtPlace[place]];
}

const double* PanelOrder::Spread(const double* column, VectorXd& storage) const {
    if (m_way == Way::InOrder) return column;
    if (m_way == Way::Grid) {
        storage.setConstant(Places(), NaN);
        for (Index i = 0; i < m_n; ++i) storage[m_placeOfRow[static_cast<std::size_t>(i)]] = column[i];
    } else {
        storage.resize(m_n);
        for (Index place = 0; place < m_n; ++place) storage[place] = column[m_rowAtPlace[place]];
    }
    return storage.data();
}

VectorXd PanelOrder::Collect(VectorXd cells) const {
    if (m_way == Way::InOrder) return cells;
    VectorXd rows(m_n);
    if (m_way == Way::Grid) {
        for (Index i = 0; i < m_n; ++i) rows[i] = cells[m_placeOfRow[static_cast<std::size_t>(i)]];
    } else {
        for (Index place = 0; place < m_n; ++place) rows[m_rowAtPlace[place]] = cells[place];
    }
    return rows;
}

std::vector<int> PanelOrder::Rows(std::vector<int>& starts) const {
    std::vector<int> rows(static_cast<std::size_t>(Places()), -1);
    starts = m_starts;
    if (m_way != Way::Grid) {
        for (std::size_t place = 0; place < rows.size(); ++place)
            rows[place] = m_way == Way::InOrder ? static_cast<int>(place) : m_rowAtPlace[static_cast<Index>(place)];
        return rows;
    }
    for (std::size_t i = 0; i < m_placeOfRow.size(); ++i)
        rows[static_cast<std::size_t>(m_placeOfRow[i])] = static_cast<int>(i);
    std::size_t count = 0, place = 0;
    for (std::size_t k = 0; k + 1 < m_starts.size(); ++k) {
        starts[k] = static_cast<int>(count);
        for (; place < static_cast<std::size_t>(m_starts[k + 1]); ++place) {
            rows[count] = rows[place];  // without a branch: a place without a row is overwritten by the next one
            count += rows[count] >= 0 ? 1 : 0;
        }
    }
    starts.back() = static_cast<int>(count);
    rows.resize(count);
    return rows;
}

const double* CompactIds(const double* ids, Index n, VectorXd& storage) {
    const Range range = RangeOf(ids, n);
    if (range.isWhole && range.Span() <= CellLimit(n)) return ids;
    const VectorXi order = OrderOf(std::vector{ids}, n);
    storage.resize(n);
    double rank = 0.0, previous = NaN;
    for (const int row : order) {
        const double id = ids[row];
        if (id != std::exchange(previous, id)) rank += 1.0;
        storage[row] = std::isfinite(id) ? rank : NaN;
    }
    return storage.data();
}

}  // namespace quarn::detail
