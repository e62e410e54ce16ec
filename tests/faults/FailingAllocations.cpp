#include "FailingAllocations.h"

#include <cstddef>
#include <malloc.h>
#include <new>

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void* __real_aligned_alloc(std::size_t alignment, std::size_t size);
void __real_free(void* block);
void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
void* __wrap_realloc(void* block, std::size_t size);
void* __wrap_aligned_alloc(std::size_t alignment, std::size_t size);
void __wrap_free(void* block);
}

namespace {

using quarn::testing::Fault;

long untilFailure = 0;  // 0: none is to come
bool failsOn = false, hasFailed = false;
Fault kind = Fault::Once;
long live = 0;

bool Fails() {
    if (failsOn) return true;
    if (untilFailure == 0 || --untilFailure != 0) return false;
    hasFailed = true;
    failsOn = kind == Fault::FromThereOn;
    return true;
}

template <class Allocate>
void* Counted(const Allocate& allocate) {
    void* const block = Fails() ? nullptr : allocate();
    if (block != nullptr) ++live;
    return block;
}

}  // namespace

namespace quarn::testing {

void FailAllocation(long n, Fault fault) {
    untilFailure = n;
    kind = fault;
    hasFailed = failsOn = false;
}

bool StopFailing() {
    untilFailure = 0;
    failsOn = false;
    return hasFailed;
}

long LiveBlocks() { return live; }

}  // namespace quarn::testing

extern "C" {

void* __wrap_malloc(std::size_t size) {
    return Counted([&] { return __real_malloc(size); });
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
    return Counted([&] { return __real_calloc(count, size); });
}

void* __wrap_realloc(void* block, std::size_t size) {
    if (block == nullptr) return __wrap_malloc(size);
    const bool shrinks = size <= malloc_usable_size(block);  // which does not fail in practice
    return !shrinks && Fails() ? nullptr : __real_realloc(block, size);
}

void* __wrap_aligned_alloc(std::size_t alignment, std::size_t size) {
    return Counted([&] { return __real_aligned_alloc(alignment, size); });
}

void __wrap_free(void* block) {
    if (block != nullptr) --live;
    __real_free(block);
}

}  // extern "C"

void* operator new(std::size_t size) {
    void* const block = __wrap_malloc(size == 0 ? 1 : size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}
void operator delete(void* block) noexcept { __wrap_free(block); }
void operator delete(void* block, std::size_t) noexcept { __wrap_free(block); }

/// The string library leaks a buffer where memory runs out in the middle of a conversion; the leak checker of a sanitizer
/// build is to report ours alone.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:wxMBConv::cMB2WC\n"; }
