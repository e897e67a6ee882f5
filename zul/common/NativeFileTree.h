// Files and folders of the operating system by name: what a platform supplies for
// zu::LocalFileSystem, together with NativeFile.h, which says what paths and times are.
//
// What did not work changed nothing. Threads: any.
#pragma once

#include "zul/common/NativeFile.h"

#include <zul/Types.h>

#include <string>
#include <vector>

namespace zu {

bool getNativeFileInfo(const char* path, NativeFileInfo& outInfo); // follows links

// Whether it is a regular file that nobody may write, or that this user may not.
bool isNativeFileReadOnly(const char* path);

// Deletes a link itself, not what it points to; no folder and no read-only file.
bool deleteNativeFile(const char* path);
bool createNativeDirectory(const char* path); // false when it exists
bool deleteNativeDirectory(const char* path); // an empty one

// Moves a file or folder, to another disk only a file. Replaces a file only when told to, never a
// read-only one or a folder, and never half: whoever looks sees the old file or the whole new one.
bool moveNativeFile(const char* from, const char* to, bool replace);

// Replaces the file at to by a whole copy in one step, or leaves it as it was. Refuses a read-only
// file and a folder.
bool copyNativeFile(const char* from, const char* to);

bool getNativeDiskSpace(const char* path, u64& outFreeBytes, u64& outTotalBytes);

// Adds the names in a folder, without "." and "..", in any order. False when it cannot be read.
bool listNativeDirectory(const char* path, std::vector<std::string>& outNames);

// About the entry of a folder being listed: what it is, a link being what it points to, or a file
// of no size when it points nowhere. False when the entry is gone, or is a link to one of the
// folders that directory leads through: following that would never end.
bool getNativeEntryInfo(const std::string& directory, const std::string& name,
                        NativeFileInfo& outInfo);

} // namespace zu
