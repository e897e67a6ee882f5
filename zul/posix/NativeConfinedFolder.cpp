#include "zul/common/NativeConfinedFolder.h"

#include "zul/posix/BeneathLookup.h"
#include "zul/posix/ConfinedEntry.h"
#include "zul/posix/FileSupport.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace zu {

using posix::BeneathRoot;
using posix::Descriptor;
using posix::findPlace;
using posix::getEntryStatus;
using posix::judgeFile;
using posix::openBeneath;
using posix::outcomeFrom;
using posix::Place;
using posix::Replacement;
using posix::writeExactly;
using Error = ConfinedFolder::Error;
using Links = ConfinedFolder::Links;
using Lookup = ConfinedFolder::Lookup;
using Outcome = ConfinedFolder::Outcome;

namespace {

// How often to try again when a file comes and goes under our hands.
constexpr int kAttempts = 8;

constexpr mode_t kFolderPermissions = 0777; // less what the user masks

BeneathRoot rootOf(std::intptr_t handle, Links links, Lookup lookup)
{
    return {static_cast<int>(handle), links, lookup};
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

// Whom the system keeps from writing a file that is protected from it, it says no more than that.
Outcome NativeConfinedFolder::judgeRefusal(const std::string& path, Outcome outcome) const
{
    ConfinedFolder::Info info;
    if (outcome.error == Error::Denied &&
        getInfo(path, info, ConfinedFolder::Rights::Asked).succeeded() && info.isReadOnly)
        return {Error::ReadOnly, outcome.detail};
    return outcome;
}

Outcome NativeConfinedFolder::getInfo(const std::string& path, ConfinedFolder::Info& outInfo,
                                      ConfinedFolder::Rights rights) const
{
    const Descriptor object = openBeneath(rootOf(handle, links, lookup), path, posix::kHandleOnly);
    struct stat status;
    if (!object.isOpen() || ::fstat(object.get(), &status) != 0)
        return judge(outcomeFrom(errno));
    if (status.st_nlink == 0 && path.empty())
        return {Error::Gone, ENOENT};
    if (!S_ISDIR(status.st_mode) && !S_ISREG(status.st_mode))
        return judgeFile(status);
    const NativeFileInfo info = posix::infoFromStatus(status);
    const bool isReadOnly =
        rights == ConfinedFolder::Rights::Asked && posix::isReadOnlyFile(object.get(), status);
    outInfo = {info.isDirectory, isReadOnly, info.size, info.lastWrite};
    return {};
}

Outcome NativeConfinedFolder::read(const std::string& path, u64 position, void* buffer, u64 count,
                                   u64& outBytes) const
{
    outBytes = 0;
    Descriptor file;
    struct stat status;
    const Outcome outcome = posix::openFile(rootOf(handle, links, lookup), path, file, status);
    if (!outcome.succeeded())
        return judge(outcome);
    return readFile(file.get(), position, buffer, count, outBytes);
}

Outcome NativeConfinedFolder::openFile(const std::string& path, std::intptr_t& outFile,
                                       u64& outSize) const
{
    Descriptor file;
    struct stat status;
    const Outcome outcome = posix::openFile(rootOf(handle, links, lookup), path, file, status);
    if (!outcome.succeeded())
        return judge(outcome);
    outSize = static_cast<u64>(status.st_size);
    outFile = file.release();
    return {};
}

Outcome NativeConfinedFolder::readFile(std::intptr_t file, u64 position, void* buffer, u64 count,
                                       u64& outBytes)
{
    const u64 done = posix::readAt(static_cast<int>(file), buffer, count, position);
    // Where no file can be is past the end of this one.
    const bool failed = done != count && errno != 0 && errno != EFBIG;
    outBytes = failed ? 0 : done;
    return failed ? outcomeFrom(errno) : Outcome{};
}

void NativeConfinedFolder::closeFile(std::intptr_t file)
{
    posix::closeDescriptor(static_cast<int>(file));
}

Outcome NativeConfinedFolder::write(const std::string& path, u64 position, const void* data,
                                    u64 count) const
{
    if (!posix::canFileHave(position, count))
        return {Error::TooLarge, EFBIG};
    const BeneathRoot root = rootOf(handle, links, lookup);
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const Descriptor file = openBeneath(root, path, O_WRONLY);
        if (file.isOpen())
            return writeExactly(file.get(), position, data, count);
        if (errno != ENOENT)
            return judgeRefusal(path, outcomeFrom(errno));
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
                                   posix::kNewFilePermissions));
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
    if (!posix::canFileHave(0, count))
        return {Error::TooLarge, EFBIG};
    Place place;
    Outcome outcome = findPlace(rootOf(handle, links, lookup), path, place);
    if (outcome.succeeded())
        outcome = posix::judgeReplacement(place, links);
    if (!outcome.succeeded())
        return judge(outcome);
    Replacement replacement(place, posix::kNewFilePermissions);
    if (!replacement.isOpen())
        return judge(outcomeFrom(errno));
    struct stat replaced;
    if (getEntryStatus(place, replaced) && S_ISREG(replaced.st_mode))
        posix::setPermissions(replacement.getFile(), replaced);
    if (posix::writeAt(replacement.getFile(), data, count, 0) != count)
        return outcomeFrom(errno != 0 ? errno : EIO);
    return replacement.take() ? Outcome{} : outcomeFrom(errno);
}

Outcome NativeConfinedFolder::copyFile(const NativeConfinedFolder& target, const std::string& from,
                                       const std::string& to,
                                       const ConfinedFolder::GoOn& goOn) const
{
    Descriptor source;
    struct stat status;
    Outcome outcome = posix::openFile(rootOf(handle, links, lookup), from, source, status);
    if (!outcome.succeeded())
        return judge(outcome);
    Place place;
    outcome = findPlace(rootOf(target.handle, target.links, target.lookup), to, place);
    if (outcome.succeeded())
        outcome = posix::judgeReplacement(place, target.links);
    if (outcome.succeeded())
        outcome = posix::copyToPlace(source.get(), status, place, posix::CopyPurpose::Copy, goOn);
    return target.judge(outcome);
}

Outcome NativeConfinedFolder::rename(const NativeConfinedFolder& target, const std::string& from,
                                     const std::string& to) const
{
    Place source;
    Place place;
    Outcome outcome = findPlace(rootOf(handle, links, lookup), from, source);
    if (!outcome.succeeded())
        return judge(outcome);
    outcome = findPlace(rootOf(target.handle, target.links, target.lookup), to, place);
    if (!outcome.succeeded())
        return target.judge(outcome);
    return target.judge(judge(posix::renamePlace(source, links, place, target.links)));
}

Outcome NativeConfinedFolder::move(const NativeConfinedFolder& target, const std::string& from,
                                   const std::string& to, const ConfinedFolder::GoOn& goOn) const
{
    Outcome outcome = rename(target, from, to);
    if (!posix::isOnOtherDisk(outcome))
        return outcome;
    Place source;
    Place place;
    outcome = findPlace(rootOf(handle, links, lookup), from, source);
    if (outcome.succeeded())
        outcome = findPlace(rootOf(target.handle, target.links, target.lookup), to, place);
    if (outcome.succeeded())
        outcome = posix::judgeReplacement(place, target.links);
    return outcome.succeeded() ? posix::moveToOtherDisk(source, place, goOn) : outcome;
}

Outcome NativeConfinedFolder::removeFile(const std::string& path) const
{
    Place place;
    Outcome outcome = findPlace(rootOf(handle, links, lookup), path, place);
    if (outcome.succeeded())
        outcome = posix::judgeRemoval(place, links);
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
    struct stat status;
    if (!opened.isOpen() || ::fstat(opened.get(), &status) != 0)
        return judge(outcomeFrom(errno));
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
