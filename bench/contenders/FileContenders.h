/// The programs that files are had from, each a server in a process of its own, and this one as
/// its client.
#pragma once

#include "bench/contenders/Contenders.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace bench {

/// The way to a folder's files, one request after another.
class FileAccess
{
public:
    virtual ~FileAccess() = default;
    /// Paths are below the folder.
    virtual bool exists(const std::string& path) = 0;
    /// Reads the file's beginning into `out`, as a program does that wants it once.
    virtual size_t read(const std::string& path, std::span<char> out) = 0;
};

/// The way to a file's parts.
class OpenFile
{
public:
    virtual ~OpenFile() = default;
    virtual size_t read(uint64_t position, std::span<char> out) = 0;
};

/// Starts a server of its own each time.
struct FileContender
{
    std::string name;
    std::unique_ptr<FileAccess> (*reach)() = nullptr;   ///< the folder of all test files
    std::unique_ptr<OpenFile> (*openLarge)() = nullptr; ///< the large one of them
};

/// Ours: `dm serve`, and this process as a game with a dm::NetworkFileSystem.
FileContender dmFiles();

/// A web server that sends files from the page cache without copying them, asked by cpp-httplib's
/// client over one connection that is kept.
FileContender nginxFiles();

/// The large file only: a server that reads into a buffer what a few bytes ask for, and sends it.
/// Blocking calls, no thread between.
FileContender rawTcpFile();
RequestContender rawTcpFileServer(); ///< the process that serves; it has no client of its own

} // namespace bench
