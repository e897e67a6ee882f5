/// Seam: memory from the operating system.
///
/// Threads: any, for all four.
#pragma once

#include <zul/Types.h>

namespace zu {

/// A block of at least `size` bytes (never 0) at a multiple of `align`, a power of two. Null when
/// there is none.
void* nativeAllocate(size_t size, size_t align) noexcept;
/// Takes what nativeAllocate gave, of any alignment; null does nothing.
void nativeFree(void* memory) noexcept;

/// Bytes that read as zero and take memory page by page as they are touched, so that more than
/// the machine has may be asked for. Null when the address space or a limit does not allow it.
void* nativeMapZeroed(u64 size) noexcept;
/// `size` as given to nativeMapZeroed.
void nativeUnmapZeroed(void* memory, u64 size) noexcept;

} // namespace zu
