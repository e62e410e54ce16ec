#pragma once

#include <samplers/Sampler.h>

#include <chrono>
#include <string>

namespace quarn::cli {

/// How far a run is, on standard error: on a terminal one line that is written anew, at most five times a second;
/// elsewhere a line every half minute. Nothing is shown of a run that ends before the first is due.
class Progress {
 public:
    explicit Progress(const samplers::Sampler& sampler);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();  ///< takes the line from the terminal

    void Show();  ///< writes if it is time to

 private:
    std::string Line() const;

    const samplers::Sampler& m_sampler;
    const bool m_terminal;
    std::chrono::steady_clock::time_point m_next;
    bool m_shown = false;
};

/// "45 s", "3 min 20 s", "2 h 5 min".
std::string Duration(double seconds);

}  // namespace quarn::cli
