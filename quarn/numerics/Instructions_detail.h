#pragma once

/// Kernels that use the best instructions of the processor they run on. A kernel is written once, for plain arrays, and
/// compiled for several sets of instructions; multiplication and addition stay two rounded steps, so that all of them
/// give the same digits.
namespace quarn::detail {

/// Which instructions to use: the best that the processor has, or those that every processor has.
enum class Instructions { Best, Portable };

/// Four lanes: one register with AVX2, two without.
using Quad = double __attribute__((vector_size(32)));
using QuadBits = long long __attribute__((vector_size(32)));

// At any address. By reference: a result of this type would have another calling convention without AVX2.
__attribute__((always_inline)) inline void Load(Quad& lanes, const double* from) {
    __builtin_memcpy(&lanes, from, sizeof lanes);
}
__attribute__((always_inline)) inline void Store(double* to, const Quad& lanes) {
    __builtin_memcpy(to, &lanes, sizeof lanes);
}

template <class Kernel>
void RunPortable(const Kernel& kernel) {
    kernel.template Run<false>();
}

#ifdef __x86_64__
template <class Kernel>
__attribute__((target("avx2,fma"))) void RunAvx2(const Kernel& kernel) {
    kernel.template Run<true>();
}

inline bool HasAvx2() {
    static const bool has = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    return has;
}
#else
template <class Kernel>
void RunAvx2(const Kernel& kernel) {
    RunPortable(kernel);
}

inline bool HasAvx2() { return false; }
#endif

/// Calls kernel.Run<Fused>(), which must be always_inline, as everything that it calls; Fused says that a fused
/// multiply-add is one instruction (the compiler makes none by itself).
template <class Kernel>
void RunKernel(const Kernel& kernel, Instructions instructions = Instructions::Best) {
    if (instructions == Instructions::Best && HasAvx2()) {
        RunAvx2(kernel);
    } else {
        RunPortable(kernel);
    }
}

}  // namespace quarn::detail
