/// Paths and names of a file server, as text. No I/O.
///
/// Both slashes separate folders; what is put together here has '/'.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// A folder that the server offers.
struct MappedFolder
{
    std::string name;
    std::string hostPath; // on the server's machine, "" when it does not tell
};

/// Reads the answer to getMappedFolders, which may hold anything.
std::vector<MappedFolder> readMappedFolders(std::string_view list);

/// The folder that the path is or lies in, in any letter case; the longest, null for none.
const MappedFolder* findMappedFolder(const std::vector<MappedFolder>& folders,
                                     std::string_view path);

/// "'data', 'tools'", for messages.
std::string describe(const std::vector<MappedFolder>& folders);

bool isSeparator(char character);

/// FOLDER/NAME
std::string join(std::string_view folder, std::string_view name);

/// The path without separators at its end.
std::string_view trimEnd(std::string_view path);

/// What stands behind the last separator, other than at the end: "" for "".
std::string_view lastName(std::string_view path);

/// What stands before it: "data/levels" of "data/levels/one.map", "" of "data".
std::string_view parentOf(std::string_view path);

/// Whether a name that a server lists can be part of a path on this machine: one name, neither ".",
/// ".." nor anything with separators or control characters. Nothing that a server calls its files
/// must lead a copy out of its folder.
bool isPlainName(std::string_view name);

/// Why the path cannot stand in a request, for people; "" when it can.
std::string whyNotSendable(std::string_view path);

/// 100-nanosecond intervals since 1601-01-01 UTC as "2026-11-21T17:30:00Z"; "" for 0 and for what
/// lies beyond the year 9999.
std::string describeTime(std::uint64_t ticks);

} // namespace tool
