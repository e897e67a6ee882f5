#include "zul/common/FileNames.h"

#include <zul/File.h>
#include <zul/FileSystem.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <utility>

namespace zu {

namespace {

constexpr const char* kDefaultWritableFolder = "./";

constinit std::atomic<const char*> s_writableFolder{kDefaultWritableFolder};
constinit std::atomic<bool> s_readOnly{false};

// Keeps a text for the life of the process, equal ones once.
const char* keepForever(const std::string& text)
{
    struct Kept
    {
        std::mutex lock;
        std::set<std::string> texts;
    };
    static Kept* s_kept = new Kept;
    std::lock_guard guard(s_kept->lock);
    return s_kept->texts.insert(text).first->c_str();
}

} // namespace

FileException::~FileException() = default;
FileException_FileOpenFailed::~FileException_FileOpenFailed() = default;

File::File(const char* filePath, Mode openMode)
    : File(filePath, openMode, FileSystem::get())
{
}

File::File(const char* filePath, Mode openMode, FileSystem& openFileSystem)
    : fileSystem(openFileSystem)
    , path(filePath)
    , mode(openMode)
{
    open();
}

File::~File()
{
    try {
        close();
    } catch (...) {
        // Whoever wants to know calls close. Not only our own: a file system may throw anything.
    }
}

void File::open()
{
    handle = fileSystem.openFile(path.c_str(), mode);
    if (handle == nullptr) {
        FileException_FileOpenFailed error;
        const char* purpose = mode == Read ? "reading" : "writing";
        error.setError("Cannot open the file \"%s\" for %s", path.c_str(), purpose);
        throw error;
    }
    if (mode != Append)
        return;
    try {
        position = fileSystem.getFileSize(handle);
    } catch (...) {
        fileSystem.closeFile(std::exchange(handle, nullptr));
        throw;
    }
}

void File::fail(const char* what) const
{
    FileException error;
    error.setError("The file \"%s\" %s", path.c_str(), what);
    throw error;
}

void File::requireOpen() const
{
    if (handle == nullptr)
        fail("is closed already");
}

u64 File::read(void* data, u64 size)
{
    requireOpen();
    if (unwritten)
        writeBuffer();
    u64 done = readBuffered(data, size);
    if (done == size)
        return done;
    u8* target = static_cast<u8*>(data) + done;
    u64 rest = size - done;
    return done + (rest < kBufferBytes ? readAhead(target, rest) : readDirectly(target, rest));
}

// Takes what the buffer holds from the position on.
u64 File::readBuffered(void* data, u64 size)
{
    u64 offset = position - bufferPosition;
    if (position < bufferPosition || offset >= bufferedBytes)
        return 0;
    u64 count = std::min(size, bufferedBytes - offset);
    std::memcpy(data, buffer.get() + offset, count);
    position += count;
    return count;
}

u64 File::readAhead(void* data, u64 size)
{
    if (!buffer)
        buffer.reset(new u8[kBufferBytes]);
    moveHandleTo(position);
    bufferPosition = position;
    u64 count = fileSystem.readFile(handle, buffer.get(), kBufferBytes);
    bufferedBytes = static_cast<u32>(std::min<u64>(count, kBufferBytes));
    handlePosition += bufferedBytes;
    return readBuffered(data, size);
}

u64 File::readDirectly(void* data, u64 size)
{
    moveHandleTo(position);
    u64 count = fileSystem.readFile(handle, data, size);
    handlePosition += count;
    position += count;
    return count;
}

u64 File::write(const void* data, u64 size)
{
    requireOpen();
    if (mode == Read)
        fail("was opened for reading only");
    if (!unwritten)
        bufferedBytes = 0; // what was read ahead is about to change
    if (unwritten && (position != bufferEnd() || size > kBufferBytes - bufferedBytes))
        writeBuffer();
    if (size >= kBufferBytes)
        writeDirectly(data, size, position);
    else
        appendToBuffer(data, static_cast<u32>(size));
    position += size;
    return size;
}

void File::appendToBuffer(const void* data, u32 size)
{
    if (size == 0)
        return;
    if (!buffer)
        buffer.reset(new u8[kBufferBytes]);
    if (!unwritten)
        bufferPosition = position;
    unwritten = true;
    std::memcpy(buffer.get() + bufferedBytes, data, size);
    bufferedBytes += size;
}

void File::writeDirectly(const void* data, u64 size, u64 to)
{
    moveHandleTo(to);
    // File systems take the bytes as not const, but only read them.
    u64 count = fileSystem.writeFile(handle, const_cast<void*>(data), size);
    handlePosition += count;
    if (count != size)
        fail("cannot be written: the disk is full, or the file is gone or read-only where it is");
}

// What cannot be written is dropped, so that the failure is reported once.
void File::writeBuffer()
{
    unwritten = false;
    writeDirectly(buffer.get(), std::exchange(bufferedBytes, 0), bufferPosition);
}

void File::moveHandleTo(u64 target)
{
    if (handlePosition != target)
        handlePosition =
            fileSystem.seekFile(handle, static_cast<s64>(target), BaseFile::SeekFromStart);
}

u64 File::seek(s64 offset, SeekMode seekMode)
{
    u64 distance = static_cast<u64>(offset);
    if (seekMode == SeekFromStart)
        position = distance;
    else if (seekMode == SeekFromCurrent)
        position += distance;
    else if (seekMode == SeekFromEnd)
        position = getSize() - distance;
    return position;
}

u64 File::getSize() const
{
    if (handle == nullptr)
        return 0;
    u64 size = fileSystem.getFileSize(handle);
    return unwritten ? std::max(size, bufferEnd()) : size;
}

void File::flush()
{
    requireOpen();
    if (unwritten)
        writeBuffer();
    if (!fileSystem.flushFileBuffers(handle))
        fail("cannot be brought to the disk");
}

void File::close()
{
    if (handle == nullptr)
        return;
    try {
        if (unwritten)
            writeBuffer();
    } catch (...) {
        fileSystem.closeFile(std::exchange(handle, nullptr));
        throw;
    }
    if (!fileSystem.closeFile(std::exchange(handle, nullptr)))
        fail("was closed with bytes lost");
}

const char* File::getFileSysPathForWrite()
{
    return s_writableFolder.load(std::memory_order_acquire);
}

void File::setFileSysPathForWrite(const char* folder)
{
    const char* kept = kDefaultWritableFolder;
    if (folder != nullptr && folder[0] != '\0') {
        std::string text = folder;
        if (!isPathSeparator(text.back()))
            text += '/';
        kept = keepForever(text);
    }
    s_writableFolder.store(kept, std::memory_order_release);
}

bool File::isFileSystemReadOnly() { return s_readOnly.load(std::memory_order_relaxed); }

void File::setFileSystemReadOnly(bool readOnly)
{
    s_readOnly.store(readOnly, std::memory_order_relaxed);
}

const char* File::stripPath(const char* path)
{
    const char* name = path;
    for (const char* character = path; *character != '\0'; ++character) {
        if (isPathSeparator(*character))
            name = character + 1;
    }
    return name;
}

} // namespace zu
