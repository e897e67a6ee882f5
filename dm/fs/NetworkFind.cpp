/// Searches and lists of NetworkFileSystem.
#include "dm/fs/FileServerLink.h"
#include "dm/fs/MappedFolders.h"
#include "dm/fs/NetworkHandles.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace dm {

namespace {

std::vector<FileEntry> askForEntries(const char* pattern)
{
    ListRequest request;
    request.send(makeCommand(PathCommand::FindFiles, pattern));
    return readFileEntries(request.list());
}

std::vector<zu::String> askForPaths(const char* folder, const char* filter, bool recursive)
{
    ListRequest request;
    request.send(makeFindFilesRecursive(folder, filter, recursive));
    return readPathEntries(request.list());
}

/// What is named like a mapped folder is hidden behind it.
void appendLocal(std::vector<FileEntry>& entries, zu::FileSystem& local, const char* pattern,
                 const MappedFolders::List& hiding)
{
    zu::FindFileHandle* found = local.findFirstFile(pattern);
    for (; found != nullptr; found = local.findNextFile(found)) {
        const char* name = local.findGetFileName(found);
        if (!MappedFolders::startsWithAny(hiding, name))
            entries.push_back({local.findIsDirectory(found), name, local.findGetFileSize(found),
                               local.findGetFileTime(found)});
    }
}

/// Stable, so that the server's entry stays before the local one of the same name, and it is the
/// later one that goes.
void sortWithoutDuplicates(std::vector<FileEntry>& entries)
{
    std::stable_sort(
        entries.begin(), entries.end(),
        [](const FileEntry& left, const FileEntry& right) { return left.name < right.name; });
    const auto end = std::unique(
        entries.begin(), entries.end(), [](const FileEntry& kept, const FileEntry& next) {
            return !(kept.name < next.name); // sorted, so they are equal but for letter case
        });
    entries.erase(end, entries.end());
}

} // namespace

zu::FindFileHandle* NetworkFileSystem::findFirstFile(const char* pattern)
{
    auto handle = std::make_unique<NetworkFindHandle>(*this, pattern);
    handle->entries = askForEntries(pattern);
    const auto folders = mappedFolders->get();
    if (!MappedFolders::startsWithAny(*folders, pattern))
        appendLocal(handle->entries, localFileSystem, pattern, *folders);
    sortWithoutDuplicates(handle->entries);
    return handle->entries.empty() ? nullptr : handle.release();
}

zu::FindFileHandle* NetworkFileSystem::findNextFile(zu::FindFileHandle* handle)
{
    NetworkFindHandle* search = NetworkFindHandle::of(handle);
    if (search == nullptr || ++search->current < search->entries.size())
        return handle;
    findClose(handle);
    return nullptr;
}

void NetworkFileSystem::findClose(zu::FindFileHandle* handle) { delete handle; }

const char* NetworkFileSystem::findGetFileName(zu::FindFileHandle* handle)
{
    return handle != nullptr ? NetworkFindHandle::of(handle)->entry().name.c_str() : "";
}

zu::u64 NetworkFileSystem::findGetFileSize(zu::FindFileHandle* handle)
{
    return handle != nullptr ? NetworkFindHandle::of(handle)->entry().size : 0;
}

zu::u64 NetworkFileSystem::findGetFileTime(zu::FindFileHandle* handle)
{
    return handle != nullptr ? NetworkFindHandle::of(handle)->entry().time : 0;
}

bool NetworkFileSystem::findIsDirectory(zu::FindFileHandle* handle)
{
    return handle != nullptr && NetworkFindHandle::of(handle)->entry().isDirectory;
}

void NetworkFileSystem::findFilesInternal(PathList& out, const char* path, const char* filter,
                                          FileFilter& accept, bool recursive)
{
    if (!isRemote(path)) {
        findFiles(out, path, filter, accept, recursive);
        return;
    }
    out.clear();
    // All are read before the first is shown: accept may ask for a list itself.
    for (const zu::String& found : askForPaths(path, filter, recursive)) {
        if (accept.empty() || accept(zu::File::stripPath(found.c_str()), found.c_str()))
            out.push_back(found);
    }
}

} // namespace dm
