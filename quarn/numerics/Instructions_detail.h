#pragma once

#include <algorithm>

/// Kernels that use the best instructions of the processor they run on. A kernel is written once, for plain arrays, and
/// compiled for several sets of instructions; multiplication and addition stay two rounded steps, so that all of them
/// give the same digits.
namespace quarn::detail {

/// Sets of instructions, each beside all that stand before it. As an argument: the best that the processor has, up to
/// this one.
enum class Instructions { Portable, Avx2, Avx512, Best = Avx512 };

/// Four lanes: one register with AVX2, two without.
using Quad = double __attribute__((vector_size(32)));

// At any address. By reference: a result of this type would have another calling convention without AVX2.
__attribute__((always_inline)) inline void Load(Quad& lanes, const double* from) {
    __builtin_memcpy(&lanes, from, sizeof lanes);
}
__attribute__((always_inline)) inline void Store(double* to, const Quad& lanes) {
    __builtin_memcpy(to, &lanes, sizeof lanes);
}

#ifdef __x86_64__
// Only words that all compilers know: for one that it does not, such as prefer-vector-width, clang leaves the whole
// attribute out. How wide vectors are with AVX-512 is the compiler's choice for the processor that it tunes for.
template <class Kernel>
__attribute__((target("avx2,fma"))) auto RunAvx2(const Kernel& kernel) {
    return kernel.template operator()<Instructions::Avx2>();
}

template <class Kernel>
__attribute__((target("avx2,fma,avx512f,avx512dq,avx512vl,avx512bw"))) auto RunAvx512(const Kernel& kernel) {
    return kernel.template operator()<Instructions::Avx512>();
}

inline Instructions InstructionsOfProcessor() {
    static const Instructions best = [] {
        if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma")) return Instructions::Portable;
        const bool hasAvx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
                               __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512bw");
        return hasAvx512 ? Instructions::Avx512 : Instructions::Avx2;
    }();
    return best;
}
#endif

/// kernel.operator()<Set>() for the best set of the processor, up to `limit` and to Widest: AVX-512 is for loops that
/// the compiler turns into vector code, not for those written in Quads. The operator must be always_inline, as
/// everything that it calls, and no library type may enter it, lest its inline functions be emitted with these
/// instructions for the whole program. From Avx2 on a fused multiply-add is one instruction; the compiler makes none by
/// itself.
template <Instructions Widest = Instructions::Avx2, class Kernel>
auto RunKernel(const Kernel& kernel, [[maybe_unused]] Instructions limit = Instructions::Best) {
#ifdef __x86_64__
    const Instructions set = std::min({limit, Widest, InstructionsOfProcessor()});
    if constexpr (Widest == Instructions::Avx512) {
        if (set == Instructions::Avx512) return RunAvx512(kernel);
    }
    if (set != Instructions::Portable) return RunAvx2(kernel);
#endif
    return kernel.template operator()<Instructions::Portable>();
}

}  // namespace quarn::detail
