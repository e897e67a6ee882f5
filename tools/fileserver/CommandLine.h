/// The commands that games send, as text: which there are, and what they are about. No I/O.
///
///     fileExists "data/a.map"               → FileExists, path data/a.map
///     read 0 4096 "data/a.map"              → Read, position 0, count 4096, path data/a.map
///     moveFile "data/a" "data/b"            → MoveFile, path data/a, secondPath data/b
///     findFilesRecursive "data" "*.map" 1   → FindFilesRecursive, path data, filter *.map,
///     recursive
///
/// Taken is what games print, to the letter; all else is refused rather than guessed at. Nothing
/// is escaped: a single path ends at the last quote, so that it may hold others; where it cannot be
/// told which of several quotes ends the first of two paths, the line is refused.
///
/// Threads: any.
#pragma once

#include <dm/comm.h>

#include <array>
#include <string_view>

namespace fileserver {

enum class CommandId
{
    FileExists,
    DirectoryExists,
    IsFileReadOnly,
    DeleteFile,
    CreateDirectory,
    DeleteDirectory,
    MoveFile,
    CopyFile,
    GetFileSize,
    GetFileTime,
    Read,
    Write,
    FindFiles,
    FindFilesRecursive,
    GetMappedFolders
};

enum class Access
{
    Read,
    Write
};

/// What follows a command's name.
enum class Arguments
{
    None,
    Path,
    TwoPaths,
    RangeAndPath, ///< position, count, path
    Search        ///< folder, filter, 1 or 0
};

/// What a command is answered with.
enum class AnswerKind
{
    YesNo,
    Size,
    Time,
    Data,
    Written,
    List
};

struct CommandSyntax
{
    std::string_view name;
    CommandId id;
    Access access;
    Arguments arguments;
    AnswerKind answer;
};

/// All commands, in the order of their ids. The only place that says which of them write.
inline constexpr std::array<CommandSyntax, 15> kCommands = {{
    {"fileExists", CommandId::FileExists, Access::Read, Arguments::Path, AnswerKind::YesNo},
    {"directoryExists", CommandId::DirectoryExists, Access::Read, Arguments::Path,
     AnswerKind::YesNo},
    {"isFileReadOnly", CommandId::IsFileReadOnly, Access::Read, Arguments::Path, AnswerKind::YesNo},
    {"deleteFile", CommandId::DeleteFile, Access::Write, Arguments::Path, AnswerKind::YesNo},
    {"createDirectory", CommandId::CreateDirectory, Access::Write, Arguments::Path,
     AnswerKind::YesNo},
    {"deleteDirectory", CommandId::DeleteDirectory, Access::Write, Arguments::Path,
     AnswerKind::YesNo},
    {"moveFile", CommandId::MoveFile, Access::Write, Arguments::TwoPaths, AnswerKind::YesNo},
    {"copyFile", CommandId::CopyFile, Access::Write, Arguments::TwoPaths, AnswerKind::YesNo},
    {"getFileSize", CommandId::GetFileSize, Access::Read, Arguments::Path, AnswerKind::Size},
    {"getFileTime", CommandId::GetFileTime, Access::Read, Arguments::Path, AnswerKind::Time},
    {"read", CommandId::Read, Access::Read, Arguments::RangeAndPath, AnswerKind::Data},
    {"write", CommandId::Write, Access::Write, Arguments::RangeAndPath, AnswerKind::Written},
    {"findFiles", CommandId::FindFiles, Access::Read, Arguments::Path, AnswerKind::List},
    {"findFilesRecursive", CommandId::FindFilesRecursive, Access::Read, Arguments::Search,
     AnswerKind::List},
    {"getMappedFolders", CommandId::GetMappedFolders, Access::Read, Arguments::None,
     AnswerKind::List},
}};

/// What a line says; the texts are parts of it. What the command does not have is empty or 0.
struct ParsedCommand
{
    std::string_view path;       ///< or the pattern of FindFiles
    std::string_view secondPath; ///< where a move or copy goes
    std::string_view filter;
    dm::uint32 position = 0; ///< at most 2^31 - 1, as is count
    dm::uint32 count = 0;
    bool isRecursive = false;
};

/// The command that a line begins with; null when it is none. Looks at the first word only.
const CommandSyntax* findCommand(std::string_view line);

/// Reads a line that begins with the command. False, and why in outError, when it is not as games
/// print it.
bool parse(const CommandSyntax& command, std::string_view line, ParsedCommand& out,
           const char*& outError);

} // namespace fileserver
