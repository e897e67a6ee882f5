#include "tools/dm/AnswerBuffer.h"

#include "tools/dm/Files.h"

#include <cstdint>
#include <new>

namespace tool {

zu::ZeroedBuffer allocateForAnyAnswer()
{
    constexpr std::uint64_t kUsefulBytes = 1024 * 1024;
    for (std::uint64_t size = kMaxDataBytes; size >= kUsefulBytes; size /= 2) {
        zu::ZeroedBuffer buffer = zu::ZeroedBuffer::tryAllocate(size);
        if (buffer.data() != nullptr)
            return buffer;
    }
    throw std::bad_alloc();
}

} // namespace tool
