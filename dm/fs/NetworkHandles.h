/// What NetworkFileSystem gives out for files and searches.
#pragma once

#include "dm/fs/ListAnswers.h"

#include <dm/fs.h>

#include <cstddef>
#include <vector>

namespace dm {

/// Remote exactly when there is no local handle.
class NetworkFileHandle : public zu::FileHandle
{
public:
    NetworkFileHandle(NetworkFileSystem& fileSystem, zu::BaseFile::Mode openMode)
        : owner(fileSystem)
        , mode(openMode)
    {
    }

    static NetworkFileHandle* of(zu::FileHandle* handle)
    {
        return static_cast<NetworkFileHandle*>(handle);
    }

    bool isRemote() const { return localHandle == nullptr; }

    NetworkFileSystem& owner;
    zu::InplaceString<256> path; // "" for a local file
    zu::u64 position = 0;
    zu::u64 size = 0; // of a remote file
    const zu::BaseFile::Mode mode;
    zu::FileHandle* localHandle = nullptr;
};

class NetworkFindHandle : public zu::FindFileHandle
{
public:
    NetworkFindHandle(NetworkFileSystem& fileSystem, const char* searchPattern)
        : owner(fileSystem)
        , pattern(searchPattern)
    {
    }

    static NetworkFindHandle* of(zu::FindFileHandle* handle)
    {
        return static_cast<NetworkFindHandle*>(handle);
    }

    const FileEntry& entry() const { return entries[current]; }

    NetworkFileSystem& owner;
    std::vector<FileEntry> entries;
    zu::u32 current = 0;
    const zu::InplaceString<256> pattern;
};

} // namespace dm
