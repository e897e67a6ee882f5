#include "fuzz/FileList.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size)
{
    fuzz::checkFileList(data, size);
    return 0;
}
