#include "zul/common/NativeFile.h"

#include "zul/posix/FileSupport.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace zu {

namespace {

constexpr u64 kTicksPerSecond = 10'000'000;
constexpr s64 kNanosecondsPerTick = 100;
constexpr s64 kSecondsFrom1601To1970 = 11'644'473'600;

// What one system call is asked to transfer: the system cuts at a little under 2 GiB anyway.
constexpr u64 kMaxTransferBytes = 1u << 30;

u64 ticksFromTime(const timespec& time)
{
    // Disks hold times that are farther away than ticks can tell.
    constexpr u64 kLastSecond = std::numeric_limits<u64>::max() / kTicksPerSecond - 1;
    if (time.tv_sec < -kSecondsFrom1601To1970)
        return 0;
    u64 seconds = static_cast<u64>(time.tv_sec) + static_cast<u64>(kSecondsFrom1601To1970);
    return std::min(seconds, kLastSecond) * kTicksPerSecond +
           static_cast<u64>(time.tv_nsec / kNanosecondsPerTick);
}

timespec timeFromTicks(u64 ticks)
{
    timespec time{};
    if (ticks == 0) {
        time.tv_nsec = UTIME_OMIT;
        return time;
    }
    time.tv_sec = static_cast<time_t>(ticks / kTicksPerSecond) - kSecondsFrom1601To1970;
    time.tv_nsec = static_cast<long>(ticks % kTicksPerSecond) * kNanosecondsPerTick;
    return time;
}

int openFlags(BaseFile::Mode mode)
{
    // Not O_TRUNC: whether the content may go is known only once the file is open.
    return mode == BaseFile::Read ? O_RDONLY : O_RDWR | O_CREAT;
}

bool makeReady(int descriptor, BaseFile::Mode mode)
{
    struct stat status;
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    if (mode == BaseFile::Read)
        return true;
    if (posix::isWriteProtected(status))
        return false;
    return mode != BaseFile::Write || ::ftruncate(descriptor, 0) == 0;
}

int descriptorOf(std::intptr_t handle) { return static_cast<int>(handle); }

// Calls transfer(bytes done, bytes to do) until all is done, nothing more goes, or it fails.
template <typename Transfer>
u64 transferAll(u64 count, u64 position, Transfer transfer)
{
    constexpr u64 kMaxPosition = static_cast<u64>(std::numeric_limits<off_t>::max());
    if (position >= kMaxPosition)
        return 0;
    count = std::min(count, kMaxPosition - position);
    u64 done = 0;
    while (done < count) {
        size_t piece = static_cast<size_t>(std::min(count - done, kMaxTransferBytes));
        ssize_t moved = transfer(done, piece);
        if (moved < 0 && errno == EINTR)
            continue;
        if (moved <= 0)
            break;
        done += static_cast<u64>(moved);
    }
    return done;
}

} // namespace

namespace posix {

std::string toSystemPath(const char* path)
{
    std::string text = path != nullptr ? path : "";
    std::replace(text.begin(), text.end(), '\\', '/');
    return text;
}

int openDescriptor(const std::string& path, int flags, mode_t permissions)
{
    int descriptor;
    do
        descriptor = ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, permissions);
    while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

bool closeDescriptor(int descriptor)
{
    // Interrupted or not, the descriptor is gone: trying again could close somebody else's.
    return ::close(descriptor) == 0 || errno == EINTR;
}

NativeFileInfo infoFromStatus(const struct stat& status)
{
    NativeFileInfo info;
    info.isFile = S_ISREG(status.st_mode);
    info.isDirectory = S_ISDIR(status.st_mode);
    info.size = info.isFile ? static_cast<u64>(status.st_size) : 0;
    info.lastWrite = ticksFromTime(status.st_mtim);
    info.sortKey = static_cast<u64>(status.st_ino);
    return info;
}

bool isWriteProtected(const struct stat& status)
{
    return (status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
}

} // namespace posix

std::unique_ptr<NativeFile> NativeFile::open(const char* path, BaseFile::Mode mode)
{
    if (mode > BaseFile::Append)
        return nullptr;
    int descriptor = posix::openDescriptor(posix::toSystemPath(path), openFlags(mode), 0666);
    if (descriptor < 0)
        return nullptr;
    std::unique_ptr<NativeFile> file(new NativeFile(descriptor));
    if (!makeReady(descriptor, mode))
        return nullptr;
    return file;
}

NativeFile::~NativeFile() { close(); }

bool NativeFile::close()
{
    if (handle == kClosed)
        return true;
    bool complete = posix::closeDescriptor(descriptorOf(handle));
    handle = kClosed;
    return complete;
}

u64 NativeFile::read(void* data, u64 count, u64 position)
{
    return transferAll(count, position, [&](u64 done, size_t piece) {
        return ::pread(descriptorOf(handle), static_cast<u8*>(data) + done, piece,
                       static_cast<off_t>(position + done));
    });
}

u64 NativeFile::write(const void* data, u64 count, u64 position)
{
    return transferAll(count, position, [&](u64 done, size_t piece) {
        return ::pwrite(descriptorOf(handle), static_cast<const u8*>(data) + done, piece,
                        static_cast<off_t>(position + done));
    });
}

bool NativeFile::flush() { return ::fsync(descriptorOf(handle)) == 0; }

bool NativeFile::getInfo(NativeFileInfo& outInfo) const
{
    struct stat status;
    if (::fstat(descriptorOf(handle), &status) != 0)
        return false;
    outInfo = posix::infoFromStatus(status);
    return true;
}

bool NativeFile::setTimes(u64 lastAccess, u64 lastWrite)
{
    timespec times[2] = {timeFromTicks(lastAccess), timeFromTicks(lastWrite)};
    return ::futimens(descriptorOf(handle), times) == 0;
}

} // namespace zu
