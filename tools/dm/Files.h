#pragma once

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace tool {

/// The most that a message carries: 4 GiB - 1.
inline constexpr std::size_t kMaxDataBytes = 0xFFFFFFFFu;

struct FileCloser
{
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePointer = std::unique_ptr<std::FILE, FileCloser>;

/// Why the system call or the function of <cstdio> that came last has failed, in words.
std::string lastError();

/// All bytes of the file, or of standard input for "-". Throws ToolError when it cannot be read or
/// holds more than kMaxDataBytes.
std::vector<char> readWhole(const std::string& path);

/// A file that appears under its name whole or not at all.
///
/// Writes beside the target and renames on commit; what is not committed is removed. "-" is
/// standard output, and a pipe or device is written directly: there is nothing to rename.
///
/// Errors: every call throws ToolError, with what went wrong, by name.
class OutputFile
{
public:
    explicit OutputFile(const std::string& path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void write(const void* data, std::size_t size);

    /// Ends the writing, before commit. Returns where the bytes lie until then, for who wants to
    /// look at them again; "" for standard output.
    std::filesystem::path finish();

    void commit();

private:
    void openTemporary();
    [[noreturn]] void fail(const std::string& what) const;

    std::string name; // as the user wrote it
    std::filesystem::path target;
    std::filesystem::path temporary; // empty: written directly
    FilePointer file;
};

/// Writes to standard output and makes sure it got there. Throws ToolError.
void writeOutput(const void* data, std::size_t size);

} // namespace tool
