#include <samplers/Generator.h>

#include <random>

namespace quarn::samplers {

Generator MakeGenerator(std::int64_t seed, std::int64_t stream) {
    const auto low = [](std::int64_t number) { return static_cast<std::uint32_t>(static_cast<std::uint64_t>(number)); };
    const auto high = [](std::int64_t number) {
        return static_cast<std::uint32_t>(static_cast<std::uint64_t>(number) >> 32U);
    };
    std::seed_seq sequence{low(seed), high(seed), low(stream), high(stream)};
    Generator generator;
    generator.rng.seed(sequence);
    return generator;
}

}  // namespace quarn::samplers
