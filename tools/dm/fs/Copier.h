#pragma once

#include "tools/dm/fs/CopyMeter.h"
#include "tools/dm/fs/RemoteFiles.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace tool {

/// Copies single files between this machine and the server. A copy appears under its name whole,
/// with the size of its source, or what was there before stays.
///
/// Threads: the work's. Errors: ToolError with ExitCode::File.
class Copier
{
public:
    enum class Check
    {
        Size,
        Hash ///< the copy is read back, and its hash must be that of the source
    };

    Copier(RemoteFiles& remoteFiles, CopyMeter& copyMeter, Problems& sharedProblems,
           Check checkOfCopies);

    void get(const std::string& remote, const std::string& local);
    void put(const std::string& local, const std::string& remote);

private:
    void send(std::FILE* source, std::uint64_t size, const std::string& local,
              const std::string& remote);
    [[noreturn]] void failWriting(const std::string& remote, std::uint64_t kept,
                                  std::uint64_t size);
    std::string hashLocal(const std::filesystem::path& path);
    std::string hashRemote(const std::string& path, std::uint64_t size);

    RemoteFiles& files;
    CopyMeter& meter;
    Problems& problems;
    const Check check;
    std::vector<char> buffer;
};

} // namespace tool
