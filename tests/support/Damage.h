#pragma once

#include <cstddef>
#include <new>
#include <random>
#include <string>

namespace quarn::testing {

/// A saved text with one to four small changes, a quarter of them where the first counts stand.
inline std::string Damaged(std::string text, std::mt19937_64& engine) {
    static const std::string bytes("~\n0129-.naif#_qe\0\xC3\xFF ", 20);
    for (auto changes = 1 + engine() % 4; changes > 0; --changes) {
        const auto at = engine() % (engine() % 4 == 0 ? 15 : text.size());
        text.replace(at, engine() % 2, 1 + engine() % 2 * 5, bytes[engine() % bytes.size()]);
    }
    return text;
}

/// Whether a load ends for want of memory, as it does for counts that cannot be true.
template <class Load>
bool IsRefused(const Load& load) {
    try {
        load();
        return false;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

}  // namespace quarn::testing
