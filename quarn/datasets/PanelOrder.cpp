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

/// Gives each group a place for every period between its first and its last row, or, if that is not too much, between
/// those of all groups: the first place of each group, and the time there, counted from the earliest one. False if that
/// takes more places than allowed.
bool CutSpans(const KeyColumn& groups, const KeyColumn& times, Index n, std::vector<int>& starts,
              std::vector<Index>& firstTimes) {
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
        const auto k = static_cast<std::size_t>(groups.cells[i] - groups.low);
        const auto t = static_cast<Index>(times.cells[i] - times.low);
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

}  // namespace

/// Four lanes, for a minimum has to wait for the one before it.
KeyColumn::KeyColumn(const double* column, Index n) : cells(column) {
    constexpr Index Lanes = 4;
    constexpr double Rounder = 3.0 * LargestWhole;  // adding and subtracting it rounds a cell to a whole number
    double lows[Lanes], highs[Lanes], fractions[Lanes] = {};
    std::fill_n(lows, Lanes, Infinity);
    std::fill_n(highs, Lanes, -Infinity);
    const auto take = [&](Index lane, double cell) {
        lows[lane] = cell < lows[lane] ? cell : lows[lane];
        highs[lane] = cell > highs[lane] ? cell : highs[lane];
        fractions[lane] += std::abs((cell + Rounder) - Rounder - cell);
    };
    Index i = 0;
    for (; i + Lanes <= n; i += Lanes)
        for (Index lane = 0; lane < Lanes; ++lane) take(lane, column[i + lane]);
    for (; i < n; ++i) take(0, column[i]);
    low = *std::min_element(lows, lows + Lanes);
    high = *std::max_element(highs, highs + Lanes);
    const double sum = (fractions[0] + fractions[1]) + (fractions[2] + fractions[3]);  // NaN if a cell is not finite
    isWhole = sum == 0.0 && low >= -LargestWhole && high <= LargestWhole;
}

KeyColumn CompactIds(const KeyColumn& ids, Index n, VectorXd& storage) {
    if (ids.isCompact) return ids;
    KeyColumn compact = ids;
    compact.isCompact = true;
    if (ids.isWhole && ids.Span() <= CellLimit(n)) return compact;
    const VectorXi order = OrderOf(std::vector{ids.cells}, n);
    storage.resize(n);
    double rank = 0.0, previous = NaN;
    for (const int row : order) {
        const double id = ids.cells[row];
        if (id != std::exchange(previous, id)) rank += 1.0;
        storage[row] = std::isfinite(id) ? rank : NaN;
    }
    compact = KeyColumn(storage.data(), n);
    compact.isCompact = true;
    return compact;
}

PanelOrder::PanelOrder(const KeyColumn& group, const KeyColumn& time, Index n) : m_group(group), m_time(time), m_n(n) {
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
    const double *const group = m_group.cells, *const time = m_time.cells;
    m_starts.assign(1, 0);
    for (Index i = 1; i < m_n; ++i) {
        if (group[i - 1] == group[i]) {
            if (!(time[i - 1] < time[i])) return false;
        } else if (group[i - 1] < group[i]) {
            m_starts.push_back(static_cast<int>(i));
        } else {
            return false;
        }
    }
    if (m_n > 0) m_starts.push_back(static_cast<int>(m_n));
    return true;
}

bool PanelOrder::BuildGrid() {
    std::vector<Index> firstTimes;
    if (!m_time.isWhole || !CutSpans(m_group, m_time, m_n, m_starts, firstTimes)) return false;

    // One table for both: place = shift of the group + time.
    for (std::size_t k = 0; k < firstTimes.size(); ++k) firstTimes[k] = m_starts[k] - firstTimes[k];
    const std::vector<Index>& shift = firstTimes;
    std::vector<std::uint64_t> taken(static_cast<std::size_t>(Places()) / 64 + 1, 0);  // a bit for each place
    std::uint64_t twice = 0;
    m_placeOfRow.resize(static_cast<std::size_t>(m_n));
    for (Index i = 0; i < m_n; ++i) {
        const auto group = static_cast<std::size_t>(m_group.cells[i] - m_group.low);
        const Index place = shift[group] + static_cast<Index>(m_time.cells[i] - m_time.low);
        m_placeOfRow[static_cast<std::size_t>(i)] = static_cast<int>(place);
        std::uint64_t& word = taken[static_cast<std::size_t>(place) / 64];
        const std::uint64_t bit = std::uint64_t{1} << (place % 64);
        twice |= word & bit;
        word |= bit;
    }
    return twice == 0;
}

void PanelOrder::Sort() {
    m_placeOfRow.clear();
    m_rowAtPlace = OrderOf(std::vector{m_group.cells, m_time.cells}, m_n);
    m_times.resize(m_n);
    m_starts.clear();
    for (Index place = 0; place < m_n; ++place) {
        m_times[place] = m_time.cells[m_rowAtPlace[place]];
        if (place == 0 || m_group.cells[m_rowAtPlace[place]] != m_group.cells[m_rowAtPlace[place - 1]])
            m_starts.push_back(static_cast<int>(place));
    }
    m_starts.push_back(static_cast<int>(m_n));
}

const double* PanelOrder::Times() const {
    if (m_way == Way::Grid) return nullptr;
    return m_way == Way::InOrder ? m_time.cells : m_times.data();
}

double PanelOrder::GroupId(Index group) const {
    if (m_way == Way::Grid) return m_group.low + static_cast<double>(group);
    const int place = m_starts[static_cast<std::size_t>(group)];
    return m_group.cells[m_way == Way::InOrder ? place : m_rowAtPlace[place]];
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

}  // namespace quarn::detail
