/// The files of this machine.
///
/// Programs reach it through zu::FileSystem::get() while no other file system is installed; one
/// that is put in front of it takes it from getInstance.
///
/// What is particular to it:
///  - only regular files open; pipes, devices and folders do not.
///  - a read-only file (one that nobody may write, or that this user may not) is never opened for
///    writing, replaced or deleted, not even for a user whom the system would let.
///  - searches see one moment of the folder, in the order of names without regard to case. A link
///    to a folder above the one that is searched is left out, so that every walk ends.
///  - names are taken in the letter case of the disk, although search patterns ignore case.
///
/// Threads, Ownership, Errors: as FileSystem says.
#pragma once

#include <zul/FileSystem.h>

namespace zu {

class ZUL_API LocalFileSystem : public FileSystem
{
public:
    /// The process's one instance, never destroyed. Others can be made; they are all alike.
    static LocalFileSystem& getInstance();

    LocalFileSystem();
    ~LocalFileSystem() override;

    FileHandle* openFile(const char* path, BaseFile::Mode mode) override;
    bool closeFile(FileHandle* handle) override;
    bool fileExists(const char* path) override;
    bool directoryExists(const char* path) override;
    bool isFileReadOnly(const char* path) override;
    bool deleteFile(const char* path) override;
    bool createDirectory(const char* path) override;
    bool deleteDirectory(const char* path) override;
    bool moveFile(const char* from, const char* to, bool replace) override;
    bool copyFile(const char* from, const char* to) override;
    u64 getCurrentPosition(FileHandle* handle) override;
    u64 seekFile(FileHandle* handle, s64 offset, BaseFile::SeekMode mode) override;
    u64 getFileSize(FileHandle* handle) override;
    u64 readFile(FileHandle* handle, void* buffer, u64 count) override;
    u64 writeFile(FileHandle* handle, void* buffer, u64 count) override;
    bool flushFileBuffers(FileHandle* handle) override;
    File::Time getFileTime(FileHandle* handle) override;
    void setFileTime(FileHandle* handle, const File::Time& lastAccess,
                     const File::Time& lastWrite) override;
    bool getFileAttributes(const char* path, u64& size, u64& time) override;
    bool getDiskSpaceInfo(const char* path, u64& freeBytes, u64& totalBytes) override;
    FindFileHandle* findFirstFile(const char* pattern) override;
    FindFileHandle* findNextFile(FindFileHandle* handle) override;
    void findClose(FindFileHandle* handle) override;
    const char* findGetFileName(FindFileHandle* handle) override;
    u64 findGetFileSize(FindFileHandle* handle) override;
    u64 findGetFileTime(FindFileHandle* handle) override;
    bool findIsDirectory(FindFileHandle* handle) override;
    u64 getFileSortKey(FileHandle* handle) override;
};

} // namespace zu
