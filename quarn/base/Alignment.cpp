#include <quarn/base/Alignment.h>

namespace quarn {

template <int bytes>
void error_libQuarn_comp_was_built_with_another_EIGEN_MAX_ALIGN_BYTES_than() {}
template <int value>
void error_libQuarn_comp_was_built_with_another_EIGEN_MALLOC_ALREADY_ALIGNED_than() {}

template void error_libQuarn_comp_was_built_with_another_EIGEN_MAX_ALIGN_BYTES_than<detail::alignBytes>();
template void
error_libQuarn_comp_was_built_with_another_EIGEN_MALLOC_ALREADY_ALIGNED_than<detail::mallocAlreadyAligned>();

}  // namespace quarn
