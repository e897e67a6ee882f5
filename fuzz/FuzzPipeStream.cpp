#include "fuzz/PipeStream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size)
{
    fuzz::checkPipeStream(data, size);
    return 0;
}
