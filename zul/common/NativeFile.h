// An open file of the operating system: what a platform supplies for zu::LocalFileSystem, together
// with NativeFileTree.h.
//
// Paths are UTF-8; '/' and '\' both separate, and an implementation turns them into what its
// system wants. Times are 100-nanosecond intervals since 1601-01-01 UTC. Nothing throws except for
// want of memory, and nothing tells more than whether it worked.
#pragma once

#include <zul/File.h>
#include <zul/Types.h>

#include <cstdint>
#include <memory>

namespace zu {

struct NativeFileInfo
{
    bool isFile = false; // a regular one
    bool isDirectory = false;
    u64 size = 0;
    u64 lastWrite = 0;
    u64 sortKey = 0; // grows with the place on the disk, as far as that can be known
};

// An open regular file, used by one thread at a time. The position is the caller's business.
class NativeFile
{
public:
    // Null when the path is not a regular file, or is read-only and the mode is not Read. Opening
    // never waits, whatever the path names. The file is not inherited by child processes.
    static std::unique_ptr<NativeFile> open(const char* path, BaseFile::Mode mode);

    ~NativeFile();
    NativeFile(const NativeFile&) = delete;
    NativeFile& operator=(const NativeFile&) = delete;

    // Transfer as much of count as there is or as fits, however many system calls that takes.
    // Positions no file can have give 0.
    u64 read(void* data, u64 count, u64 position);
    u64 write(const void* data, u64 count, u64 position);

    bool flush(); // to the disk
    bool close(); // frees the file in any case; false when written bytes may be lost
    bool getInfo(NativeFileInfo& outInfo) const;
    bool setTimes(u64 lastAccess, u64 lastWrite); // 0 leaves a time as it is

private:
    explicit NativeFile(std::intptr_t openHandle)
        : handle(openHandle)
    {
    }

    static constexpr std::intptr_t kClosed = -1;
    std::intptr_t handle;
};

} // namespace zu
