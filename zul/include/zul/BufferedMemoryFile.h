/// A whole file, read into memory at once.
///
///     zu::BufferedMemoryFile file("levels/one.map");
///     parse(file.getData(), file.getSize());
///
/// Threads: reading it, any.
/// Ownership: owns the bytes, whose memory is taken as they are read. The file itself is closed
/// again when the constructor returns.
/// Errors: FileException_FileOpenFailed when the file cannot be opened, FileException when it does
/// not fit into memory or ends before the size it was opened with.
#pragma once

#include <zul/File.h>
#include <zul/Memory.h>
#include <zul/Types.h>
#include <zul/export.h>

namespace zu {

class ZUL_API BufferedMemoryFile
{
public:
    /// Reads from the installed file system, or from the one given.
    explicit BufferedMemoryFile(const char* path);
    BufferedMemoryFile(const char* path, FileSystem& fileSystem);

    BufferedMemoryFile(const BufferedMemoryFile&) = delete;
    BufferedMemoryFile& operator=(const BufferedMemoryFile&) = delete;

    /// Valid while this object lives; null when the file is empty.
    const void* getData() const { return bytes.data(); }
    u64 getSize() const { return bytes.size(); }

private:
    ZeroedBuffer bytes;
};

} // namespace zu
