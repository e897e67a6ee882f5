#include "fuzz/ProfileSnapshot.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size)
{
    fuzz::checkProfileSnapshot(data, size);
    return 0;
}
