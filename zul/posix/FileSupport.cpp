#include "zul/posix/FileSupport.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace zu::posix {

namespace {

constexpr u64 kTicksPerSecond = 10'000'000;
constexpr s64 kNanosecondsPerTick = 100;
constexpr s64 kSecondsFrom1601To1970 = 11'644'473'600;

// What one system call is asked to transfer: the system cuts at a little under 2 GiB anyway.
constexpr u64 kMaxTransferBytes = 1u << 30;

constexpr size_t kCopyBytes = 256 * 1024;

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

// Calls transfer(bytes done, bytes to do) until all is done, nothing more goes, or it fails.
template <typename Transfer>
u64 transferAll(u64 count, u64 position, Transfer transfer)
{
    constexpr u64 kMaxPosition = static_cast<u64>(std::numeric_limits<off_t>::max());
    errno = EFBIG;
    if (position >= kMaxPosition)
        return 0;
    const u64 possible = std::min(count, kMaxPosition - position);
    u64 done = 0;
    while (done < possible) {
        size_t piece = static_cast<size_t>(std::min(possible - done, kMaxTransferBytes));
        ssize_t moved = transfer(done, piece);
        if (moved < 0 && errno == EINTR)
            continue;
        if (moved == 0)
            errno = 0;
        if (moved <= 0)
            return done;
        done += static_cast<u64>(moved);
    }
    errno = EFBIG; // if there is more to do
    return done;
}

bool writeWhole(int descriptor, const char* data, size_t size)
{
    while (size != 0) {
        ssize_t written = ::write(descriptor, data, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        data += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

} // namespace

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

bool Descriptor::close() { return !isOpen() || closeDescriptor(release()); }

void Descriptor::abandon()
{
    const int before = errno;
    close();
    errno = before;
}

u64 readAt(int descriptor, void* data, u64 count, u64 position)
{
    return transferAll(count, position, [&](u64 done, size_t piece) {
        return ::pread(descriptor, static_cast<u8*>(data) + done, piece,
                       static_cast<off_t>(position + done));
    });
}

u64 writeAt(int descriptor, const void* data, u64 count, u64 position)
{
    return transferAll(count, position, [&](u64 done, size_t piece) {
        return ::pwrite(descriptor, static_cast<const u8*>(data) + done, piece,
                        static_cast<off_t>(position + done));
    });
}

bool copyBytes(int from, int to, const std::function<bool()>& goOn)
{
    std::unique_ptr<char[]> buffer(new char[kCopyBytes]);
    for (;;) {
        if (goOn && !goOn()) {
            errno = ECANCELED;
            return false;
        }
        ssize_t count = ::read(from, buffer.get(), kCopyBytes);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return count == 0;
        if (!writeWhole(to, buffer.get(), static_cast<size_t>(count)))
            return false;
    }
}

bool completeCopy(int copy, const struct stat& source, CopyPurpose purpose)
{
    setPermissions(copy, source);
    if (purpose == CopyPurpose::Copy)
        return true;
    const timespec times[2] = {source.st_atim, source.st_mtim};
    [[maybe_unused]] const int ignored = ::futimens(copy, times);
    return ::fsync(copy) == 0;
}

void setPermissions(int file, const struct stat& model)
{
    constexpr mode_t kPermissionBits = 0777;
    [[maybe_unused]] const int ignored = ::fchmod(file, model.st_mode & kPermissionBits);
}

std::string makeTemporaryName()
{
    static std::atomic<unsigned> s_serial{0};
    char name[64];
    std::snprintf(name, sizeof name, ".zul-copy-%ld-%u", static_cast<long>(::getpid()),
                  s_serial.fetch_add(1, std::memory_order_relaxed));
    return name;
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

bool isSame(const struct stat& first, const struct stat& second)
{
    return first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

bool isWriteProtected(const struct stat& status)
{
    return (status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
}

} // namespace zu::posix
