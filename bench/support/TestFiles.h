/// The files that rows read, write and find.
///
/// They lie in a folder under the temporary one (TMPDIR names another), are made when first asked
/// for and go with the process. What an interrupted process has left, the next one removes.
///
/// Contents are the numbers 0, 1, 2 ... of 8 bytes each: those of the large file throughout, those
/// of the small ones as if they stood in it one after the other.
///
/// Errors: throws when they cannot be made, with what to do about it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace bench {

class TestFiles
{
public:
    static constexpr size_t kFilesPerFolder = 500;
    static constexpr size_t kSmallFiles = 10'000;
    static constexpr size_t kSmallFileBytes = 4096;
    static constexpr size_t kListedFiles = 20'000;
    static constexpr uint64_t kLargeFileBytes = 1 << 30;

    static constexpr const char* kListedFolder = "listed"; ///< below the root
    static constexpr const char* kLargeFile = "large";
    static constexpr const char* kWrittenFile = "written"; ///< for a row to make and remove

    static TestFiles& get();

    /// The folder of them all.
    const std::filesystem::path& root() const { return folder; }

    // Each makes the files if need be and leaves nothing to be written to the disk.

    /// Their paths below the root.
    const std::vector<std::string>& small();
    const std::vector<std::string>& listed();
    /// The whole path.
    std::string large();

    /// Throws unless `size` bytes are what stands at `position`, a multiple of 8, in the large
    /// file. Looks at the ends only, which takes no time.
    static void check(uint64_t position, std::span<const char> bytes, size_t size);

private:
    TestFiles();
    ~TestFiles();

    void requireRoom(uint64_t bytes) const;
    std::vector<std::string> makeFiles(const char* name, size_t count, size_t size) const;

    std::filesystem::path folder;
    std::vector<std::string> smallFiles;
    std::vector<std::string> listedFiles;
    bool hasLarge = false;
};

} // namespace bench
