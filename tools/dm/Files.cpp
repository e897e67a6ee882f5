#include "tools/dm/Files.h"

#include "tools/dm/ExitCode.h"

#include <cerrno>
#include <cstring>
#include <random>
#include <system_error>

namespace tool {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void failReading(const std::string& name, const std::string& why)
{
    throw ToolError(ExitCode::File, "cannot read " + name + ": " + why);
}

std::vector<char> readAll(std::FILE* file, const std::string& name, std::size_t expectedBytes)
{
    constexpr std::size_t kPieceBytes = 1024 * 1024;
    std::vector<char> bytes;
    // A byte more than expected lets the usual file end without another growth.
    bytes.reserve(expectedBytes + 1);
    for (;;) {
        const std::size_t filled = bytes.size();
        const std::size_t room = bytes.capacity() - filled;
        bytes.resize(filled + (room == 0 ? kPieceBytes : std::min(room, kPieceBytes)));
        const std::size_t count = std::fread(bytes.data() + filled, 1, bytes.size() - filled, file);
        bytes.resize(filled + count);
        if (bytes.size() > kMaxDataBytes)
            failReading(name, "it holds more than the 4 GiB - 1 bytes a message carries");
        if (std::ferror(file) != 0)
            failReading(name, lastError());
        if (count == 0)
            return bytes;
    }
}

// Different in every process, so that two runs do not write into one temporary file.
std::string uniqueSuffix()
{
    std::random_device device;
    return std::to_string(device()) + ".part";
}

} // namespace

std::string lastError() { return std::generic_category().message(errno); }

std::vector<char> readWhole(const std::string& path)
{
    if (path == "-")
        return readAll(stdin, "standard input", 0);
    std::error_code error;
    if (fs::is_directory(path, error))
        failReading(path, "it is a folder");
    const FilePointer file(std::fopen(path.c_str(), "rb"));
    if (file == nullptr)
        failReading(path, lastError());
    const auto size = fs::is_regular_file(path, error) ? fs::file_size(path, error) : 0;
    if (!error && size > kMaxDataBytes)
        failReading(path, "it holds more than the 4 GiB - 1 bytes a message carries");
    return readAll(file.get(), path, error ? 0 : static_cast<std::size_t>(size));
}

OutputFile::OutputFile(const std::string& path)
    : name(path)
{
    if (path == "-")
        return;
    std::error_code error;
    // Through a link to what it names: the link stays one.
    target = fs::weakly_canonical(path, error);
    if (error)
        target = path;
    if (fs::is_directory(target, error))
        fail("it is a folder");
    if (!fs::exists(target, error) || fs::is_regular_file(target, error)) {
        openTemporary();
        return;
    }
    file.reset(std::fopen(target.c_str(), "wb"));
    if (file == nullptr)
        fail(lastError());
}

void OutputFile::openTemporary()
{
    constexpr std::size_t kLongBytes = 200; // names end at 255
    fs::path beside = target;
    const std::string own = target.filename().string();
    beside.replace_filename("." + (own.size() > kLongBytes ? "dm" : own) + "." + uniqueSuffix());
    file.reset(std::fopen(beside.c_str(), "wbx"));
    if (file == nullptr)
        fail(lastError());
    temporary = beside;
    std::error_code error;
    const fs::file_status previous = fs::status(target, error);
    if (fs::exists(previous))
        fs::permissions(temporary, previous.permissions(), error);
}

OutputFile::~OutputFile()
{
    file.reset();
    std::error_code error;
    if (!temporary.empty())
        fs::remove(temporary, error);
}

void OutputFile::write(const void* data, std::size_t size)
{
    if (name == "-")
        writeOutput(data, size);
    else if (size != 0 && std::fwrite(data, 1, size, file.get()) != size)
        fail(lastError());
}

fs::path OutputFile::finish()
{
    if (file != nullptr && std::fclose(file.release()) != 0)
        fail(lastError());
    return temporary.empty() ? target : temporary;
}

void OutputFile::commit()
{
    finish();
    if (temporary.empty())
        return;
    std::error_code error;
    fs::rename(temporary, target, error);
    if (error)
        fail(error.message());
    temporary.clear();
}

void OutputFile::fail(const std::string& what) const
{
    throw ToolError(ExitCode::File, "cannot write " + name + ": " + what);
}

void writeOutput(const void* data, std::size_t size)
{
    if ((size != 0 && std::fwrite(data, 1, size, stdout) != size) || std::fflush(stdout) != 0)
        throw ToolError(ExitCode::File, "cannot write to standard output: " + lastError());
}

} // namespace tool
