#include "zul/common/NativeConfinedFolder.h"

#include "zul/posix/BeneathLookup.h"
#include "zul/posix/FileSupport.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace zu {

using posix::BeneathRoot;
using posix::Descriptor;
using posix::openBeneath;
using Error = ConfinedFolder::Error;
using Links = ConfinedFolder::Links;
using Lookup = ConfinedFolder::Lookup;
using Outcome = ConfinedFolder::Outcome;

namespace {

// How often to try again when a file comes and goes under our hands.
constexpr int kAttempts = 8;

constexpr mode_t kFilePermissions = 0666; // less what the user masks
constexpr mode_t kFolderPermissions = 0777;
constexpr mode_t kPermissionBits = 0777;

// Where an entry stands or is to stand: what is done to it by name follows no link.
struct Place
{
    Descriptor folder;
    std::string name;
};

Error errorFrom(int error)
{
    switch (error) {
    case 0:
        return Error::None;
    case ELOOP:
    case EXDEV:
        return Error::Outside;
    case ENOENT:
        return Error::NotFound;
    case EEXIST:
        return Error::Exists;
    case ENOTDIR:
    case EISDIR:
    case ENXIO: // sockets, devices without driver, and pipes nobody reads
    case ENODEV:
        return Error::WrongKind;
    case ENOTEMPTY:
        return Error::NotEmpty;
    case EROFS:
        return Error::ReadOnly;
    case EACCES:
    case EPERM:
    case EBUSY:
    case ETXTBSY:
        return Error::Denied;
    case ENOSPC:
    case EDQUOT:
        return Error::DiskFull;
    case EFBIG:
    case EOVERFLOW:
        return Error::TooLarge;
    case ESTALE:
        return Error::Gone;
    default:
        return Error::Failed;
    }
}

Outcome outcomeFrom(int error) { return {errorFrom(error), error}; }

BeneathRoot rootOf(std::intptr_t handle, Links links, Lookup lookup)
{
    return {static_cast<int>(handle), links, lookup};
}

// What may be done to an entry only if it is a file or, as long as links count for something, a
// link.
Outcome judgeFileOrLink(const struct stat& status, Links links)
{
    if (S_ISREG(status.st_mode) || (S_ISLNK(status.st_mode) && links != Links::Refuse))
        return {};
    return {S_ISLNK(status.st_mode) ? Error::Outside : Error::WrongKind};
}

Outcome judgeFile(const struct stat& status) { return judgeFileOrLink(status, Links::Refuse); }

Outcome getStatus(int descriptor, struct stat& outStatus)
{
    return ::fstat(descriptor, &outStatus) == 0 ? Outcome{} : outcomeFrom(errno);
}

bool getEntryStatus(const Place& place, struct stat& outStatus)
{
    return ::fstatat(place.folder.get(), place.name.c_str(), &outStatus, AT_SYMLINK_NOFOLLOW) == 0;
}

// Whether an entry or, with AT_EMPTY_PATH and no name, an open file must not be written.
bool isReadOnly(int descriptor, const char* name, [[maybe_unused]] int flags,
                const struct stat& status)
{
    if (!S_ISREG(status.st_mode))
        return false;
    if (posix::isWriteProtected(status))
        return true;
#ifdef AT_EMPTY_PATH
    return ::faccessat(descriptor, name, W_OK, AT_EACCESS | flags) != 0 && errno != EINVAL;
#else
    return name[0] != '\0' && ::faccessat(descriptor, name, W_OK, AT_EACCESS) != 0;
#endif
}

// Whether what an entry holds may be lost: it makes way for something else.
Outcome judgeRemoval(const Place& place, Links links)
{
    struct stat status;
    if (!getEntryStatus(place, status))
        return outcomeFrom(errno);
    const Outcome outcome = judgeFileOrLink(status, links);
    if (outcome.succeeded() &&
        isReadOnly(place.folder.get(), place.name.c_str(), AT_SYMLINK_NOFOLLOW, status))
        return {Error::ReadOnly, EACCES};
    return outcome;
}

Outcome judgeReplacement(const Place& place, Links links)
{
    const Outcome outcome = judgeRemoval(place, links);
    return outcome.error == Error::NotFound ? Outcome{} : outcome;
}

bool canFileHave(u64 position, u64 count)
{
    constexpr u64 kMaxPosition = static_cast<u64>(std::numeric_limits<off_t>::max());
    return count <= kMaxPosition && position <= kMaxPosition - count;
}

// Makes room for bytes that replace old ones, so that they cannot fail for want of it halfway. Not
// all disks can; 0 or why there is none.
int reserveRoom([[maybe_unused]] int file, [[maybe_unused]] u64 position,
                [[maybe_unused]] u64 count)
{
#ifdef FALLOC_FL_KEEP_SIZE
    int error;
    do
        error = ::fallocate(file, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(position),
                            static_cast<off_t>(count)) == 0
                    ? 0
                    : errno;
    while (error == EINTR);
    return error == ENOSPC || error == EDQUOT || error == EFBIG ? error : 0;
#else
    return 0;
#endif
}

// Takes back what a failed write appended or reserved, unless somebody else appended more.
void shrinkBack(int file, u64 sizeBefore, u64 sizeNow)
{
    struct stat status;
    if (::fstat(file, &status) == 0 && static_cast<u64>(status.st_size) <= sizeNow) [[maybe_unused]]
        const int ignored = ::ftruncate(file, static_cast<off_t>(sizeBefore));
}

Outcome writeExactly(int file, u64 position, const void* data, u64 count)
{
    struct stat status;
    Outcome outcome = getStatus(file, status);
    if (outcome.succeeded())
        outcome = judgeFile(status);
    if (!outcome.succeeded())
        return outcome;
    if (posix::isWriteProtected(status))
        return {Error::ReadOnly, EACCES};
    const u64 sizeBefore = static_cast<u64>(status.st_size);
    u64 done = 0;
    int error = position < sizeBefore && count != 0 ? reserveRoom(file, position, count) : 0;
    if (error == 0) {
        done = posix::writeAt(file, data, count, position);
        if (done == count)
            return {};
        error = errno != 0 ? errno : EIO;
    }
    shrinkBack(file, sizeBefore, std::max(sizeBefore, done != 0 ? position + done : 0));
    return outcomeFrom(error);
}

// A new file in the folder of the one that it is to replace; goes away unless it does.
class Replacement
{
public:
    Replacement(const Place& target, mode_t permissions)
        : place(target)
    {
        do {
            name = posix::makeTemporaryName();
            file = Descriptor(::openat(place.folder.get(), name.c_str(),
                                       O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                       permissions));
        } while (!file.isOpen() && (errno == EEXIST || errno == EINTR));
        exists = file.isOpen();
    }
    ~Replacement()
    {
        const int before = errno;
        if (exists)
            ::unlinkat(place.folder.get(), name.c_str(), 0);
        errno = before;
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    bool isOpen() const { return file.isOpen(); }
    int getFile() const { return file.get(); }

    bool take()
    {
        // Some disks tell only now that they are full.
        if (!file.close() || ::renameat(place.folder.get(), name.c_str(), place.folder.get(),
                                        place.name.c_str()) != 0)
            return false;
        exists = false;
        return true;
    }

private:
    const Place& place;
    std::string name;
    Descriptor file;
    bool exists = false;
};

Outcome findPlace(const BeneathRoot& root, const std::string& path, Place& outPlace)
{
    const size_t separator = path.rfind('/');
    const bool isTop = separator == std::string::npos;
    outPlace.name = isTop ? path : path.substr(separator + 1);
    outPlace.folder = openBeneath(root, isTop ? std::string() : path.substr(0, separator),
                                  posix::kHandleOnly | O_DIRECTORY);
    return outPlace.folder.isOpen() ? Outcome{} : outcomeFrom(errno);
}

// Whether both are one entry, whichever way their folders were named.
bool isSameEntry(const Place& first, const Place& second)
{
    struct stat firstFolder;
    struct stat secondFolder;
    return first.name == second.name && ::fstat(first.folder.get(), &firstFolder) == 0 &&
           ::fstat(second.folder.get(), &secondFolder) == 0 &&
           posix::isSame(firstFolder, secondFolder);
}

// Whether both are links to one file, which rename would leave as they are and call it done.
bool areLinksToOneFile(const Place& first, const Place& second)
{
    struct stat firstStatus;
    struct stat secondStatus;
    return getEntryStatus(first, firstStatus) && getEntryStatus(second, secondStatus) &&
           posix::isSame(firstStatus, secondStatus);
}

Outcome renamePlace(const Place& from, const Place& to, Links links)
{
    struct stat status;
    if (!getEntryStatus(from, status))
        return outcomeFrom(errno);
    Outcome outcome = S_ISDIR(status.st_mode) ? Outcome{} : judgeFileOrLink(status, links);
    if (!outcome.succeeded() || isSameEntry(from, to))
        return outcome;
    struct stat replaced;
    if (getEntryStatus(to, replaced) && (S_ISDIR(replaced.st_mode) || S_ISDIR(status.st_mode)))
        return {Error::Exists, EEXIST};
    outcome = judgeReplacement(to, links);
    if (!outcome.succeeded())
        return outcome;
    const int done =
        areLinksToOneFile(from, to)
            ? ::unlinkat(from.folder.get(), from.name.c_str(), 0)
            : ::renameat(from.folder.get(), from.name.c_str(), to.folder.get(), to.name.c_str());
    if (done == 0)
        return {};
    // Here it means two disks, not a way out.
    return errno == EXDEV ? Outcome{Error::Failed, EXDEV} : outcomeFrom(errno);
}

bool isDots(const char* name)
{
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

// What reading a folder tells of an entry for nothing.
bool mayBeInListing([[maybe_unused]] const dirent& entry, bool& outMayBeDirectory)
{
    outMayBeDirectory = true;
#ifdef DT_UNKNOWN
    outMayBeDirectory = entry.d_type != DT_REG;
    return entry.d_type == DT_UNKNOWN || entry.d_type == DT_DIR || entry.d_type == DT_LNK ||
           entry.d_type == DT_REG;
#else
    return true;
#endif
}

// What an entry is, a link being what it points to. False when that is not for the listing.
bool describeEntry(const BeneathRoot& root, const std::string& path, int folder,
                   NativeFolderEntry& entry)
{
    struct stat status;
    if (::fstatat(folder, entry.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return false;
    if (S_ISLNK(status.st_mode)) {
        const std::string whole = path.empty() ? entry.name : path + '/' + entry.name;
        const Descriptor target = root.links == Links::Refuse
                                      ? Descriptor()
                                      : openBeneath(root, whole, posix::kHandleOnly);
        if (!target.isOpen() || ::fstat(target.get(), &status) != 0)
            return false;
    }
    const NativeFileInfo info = posix::infoFromStatus(status);
    entry.info = {info.isDirectory, false, info.size, info.lastWrite};
    return info.isDirectory || info.isFile;
}

} // namespace

std::unique_ptr<NativeConfinedFolder> NativeConfinedFolder::open(const char* hostPath, Links links,
                                                                 Lookup lookup, Outcome& outOutcome)
{
    Descriptor folder(
        posix::openDescriptor(posix::toSystemPath(hostPath), posix::kHandleOnly | O_DIRECTORY));
    outOutcome = folder.isOpen() ? Outcome{} : outcomeFrom(errno);
    if (!folder.isOpen())
        return nullptr;
    if (!posix::canLookUpWhole(folder.get()))
        lookup = Lookup::StepByStep;
    std::unique_ptr<NativeConfinedFolder> opened(
        new NativeConfinedFolder(folder.get(), links, lookup));
    folder.release();
    return opened;
}

NativeConfinedFolder::~NativeConfinedFolder() { posix::closeDescriptor(static_cast<int>(handle)); }

// A folder that was deleted while we hold it has lost its last name, and everything in it.
Outcome NativeConfinedFolder::judge(Outcome outcome) const
{
    struct stat status;
    if (outcome.error == Error::NotFound && ::fstat(static_cast<int>(handle), &status) == 0 &&
        status.st_nlink == 0)
        return {Error::Gone, ENOENT};
    return outcome;
}

Outcome NativeConfinedFolder::getInfo(const std::string& path, ConfinedFolder::Info& outInfo) const
{
    const Descriptor object = openBeneath(rootOf(handle, links, lookup), path, posix::kHandleOnly);
    struct stat status;
    if (!object.isOpen())
        return judge(outcomeFrom(errno));
    const Outcome outcome = getStatus(object.get(), status);
    if (!outcome.succeeded())
        return outcome;
    if (status.st_nlink == 0 && path.empty())
        return {Error::Gone, ENOENT};
    if (!S_ISDIR(status.st_mode) && !S_ISREG(status.st_mode))
        return judgeFile(status);
    const NativeFileInfo info = posix::infoFromStatus(status);
#ifdef AT_EMPTY_PATH
    const bool readOnly = isReadOnly(object.get(), "", AT_EMPTY_PATH, status);
#else
    const bool readOnly = isReadOnly(object.get(), "", 0, status);
#endif
    outInfo = {info.isDirectory, readOnly, info.size, info.lastWrite};
    return {};
}

Outcome NativeConfinedFolder::read(const std::string& path, u64 position, void* buffer, u64 count,
                                   u64& outBytes) const
{
    outBytes = 0;
    const Descriptor file = openBeneath(rootOf(handle, links, lookup), path, O_RDONLY);
    if (!file.isOpen())
        return judge(outcomeFrom(errno));
    struct stat status;
    Outcome outcome = getStatus(file.get(), status);
    if (outcome.succeeded())
        outcome = judgeFile(status);
    if (!outcome.succeeded())
        return outcome;
    const u64 done = posix::readAt(file.get(), buffer, count, position);
    // Where no file can be is past the end of this one.
    if (done != count && errno != 0 && errno != EFBIG)
        return outcomeFrom(errno);
    outBytes = done;
    return {};
}

Outcome NativeConfinedFolder::write(const std::string& path, u64 position, const void* data,
                                    u64 count) const
{
    if (!canFileHave(position, count))
        return {Error::TooLarge, EFBIG};
    const BeneathRoot root = rootOf(handle, links, lookup);
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const Descriptor file = openBeneath(root, path, O_WRONLY);
        if (file.isOpen())
            return writeExactly(file.get(), position, data, count);
        if (errno != ENOENT)
            return outcomeFrom(errno);
        // When it exists by now, somebody else was first: once more. Or it is a link to nothing.
        const Outcome outcome = makeFile(path, position, data, count);
        if (outcome.error != Error::Exists)
            return judge(outcome);
    }
    return {Error::NotFound, ENOENT};
}

Outcome NativeConfinedFolder::makeFile(const std::string& path, u64 position, const void* data,
                                       u64 count) const
{
    Place place;
    Outcome outcome = findPlace(rootOf(handle, links, lookup), path, place);
    if (!outcome.succeeded())
        return outcome;
    const Descriptor file(::openat(place.folder.get(), place.name.c_str(),
                                   O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                   kFilePermissions));
    if (!file.isOpen())
        return outcomeFrom(errno);
    outcome = writeExactly(file.get(), position, data, count);
    struct stat made;
    struct stat found;
    if (!outcome.succeeded() && ::fstat(file.get(), &made) == 0 && getEntryStatus(place, found) &&
        posix::isSame(made, found))
        ::unlinkat(place.folder.get(), place.name.c_str(), 0);
    return outcome;
}

Outcome NativeConfinedFolder::replaceFile(const std::string& path, const void* data,
                                          u64 count) const
{
    if (!canFileHave(0, count))
        return {Error::TooLarge, EFBIG};
    Place place;
    Outcome outcome = findPlace(rootOf(handle, links, lookup), path, place);
    if (outcome.succeeded())
        outcome = judgeReplacement(place, links);
    if (!outcome.succeeded())
        return judge(outcome);
    Replacement replacement(place, kFilePermissions);
    if (!replacement.isOpen())
        return judge(outcomeFrom(errno));
    struct stat replaced;
    if (getEntryStatus(place, replaced) && S_ISREG(replaced.st_mode)) [[maybe_unused]]
        const int ignored = ::fchmod(replacement.getFile(), replaced.st_mode & kPermissionBits);
    if (posix::writeAt(replacement.getFile(), data, count, 0) != count)
        return outcomeFrom(errno != 0 ? errno : EIO);
    return replacement.take() ? Outcome{} : outcomeFrom(errno);
}

Outcome NativeConfinedFolder::copyFile(const std::string& from, const std::string& to) const
{
    const BeneathRoot root = rootOf(handle, links, lookup);
    const Descriptor source = openBeneath(root, from, O_RDONLY);
    if (!source.isOpen())
        return judge(outcomeFrom(errno));
    struct stat status;
    Outcome outcome = getStatus(source.get(), status);
    if (outcome.succeeded())
        outcome = judgeFile(status);
    Place place;
    if (outcome.succeeded())
        outcome = findPlace(root, to, place);
    if (outcome.succeeded())
        outcome = judgeReplacement(place, links);
    if (!outcome.succeeded())
        return judge(outcome);
    Replacement copy(place, S_IRUSR | S_IWUSR);
    if (!copy.isOpen() || !posix::copyBytes(source.get(), copy.getFile()))
        return judge(outcomeFrom(errno));
    // Disks without permissions refuse these, and the copy is none the worse.
    [[maybe_unused]] const int ignored = ::fchmod(copy.getFile(), status.st_mode & kPermissionBits);
    return copy.take() ? Outcome{} : outcomeFrom(errno);
}

Outcome NativeConfinedFolder::rename(const std::string& from, const std::string& to) const
{
    const BeneathRoot root = rootOf(handle, links, lookup);
    Place source;
    Place target;
    Outcome outcome = findPlace(root, from, source);
    if (outcome.succeeded())
        outcome = findPlace(root, to, target);
    return judge(outcome.succeeded() ? renamePlace(source, target, links) : outcome);
}

Outcome NativeConfinedFolder::removeFile(const std::string& path) const
{
    Place place;
    Outcome outcome = findPlace(rootOf(handle, links, lookup), path, place);
    if (outcome.succeeded())
        outcome = judgeRemoval(place, links);
    if (outcome.succeeded() && ::unlinkat(place.folder.get(), place.name.c_str(), 0) != 0)
        outcome = outcomeFrom(errno);
    return judge(outcome);
}

Outcome NativeConfinedFolder::makeDirectory(const std::string& path) const
{
    Place place;
    Outcome outcome = findPlace(rootOf(handle, links, lookup), path, place);
    if (outcome.succeeded() &&
        ::mkdirat(place.folder.get(), place.name.c_str(), kFolderPermissions) != 0)
        outcome = outcomeFrom(errno);
    return judge(outcome);
}

Outcome NativeConfinedFolder::removeDirectory(const std::string& path) const
{
    Place place;
    Outcome outcome = findPlace(rootOf(handle, links, lookup), path, place);
    if (outcome.succeeded() &&
        ::unlinkat(place.folder.get(), place.name.c_str(), AT_REMOVEDIR) != 0)
        outcome = outcomeFrom(errno == EEXIST ? ENOTEMPTY : errno);
    return judge(outcome);
}

Outcome NativeConfinedFolder::list(const std::string& path, const Wanted& wanted,
                                   NativeFolderListing& outListing) const
{
    outListing = {};
    const BeneathRoot root = rootOf(handle, links, lookup);
    Descriptor opened = openBeneath(root, path, O_RDONLY | O_DIRECTORY);
    if (!opened.isOpen())
        return judge(outcomeFrom(errno));
    struct stat status;
    const Outcome outcome = getStatus(opened.get(), status);
    if (!outcome.succeeded())
        return outcome;
    // The system calls a deleted folder empty.
    if (status.st_nlink == 0)
        return judge({Error::NotFound, ENOENT});
    outListing.disk = static_cast<u64>(status.st_dev);
    outListing.number = static_cast<u64>(status.st_ino);
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::fdopendir(opened.get()), &::closedir);
    if (!folder)
        return outcomeFrom(errno);
    opened.release();
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(folder.get());
        if (entry == nullptr)
            return judge(outcomeFrom(errno));
        bool mayBeDirectory = true;
        if (isDots(entry->d_name) || !mayBeInListing(*entry, mayBeDirectory))
            continue;
        NativeFolderEntry found{entry->d_name, {}};
        if (wanted(found.name, mayBeDirectory) &&
            describeEntry(root, path, ::dirfd(folder.get()), found))
            outListing.entries.push_back(std::move(found));
    }
}

} // namespace zu
