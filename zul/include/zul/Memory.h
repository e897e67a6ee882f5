/// The library's memory: aligned blocks, allocators for containers, large zeroed buffers.
///
/// Objects that change hands between the library and the program (jobs, file handles) come from
/// allocateMemory, so that either side may free them; memory that stays in one place needs
/// nothing of this.
///
/// Threads: any; a block may be freed on another thread than it was allocated on.
#pragma once

#include <zul/Types.h>
#include <zul/export.h>

#include <cstddef>
#include <limits>
#include <utility>

namespace zu {

/// Never null.
///
///   size    bytes, 0 allowed.
///   align   a power of two, up to 64 KiB and beyond.
///
/// Errors: throws zu::Exception when there is no memory.
ZUL_API void* allocateMemory(size_t size, size_t align = 16);

/// Frees what allocateMemory returned; null does nothing.
ZUL_API void deleteMemory(void* memory) noexcept;

/// Names the heap above where a container asks where its memory comes from.
struct HeapAllocator
{
    static void* allocate(size_t size, size_t align) { return allocateMemory(size, align); }
    static void deallocate(void* memory) noexcept { deleteMemory(memory); }
};

/// The same heap for standard containers: std::set<K, std::less<K>, zu::Allocator<K>>; a map wants
/// zu::Allocator<std::pair<const K, V>>.
template <typename T, typename Source = HeapAllocator>
class Allocator
{
public:
    using value_type = T;

    Allocator() noexcept = default;
    template <typename U>
    Allocator(const Allocator<U, Source>&) noexcept
    {
    }

    T* allocate(size_t count)
    {
        // A size no heap has, rather than one that wrapped to something small.
        const size_t size = count > std::numeric_limits<size_t>::max() / sizeof(T)
                                ? std::numeric_limits<size_t>::max()
                                : count * sizeof(T);
        return static_cast<T*>(Source::allocate(size, alignof(T) > 16 ? alignof(T) : 16));
    }
    void deallocate(T* memory, size_t) noexcept { Source::deallocate(memory); }

    template <typename U>
    bool operator==(const Allocator<U, Source>&) const noexcept
    {
        return true;
    }
};

/// Owned bytes that read as zero until written, whose memory is taken as they are touched: a
/// buffer of 1 GiB on a peer's word costs nothing before the bytes arrive.
///
/// Ownership: frees its bytes when destroyed or assigned to; moves leave the source empty.
/// Errors: never throws. A failed allocation gives an empty buffer; check data().
class ZUL_API ZeroedBuffer
{
public:
    ZeroedBuffer() noexcept = default;
    ZeroedBuffer(ZeroedBuffer&& other) noexcept
        : bytes(std::exchange(other.bytes, nullptr))
        , byteCount(std::exchange(other.byteCount, 0))
    {
    }
    ZeroedBuffer& operator=(ZeroedBuffer&& other) noexcept
    {
        if (this != &other) {
            free();
            bytes = std::exchange(other.bytes, nullptr);
            byteCount = std::exchange(other.byteCount, 0);
        }
        return *this;
    }
    ZeroedBuffer(const ZeroedBuffer&) = delete;
    ZeroedBuffer& operator=(const ZeroedBuffer&) = delete;
    ~ZeroedBuffer() { free(); }

    /// data() of the result is null when there is no memory, and for size 0.
    static ZeroedBuffer tryAllocate(u64 size) noexcept;

    u8* data() { return bytes; }
    const u8* data() const { return bytes; }
    u64 size() const { return byteCount; }

private:
    void free() noexcept;

    u8* bytes = nullptr;
    u64 byteCount = 0;
};

} // namespace zu
