#pragma once

namespace quarn::testing {

/// Allocations of this program that fail at will: operator new wherever it is called, the standard library and the
/// string library included, and malloc, calloc, realloc and aligned_alloc where our own objects call them. What shared
/// libraries ask malloc for, such as the system for its files or the string library for its conversions, never fails, nor does
/// realloc for a smaller block.
enum class Fault { Once, FromThereOn };

/// The n-th allocation from now on fails, and with it those that follow if that is asked for.
void FailAllocation(long n, Fault fault);

/// No allocation fails any more. Returns whether one has.
bool StopFailing();

/// Blocks that have been allocated in these ways and not been freed.
long LiveBlocks();

}  // namespace quarn::testing
