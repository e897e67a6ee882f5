#include "fuzz/Console.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size)
{
    fuzz::checkConsoleCache(data, size);
    return 0;
}
