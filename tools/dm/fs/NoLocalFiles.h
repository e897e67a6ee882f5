#pragma once

#include <zul/FileSystem.h>

namespace tool {

/// A file system without a file.
///
/// NetworkFileSystem hands paths that are not the server's to the file system behind it. A tool
/// that deletes on a server must never delete here instead, whatever folders a server names at its
/// second connection; so behind this tool's one there is nothing.
class NoLocalFiles : public zu::FileSystem
{
public:
    zu::FileHandle* openFile(const char*, zu::BaseFile::Mode) override { return nullptr; }
    bool closeFile(zu::FileHandle*) override { return false; }
    bool fileExists(const char*) override { return false; }
    bool directoryExists(const char*) override { return false; }
    bool isFileReadOnly(const char*) override { return false; }
    bool deleteFile(const char*) override { return false; }
    bool createDirectory(const char*) override { return false; }
    bool deleteDirectory(const char*) override { return false; }
    bool moveFile(const char*, const char*, bool) override { return false; }
    bool copyFile(const char*, const char*) override { return false; }
    zu::u64 getCurrentPosition(zu::FileHandle*) override { return 0; }
    zu::u64 seekFile(zu::FileHandle*, zu::s64, zu::BaseFile::SeekMode) override { return 0; }
    zu::u64 getFileSize(zu::FileHandle*) override { return 0; }
    zu::u64 readFile(zu::FileHandle*, void*, zu::u64) override { return 0; }
    zu::u64 writeFile(zu::FileHandle*, void*, zu::u64) override { return 0; }
    bool flushFileBuffers(zu::FileHandle*) override { return false; }
    zu::File::Time getFileTime(zu::FileHandle*) override { return {}; }
    void setFileTime(zu::FileHandle*, const zu::File::Time&, const zu::File::Time&) override {}
    bool getFileAttributes(const char*, zu::u64&, zu::u64&) override { return false; }
    bool getDiskSpaceInfo(const char*, zu::u64&, zu::u64&) override { return false; }
    zu::FindFileHandle* findFirstFile(const char*) override { return nullptr; }
    zu::FindFileHandle* findNextFile(zu::FindFileHandle*) override { return nullptr; }
    void findClose(zu::FindFileHandle*) override {}
    const char* findGetFileName(zu::FindFileHandle*) override { return ""; }
    zu::u64 findGetFileSize(zu::FindFileHandle*) override { return 0; }
    zu::u64 findGetFileTime(zu::FindFileHandle*) override { return 0; }
    bool findIsDirectory(zu::FindFileHandle*) override { return false; }
    zu::u64 getFileSortKey(zu::FileHandle*) override { return 0; }
};

} // namespace tool
