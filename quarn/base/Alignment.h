#pragma once

#include <quarn/base/Export.h>

#include <Eigen/Core>

#include <algorithm>

/// Matrices cross the border between library and application both ways, so that each frees memory of the other's. Eigen
/// allocates in a way that depends on compiler flags (-mavx, -mavx512f, -march, -fsanitize=address) and macros of its own:
/// where the two sides differ, such a program would crash. It is not linked instead: every file that includes this one
/// refers to symbols of its own way, and the library defines those of its own only.
///
/// Should a linker send you here: compile both sides with the same flags; or configure the library with QUARN_NATIVE or
/// with -DCMAKE_CXX_FLAGS=..., or define EIGEN_MAX_ALIGN_BYTES, with the larger value of the two, for both sides.
namespace quarn {

template <int bytes>
QUARN_EXPORT void error_libQuarn_comp_was_built_with_another_EIGEN_MAX_ALIGN_BYTES_than();
template <int value>
QUARN_EXPORT void error_libQuarn_comp_was_built_with_another_EIGEN_MALLOC_ALREADY_ALIGNED_than();

namespace detail {

/// What Eigen aligns allocated memory to. Less than 16 is no different: malloc aligns to 16.
constexpr int alignBytes = std::max(16, EIGEN_DEFAULT_ALIGN_BYTES);
/// Whether it takes the memory from malloc as it is.
constexpr int mallocAlreadyAligned = EIGEN_DEFAULT_ALIGN_BYTES == 0 || EIGEN_MALLOC_ALREADY_ALIGNED;

// Two pointers in a program, read by nothing. Kept by every optimisation level, and by linkers that drop unused sections.
#if __has_attribute(retain)
#define QUARN_KEEP __attribute__((used, retain, visibility("hidden")))
#else
#define QUARN_KEEP __attribute__((used, visibility("hidden")))
#endif
QUARN_KEEP inline constexpr auto alignBytesAgree =
    &error_libQuarn_comp_was_built_with_another_EIGEN_MAX_ALIGN_BYTES_than<alignBytes>;
QUARN_KEEP inline constexpr auto mallocAlreadyAlignedAgrees =
    &error_libQuarn_comp_was_built_with_another_EIGEN_MALLOC_ALREADY_ALIGNED_than<mallocAlreadyAligned>;
#undef QUARN_KEEP

}  // namespace detail

}  // namespace quarn
