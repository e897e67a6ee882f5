#include "fuzz/MonitorStream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size)
{
    fuzz::checkMonitorStream(data, size);
    return 0;
}
