// What NativeFile.cpp and NativeFileTree.cpp share.
#pragma once

#include "zul/common/NativeFile.h"

#include <string>
#include <sys/stat.h>

namespace zu::posix {

std::string toSystemPath(const char* path);

// Opens without waiting for the other end of a named pipe, and not for child processes. -1 when
// that fails.
int openDescriptor(const std::string& path, int flags, mode_t permissions = 0);

// False when the system reported an error, in which case bytes may be lost.
bool closeDescriptor(int descriptor);

NativeFileInfo infoFromStatus(const struct stat& status);

// Whether none of the permissions to write is set. The system would let the superuser write even
// then; we do not.
bool isWriteProtected(const struct stat& status);

} // namespace zu::posix
