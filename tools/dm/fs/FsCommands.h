#pragma once

#include "tools/dm/Arguments.h"
#include "tools/dm/fs/Copier.h"
#include "tools/dm/fs/CopyMeter.h"
#include "tools/dm/fs/Problems.h"
#include "tools/dm/fs/RemoteFiles.h"

#include <string>
#include <vector>

namespace tool {

/// What a sub-command of `dm fs` works with.
struct FsTask
{
    RemoteFiles& files;
    Problems& problems;
    CopyMeter& meter;
    const Format format;
};

// The sub-commands. They run as ClientSession::runSeries's work; what is wrong with single files
// goes to the problems, what ends the command is thrown.

// Looking: they print.
void printFolders(const FsTask& task);

struct ListOptions
{
    std::string path; // empty: the mapped folders
    bool isLong = false;
    bool isRecursive = false;
};
void printList(const FsTask& task, const ListOptions& options);
void printInfo(const FsTask& task, const std::vector<std::string>& paths);
void printContent(const FsTask& task, const std::vector<std::string>& paths);
void printFound(const FsTask& task, const std::string& pattern);

// Changing what the server has.
void removePaths(const FsTask& task, const std::vector<std::string>& paths, bool isRecursive);
void movePath(const FsTask& task, const std::string& from, const std::string& to);
void copyPath(const FsTask& task, const std::string& from, const std::string& to);
void makeFolders(const FsTask& task, const std::vector<std::string>& paths, bool withParents);

/// Throws when the path of a file to be made ends in a separator: the folder it names is not there.
inline void requireNameAtEnd(const std::string& path)
{
    if (trimEnd(path).size() != path.size())
        throw FileError("there is no folder '" + path + "'");
}

// Copying between here and there.
struct TransferOptions
{
    std::string source;
    std::string target;
    bool isRecursive = false;
    Copier::Check check = Copier::Check::Size;
};
void getPath(const FsTask& task, const TransferOptions& options);
void putPath(const FsTask& task, const TransferOptions& options);

} // namespace tool
