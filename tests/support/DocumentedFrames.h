/// The examples of a page of docs/protocol: blocks of hex digits, by the name in their first line.
#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

namespace support {

inline std::map<std::string, std::string> documentedFrames(const std::string& page)
{
    const auto root = std::filesystem::path(__FILE__).parent_path() / "../..";
    std::ifstream file(root / "docs/protocol" / page);
    std::map<std::string, std::string> frames;
    std::string* frame = nullptr;
    for (std::string line, previous; std::getline(file, line); previous = line) {
        if (previous == "```hex") {
            frame = &frames[line.substr(line.find_first_not_of("# "))];
            continue;
        }
        if (line == "```")
            frame = nullptr;
        std::istringstream bytes(line.substr(0, line.find('#')));
        for (unsigned byte = 0; frame && bytes >> std::hex >> byte;)
            *frame += static_cast<char>(byte);
    }
    return frames;
}

} // namespace support
