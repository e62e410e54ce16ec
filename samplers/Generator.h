#pragma once

#include <quarn/random/Generators.h>

#include <samplers/Export.h>

#include <cstdint>

namespace quarn::samplers {

/// The generator triple of one chain.
struct Generator {
    Rng rng;
    Unif unif{0.0, 1.0};
    Norm norm{0.0, 1.0};
};

/// A triple at the start of its stream, which is a function of the two numbers alone: the engine is seeded through
/// std::seed_seq with the 32-bit halves of seed and stream, the low one first. Chains have streams 0, 1, ...
QUARN_SAMPLERS_EXPORT Generator MakeGenerator(std::int64_t seed, std::int64_t stream);

/// The first of the streams for draws that belong to no chain, as the simulation of a probability.
constexpr std::int64_t FirstAuxiliaryStream = std::int64_t{1} << 32;

}  // namespace quarn::samplers
