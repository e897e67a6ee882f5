/// A fuzzer, of the check that DM_FUZZED names.
#include "fuzz/Checks.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size)
{
    fuzz::DM_FUZZED(data, size);
    return 0;
}
