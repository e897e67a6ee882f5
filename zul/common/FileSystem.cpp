#include "zul/common/AsyncReader.h"
#include "zul/common/FileNames.h"

#include <zul/FileSystem.h>
#include <zul/FileUtils.h>
#include <zul/LocalFileSystem.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

namespace zu {

namespace {

constinit std::atomic<FileSystem*> s_installed{nullptr};

using Path = InplaceString<256>;

struct Folder
{
    Path path;
    u32 depth;
};

// A search through all of a folder that is closed again whatever a callback throws.
class FolderSearch
{
public:
    FolderSearch(FileSystem& searched, const Path& folder)
        : fileSystem(searched)
    {
        found = fileSystem.findFirstFile(joinPath(folder, "*").c_str());
    }
    ~FolderSearch()
    {
        if (found != nullptr)
            fileSystem.findClose(found);
    }
    FolderSearch(const FolderSearch&) = delete;
    FolderSearch& operator=(const FolderSearch&) = delete;

    bool hasEntry() const { return found != nullptr; }
    bool isDirectory() const { return fileSystem.findIsDirectory(found); }
    const char* getName() const { return fileSystem.findGetFileName(found); }
    void next() { found = fileSystem.findNextFile(found); }

    static Path joinPath(const Path& folder, const char* name)
    {
        Path path = folder;
        if (!path.empty() && !isPathSeparator(path[path.length() - 1]))
            path += '/';
        path += name;
        return path;
    }

private:
    FileSystem& fileSystem;
    FindFileHandle* found;
};

bool isPlainName(const char* name)
{
    return name[0] != '\0' && std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0 &&
           std::strpbrk(name, "/\\") == nullptr;
}

// Calls visit(name, path, isDirectory) for what is in a folder and, if recursive, in those below
// it: first all of one folder, then the next. The folders still to come are kept in a list, not on
// the stack, whose depth the disk would decide. Names and folders may be a peer's inventions: a
// name that leads elsewhere is skipped, and folders without end are cut off.
template <typename Visit>
void walk(FileSystem& fileSystem, const char* path, bool recursive, Visit visit)
{
    std::vector<Folder> pending{{Path(path), 1}};
    u32 foldersBelow = 0;
    while (!pending.empty()) {
        Folder folder = std::move(pending.back());
        pending.pop_back();
        size_t firstBelow = pending.size();
        for (FolderSearch search(fileSystem, folder.path); search.hasEntry(); search.next()) {
            if (!isPlainName(search.getName()))
                continue;
            Path entry = FolderSearch::joinPath(folder.path, search.getName());
            bool isDirectory = search.isDirectory();
            visit(search.getName(), entry, isDirectory);
            if (!isDirectory || !recursive)
                continue;
            if (++foldersBelow > FileSystem::kMaxFoldersWalked) {
                std::fprintf(stderr,
                             "zul: more than %u folders below \"%s\": the rest is left out\n",
                             FileSystem::kMaxFoldersWalked, path);
                return;
            }
            if (folder.depth < FileSystem::kMaxFolderDepth)
                pending.push_back({std::move(entry), folder.depth + 1});
        }
        std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(firstBelow), pending.end());
    }
}

} // namespace

FileHandle::~FileHandle() = default;
FindFileHandle::~FindFileHandle() = default;

FileSystem::FileSystem()
    : asyncReader(new AsyncReader(*this))
{
}
FileSystem::~FileSystem() = default;

FileSystem& FileSystem::get()
{
    FileSystem* installed = s_installed.load(std::memory_order_acquire);
    return installed != nullptr ? *installed : LocalFileSystem::getInstance();
}

void FileSystem::set(FileSystem* fileSystem)
{
    s_installed.store(fileSystem, std::memory_order_release);
}

void FileSystem::readFileAsync(FileHandle* handle, void* buffer, u64 count,
                               const ReadCallback& completed)
{
    asyncReader->add(handle, buffer, count, completed);
}

void FileSystem::finishAsyncReads(FileHandle* handle) { asyncReader->finish(handle); }

void FileSystem::findSubfolders(PathList& out, const char* path, bool recursive)
{
    out.clear();
    walk(*this, path, recursive, [&](const char*, const Path& entry, bool isDirectory) {
        if (isDirectory)
            out.push_back(entry);
    });
}

void FileSystem::findFilesInternal(PathList& out, const char* path, const char* filter,
                                   FileFilter& accept, bool recursive)
{
    findFiles(out, path, filter, accept, recursive);
}

void FileSystem::listFiles(PathList& out, const char* path, const char* filter, FileFilter accept,
                           bool recursive)
{
    findFilesInternal(out, path, filter, accept, recursive);
}

void FileSystem::listFiles(PathList& out, const char* path, const char* filter, bool recursive)
{
    listFiles(out, path, filter, FileFilter(), recursive);
}

void FileSystem::findFiles(PathList& out, const char* path, const char* filter, FileFilter& accept,
                           bool recursive)
{
    out.clear();
    const char* pattern = filter != nullptr ? filter : "*";
    walk(*this, path, recursive, [&](const char* name, const Path& entry, bool isDirectory) {
        if (isDirectory || !FileUtils::matchesWildcard(pattern, name))
            return;
        if (accept.empty() || accept(name, entry.c_str()))
            out.push_back(entry);
    });
}

} // namespace zu
