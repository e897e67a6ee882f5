#include "AllocationCounter.h"

#include "tests/support/Sanitized.h"

#include <cstddef>

static thread_local unsigned long long s_allocations = 0;

unsigned long long support::allocationsOfThisThread() { return s_allocations; }

// Whatever takes memory, new and zu::allocateMemory too, comes to malloc or to its relatives for
// aligned blocks, which nothing here needs.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
extern "C" void* __libc_malloc(size_t size);

extern "C" void* malloc(size_t size)
{
    ++s_allocations;
    return __libc_malloc(size);
}
#endif
