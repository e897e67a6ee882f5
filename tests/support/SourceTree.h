/// What tests read of the tree they were built from.
#pragma once

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <sstream>

namespace support {

/// What a fuzzer starts from: the files of fuzz/corpus/NAME.
inline std::vector<std::string> corpus(const char* name)
{
    const std::filesystem::path root = DM_SOURCE_PATH;
    std::vector<std::string> inputs;
    for (const auto& entry : std::filesystem::directory_iterator(root / "fuzz/corpus" / name)) {
        std::ifstream file(entry.path(), std::ios::binary);
        inputs.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    EXPECT_FALSE(inputs.empty());
    return inputs;
}

/// The frames shown in docs/protocol/NAME, by the title in the first line of each.
inline std::map<std::string, std::string> documentedFrames(const char* name)
{
    std::ifstream file(std::filesystem::path(DM_SOURCE_PATH) / "docs/protocol" / name);
    std::map<std::string, std::string> frames;
    std::string* frame = nullptr;
    for (std::string line, previous; std::getline(file, line); previous = line) {
        if (previous == "```hex")
            frame = &frames[line.substr(line.find_first_not_of("# "))];
        else if (line == "```")
            frame = nullptr;
        else if (frame) {
            std::istringstream bytes(line.substr(0, line.find('#')));
            for (unsigned byte; bytes >> std::hex >> byte;)
                *frame += static_cast<char>(byte);
        }
    }
    return frames;
}

} // namespace support
