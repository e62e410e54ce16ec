#pragma once

/// Marks what the shared library of samplers exports; everything else is hidden.
#define QUARN_SAMPLERS_EXPORT __attribute__((visibility("default")))
