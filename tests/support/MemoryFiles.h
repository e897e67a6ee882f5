/// A file system of a few files in memory, installed for as long as the object lives.
#pragma once

#include <zul/FileSystem.h>
#include <zul/LocalFileSystem.h>

#include <algorithm>
#include <map>
#include <string>

namespace support {

/// Files have no folders: a path is a name. Every operation that is not here goes to the disk.
///
/// Threads: one at a time.
class MemoryFiles : public zu::LocalFileSystem
{
public:
    MemoryFiles() { zu::FileSystem::set(this); }
    ~MemoryFiles() override { zu::FileSystem::set(nullptr); }

    std::map<std::string, std::string> contents;
    zu::u64 freeBytes = ~zu::u64{0}; ///< that can be written before the disk is full
    bool refusesToOpenForWriting = false;
    bool refusesToMove = false;

    zu::FileHandle* openFile(const char* path, zu::BaseFile::Mode mode) override
    {
        if (mode == zu::BaseFile::Read ? contents.count(path) == 0 : refusesToOpenForWriting)
            return nullptr;
        std::string& content = contents[path];
        if (mode == zu::BaseFile::Write)
            content.clear();
        return new Handle(content);
    }
    bool closeFile(zu::FileHandle* handle) override
    {
        delete handle;
        return true;
    }
    bool fileExists(const char* path) override { return contents.count(path) != 0; }
    bool deleteFile(const char* path) override { return contents.erase(path) != 0; }
    bool moveFile(const char* from, const char* to, bool) override
    {
        if (refusesToMove || contents.count(from) == 0)
            return false;
        contents[to] = contents[from];
        contents.erase(from);
        return true;
    }
    zu::u64 getFileSize(zu::FileHandle* handle) override { return contentOf(handle).size(); }
    zu::u64 seekFile(zu::FileHandle* handle, zu::s64 offset, zu::BaseFile::SeekMode) override
    {
        return static_cast<Handle*>(handle)->position = static_cast<zu::u64>(offset);
    }
    zu::u64 readFile(zu::FileHandle* handle, void* buffer, zu::u64 count) override
    {
        zu::u64& position = static_cast<Handle*>(handle)->position;
        const std::string& content = contentOf(handle);
        const zu::u64 done = std::min<zu::u64>(count, content.size() - position);
        std::copy_n(content.data() + position, done, static_cast<char*>(buffer));
        position += done;
        return done;
    }
    zu::u64 writeFile(zu::FileHandle* handle, void* buffer, zu::u64 count) override
    {
        const zu::u64 done = std::min(count, freeBytes);
        freeBytes -= done;
        contentOf(handle).append(static_cast<char*>(buffer), done);
        return done;
    }

private:
    struct Handle : zu::FileHandle
    {
        explicit Handle(std::string& file)
            : content(file)
        {
        }
        std::string& content;
        zu::u64 position = 0;
    };
    static std::string& contentOf(zu::FileHandle* handle)
    {
        return static_cast<Handle*>(handle)->content;
    }
};

} // namespace support
