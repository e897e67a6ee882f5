#include "fuzz/PortablePath.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size)
{
    fuzz::checkPortablePath(data, size);
    return 0;
}
