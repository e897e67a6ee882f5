#include "dm/fs/FileCommands.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace dm {

namespace {

const char* nameOf(PathCommand command)
{
    switch (command) {
    case PathCommand::FileExists:
        return "fileExists";
    case PathCommand::DirectoryExists:
        return "directoryExists";
    case PathCommand::IsFileReadOnly:
        return "isFileReadOnly";
    case PathCommand::DeleteFile:
        return "deleteFile";
    case PathCommand::CreateDirectory:
        return "createDirectory";
    case PathCommand::DeleteDirectory:
        return "deleteDirectory";
    case PathCommand::GetFileSize:
        return "getFileSize";
    case PathCommand::GetFileTime:
        return "getFileTime";
    case PathCommand::FindFiles:
        return "findFiles";
    }
    return "";
}

const char* textOf(const char* path) { return path != nullptr ? path : ""; }

int lowHalf(zu::u64 value) { return static_cast<int>(static_cast<zu::u32>(value)); }

} // namespace

Command makeCommand(PathCommand command, const char* path)
{
    return zu::str("%s \"%s\"", nameOf(command), textOf(path));
}

Command makeMoveFile(const char* from, const char* to)
{
    return zu::str("moveFile \"%s\" \"%s\"", textOf(from), textOf(to));
}

Command makeCopyFile(const char* from, const char* to)
{
    return zu::str("copyFile \"%s\" \"%s\"", textOf(from), textOf(to));
}

Command makeRead(zu::u64 position, zu::u64 count, const char* path)
{
    return zu::str("read %i %i \"%s\"", lowHalf(position), lowHalf(count), textOf(path));
}

Command makeWrite(zu::u64 position, zu::u64 count, const char* path)
{
    return zu::str("write %i %i \"%s\"", lowHalf(position), lowHalf(count), textOf(path));
}

Command makeFindFilesRecursive(const char* folder, const char* filter, bool recursive)
{
    return zu::str("findFilesRecursive \"%s\" \"%s\" %i", textOf(folder),
                   filter != nullptr ? filter : "*", recursive ? 1 : 0);
}

Command makeGetMappedFolders() { return "getMappedFolders"; }

bool readYes(const zu::String& answer) { return answer.equalsNoCase("true"); }

zu::u64 readSize(const zu::String& answer)
{
    return static_cast<zu::u64>(std::max(0ll, std::strtoll(answer.c_str(), nullptr, 10)));
}

zu::u32 readWritten(const zu::String& answer, zu::u32 limit)
{
    const long long written = std::strtoll(answer.c_str(), nullptr, 10);
    return static_cast<zu::u32>(std::clamp<long long>(written, 0, limit));
}

zu::File::Time readTime(const zu::String& answer)
{
    int low = 0;
    int high = 0;
    std::sscanf(answer.c_str(), "%i %i", &low, &high);
    return {static_cast<zu::u32>(low), static_cast<zu::u32>(high)};
}

} // namespace dm
