#include "fuzz/CommandLine.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size)
{
    fuzz::checkCommandLine(data, size);
    return 0;
}
