#include "zul/common/NamedLock.h"

#include "zul/posix/FileSupport.h"

#include <zul/InplaceString.h>

#include <cerrno>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

// A holder keeps a shared lock on an empty file named after the mutex; whoever asks queries for a
// lock that would conflict, without taking one. The locks belong to open descriptions, so that
// two holders in one process count as two and the kernel drops them with the last descriptor.

namespace zu {

using posix::Descriptor;

namespace {

using Path = InplaceString<256>;

// Fixed places rather than what the environment names: processes with different environments must
// find each other. The user's runtime folder is not swept while there are sessions, but not every
// user has one.
Path runtimeFolder() { return str("/run/user/%u", static_cast<unsigned>(geteuid())); }
Path namesInRuntimeFolder() { return str("%s/zul", runtimeFolder().c_str()); }
Path namesInTemporaryFolder() { return str("/tmp/zul-%u", static_cast<unsigned>(geteuid())); }

/// False also when somebody else owns it, who could then fake or block names.
bool isOwnFolder(const Path& path)
{
    struct stat status;
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == geteuid() && (status.st_mode & 022) == 0;
}

/// Where new names go.
Path currentFolder()
{
    return isOwnFolder(runtimeFolder()) ? namesInRuntimeFolder() : namesInTemporaryFolder();
}

u64 hashOf(std::string_view text)
{
    u64 hash = 14695981039346656037ull;
    for (const char character : text)
        hash = (hash ^ static_cast<unsigned char>(character)) * 1099511628211ull;
    return hash;
}

bool isPlain(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '-' || character == '_';
}

/// Readable as far as a file name can be, and told apart by a hash of the whole name.
Path pathOf(const Path& folder, const char* name)
{
    constexpr size_t kReadableCharacters = 100;
    InplaceString<128> readable;
    for (const char* c = name; *c != '\0' && readable.length() < kReadableCharacters; ++c)
        readable += isPlain(*c) ? *c : '_';
    return str("%s/%s-%016llx", folder.c_str(), readable.c_str(), hashOf(name));
}

struct flock wholeFile(short type)
{
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return lock;
}

bool lockFile(int file, int command, short type)
{
    struct flock lock = wholeFile(type);
    int result = 0;
    do
        result = fcntl(file, command, &lock);
    while (result != 0 && errno == EINTR);
    return result == 0;
}

bool isFileAt(int file, const char* path)
{
    struct stat opened;
    struct stat named;
    return fstat(file, &opened) == 0 && stat(path, &named) == 0 && posix::isSame(opened, named);
}

// A lock for writing belongs to somebody who is just removing the file, so to no holder.
bool isHeldIn(const Path& folder, const char* name)
{
    if (!isOwnFolder(folder))
        return false;
    const Descriptor file(open(pathOf(folder, name).c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
    struct flock lock = wholeFile(F_WRLCK);
    return file.isOpen() && fcntl(file.get(), F_OFD_GETLK, &lock) == 0 && lock.l_type == F_RDLCK;
}

} // namespace

s64 acquireNamedLock(const char* name)
{
    const Path folder = currentFolder();
    mkdir(folder.c_str(), 0700);
    if (!isOwnFolder(folder))
        return kNoNamedLock;
    const Path path = pathOf(folder, name);
    for (;;) {
        Descriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (!file.isOpen() || !lockFile(file.get(), F_OFD_SETLKW, F_RDLCK))
            return kNoNamedLock;
        if (isFileAt(file.get(), path.c_str()))
            return file.release();
        // Its last holder removed it between open and lock: nobody would find this one.
    }
}

void releaseNamedLock(s64 holder, const char* name)
{
    close(static_cast<int>(holder));
    const Path path = pathOf(currentFolder(), name);
    const Descriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
    if (!file.isOpen())
        return;
    // Nobody gets the exclusive lock while there are holders, and only under it the file may go.
    // Not through the holder's own description, which a forked process shares and goes on holding.
    if (lockFile(file.get(), F_OFD_SETLK, F_WRLCK) && isFileAt(file.get(), path.c_str()))
        unlink(path.c_str());
}

bool isNamedLockHeld(const char* name)
{
    // Both, because the user's first session makes the one folder after processes used the other.
    return isHeldIn(namesInRuntimeFolder(), name) || isHeldIn(namesInTemporaryFolder(), name);
}

} // namespace zu
