#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#ifdef __x86_64__
#include <emmintrin.h>
#endif

namespace quarn::detail {

/// Walks through the token ends of a block: the places of the delimiter and of line feeds. It looks at 64 bytes at a
/// time and keeps their marks, so that the place of one token's end never waits for what became of the token before.
class TokenEnds {
 public:
    static constexpr std::size_t ReadAhead = 64;  ///< readable bytes behind the last line feed that the walk looks at

    TokenEnds(const char* begin, char delimiter) : m_delimiter(delimiter), m_base(begin), m_marks(Marks(begin)) {}

    /// The next token end. Requires: the last line feed of the block is still ahead.
    const char* Next() {
        while (m_marks == 0) {
            m_base += 64;
            m_marks = Marks(m_base);
        }
        const char* const end = m_base + std::countr_zero(m_marks);
        m_marks &= m_marks - 1;
        return end;
    }

 private:
    /// Bit i is set where byte i of the 64 at bytes ends a token.
    std::uint64_t Marks(const char* bytes) const {
        std::uint64_t marks = 0;
#ifdef __x86_64__
        const __m128i delimiters = _mm_set1_epi8(m_delimiter);
        const __m128i lineFeeds = _mm_set1_epi8('\n');
        for (int i = 0; i < 4; ++i) {
            const __m128i part = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + 16 * i));
            const __m128i equal = _mm_or_si128(_mm_cmpeq_epi8(part, delimiters), _mm_cmpeq_epi8(part, lineFeeds));
            marks |= static_cast<std::uint64_t>(static_cast<std::uint32_t>(_mm_movemask_epi8(equal))) << (16 * i);
        }
#else
        for (int i = 0; i < 64; ++i)
            marks |= static_cast<std::uint64_t>(bytes[i] == m_delimiter || bytes[i] == '\n') << i;
#endif
        return marks;
    }

    char m_delimiter;
    const char* m_base;
    std::uint64_t m_marks;
};

}  // namespace quarn::detail
