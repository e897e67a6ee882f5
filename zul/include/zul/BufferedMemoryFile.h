/// A whole file, read into memory at once.
///
///     zu::BufferedMemoryFile file("levels/one.map");
///     parse(file.getData(), file.getSize());
///
/// Threads: reading it, any.
/// Ownership: owns the bytes. The file itself is closed again when the constructor returns.
/// Errors: FileException_FileOpenFailed when the file cannot be opened, FileException when it does
/// not fit into memory or ends before the size it was opened with.
#pragma once

#include <zul/File.h>
#include <zul/Types.h>
#include <zul/export.h>

namespace zu {

class ZUL_API BufferedMemoryFile
{
public:
    /// Reads from the installed file system, or from the one given.
    explicit BufferedMemoryFile(const char* path);
    BufferedMemoryFile(const char* path, FileSystem& fileSystem);
    ~BufferedMemoryFile();

    BufferedMemoryFile(const BufferedMemoryFile&) = delete;
    BufferedMemoryFile& operator=(const BufferedMemoryFile&) = delete;

    const void* getData() const { return data; } ///< never null, also when the file is empty
    u64 getSize() const { return size; }

private:
    void readFrom(FileSystem& fileSystem, FileHandle* handle, const char* path);

    u8* data = nullptr;
    u64 size = 0;
};

} // namespace zu
