#include "zul/common/NativeFile.h"

#include "zul/posix/FileSupport.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zu {

namespace {

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

} // namespace

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
    return posix::readAt(descriptorOf(handle), data, count, position);
}

u64 NativeFile::write(const void* data, u64 count, u64 position)
{
    return posix::writeAt(descriptorOf(handle), data, count, position);
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
    timespec times[2] = {posix::timeFromTicks(lastAccess), posix::timeFromTicks(lastWrite)};
    return ::futimens(descriptorOf(handle), times) == 0;
}

} // namespace zu
