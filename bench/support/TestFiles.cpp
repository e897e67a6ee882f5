#include "bench/support/TestFiles.h"

#include "bench/support/Platform.h"
#include "bench/support/Processes.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFolderPrefix = "dm_bench_files.";

void removeLeftovers()
{
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(fs::temp_directory_path(), ignored)) {
        const std::string name = entry.path().filename();
        if (!name.starts_with(kFolderPrefix))
            continue;
        const std::string number = name.substr(std::strlen(kFolderPrefix));
        if (!isProcessRunning(std::atoi(number.c_str())))
            fs::remove_all(entry.path(), ignored);
    }
}

/// Numbers from `first` on, as many as fit into `size` bytes.
std::vector<char> numbers(uint64_t first, size_t size)
{
    std::vector<char> bytes(size);
    for (size_t offset = 0; offset < size; offset += sizeof first, ++first)
        std::memcpy(bytes.data() + offset, &first, sizeof first);
    return bytes;
}

uint64_t numberAt(const char* bytes)
{
    uint64_t number = 0;
    std::memcpy(&number, bytes, sizeof number);
    return number;
}

void write(std::ofstream& file, const std::vector<char>& bytes)
{
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::ofstream createFile(const fs::path& path)
{
    std::ofstream file(path, std::ios::binary);
    file.exceptions(std::ios::failbit | std::ios::badbit);
    return file;
}

/// "stem07": as many digits for each of `count` numbers.
std::string numbered(const char* stem, size_t number, size_t count)
{
    const auto digits = static_cast<int>(std::to_string(count - 1).size());
    char text[32];
    std::snprintf(text, sizeof text, "%s%0*zu", stem, digits, number);
    return text;
}

} // namespace

TestFiles& TestFiles::get()
{
    static TestFiles s_files;
    return s_files;
}

TestFiles::TestFiles()
{
    removeLeftovers();
    folder = fs::temp_directory_path() / (kFolderPrefix + std::to_string(ownProcessId()));
    fs::create_directories(folder);
}

TestFiles::~TestFiles()
{
    std::error_code ignored;
    fs::remove_all(folder, ignored);
}

void TestFiles::requireRoom(uint64_t bytes) const
{
    const uint64_t reserve = bytes / 4;
    if (fs::space(folder).available < bytes + reserve)
        throw std::runtime_error("skipped: no room for the test files in " +
                                 folder.parent_path().string() +
                                 "; make some, or set TMPDIR to another folder");
}

std::vector<std::string> TestFiles::makeFiles(const char* name, size_t count, size_t size) const
{
    constexpr uint64_t kBlockBytes = 4096; // what a file takes on the disk, or its entry alone
    requireRoom(count * kBlockBytes);
    std::vector<std::string> paths;
    std::string inner;
    for (size_t i = 0; i < count; ++i) {
        if (i % kFilesPerFolder == 0) {
            inner = std::string(name) + "/" +
                    numbered("d", i / kFilesPerFolder, count / kFilesPerFolder);
            fs::create_directories(folder / inner);
        }
        paths.push_back(inner + "/" + numbered("f", i % kFilesPerFolder, kFilesPerFolder));
        std::ofstream file = createFile(folder / paths.back());
        write(file, numbers(i * size / sizeof(uint64_t), size));
    }
    flushFileSystem(folder);
    return paths;
}

const std::vector<std::string>& TestFiles::small()
{
    if (smallFiles.empty())
        smallFiles = makeFiles("small", kSmallFiles, kSmallFileBytes);
    return smallFiles;
}

const std::vector<std::string>& TestFiles::listed()
{
    if (listedFiles.empty())
        listedFiles = makeFiles(kListedFolder, kListedFiles, 0);
    return listedFiles;
}

std::string TestFiles::large()
{
    const fs::path path = folder / kLargeFile;
    if (hasLarge)
        return path;
    requireRoom(2 * kLargeFileBytes); // there is to be room for a copy
    constexpr size_t kBlockBytes = 1 << 20;
    std::ofstream file = createFile(path);
    for (uint64_t position = 0; position < kLargeFileBytes; position += kBlockBytes)
        write(file, numbers(position / sizeof(uint64_t), kBlockBytes));
    file.close();
    flushFileSystem(folder);
    hasLarge = true;
    return path;
}

void TestFiles::check(uint64_t position, std::span<const char> bytes, size_t size)
{
    const uint64_t first = position / sizeof(uint64_t);
    const uint64_t last = first + size / sizeof(uint64_t) - 1;
    if (size != bytes.size() || numberAt(bytes.data()) != first ||
        numberAt(bytes.data() + size - sizeof last) != last)
        throw std::runtime_error("wrong bytes at " + std::to_string(position));
}

} // namespace bench
