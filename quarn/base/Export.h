#pragma once

/// Marks what the shared library exports; everything else is hidden.
#define QUARN_EXPORT __attribute__((visibility("default")))

#ifdef __FAST_MATH__
#error "Missing data are NaN: libQuarn_comp cannot be used under -ffast-math."
#endif
