#include "zul/posix/ConfinedEntry.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace zu::posix {

using Error = ConfinedFolder::Error;
using Links = ConfinedFolder::Links;

namespace {

#ifdef AT_EMPTY_PATH
constexpr int kEntry = AT_SYMLINK_NOFOLLOW;
constexpr int kFileItself = AT_EMPTY_PATH;
#else
constexpr int kEntry = 0;
constexpr int kFileItself = 0;
#endif

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
    case ECANCELED: // as copyBytes says
        return Error::Stopped;
    default:
        return Error::Failed;
    }
}

// What may be done to an entry only if it is a file or, as long as links count for something, a
// link.
Outcome judgeFileOrLink(const struct stat& status, Links links)
{
    if (S_ISREG(status.st_mode) || (S_ISLNK(status.st_mode) && links != Links::Refuse))
        return {};
    return {S_ISLNK(status.st_mode) ? Error::Outside : Error::WrongKind};
}

bool isReadOnly(int descriptor, const char* name, int flags, const struct stat& status)
{
    if (!S_ISREG(status.st_mode))
        return false;
    // Systems that cannot answer for what we ask say EINVAL or that there is no such name.
    return isWriteProtected(status) ||
           (::faccessat(descriptor, name, W_OK, AT_EACCESS | flags) != 0 && errno != EINVAL &&
            errno != ENOENT);
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
    if (::fstat(file, &status) != 0 || static_cast<u64>(status.st_size) > sizeNow)
        return;
    // Never longer than it is: somebody may have made it shorter meanwhile.
    const off_t size = std::min(static_cast<off_t>(sizeBefore), status.st_size);
    [[maybe_unused]] const int ignored = ::ftruncate(file, size);
}

// Whether both are one entry, whichever way their folders were named.
bool isSameEntry(const Place& first, const Place& second)
{
    struct stat firstFolder;
    struct stat secondFolder;
    return first.name == second.name && ::fstat(first.folder.get(), &firstFolder) == 0 &&
           ::fstat(second.folder.get(), &secondFolder) == 0 && isSame(firstFolder, secondFolder);
}

// Whether both are links to one file, which rename would leave as they are and call it done.
bool areLinksToOneFile(const Place& first, const Place& second)
{
    struct stat firstStatus;
    struct stat secondStatus;
    return getEntryStatus(first, firstStatus) && getEntryStatus(second, secondStatus) &&
           isSame(firstStatus, secondStatus) && firstStatus.st_nlink > 1;
}

// What a rename changed. Disks that cannot do it on demand do it some time.
void bringToDisk(const Place& place)
{
    const Descriptor folder(::openat(place.folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.isOpen())
        ::fsync(folder.get());
}

} // namespace

Outcome outcomeFrom(int error) { return {errorFrom(error), error}; }

Outcome findPlace(const BeneathRoot& root, const std::string& path, Place& outPlace)
{
    const size_t separator = path.rfind('/');
    const bool isTop = separator == std::string::npos;
    outPlace.name = isTop ? path : path.substr(separator + 1);
    outPlace.folder = openBeneath(root, isTop ? std::string() : path.substr(0, separator),
                                  kHandleOnly | O_DIRECTORY);
    return outPlace.folder.isOpen() ? Outcome{} : outcomeFrom(errno);
}

bool getEntryStatus(const Place& place, struct stat& outStatus)
{
    return ::fstatat(place.folder.get(), place.name.c_str(), &outStatus, AT_SYMLINK_NOFOLLOW) == 0;
}

bool isReadOnlyFile(int descriptor, const struct stat& status)
{
    return isReadOnly(descriptor, "", kFileItself, status);
}

Outcome judgeFile(const struct stat& status) { return judgeFileOrLink(status, Links::Refuse); }

Outcome judgeRemoval(const Place& place, Links links)
{
    struct stat status;
    if (!getEntryStatus(place, status))
        return outcomeFrom(errno);
    const Outcome outcome = judgeFileOrLink(status, links);
    if (outcome.succeeded() && isReadOnly(place.folder.get(), place.name.c_str(), kEntry, status))
        return {Error::ReadOnly, EACCES};
    return outcome;
}

Outcome judgeReplacement(const Place& place, Links links)
{
    const Outcome outcome = judgeRemoval(place, links);
    return outcome.error == Error::NotFound ? Outcome{} : outcome;
}

Outcome openFile(const BeneathRoot& root, const std::string& path, Descriptor& outFile,
                 struct stat& outStatus)
{
    outFile = openBeneath(root, path, O_RDONLY);
    if (!outFile.isOpen() || ::fstat(outFile.get(), &outStatus) != 0)
        return outcomeFrom(errno);
    return judgeFile(outStatus);
}

bool canFileHave(u64 position, u64 count)
{
    constexpr u64 kMaxPosition = static_cast<u64>(std::numeric_limits<off_t>::max());
    return count <= kMaxPosition && position <= kMaxPosition - count;
}

Outcome writeExactly(int file, u64 position, const void* data, u64 count)
{
    struct stat status;
    if (::fstat(file, &status) != 0)
        return outcomeFrom(errno);
    const Outcome outcome = judgeFile(status);
    if (!outcome.succeeded())
        return outcome;
    if (isWriteProtected(status))
        return {Error::ReadOnly, EACCES};
    const u64 sizeBefore = static_cast<u64>(status.st_size);
    u64 done = 0;
    int error = position < sizeBefore && count != 0 ? reserveRoom(file, position, count) : 0;
    if (error == 0) {
        done = writeAt(file, data, count, position);
        if (done == count)
            return {};
        error = errno != 0 ? errno : EIO;
    }
    shrinkBack(file, sizeBefore, std::max(sizeBefore, done != 0 ? position + done : 0));
    return outcomeFrom(error);
}

bool isOnOtherDisk(const Outcome& outcome)
{
    return outcome.error == Error::Failed && outcome.detail == EXDEV;
}

Outcome copyToPlace(int source, const struct stat& status, const Place& to, CopyPurpose purpose,
                    const ConfinedFolder::GoOn& goOn)
{
    Replacement copy(to, S_IRUSR | S_IWUSR);
    const bool copied = copy.isOpen() && copyBytes(source, copy.getFile(), goOn) &&
                        completeCopy(copy.getFile(), status, purpose) && copy.take();
    return copied ? Outcome{} : outcomeFrom(errno);
}

Outcome moveToOtherDisk(const Place& from, const Place& to, const ConfinedFolder::GoOn& goOn)
{
    const Descriptor source(::openat(from.folder.get(), from.name.c_str(),
                                     O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status;
    if (!source.isOpen() || ::fstat(source.get(), &status) != 0)
        return outcomeFrom(errno);
    Outcome outcome = judgeFile(status);
    // Once the copy is in its place there is no way back, so ask first whether from can go.
    if (outcome.succeeded() && ::faccessat(from.folder.get(), ".", W_OK, AT_EACCESS) != 0)
        outcome = outcomeFrom(errno);
    if (outcome.succeeded())
        outcome = copyToPlace(source.get(), status, to, CopyPurpose::Move, goOn);
    if (!outcome.succeeded())
        return outcome;
    bringToDisk(to);
    struct stat now;
    if (!getEntryStatus(from, now) || !isSame(now, status))
        return {}; // somebody else took it away
    return ::unlinkat(from.folder.get(), from.name.c_str(), 0) == 0 ? Outcome{}
                                                                    : outcomeFrom(errno);
}

Outcome renamePlace(const Place& from, Links fromLinks, const Place& to, Links toLinks)
{
    struct stat status;
    if (!getEntryStatus(from, status))
        return outcomeFrom(errno);
    Outcome outcome = S_ISDIR(status.st_mode) ? Outcome{} : judgeFileOrLink(status, fromLinks);
    if (!outcome.succeeded() || isSameEntry(from, to))
        return outcome;
    struct stat replaced;
    if (getEntryStatus(to, replaced) && (S_ISDIR(replaced.st_mode) || S_ISDIR(status.st_mode)))
        return {Error::Exists, EEXIST};
    outcome = judgeReplacement(to, toLinks);
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

Replacement::Replacement(const Place& target, mode_t permissions)
    : place(target)
{
    do {
        name = makeTemporaryName();
        file =
            Descriptor(::openat(place.folder.get(), name.c_str(),
                                O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, permissions));
    } while (!file.isOpen() && (errno == EEXIST || errno == EINTR));
    exists = file.isOpen();
}

Replacement::~Replacement()
{
    const int before = errno;
    if (exists)
        ::unlinkat(place.folder.get(), name.c_str(), 0);
    errno = before;
}

bool Replacement::take()
{
    // Some disks tell only now that they are full.
    if (!file.close() ||
        ::renameat(place.folder.get(), name.c_str(), place.folder.get(), place.name.c_str()) != 0)
        return false;
    exists = false;
    return true;
}

} // namespace zu::posix
