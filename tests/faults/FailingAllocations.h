#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <new>

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

enum class End { Complete, BadAlloc };

/// Repeats an operation and lets its first allocation fail, then its second, and so on until there are no more. Calls
/// prepare, act with each of its allocations failing, alone and with all that follow, and check with how that
/// ended; check also drops what the others have made. Returns the number of allocations that failed.
template <class Act, class Check>
long FailEach(
    const Act& act, const Check& check, const std::function<void()>& prepare = [] {}) {
    prepare();
    act();  // what is built once in a process
    check(End::Complete);
    long points = 0;
    for (const Fault fault : {Fault::Once, Fault::FromThereOn})
        for (long n = 1;; ++n, ++points) {
            const long before = LiveBlocks();
            End end = End::Complete;
            prepare();
            FailAllocation(n, fault);
            try {
                act();
            } catch (const std::bad_alloc&) {
                end = End::BadAlloc;
            }
            const bool failed = StopFailing();
            check(end);
            // Fewer where a header of the string library frees what the library has allocated.
            EXPECT_LE(LiveBlocks(), before) << "a leak where allocation " << n << " fails";
            if (!failed) break;
            if (::testing::Test::HasFailure()) {
                ADD_FAILURE() << "allocation " << n << (fault == Fault::Once ? "" : " and all that follow");
                return points;
            }
        }
    std::printf("%ld allocations failed in turn\n", points);
    return points;
}

}  // namespace quarn::testing
