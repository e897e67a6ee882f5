#include "tools/dm/AnswerBuffer.h"

#include "tools/dm/ExitCode.h"
#include "tools/dm/Files.h"
#include "tools/dm/ProgressMeter.h"

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

void requireFits(std::uint64_t answerBytes, const zu::ZeroedBuffer& buffer, const std::string& path)
{
    if (answerBytes > buffer.size())
        throw ToolError(ExitCode::File,
                        "the answer's " + describeSize(static_cast<double>(answerBytes)) +
                            " do not fit in memory, " + path + " is not written: free some memory");
}

} // namespace tool
