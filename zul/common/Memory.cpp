#include "zul/common/NativeMemory.h"

#include <zul/Exception.h>
#include <zul/Memory.h>

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstdlib>
#include <limits>

namespace zu {

namespace {

// Below this a mapping of its own costs more (two system calls, whole pages) than it saves.
constexpr u64 kMappedFromBytes = 64 * 1024;

// No object is larger, so the system need not be asked: some heaps answer by ending the process.
constexpr size_t kLargestBlock = std::numeric_limits<std::ptrdiff_t>::max();

} // namespace

void* allocateMemory(size_t size, size_t align)
{
    assert(std::has_single_bit(align));
    void* memory =
        size > kLargestBlock ? nullptr : nativeAllocate(std::max<size_t>(size, 1), align);
    if (memory == nullptr) {
        Exception error;
        error.setError("out of memory: cannot allocate %zu bytes", size);
        throw error;
    }
    return memory;
}

void deleteMemory(void* memory) noexcept { nativeFree(memory); }

ZeroedBuffer ZeroedBuffer::tryAllocate(u64 size) noexcept
{
    ZeroedBuffer buffer;
    if (size == 0)
        return buffer;
    void* memory =
        size < kMappedFromBytes ? std::calloc(static_cast<size_t>(size), 1) : nativeMapZeroed(size);
    buffer.bytes = static_cast<u8*>(memory);
    buffer.byteCount = memory == nullptr ? 0 : size;
    return buffer;
}

void ZeroedBuffer::free() noexcept
{
    if (byteCount < kMappedFromBytes)
        std::free(bytes);
    else
        nativeUnmapZeroed(bytes, byteCount);
    bytes = nullptr;
    byteCount = 0;
}

} // namespace zu
