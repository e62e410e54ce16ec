#include "Progress.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <numeric>
#include <string_view>
#include <unistd.h>

namespace quarn::cli {
namespace {

using std::chrono::milliseconds;

bool IsTerminal() {
    const char* const kind = std::getenv("TERM");
    return isatty(STDERR_FILENO) == 1 && kind != nullptr && std::string_view(kind) != "dumb";
}

milliseconds Interval(bool terminal) { return terminal ? milliseconds(200) : milliseconds(30'000); }

const char* const EraseLine = "\r\033[K";

}  // namespace

Progress::Progress(const samplers::Sampler& sampler)
    : m_sampler(sampler), m_terminal(IsTerminal()), m_next(std::chrono::steady_clock::now() + Interval(m_terminal)) {}

Progress::~Progress() {
    if (m_terminal && m_shown) std::cerr << EraseLine << std::flush;
}

void Progress::Show() {
    const auto now = std::chrono::steady_clock::now();
    if (now < m_next) return;
    m_next = now + Interval(m_terminal);
    m_shown = true;
    std::cerr << (m_terminal ? EraseLine : "") << Line() << (m_terminal ? "" : "\n") << std::flush;
}

std::string Progress::Line() const {
    const auto chains = m_sampler.IterationsDone();
    const auto done = static_cast<double>(std::accumulate(chains.begin(), chains.end(), std::int64_t{0}));
    const double all = static_cast<double>(m_sampler.IterationsPerChain()) * static_cast<double>(chains.size());
    const double rate = done / m_sampler.Seconds();
    std::string line = "Sampling: " + std::to_string(static_cast<int>(100.0 * done / all)) + "%";
    if (chains.size() > 1) {
        const auto [least, most] = std::minmax_element(chains.begin(), chains.end());
        line += ", chains at " + std::to_string(*least) + " to " + std::to_string(*most) + " of " +
                std::to_string(m_sampler.IterationsPerChain());
    } else {
        line += ", " + std::to_string(chains[0]) + " of " + std::to_string(m_sampler.IterationsPerChain());
    }
    line += ", " + std::to_string(std::llround(rate)) + " iterations/s";
    if (done == all) return line + ", summing up";
    return rate > 0.0 ? line + ", " + Duration((all - done) / rate) + " left" : line;
}

std::string Duration(double seconds) {
    const auto whole = static_cast<std::int64_t>(std::ceil(std::min(seconds, 1e9)));
    const auto join = [](std::int64_t large, const char* unit, std::int64_t small, const char* smallUnit) {
        return std::to_string(large) + unit + (small > 0 ? ' ' + std::to_string(small) + smallUnit : "");
    };
    if (whole < 60) return std::to_string(whole) + " s";
    if (whole < 3600) return join(whole / 60, " min", whole % 60, " s");
    return join(whole / 3600, " h", whole % 3600 / 60, " min");
}

}  // namespace quarn::cli
