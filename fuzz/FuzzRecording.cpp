#include "fuzz/Recording.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size)
{
    fuzz::checkRecording(data, size);
    return 0;
}
