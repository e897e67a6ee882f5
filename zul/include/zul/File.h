/// A file opened by path, read and written at a position.
///
///     zu::File file("settings.bin", zu::File::Read);
///     char head[4];
///     if (file.read(head, sizeof head) == sizeof head) ...
///
/// Small reads and writes are gathered in a buffer of kBufferBytes, so that fields can be written
/// one by one even where each transfer is a round trip to another machine. For typed fields use
/// zu::FileStream on top; for a whole file at once zu::BufferedMemoryFile.
///
/// Threads: one at a time for each File; the statics may be called from any thread.
/// Ownership: borrows the file system, which must outlive it; closes its handle.
/// Errors: throws. FileException_FileOpenFailed when the file cannot be opened, FileException when
/// bytes cannot be written. Reading past the end is not an error: read returns fewer bytes.
#pragma once

#include <zul/Exception.h>
#include <zul/InplaceString.h>
#include <zul/Types.h>
#include <zul/export.h>

#include <memory>

namespace zu {

class FileHandle;
class FileSystem;

/// How files are opened and positioned, for everything that is like a file.
class BaseFile
{
public:
    enum Mode : u32
    {
        Read = 0,      ///< the file must exist; cannot be written
        ReadWrite = 1, ///< keeps the content; made when it does not exist
        Write = 2,     ///< starts empty; made when it does not exist; can be read too
        Append = 3     ///< like ReadWrite; a File starts at the end, a file system's handle at 0
    };

    enum SeekMode : u32
    {
        SeekFromCurrent = 0, ///< position plus offset
        SeekFromStart = 1,   ///< offset
        SeekFromEnd = 2      ///< size minus offset: a positive offset counts back from the end
    };

protected:
    ~BaseFile() = default;
};

/// Something went wrong with a file; the text names it.
class ZUL_API FileException : public Exception
{
public:
    using Exception::Exception;
    ~FileException() override;
};

/// The file could not be opened: missing, not allowed, or not a file.
class ZUL_API FileException_FileOpenFailed : public FileException
{
public:
    using FileException::FileException;
    ~FileException_FileOpenFailed() override;
};

class ZUL_API File : public BaseFile
{
public:
    /// A point in time: 100-nanosecond intervals since 1601-01-01 UTC, in two halves.
    struct Time
    {
        u32 low = 0;
        u32 high = 0;

        static Time fromTicks(u64 ticks)
        {
            return {static_cast<u32>(ticks & 0xffffffffu), static_cast<u32>(ticks >> 32)};
        }
        u64 toTicks() const { return (static_cast<u64>(high) << 32) | low; }
        bool operator==(const Time&) const = default;
    };

    static constexpr u32 kBufferBytes = 16 * 1024;

    /// Opens the file in the installed file system, or in the one given.
    File(const char* path, Mode mode);
    File(const char* path, Mode mode, FileSystem& fileSystem);

    /// Closes. Bytes that cannot be written any more are lost without a word: call close to know.
    ~File();

    File(const File&) = delete;
    File& operator=(const File&) = delete;

    /// Reads at the position and moves it. Returns the bytes read; fewer than size at the end.
    u64 read(void* data, u64 size);

    /// Writes at the position and moves it. Returns size, always.
    ///
    /// What is gathered in the buffer is written by a later call, so that one may throw for it.
    u64 write(const void* data, u64 size);

    /// Moves the position and returns it. Past the end is allowed; nothing is clamped, so that a
    /// position before the start wraps to one far past the end.
    u64 seek(s64 offset, SeekMode mode);

    u64 getPosition() const { return position; }

    /// The file's size with what is still in the buffer.
    u64 getSize() const;

    /// Writes the buffer and has the file system bring the file to the disk, which takes time.
    void flush();

    /// Writes the buffer and closes, in this order and closing even when it throws. Does nothing
    /// when closed already. Afterwards read and write throw.
    void close();

    bool isOpen() const { return handle != nullptr; }

    /// The folder for what the program itself keeps, such as caches; ends with a separator.
    ///
    /// The working directory ("./") unless setFileSysPathForWrite was called. The text stays valid
    /// and unchanged for the life of the process, also when another folder is set.
    static const char* getFileSysPathForWrite();

    /// Chooses that folder; it must exist. A separator is appended if missing; null or "" goes back
    /// to the default.
    static void setFileSysPathForWrite(const char* path);

    /// Whether the program was told to keep nothing. Whoever is about to write something on its own
    /// account asks first; File does not enforce it.
    static bool isFileSystemReadOnly();
    static void setFileSystemReadOnly(bool readOnly);

    /// The path from behind its last '/' or '\'; the whole path when there is none. A pointer into
    /// path.
    static const char* stripPath(const char* path);

private:
    void open();
    void requireOpen() const;
    [[noreturn]] void fail(const char* what) const;
    u64 readBuffered(void* data, u64 size);
    u64 readAhead(void* data, u64 size);
    u64 readDirectly(void* data, u64 size);
    void writeDirectly(const void* data, u64 size, u64 to);
    void appendToBuffer(const void* data, u32 size);
    void writeBuffer();
    void moveHandleTo(u64 target);
    u64 bufferEnd() const { return bufferPosition + bufferedBytes; }

    FileSystem& fileSystem;
    FileHandle* handle = nullptr;
    const InplaceString<256> path;
    const Mode mode;
    u64 position = 0;       // the caller's
    u64 handlePosition = 0; // the handle's

    // Either bytes read ahead or bytes not yet written, as unwritten says.
    std::unique_ptr<u8[]> buffer;
    u64 bufferPosition = 0;
    u32 bufferedBytes = 0;
    bool unwritten = false;
};

} // namespace zu
