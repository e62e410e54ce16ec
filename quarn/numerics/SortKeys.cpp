// Sorting by key columns. Each column is mapped to whole numbers from 0 that have its order: its codes. The codes of a
// row, one after the other, form one long number, and the rows are in order when these are. A level is a stretch of
// that number short enough to stand in one 64-bit word above the row's position; levels are sorted from the most
// significant one on, and a lower level only has to order the rows that tie in all levels above it. What must change
// together: Key::Code and Key::width (a code must fit), Level::bits and Word (a level plus a position must fit), and
// the guards: a code is 0 where an earlier column is not finite, which leaves such rows in the order they had.

#include <quarn/numerics/SortKeys_detail.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

namespace quarn::detail {
namespace {

using Eigen::Index;
using Word = std::uint64_t;

/// Bits of one pass of the radix sort: the counters of a pass, and one cache line for each of their targets in turn,
/// fit the second-level cache.
constexpr int DigitBits = 11;
constexpr std::size_t Buckets = std::size_t{1} << DigitBits;

/// Below this many words the comparison sort is faster than clearing and summing the counters of a pass.
constexpr Index SmallSort = 1024;

constexpr int Width(Word code) { return static_cast<int>(std::bit_width(code)); }
constexpr Word Mask(int bits) { return bits >= 64 ? ~Word{0} : (Word{1} << bits) - 1; }

/// Unsigned image of a number with the order of the numbers; -0.0 has the image of 0.0.
Word OrderedImage(double x) {
    const Word bits = std::bit_cast<Word>(x + 0.0);
    return (bits >> 63) != 0 ? ~bits : bits | (Word{1} << 63);
}

/// How the cells of a column become codes.
template <class Scalar>
struct Key;

template <>
struct Key<int> {
    const int* cells;
    std::int64_t lowest = 0;
    int width = 0;  ///< bits of the largest code

    Key(const int* column, Index n) : cells(column) {
        const auto [least, greatest] = std::minmax_element(column, column + n);
        lowest = *least;
        width = Width(static_cast<Word>(*greatest - lowest));
    }
    Word Code(Index row) const { return static_cast<Word>(cells[row] - lowest); }
    bool HasNonFinite() const { return false; }
    static bool IsFinite(int) { return true; }
};

template <>
struct Key<double> {
    const double* cells;
    bool isInteger = false;  ///< codes of finite cells are differences of whole numbers, else of images
    double lowest = 0.0;
    Word lowestImage = 0;
    Word first = 0;  ///< code of the lowest finite cell: 1 where codes for infinities and NaN stand around, else 0
    Word last = 0;   ///< code of the highest finite cell
    int width = 0;

    Key(const double* column, Index n) : cells(column) {
        // Adding and subtracting 1.5 * 2^52 rounds to a whole number where |x| <= 2^51.
        constexpr double Rounder = 6755399441055744.0, Limit = 2251799813685248.0;
        double low = std::numeric_limits<double>::infinity(), high = -low;
        bool allWhole = true;
        for (Index row = 0; row < n; ++row) {
            const double x = column[row];
            if (!IsFinite(x)) {
                first = 1;
                continue;
            }
            low = std::min(low, x);
            high = std::max(high, x);
            allWhole &= (x + Rounder) - Rounder == x;
        }
        if (low > high) low = high = 0.0;  // no finite cell
        isInteger = allWhole && low >= -Limit && high <= Limit;
        lowest = low;
        lowestImage = OrderedImage(low);
        last = FiniteCode(high);
        width = Width(HasNonFinite() ? last + 2 : last);
    }
    Word FiniteCode(double x) const {
        return first +
               (isInteger ? static_cast<Word>(static_cast<std::int64_t>(x - lowest)) : OrderedImage(x) - lowestImage);
    }
    Word Code(Index row) const {
        const double x = cells[row];
        if (IsFinite(x)) return FiniteCode(x);
        if (x < 0.0) return 0;
        return x > 0.0 ? last + 1 : last + 2;  // NaN is last
    }
    bool HasNonFinite() const { return first != 0; }
    static bool IsFinite(double x) { return std::isfinite(x); }
};

/// Bits shift..shift+bits-1 of the codes of one key, and the earlier columns that must be finite for them to count.
template <class Scalar>
struct Field {
    const Key<Scalar>* key;
    int shift, bits;
    std::vector<const Scalar*> guards;

    Word Part(Index row) const {
        for (const Scalar* guard : guards) {
            if (!Key<Scalar>::IsFinite(guard[row])) return 0;
        }
        return (key->Code(row) >> shift) & Mask(bits);
    }
};

template <class Scalar>
struct Level {
    std::vector<Field<Scalar>> fields;
    int bits = 0;
};

/// The keys' codes cut into levels of at most `capacity` bits.
template <class Scalar>
std::vector<Level<Scalar>> CutIntoLevels(const std::vector<Key<Scalar>>& keys, int capacity) {
    std::vector<Level<Scalar>> levels(1);
    std::vector<const Scalar*> guards;
    for (const Key<Scalar>& key : keys) {
        for (int left = key.width; left > 0;) {
            if (levels.back().bits == capacity) levels.emplace_back();
            Level<Scalar>& level = levels.back();
            const int bits = std::min(left, capacity - level.bits);
            left -= bits;
            level.bits += bits;
            level.fields.push_back({&key, left, bits, guards});
        }
        if (key.HasNonFinite()) guards.push_back(key.cells);
    }
    return levels;
}

/// Sorts words by their bits from `shift` on, `bits` of them; the order of their lower bits is kept.
void RadixSort(std::vector<Word>& words, std::vector<Word>& spare, int shift, int bits) {
    const int passes = (bits + DigitBits - 1) / DigitBits;
    std::vector<std::array<std::uint32_t, Buckets>> counts(static_cast<std::size_t>(passes));
    for (const Word word : words) {
        Word digits = word >> shift;
        for (auto& count : counts) {
            ++count[digits % Buckets];
            digits /= Buckets;
        }
    }
    spare.resize(words.size());
    for (auto& count : counts) {
        if (count[(words.front() >> shift) % Buckets] != words.size()) {  // else all words have this digit
            std::uint32_t start = 0;
            for (std::uint32_t& bucket : count) start += std::exchange(bucket, start);
            for (const Word word : words) spare[count[(word >> shift) % Buckets]++] = word;
            words.swap(spare);
        }
        shift += DigitBits;
    }
}

/// The order of n rows, found level by level.
template <class Scalar>
class Sorter {
 public:
    Sorter(const std::vector<Key<Scalar>>& keys, Index n)
        : m_positionBits(Width(static_cast<Word>(n - 1))),
          m_levels(CutIntoLevels(keys, LevelCapacity(m_positionBits))),
          m_order(n) {
        for (Index row = 0; row < n; ++row) m_order[row] = static_cast<int>(row);
        Sort(0, n, 0);
    }
    VectorXi Order() && { return std::move(m_order); }

 private:
    int m_positionBits;
    std::vector<Level<Scalar>> m_levels;
    VectorXi m_order;
    std::vector<Word> m_words, m_spare;

    /// A level has a few bits more than would tell all rows apart if codes were evenly spread, in whole digits: then
    /// the levels below have next to nothing to do.
    static int LevelCapacity(int positionBits) {
        constexpr int Reserve = 12;
        const int digits = (positionBits + Reserve + DigitBits - 1) / DigitBits;
        return std::min(64 - positionBits, digits * DigitBits);
    }

    /// Puts the level's codes of the rows from..to-1 of the order into words.
    void Pack(Index from, Index to, const Level<Scalar>& level) {
        m_words.assign(static_cast<std::size_t>(to - from), 0);
        const int* const rows = m_order.data() + from;
        for (const Field<Scalar>& field : level.fields) {
            for (std::size_t i = 0; i < m_words.size(); ++i) {
                m_words[i] = m_words[i] << field.bits | field.Part(rows[i]);
            }
        }
        for (std::size_t i = 0; i < m_words.size(); ++i) {
            m_words[i] = m_words[i] << m_positionBits | static_cast<Word>(rows[i]);
        }
    }

    /// Orders the rows from..to-1 of the order, which tie in all higher levels and stand in ascending position.
    void Sort(Index from, Index to, std::size_t depth) {
        const Level<Scalar>& level = m_levels[depth];
        Pack(from, to, level);
        if (!std::is_sorted(m_words.begin(), m_words.end())) {
            if (to - from < SmallSort) {
                std::sort(m_words.begin(), m_words.end());  // stable, as positions differ
            } else {
                RadixSort(m_words, m_spare, m_positionBits, level.bits);
            }
            for (Index i = from; i < to; ++i) {
                m_order[i] = static_cast<int>(m_words[static_cast<std::size_t>(i - from)] & Mask(m_positionBits));
            }
        }
        if (depth + 1 < m_levels.size()) SortTies(from, to, depth + 1);
    }

    /// Orders each run of rows with equal words by the level at depth. The runs are noted first, for m_words is reused.
    void SortTies(Index from, Index to, std::size_t depth) {
        std::vector<std::pair<Index, Index>> runs;
        for (Index start = from, i = from + 1; i <= to; ++i) {
            if (i < to && CodeAt(i - from) == CodeAt(start - from)) continue;
            if (i - start > 1) runs.emplace_back(start, i);
            start = i;
        }
        for (const auto& [first, last] : runs) Sort(first, last, depth);
    }

    Word CodeAt(Index i) const { return m_words[static_cast<std::size_t>(i)] >> m_positionBits; }
};

template <class Scalar>
VectorXi OrderOfColumns(const std::vector<const Scalar*>& columns, Index n) {
    if (n == 0) return VectorXi();
    std::vector<Key<Scalar>> keys;
    keys.reserve(columns.size());
    for (const Scalar* column : columns) keys.emplace_back(column, n);
    return Sorter<Scalar>(keys, n).Order();
}

}  // namespace

VectorXi OrderOf(const std::vector<const double*>& columns, Eigen::Index n) { return OrderOfColumns(columns, n); }
VectorXi OrderOf(const std::vector<const int*>& columns, Eigen::Index n) { return OrderOfColumns(columns, n); }

}  // namespace quarn::detail
