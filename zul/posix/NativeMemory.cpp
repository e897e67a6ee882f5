#include "zul/common/NativeMemory.h"

#include <cstdlib>
#include <limits>
#include <sys/mman.h>

namespace zu {

void* nativeAllocate(size_t size, size_t align) noexcept
{
    if (align <= alignof(std::max_align_t))
        return std::malloc(size);
    void* memory = nullptr;
    return posix_memalign(&memory, align, size) == 0 ? memory : nullptr;
}

void nativeFree(void* memory) noexcept { std::free(memory); }

void* nativeMapZeroed(u64 size) noexcept
{
    if (size > std::numeric_limits<size_t>::max())
        return nullptr;
    // Without a reservation: the caller asks for what a peer announced, not for what will come.
    void* memory = mmap(nullptr, static_cast<size_t>(size), PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return memory == MAP_FAILED ? nullptr : memory;
}

void nativeUnmapZeroed(void* memory, u64 size) noexcept
{
    munmap(memory, static_cast<size_t>(size));
}

} // namespace zu
