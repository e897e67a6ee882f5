#include "zul/common/FileNames.h"
#include "zul/common/NativeFile.h"
#include "zul/common/NativeFileTree.h"

#include <zul/FileUtils.h>
#include <zul/LocalFileSystem.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zu {

namespace {

class LocalFileHandle : public FileHandle
{
public:
    explicit LocalFileHandle(std::unique_ptr<NativeFile> opened)
        : file(std::move(opened))
    {
    }

    std::unique_ptr<NativeFile> file;
    u64 position = 0;
};

class LocalFindHandle : public FindFileHandle
{
public:
    std::string folder;
    std::vector<std::string> names;
    size_t next = 0; // in names
    String name;
    NativeFileInfo info;

    // False at the end. Entries that are gone by now are skipped.
    bool advance()
    {
        while (next < names.size()) {
            const std::string& candidate = names[next++];
            if (!getNativeEntryInfo(folder, candidate, info))
                continue;
            name.assign(candidate.c_str(), candidate.size());
            return true;
        }
        return false;
    }
};

LocalFileHandle* asLocal(FileHandle* handle) { return static_cast<LocalFileHandle*>(handle); }
LocalFindHandle* asLocal(FindFileHandle* handle) { return static_cast<LocalFindHandle*>(handle); }

NativeFileInfo infoOf(FileHandle* handle)
{
    NativeFileInfo info;
    if (handle == nullptr || !asLocal(handle)->file->getInfo(info))
        return {};
    return info;
}

NativeFileInfo infoOf(const char* path)
{
    NativeFileInfo info;
    return getNativeFileInfo(path, info) ? info : NativeFileInfo{};
}

// Names of a folder that match, in order.
std::vector<std::string> listMatches(const std::string& folder, const char* wildcard)
{
    std::vector<std::string> names;
    if (!listNativeDirectory(folder.c_str(), names))
        return {};
    std::erase_if(names, [&](const std::string& name) {
        return !FileUtils::matchesWildcard(wildcard, name.c_str());
    });
    std::sort(names.begin(), names.end(), isListedBefore);
    return names;
}

} // namespace

LocalFileSystem& LocalFileSystem::getInstance()
{
    // Never destroyed: threads that outlive main may still use it.
    static LocalFileSystem* s_instance = new LocalFileSystem;
    return *s_instance;
}

LocalFileSystem::LocalFileSystem() = default;
LocalFileSystem::~LocalFileSystem() = default;

FileHandle* LocalFileSystem::openFile(const char* path, BaseFile::Mode mode)
{
    std::unique_ptr<NativeFile> file = NativeFile::open(path, mode);
    return file ? new LocalFileHandle(std::move(file)) : nullptr;
}

bool LocalFileSystem::closeFile(FileHandle* handle)
{
    if (handle == nullptr)
        return false;
    finishAsyncReads(handle);
    std::unique_ptr<LocalFileHandle> closing(asLocal(handle));
    return closing->file->close();
}

bool LocalFileSystem::fileExists(const char* path) { return infoOf(path).isFile; }

bool LocalFileSystem::directoryExists(const char* path) { return infoOf(path).isDirectory; }

bool LocalFileSystem::isFileReadOnly(const char* path) { return isNativeFileReadOnly(path); }

bool LocalFileSystem::deleteFile(const char* path) { return deleteNativeFile(path); }

bool LocalFileSystem::createDirectory(const char* path)
{
    return createNativeDirectory(path) || directoryExists(path);
}

bool LocalFileSystem::deleteDirectory(const char* path) { return deleteNativeDirectory(path); }

bool LocalFileSystem::moveFile(const char* from, const char* to, bool replace)
{
    return moveNativeFile(from, to, replace);
}

bool LocalFileSystem::copyFile(const char* from, const char* to)
{
    return copyNativeFile(from, to);
}

u64 LocalFileSystem::getCurrentPosition(FileHandle* handle)
{
    return handle != nullptr ? asLocal(handle)->position : 0;
}

u64 LocalFileSystem::seekFile(FileHandle* handle, s64 offset, BaseFile::SeekMode mode)
{
    if (handle == nullptr)
        return 0;
    u64& position = asLocal(handle)->position;
    u64 distance = static_cast<u64>(offset);
    if (mode == BaseFile::SeekFromStart)
        position = distance;
    else if (mode == BaseFile::SeekFromCurrent)
        position += distance;
    else if (mode == BaseFile::SeekFromEnd)
        position = getFileSize(handle) - distance;
    return position;
}

u64 LocalFileSystem::getFileSize(FileHandle* handle) { return infoOf(handle).size; }

u64 LocalFileSystem::readFile(FileHandle* handle, void* buffer, u64 count)
{
    if (handle == nullptr)
        return 0;
    u64& position = asLocal(handle)->position;
    u64 done = asLocal(handle)->file->read(buffer, count, position);
    position += done;
    return done;
}

u64 LocalFileSystem::writeFile(FileHandle* handle, void* buffer, u64 count)
{
    if (handle == nullptr)
        return 0;
    u64& position = asLocal(handle)->position;
    u64 done = asLocal(handle)->file->write(buffer, count, position);
    position += done;
    return done;
}

bool LocalFileSystem::flushFileBuffers(FileHandle* handle)
{
    return handle != nullptr && asLocal(handle)->file->flush();
}

File::Time LocalFileSystem::getFileTime(FileHandle* handle)
{
    return File::Time::fromTicks(infoOf(handle).lastWrite);
}

void LocalFileSystem::setFileTime(FileHandle* handle, const File::Time& lastAccess,
                                  const File::Time& lastWrite)
{
    if (handle != nullptr)
        asLocal(handle)->file->setTimes(lastAccess.toTicks(), lastWrite.toTicks());
}

bool LocalFileSystem::getFileAttributes(const char* path, u64& size, u64& time)
{
    NativeFileInfo info = infoOf(path);
    if (!info.isFile)
        return false;
    size = info.size;
    time = info.lastWrite;
    return true;
}

bool LocalFileSystem::getDiskSpaceInfo(const char* path, u64& freeBytes, u64& totalBytes)
{
    return getNativeDiskSpace(path, freeBytes, totalBytes);
}

FindFileHandle* LocalFileSystem::findFirstFile(const char* pattern)
{
    pattern = pattern ? pattern : "";
    const char* wildcard = File::stripPath(pattern);
    auto handle = std::make_unique<LocalFindHandle>();
    handle->folder.assign(pattern, static_cast<size_t>(wildcard - pattern));
    handle->names = listMatches(handle->folder, wildcard);
    return handle->advance() ? handle.release() : nullptr;
}

FindFileHandle* LocalFileSystem::findNextFile(FindFileHandle* handle)
{
    if (handle == nullptr || asLocal(handle)->advance())
        return handle;
    findClose(handle);
    return nullptr;
}

void LocalFileSystem::findClose(FindFileHandle* handle) { delete handle; }

const char* LocalFileSystem::findGetFileName(FindFileHandle* handle)
{
    return handle != nullptr ? asLocal(handle)->name.c_str() : "";
}

u64 LocalFileSystem::findGetFileSize(FindFileHandle* handle)
{
    return handle != nullptr ? asLocal(handle)->info.size : 0;
}

u64 LocalFileSystem::findGetFileTime(FindFileHandle* handle)
{
    return handle != nullptr ? asLocal(handle)->info.lastWrite : 0;
}

bool LocalFileSystem::findIsDirectory(FindFileHandle* handle)
{
    return handle != nullptr && asLocal(handle)->info.isDirectory;
}

u64 LocalFileSystem::getFileSortKey(FileHandle* handle) { return infoOf(handle).sortKey; }

} // namespace zu
