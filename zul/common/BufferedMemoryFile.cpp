#include <zul/BufferedMemoryFile.h>
#include <zul/FileSystem.h>

#include <algorithm>

namespace zu {

namespace {

// What one read asks for: small enough for every file system, large enough to cost nothing.
constexpr u64 kPieceBytes = 16 * 1024 * 1024;

[[noreturn]] void fail(const char* path, const char* what)
{
    FileException error;
    error.setError("The file \"%s\" %s", path, what);
    throw error;
}

} // namespace

BufferedMemoryFile::BufferedMemoryFile(const char* path)
    : BufferedMemoryFile(path, FileSystem::get())
{
}

BufferedMemoryFile::BufferedMemoryFile(const char* path, FileSystem& fileSystem)
{
    File file(path, File::Read, fileSystem);
    u64 size = file.getSize();
    bytes = ZeroedBuffer::tryAllocate(size);
    if (size != 0 && bytes.data() == nullptr)
        fail(path, "does not fit into memory");
    for (u64 done = 0; done < size;) {
        u64 count = file.read(bytes.data() + done, std::min(size - done, kPieceBytes));
        if (count == 0)
            fail(path, "ends before the size it was opened with");
        done += count;
    }
}

} // namespace zu
