#pragma once

#include <quarn/base/Export.h>

#include <cstddef>
#include <cstdint>
#include <random>

/// The generator triple, from which every random number of the library is drawn, and its two elementary draws.
///
/// The caller owns and seeds a triple and passes it by reference, in this order, to every function that draws; nothing
/// else moves it. One thread uses a triple at a time. Bounds other than 0 and 1, and a mean and standard deviation
/// other than 0 and 1, are read at each draw. norm keeps its spare value between calls. After each draw the standard
/// objects are in the state that the contracts below give, on every standard library; they can be copied, compared,
/// written, read and drawn from directly as usual. See docs/the-stream.md.
namespace quarn {

using Rng = std::mt19937_64;                          ///< the engine, MT19937-64
using Unif = std::uniform_real_distribution<double>;  ///< bounds a and b
using Norm = std::normal_distribution<double>;        ///< mean, standard deviation, a spare value and its flag

namespace detail {

#ifdef __GLIBCXX__
// g++ compiles the refill of libstdc++'s engine into branches on random bits, 5 to 8 ns a word on plain x86-64, and its
// normal distribution hands out the values of a pair in the other order. So words and spare are worked on here, in the
// objects themselves. Their members are private, but an explicit instantiation may name them; should a release rename
// them, it fails to compile. The unnamed namespace makes the instantiations those of one translation unit, and what
// inline functions see of it are constants, equal in all units.
namespace {
template <class Key, typename Key::Pointer member>
struct Reveal {
    friend constexpr typename Key::Pointer Find(Key) { return member; }
};
struct Words {
    using Pointer = Rng::result_type (Rng::*)[Rng::state_size];
    friend constexpr Pointer Find(Words);
};
struct NextIndex {
    using Pointer = std::size_t Rng::*;
    friend constexpr Pointer Find(NextIndex);
};
struct Spare {
    using Pointer = double Norm::*;
    friend constexpr Pointer Find(Spare);
};
struct SpareValid {
    using Pointer = bool Norm::*;
    friend constexpr Pointer Find(SpareValid);
};
template struct Reveal<Words, &Rng::_M_x>;
template struct Reveal<NextIndex, &Rng::_M_p>;
template struct Reveal<Spare, &Norm::_M_saved>;
template struct Reveal<SpareValid, &Norm::_M_saved_available>;

constexpr auto words = Find(Words{});
constexpr auto nextIndex = Find(NextIndex{});
constexpr auto spare = Find(Spare{});
constexpr auto spareValid = Find(SpareValid{});
}  // namespace

/// The recurrence for all words of the state, without a branch.
QUARN_EXPORT void RefillWords(Rng::result_type (&x)[Rng::state_size]);

/// The scrambling of a word of the state, or of each word of a vector of them, into a word of the output.
template <class WordOrVector>
inline WordOrVector Temper(WordOrVector x) {
    x ^= (x >> Rng::tempering_u) & Rng::tempering_d;
    x ^= (x << Rng::tempering_s) & Rng::tempering_b;
    x ^= (x << Rng::tempering_t) & Rng::tempering_c;
    return x ^ (x >> Rng::tempering_l);
}

/// rng().
inline std::uint64_t NextWord(Rng& rng) {
    if (rng.*nextIndex >= Rng::state_size) {
        RefillWords(rng.*words);
        rng.*nextIndex = 0;
    }
    return Temper((rng.*words)[(rng.*nextIndex)++]);
}
/// The values of a pair of normals: the first is returned, the second put into `second`.
QUARN_EXPORT double NormalPair(Rng& rng, double& second);
#else
inline std::uint64_t NextWord(Rng& rng) { return rng(); }
#endif

/// x 2^-64, rounded once: by halves it is exact up to the sum, and needs no branch on the top bit of x.
inline double Fraction(std::uint64_t x) {
    return static_cast<double>(static_cast<std::uint32_t>(x >> 32)) * 0x1p-32 +
           static_cast<double>(static_cast<std::uint32_t>(x)) * 0x1p-64;
}

}  // namespace detail

/// One uniform number: a + (b - a) w, where w = x 2^-64 for one word x, rounded to a double. w is in [0, 1] and can
/// be 1. With bounds 0 and 1 no compiler option can change a digit of it.
inline double UniformDraw(Rng& rng, Unif& unif) {
    return unif.a() + (unif.b() - unif.a()) * detail::Fraction(detail::NextWord(rng));
}

/// One normal number: mean + sd z, by the polar method.
///
/// z is the spare if there is one, which is thereby used up. Otherwise words w1 and w2, as fractions, are taken until
/// s = u^2 + v^2 is in (0, 1], with u = 2 w1 - 1 and v = 2 w2 - 1; then, with f = sqrt(-2 ln(s) / s), z is u f, and v f
/// becomes the spare. s is in (0, 1] with probability pi/4: a pair takes 2.55 words in the mean.
/// Source: Marsaglia & Bray (1964), SIAM Review 6, 260-264.
#ifdef __GLIBCXX__
inline double NormalDraw(Rng& rng, Norm& norm) {
    const double z = norm.*detail::spareValid ? norm.*detail::spare : detail::NormalPair(rng, norm.*detail::spare);
    norm.*detail::spareValid = !(norm.*detail::spareValid);
    return norm.mean() + norm.stddev() * z;
}
#else
inline double NormalDraw(Rng& rng, Norm& norm) { return norm(rng); }  // libc++'s is this method, to the letter
#endif

}  // namespace quarn
