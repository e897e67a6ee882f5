#include "AllocationCounter.h"

#include <cstddef>

static thread_local unsigned long long s_allocations = 0;

unsigned long long support::allocationsOfThisThread() { return s_allocations; }

// Whatever takes memory, new and zu::allocateMemory too, comes to malloc or to its relatives for
// aligned blocks, which nothing here needs.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define DM_HEAP_IS_THE_SANITIZERS
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define DM_HEAP_IS_THE_SANITIZERS
#endif
#endif

#ifndef DM_HEAP_IS_THE_SANITIZERS
extern "C" void* __libc_malloc(size_t size);

extern "C" void* malloc(size_t size)
{
    ++s_allocations;
    return __libc_malloc(size);
}
#endif
