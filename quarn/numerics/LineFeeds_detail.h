#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace quarn::detail {

/// Line feeds of [begin, end). Counted in bytes, side by side, which compilers turn into vector instructions.
inline std::size_t CountLineFeeds(const char* begin, const char* end) {
    constexpr std::size_t width = 64, rounds = 255;
    std::size_t count = 0;
    while (static_cast<std::size_t>(end - begin) >= width) {
        std::array<std::uint8_t, width> counters{};
        const std::size_t lines = std::min(static_cast<std::size_t>(end - begin) / width, rounds);
        for (std::size_t i = 0; i < lines; ++i, begin += width)
            for (std::size_t j = 0; j < width; ++j)
                counters[j] = static_cast<std::uint8_t>(counters[j] + (begin[j] == '\n' ? 1 : 0));
        for (const std::uint8_t counter : counters) count += counter;
    }
    return count + static_cast<std::size_t>(std::count(begin, end, '\n'));
}

}  // namespace quarn::detail
