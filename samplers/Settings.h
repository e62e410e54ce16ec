#pragma once

#include <cstdint>

namespace quarn::samplers {

/// How long a sampler runs. What is drawn depends on all of these but Threads.
struct RunSettings {
    std::int64_t Draws = 20000;  ///< kept, per chain
    std::int64_t Burnin = 5000;  ///< iterations before the first draw that is kept
    std::int64_t Thin = 1;       ///< iterations per draw that is kept
    std::int64_t Chains = 1;
    std::int64_t Seed = 42;
    int Threads = 0;  ///< at most as many as chains; 0: one per chain, as far as the processor has cores
};

}  // namespace quarn::samplers
