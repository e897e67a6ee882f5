/// Lists as the file server sends them, read from bytes that may hold anything. No I/O.
///
/// A list is zero-terminated texts laid end to end: how many entries follow, then the entries. The
/// number of bytes alone says where it ends; the first text is only a hint how much room to make.
/// An entry that is not what it should be counts with what could be read of it. A last text
/// without its zero ends with the bytes.
#pragma once

#include <zul/String.h>
#include <zul/Types.h>

#include <string_view>
#include <vector>

namespace dm {

/// Names are plain strings, because a list may make up as many entries as it has bytes.
struct FileEntry
{
    bool isDirectory = false;
    zu::String name;
    zu::u64 size = 0;
    zu::u64 time = 0;
};

/// FLAG SIZE TIME "NAME", where flag 1 is a directory. Names are cut at 511 bytes.
std::vector<FileEntry> readFileEntries(std::string_view list);

/// NUMBER "PATH", whose number says nothing. Paths are cut at 511 bytes.
std::vector<zu::String> readPathEntries(std::string_view list);

/// NAME or NAME,HOSTPATH: the names.
std::vector<zu::String> readMappedFolders(std::string_view list);

} // namespace dm
