#pragma once

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <vector>

namespace support {

/// What a fuzzer starts from: the files of fuzz/corpus/NAME.
inline std::vector<std::string> corpus(const char* name)
{
    std::vector<std::string> inputs;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::path(DM_CORPUS_PATH) / name))
    {
        std::ifstream file(entry.path(), std::ios::binary);
        inputs.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    EXPECT_FALSE(inputs.empty());
    return inputs;
}

} // namespace support
