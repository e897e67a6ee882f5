#include "zul/common/NativeFileTree.h"

#include "zul/posix/FileSupport.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace zu {

using posix::CopyPurpose;
using posix::Descriptor;
using posix::isSame;
using posix::openDescriptor;
using posix::toSystemPath;

namespace {

enum class Existing
{
    Replace,
    Keep
};

bool mayNotWrite(const std::string& path, const struct stat& status)
{
    if (!S_ISREG(status.st_mode))
        return false;
    return posix::isWriteProtected(status) ||
           ::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0;
}

// Whether what goes by this name, a link itself, must not go away.
bool isProtected(const std::string& path)
{
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0 && mayNotWrite(path, status);
}

bool isDirectory(const std::string& path)
{
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Whether both names are links to one file, which rename would leave as they are and call it done.
bool areLinksToOneFile(const std::string& first, const std::string& second)
{
    struct stat firstStatus;
    struct stat secondStatus;
    return ::lstat(first.c_str(), &firstStatus) == 0 &&
           ::lstat(second.c_str(), &secondStatus) == 0 && isSame(firstStatus, secondStatus) &&
           firstStatus.st_nlink > 1;
}

bool isTaken(const std::string& path)
{
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0;
}

// The folder of a path, with its separator.
std::string folderOf(const std::string& path)
{
    size_t length = path.rfind('/') + 1;
    return length != 0 ? path.substr(0, length) : "./";
}

// The one path of an entry, whichever way its folder was named.
std::string entryOf(const std::string& path)
{
    std::unique_ptr<char, decltype(&std::free)> folder(::realpath(folderOf(path).c_str(), nullptr),
                                                       &std::free);
    return folder ? std::string(folder.get()) + '/' + path.substr(path.rfind('/') + 1) : path;
}

bool renameUnlessTaken(const std::string& from, const std::string& to)
{
#ifdef RENAME_NOREPLACE
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
#endif
    // A second name fails when there is a file already, in one step; folders cannot have one.
    if (::link(from.c_str(), to.c_str()) == 0)
        return ::unlink(from.c_str()) == 0;
    if (errno == EEXIST || errno == EXDEV)
        return false;
    return !isTaken(to) && ::rename(from.c_str(), to.c_str()) == 0;
}

bool renameAs(const std::string& from, const std::string& to, Existing existing)
{
    if (existing == Existing::Keep)
        return renameUnlessTaken(from, to);
    return ::rename(from.c_str(), to.c_str()) == 0;
}

// A new file beside another one, so on the same disk, that goes away unless it takes its place.
class TemporaryFile
{
public:
    explicit TemporaryFile(const std::string& target)
    {
        do {
            path = folderOf(target) + posix::makeTemporaryName();
            file = Descriptor(openDescriptor(path, O_WRONLY | O_CREAT | O_EXCL, 0600));
        } while (!file.isOpen() && errno == EEXIST); // left by a process killed in the middle
        exists = file.isOpen();
    }

    ~TemporaryFile()
    {
        if (exists)
            ::unlink(path.c_str());
    }

    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    bool isOpen() const { return file.isOpen(); }
    int getFile() const { return file.get(); }

    bool take(const std::string& target, Existing existing)
    {
        if (!file.close() || !renameAs(path, target, existing))
            return false;
        exists = false;
        return true;
    }

private:
    std::string path;
    Descriptor file;
    bool exists = false;
};

bool copyRegularFile(const std::string& from, const std::string& to, Existing existing,
                     CopyPurpose purpose)
{
    Descriptor source(openDescriptor(from, O_RDONLY));
    struct stat status;
    if (!source.isOpen() || ::fstat(source.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    TemporaryFile copy(to);
    return copy.isOpen() && posix::copyBytes(source.get(), copy.getFile()) &&
           posix::completeCopy(copy.getFile(), status, purpose) && copy.take(to, existing);
}

// What a rename changed. Disks that cannot do it on demand do it some time.
void bringFolderToDisk(const std::string& path)
{
    Descriptor folder(openDescriptor(path, O_RDONLY));
    if (folder.isOpen())
        ::fsync(folder.get());
}

bool moveToOtherDisk(const std::string& from, const std::string& to, Existing existing)
{
    // Once the copy is in its place there is no way back, so ask first whether from can go.
    if (::faccessat(AT_FDCWD, folderOf(from).c_str(), W_OK, AT_EACCESS) != 0 ||
        !copyRegularFile(from, to, existing, CopyPurpose::Move))
        return false;
    bringFolderToDisk(folderOf(to));
    return ::unlink(from.c_str()) == 0;
}

// Whether the path leads through the folder: "/", "/a" and "/a/b" for "/a/b", and the working
// directory for a relative path.
bool leadsThrough(const std::string& path, const struct stat& folder)
{
    struct stat status;
    const char* root = path.starts_with('/') ? "/" : ".";
    if (::stat(root, &status) == 0 && isSame(status, folder))
        return true;
    size_t end = 0;
    while (end != std::string::npos) {
        end = path.find('/', end + 1);
        std::string above = path.substr(0, end);
        if (::stat(above.c_str(), &status) == 0 && isSame(status, folder))
            return true;
    }
    return false;
}

} // namespace

bool getNativeFileInfo(const char* path, NativeFileInfo& outInfo)
{
    struct stat status;
    if (::stat(toSystemPath(path).c_str(), &status) != 0)
        return false;
    outInfo = posix::infoFromStatus(status);
    return true;
}

bool isNativeFileReadOnly(const char* path)
{
    std::string name = toSystemPath(path);
    struct stat status;
    return ::stat(name.c_str(), &status) == 0 && mayNotWrite(name, status);
}

bool deleteNativeFile(const char* path)
{
    std::string name = toSystemPath(path);
    return !isProtected(name) && ::unlink(name.c_str()) == 0;
}

bool createNativeDirectory(const char* path)
{
    return ::mkdir(toSystemPath(path).c_str(), 0777) == 0;
}

bool deleteNativeDirectory(const char* path) { return ::rmdir(toSystemPath(path).c_str()) == 0; }

bool moveNativeFile(const char* from, const char* to, bool replace)
{
    std::string source = toSystemPath(from);
    std::string target = toSystemPath(to);
    Existing existing = replace ? Existing::Replace : Existing::Keep;
    if (entryOf(source) == entryOf(target))
        return replace && isTaken(source);
    if (isProtected(target) || isDirectory(target))
        return false;
    if (replace && areLinksToOneFile(source, target))
        return ::unlink(source.c_str()) == 0;
    if (renameAs(source, target, existing))
        return true;
    return errno == EXDEV && moveToOtherDisk(source, target, existing);
}

bool copyNativeFile(const char* from, const char* to)
{
    std::string target = toSystemPath(to);
    if (isProtected(target) || isDirectory(target))
        return false;
    return copyRegularFile(toSystemPath(from), target, Existing::Replace, CopyPurpose::Copy);
}

bool getNativeDiskSpace(const char* path, u64& outFreeBytes, u64& outTotalBytes)
{
    struct statvfs status;
    if (::statvfs(toSystemPath(path).c_str(), &status) != 0)
        return false;
    outFreeBytes = static_cast<u64>(status.f_bavail) * status.f_frsize;
    outTotalBytes = static_cast<u64>(status.f_blocks) * status.f_frsize;
    return true;
}

bool listNativeDirectory(const char* path, std::vector<std::string>& outNames)
{
    std::string name = toSystemPath(path);
    std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(name.empty() ? "." : name.c_str()),
                                               &::closedir);
    if (!folder)
        return false;
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(folder.get());
        if (entry == nullptr)
            return errno == 0;
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            outNames.emplace_back(entry->d_name);
    }
}

bool getNativeEntryInfo(const std::string& directory, const std::string& name,
                        NativeFileInfo& outInfo)
{
    std::string folder = toSystemPath(directory.c_str());
    std::string path =
        folder.empty() || folder.ends_with('/') ? folder + name : folder + '/' + name;
    struct stat entry;
    struct stat target;
    if (::lstat(path.c_str(), &entry) != 0)
        return false;
    outInfo = posix::infoFromStatus(entry);
    if (!S_ISLNK(entry.st_mode) || ::stat(path.c_str(), &target) != 0)
        return true;
    if (S_ISDIR(target.st_mode) && leadsThrough(folder, target))
        return false;
    outInfo = posix::infoFromStatus(target);
    return true;
}

} // namespace zu
