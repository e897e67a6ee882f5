#pragma once

#include "tools/dm/fs/RemoteFiles.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace tool {

/// What is to be copied, known before the first byte moves. Paths below the root, with '/'.
struct CopyPlan
{
    struct File
    {
        std::string below;
        std::uint64_t bytes = 0;
    };
    std::vector<std::string> folders; // each before those inside it
    std::vector<File> files;
    std::uint64_t bytes = 0;

    /// Files that are too large are failures, and left out.
    void add(const std::string& below, std::uint64_t fileBytes, Problems& problems);
};

CopyPlan planGet(RemoteFiles& files, const std::string& root, Problems& problems);

/// Of links, those to files inside the folder are taken for the files; others are left out, and
/// said so, as is what is neither file nor folder.
CopyPlan planPut(const std::filesystem::path& root, Problems& problems);

/// Throws when the file is larger than the protocol can carry.
void requireSendableSize(const std::string& path, std::uint64_t bytes);

} // namespace tool
