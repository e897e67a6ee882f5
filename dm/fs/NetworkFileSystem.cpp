#include "dm/common/LockOrder.h"
#include "dm/fs/FileServerLink.h"
#include "dm/fs/MappedFolders.h"
#include "dm/fs/NetworkHandles.h"

#include <dm/fs.h>
#include <zul/BufferedMemoryFile.h>
#include <zul/Exception.h>

#include <cassert>
#include <memory>
#include <utility>

namespace dm {

namespace {

// The connection callback stays with the pipe for ever; whoever runs it and whoever destroys the
// instance agree under this lock on whether it is still there.
constinit LeafMutex s_instanceLock;
NetworkFileSystem* s_pNetworkInstance = nullptr; // under s_instanceLock

zu::InplaceString<128> askFor(const Command& command) { return askFileServer(command).text; }

bool askYes(const Command& command) { return readYes(askFor(command)); }

bool askYes(PathCommand command, const char* path) { return askYes(makeCommand(command, path)); }

zu::u64 askSize(const zu::String& path)
{
    return readSize(askFor(makeCommand(PathCommand::GetFileSize, path.c_str())));
}

} // namespace

NetworkFileSystem::NetworkFileSystem(zu::FileSystem& local)
    : localFileSystem(local)
    , mappedFolders(new MappedFolders)
{
    {
        std::lock_guard guard(s_instanceLock);
        s_pNetworkInstance = this;
    }
    watchFileServer({nullptr, connectionCallback});
}

NetworkFileSystem::~NetworkFileSystem()
{
    std::lock_guard guard(s_instanceLock);
    s_pNetworkInstance = nullptr;
}

NetworkFileSystem& NetworkFileSystem::getInstance()
{
    std::lock_guard guard(s_instanceLock);
    assert(s_pNetworkInstance != nullptr && "construct a NetworkFileSystem first");
    return *s_pNetworkInstance;
}

void NetworkFileSystem::deleteInstance()
{
    NetworkFileSystem* instance = nullptr;
    {
        std::lock_guard guard(s_instanceLock);
        instance = std::exchange(s_pNetworkInstance, nullptr);
    }
    delete instance;
}

void NetworkFileSystem::setLocalRoot(const char* path) { localRoot = path; }

void NetworkFileSystem::connectionCallback(void*, CommunicationPipe* pipe)
{
    std::lock_guard guard(s_instanceLock);
    if (s_pNetworkInstance != nullptr)
        s_pNetworkInstance->onConnected(connectionNumber(*pipe));
}

/// On the manager's thread, which lists are waiting for, under a leaf.
void NetworkFileSystem::onConnected(zu::u32 connection)
{
    mappedFolders->connectionMade(connection);
    pipeAcquired.store(true, std::memory_order_release);
}

bool NetworkFileSystem::isRemote(const char* path) { return mappedFolders->contain(path); }

// Files by path.

bool NetworkFileSystem::fileExists(const char* path)
{
    return isRemote(path) ? askYes(PathCommand::FileExists, path)
                          : localFileSystem.fileExists(path);
}

bool NetworkFileSystem::directoryExists(const char* path)
{
    return isRemote(path) ? askYes(PathCommand::DirectoryExists, path)
                          : localFileSystem.directoryExists(path);
}

bool NetworkFileSystem::isFileReadOnly(const char* path)
{
    return isRemote(path) ? askYes(PathCommand::IsFileReadOnly, path)
                          : localFileSystem.isFileReadOnly(path);
}

bool NetworkFileSystem::deleteFile(const char* path)
{
    return isRemote(path) ? askYes(PathCommand::DeleteFile, path)
                          : localFileSystem.deleteFile(path);
}

bool NetworkFileSystem::createDirectory(const char* path)
{
    return isRemote(path) ? askYes(PathCommand::CreateDirectory, path)
                          : localFileSystem.createDirectory(path);
}

bool NetworkFileSystem::deleteDirectory(const char* path)
{
    return isRemote(path) ? askYes(PathCommand::DeleteDirectory, path)
                          : localFileSystem.deleteDirectory(path);
}

bool NetworkFileSystem::moveFile(const char* from, const char* to, bool replace)
{
    return isRemote(from) && isRemote(to) ? askYes(makeMoveFile(from, to))
                                          : localFileSystem.moveFile(from, to, replace);
}

bool NetworkFileSystem::copyFile(const char* from, const char* to)
{
    const bool fromRemote = isRemote(from);
    if (fromRemote != isRemote(to))
        return copyThroughMemory(from, to);
    return fromRemote ? askYes(makeCopyFile(from, to)) : localFileSystem.copyFile(from, to);
}

bool NetworkFileSystem::copyThroughMemory(const char* from, const char* to)
{
    bool opened = false;
    try {
        const zu::BufferedMemoryFile source(from, *this);
        if (source.getSize() == 0)
            return makeEmptyFile(to);
        zu::File destination(to, zu::File::Write, *this);
        opened = true;
        destination.write(source.getData(), source.getSize());
        destination.flush();
        destination.close();
        return true;
    } catch (const zu::Exception&) {
        // Missing, unreadable, larger than memory, or the disk is full.
        if (opened)
            deleteFile(to);
        return false;
    }
}

/// Opening alone does not make a remote file, nor does a zu::File that has nothing to write.
bool NetworkFileSystem::makeEmptyFile(const char* path)
{
    zu::FileHandle* handle = openFile(path, zu::File::Write);
    if (handle == nullptr)
        return false;
    char nothing = 0;
    writeFile(handle, &nothing, 0);
    return closeFile(handle);
}

bool NetworkFileSystem::getFileAttributes(const char* path, zu::u64& size, zu::u64& time)
{
    zu::FileHandle* handle = openFile(path, zu::File::Read);
    if (handle == nullptr)
        return false;
    size = getFileSize(handle);
    time = getFileTime(handle).toTicks();
    closeFile(handle);
    return true;
}

bool NetworkFileSystem::getDiskSpaceInfo(const char* path, zu::u64& freeBytes, zu::u64& totalBytes)
{
    return localFileSystem.getDiskSpaceInfo(path, freeBytes, totalBytes);
}

// Open files.

zu::FileHandle* NetworkFileSystem::openFile(const char* path, zu::BaseFile::Mode mode)
{
    auto handle = std::make_unique<NetworkFileHandle>(*this, mode);
    if (!isRemote(path)) {
        handle->localHandle = localFileSystem.openFile(path, mode);
        return handle->localHandle != nullptr ? handle.release() : nullptr;
    }
    if (mode == zu::File::Read && !askYes(PathCommand::FileExists, path))
        return nullptr;
    if (mode == zu::File::Write)
        askYes(PathCommand::DeleteFile, path);
    handle->path = path;
    handle->size = askSize(handle->path);
    return handle.release();
}

bool NetworkFileSystem::closeFile(zu::FileHandle* handle)
{
    if (handle == nullptr)
        return false;
    finishAsyncReads(handle);
    const std::unique_ptr<NetworkFileHandle> file(NetworkFileHandle::of(handle));
    if (!file->isRemote())
        localFileSystem.closeFile(file->localHandle);
    return true;
}

zu::u64 NetworkFileSystem::getCurrentPosition(zu::FileHandle* handle)
{
    const NetworkFileHandle* file = NetworkFileHandle::of(handle);
    if (file == nullptr)
        return 0;
    return file->isRemote() ? file->position
                            : localFileSystem.getCurrentPosition(file->localHandle);
}

zu::u64 NetworkFileSystem::seekFile(zu::FileHandle* handle, zu::s64 offset,
                                    zu::BaseFile::SeekMode mode)
{
    NetworkFileHandle* file = NetworkFileHandle::of(handle);
    if (file == nullptr)
        return 0;
    if (!file->isRemote())
        return localFileSystem.seekFile(file->localHandle, offset, mode);
    const auto distance = static_cast<zu::u64>(offset);
    if (mode == zu::File::SeekFromCurrent)
        file->position += distance;
    else if (mode == zu::File::SeekFromStart)
        file->position = distance;
    else if (mode == zu::File::SeekFromEnd)
        file->position = file->size - distance;
    return file->position;
}

zu::u64 NetworkFileSystem::getFileSize(zu::FileHandle* handle)
{
    const NetworkFileHandle* file = NetworkFileHandle::of(handle);
    if (file == nullptr)
        return 0;
    return file->isRemote() ? file->size : localFileSystem.getFileSize(file->localHandle);
}

zu::u64 NetworkFileSystem::readFile(zu::FileHandle* handle, void* buffer, zu::u64 count)
{
    NetworkFileHandle* file = NetworkFileHandle::of(handle);
    if (file == nullptr)
        return 0;
    if (!file->isRemote())
        return localFileSystem.readFile(file->localHandle, buffer, count);
    const auto answer =
        askFileServer(makeRead(file->position, count, file->path.c_str()),
                      {.responseBuffer = buffer, .responseCapacity = static_cast<uint32>(count)});
    file->position += answer.storedBytes;
    return answer.storedBytes;
}

zu::u64 NetworkFileSystem::writeFile(zu::FileHandle* handle, void* buffer, zu::u64 count)
{
    NetworkFileHandle* file = NetworkFileHandle::of(handle);
    if (file == nullptr)
        return 0;
    if (!file->isRemote())
        return localFileSystem.writeFile(file->localHandle, buffer, count);
    const auto sentBytes = static_cast<uint32>(count);
    const auto answer = askFileServer(makeWrite(file->position, count, file->path.c_str()),
                                      {.data = buffer, .dataSize = sentBytes});
    const zu::u32 written = readWritten(answer.text, sentBytes);
    file->position += written;
    file->size = askSize(file->path);
    return written;
}

bool NetworkFileSystem::flushFileBuffers(zu::FileHandle* handle)
{
    const NetworkFileHandle* file = NetworkFileHandle::of(handle);
    if (file == nullptr)
        return false;
    return file->isRemote() || localFileSystem.flushFileBuffers(file->localHandle);
}

zu::File::Time NetworkFileSystem::getFileTime(zu::FileHandle* handle)
{
    const NetworkFileHandle* file = NetworkFileHandle::of(handle);
    if (file == nullptr)
        return {};
    if (!file->isRemote())
        return localFileSystem.getFileTime(file->localHandle);
    return readTime(askFor(makeCommand(PathCommand::GetFileTime, file->path.c_str())));
}

void NetworkFileSystem::setFileTime(zu::FileHandle* handle, const zu::File::Time& lastAccess,
                                    const zu::File::Time& lastWrite)
{
    const NetworkFileHandle* file = NetworkFileHandle::of(handle);
    if (file != nullptr && !file->isRemote())
        localFileSystem.setFileTime(file->localHandle, lastAccess, lastWrite);
}

zu::u64 NetworkFileSystem::getFileSortKey(zu::FileHandle*) { return 0; }

} // namespace dm
