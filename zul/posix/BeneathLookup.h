// Opening what a path names without ever leaving a folder.
#pragma once

#include "zul/posix/FileSupport.h"

#include <zul/ConfinedFolder.h>

#include <fcntl.h>
#include <string>

namespace zu::posix {

// To stand in a folder or look at something, which opens neither a device nor a pipe.
#ifdef O_PATH
inline constexpr int kHandleOnly = O_PATH;
#else
inline constexpr int kHandleOnly = O_RDONLY;
#endif

// Where a path begins, and how it is followed.
struct BeneathRoot
{
    int folder;
    ConfinedFolder::Links links;
    ConfinedFolder::Lookup lookup;
};

// Whether the system knows how to look a path up beneath the folder, and lets us.
bool canLookUpWhole(int folder);

// Opens what is there, with flags for open that create nothing; never waits for a named pipe. The
// path is a normal one. Not open, and errno, when that fails: ELOOP is a link that is not followed,
// or too many of them, EXDEV one that leads out.
Descriptor openBeneath(const BeneathRoot& root, const std::string& path, int flags);

} // namespace zu::posix
