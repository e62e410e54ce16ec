#pragma once

#include <quarn/random/Generators.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace quarn::detail {

/// The uniforms that UniformDraw(rng, unif) gives, for functions that draw many: words are turned into uniforms some
/// way ahead, many at a time, which vectorises and takes the engine's index out of the loop that consumes them. At the
/// end, or before anything else draws from rng, Return() gives back the words that were not consumed. unif is read
/// once.
class UniformsAhead {
 public:
    UniformsAhead(Rng& rng, const Unif& unif) : m_rng(rng), m_lower(unif.a()), m_range(unif.b() - unif.a()) {}
    ~UniformsAhead() { Return(); }
    UniformsAhead(const UniformsAhead&) = delete;
    UniformsAhead& operator=(const UniformsAhead&) = delete;

    double operator()() {
#ifdef __GLIBCXX__
        if (m_next == m_end) Fill();
        return m_values[m_next++];
#else
        return m_lower + m_range * Fraction(NextWord(m_rng));
#endif
    }

    /// Puts rng where as many calls of UniformDraw would have left it.
    void Return() {
#ifdef __GLIBCXX__
        if (m_end == 0) return;
        m_rng.*nextIndex -= m_end - m_next;
        m_next = m_end = 0;
        m_block = FirstBlock;
#endif
    }

 private:
    // Blocks double in size, so that no more is turned in vain than was used.
    static constexpr std::size_t FirstBlock = 6, LargestBlock = 48;

#ifdef __GLIBCXX__
    /// Fraction(x) in operations that every vector unit has: each half becomes the mantissa of a power of 2, which is
    /// then subtracted without rounding; the sum is rounded once.
    static double Fraction64(std::uint64_t x) {
        const double high = std::bit_cast<double>((x >> 32) | 0x4530000000000000);        // 2^84 + 2^32 of it
        const double low = std::bit_cast<double>((x & 0xFFFFFFFF) | 0x4330000000000000);  // 2^52 + it
        return ((high - 0x1.00000001p84) + low) * 0x1p-64;
    }

    __attribute__((noinline)) void Fill() {
        std::size_t& index = m_rng.*nextIndex;
        if (index >= Rng::state_size) {
            RefillWords(m_rng.*words);
            index = 0;
        }
        m_end = std::min(m_block, Rng::state_size - index);
        m_next = 0;
        m_block = std::min(2 * m_block, LargestBlock);
        const std::uint64_t* const x = &(m_rng.*words)[index];
        for (std::size_t i = 0; i < m_end; ++i) m_values[i] = m_lower + m_range * Fraction64(Temper(x[i]));
        index += m_end;
    }

    std::array<double, LargestBlock> m_values;
    std::size_t m_next = 0, m_end = 0, m_block = FirstBlock;
#endif
    Rng& m_rng;
    double m_lower, m_range;
};

}  // namespace quarn::detail
