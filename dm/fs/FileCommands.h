/// The file protocol's commands and short answers as text. No I/O: arguments in, text out, and
/// back.
///
/// Paths stand between double quotes as they are; nothing is escaped.
#pragma once

#include <zul/File.h>
#include <zul/InplaceString.h>
#include <zul/Types.h>

namespace dm {

using Command = zu::InplaceString<256>;

/// The commands whose only argument is a path or pattern.
enum class PathCommand : int
{
    FileExists,
    DirectoryExists,
    IsFileReadOnly,
    DeleteFile,
    CreateDirectory,
    DeleteDirectory,
    GetFileSize,
    GetFileTime,
    FindFiles,
};

/// Null counts as "" wherever a path is.
Command makeCommand(PathCommand command, const char* path);
Command makeMoveFile(const char* from, const char* to);
Command makeCopyFile(const char* from, const char* to);

/// Position and count go as the signed numbers that their low 32 bits are.
Command makeRead(zu::u64 position, zu::u64 count, const char* path);
Command makeWrite(zu::u64 position, zu::u64 count, const char* path);

///   filter   null for all files.
Command makeFindFilesRecursive(const char* folder, const char* filter, bool recursive);
Command makeGetMappedFolders();

// Answers. What a number should be and is not, is 0.

/// Yes is "true" in any letter case; all else is no.
bool readYes(const zu::String& answer);
/// Never more than 2^63 - 1: a negative size is 0.
zu::u64 readSize(const zu::String& answer);
/// At most `limit`, the number of bytes that were sent.
zu::u32 readWritten(const zu::String& answer, zu::u32 limit);
/// Two signed halves, the low one first.
zu::File::Time readTime(const zu::String& answer);

} // namespace dm
