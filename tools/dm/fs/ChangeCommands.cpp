/// rm, mv, cp, mkdir: they change what the server has.
#include "tools/dm/fs/FsCommands.h"

#include <cstddef>
#include <set>

namespace tool {

namespace {

using Kind = RemoteFiles::Kind;

///   what   what cannot be done, with the path's name.
[[noreturn]] void failChange(const FsTask& task, const std::string& what, const std::string& path)
{
    throw FileError("cannot " + what + ": " +
                    (task.files.isReadOnly(path)
                         ? "it is read-only"
                         : "the server does not do it; its log may say why"));
}

void removeFile(const FsTask& task, const std::string& path)
{
    if (!task.files.remove(path))
        failChange(task, "delete '" + path + "'", path);
}

/// What the deletion of a tree has come to.
struct Removal
{
    std::set<std::string> failed; // told, and not tried again
    std::size_t entries = 0;
};

/// Deletes what is in a folder. False when there was nothing that could be.
bool removeEntries(const FsTask& task, const std::string& folder, zu::u32 depth, Removal& removal);

void removeTree(const FsTask& task, const std::string& folder, zu::u32 depth, Removal& removal)
{
    if (depth >= zu::FileSystem::kMaxFolderDepth)
        throw FileError("'" + folder + "' is too deep: nothing in it is deleted");
    // A list may have left some out, so what can be deleted shows what else is there; but a server
    // must not keep us at it for ever.
    while (removal.entries < kMaxEntries && removeEntries(task, folder, depth, removal)) {
        if (task.files.removeFolder(folder))
            return;
    }
    if (!task.files.removeFolder(folder))
        failChange(task, "delete '" + folder + "'", folder);
}

bool removeEntries(const FsTask& task, const std::string& folder, zu::u32 depth, Removal& removal)
{
    bool hasRemoved = false;
    for (const RemoteFiles::Entry& entry : task.files.list(folder).entries) {
        const std::string path = join(folder, entry.name);
        if (!isPlainName(entry.name) || ++removal.entries > kMaxEntries)
            continue; // the folder stays then, which is told
        if (!removal.failed.insert(path).second)
            continue;
        task.problems.attempt([&] {
            if (entry.isFolder)
                removeTree(task, path, depth + 1, removal);
            else
                removeFile(task, path);
            removal.failed.erase(path);
            hasRemoved = true;
        });
    }
    return hasRemoved;
}

/// Where something is to go: into the folder if it is one, else there.
std::string targetFor(const FsTask& task, const std::string& from, Kind kind, const std::string& to)
{
    if (task.files.kindOf(to) != Kind::Folder) {
        if (kind == Kind::File)
            requireNameAtEnd(to);
        return to;
    }
    const std::string inside = join(to, lastName(from));
    task.files.check(inside);
    return inside;
}

Kind requireThere(const FsTask& task, const std::string& path)
{
    const Kind kind = task.files.kindOf(path);
    if (kind == Kind::Missing)
        throw FileError("'" + path + "' does not exist");
    return kind;
}

} // namespace

void removePaths(const FsTask& task, const std::vector<std::string>& paths, bool isRecursive)
{
    for (const std::string& path : paths)
        task.problems.attempt([&] {
            task.files.check(path);
            const Kind kind = requireThere(task, path);
            if (kind == Kind::File)
                removeFile(task, path);
            else if (task.files.isMappedFolder(path))
                throw FileError("'" + path +
                                "' is a mapped folder, which stays: name what is in "
                                "it");
            else if (!isRecursive)
                throw FileError("'" + path + "' is a folder: delete it with -r");
            else {
                Removal removal;
                removeTree(task, std::string(trimEnd(path)), 0, removal);
            }
        });
}

void movePath(const FsTask& task, const std::string& from, const std::string& to)
{
    task.files.check(from);
    task.files.check(to);
    const std::string target = targetFor(task, from, requireThere(task, from), to);
    if (!task.files.move(from, target))
        failChange(task, "move '" + from + "' to '" + target + "'", from);
}

void copyPath(const FsTask& task, const std::string& from, const std::string& to)
{
    task.files.check(from);
    task.files.check(to);
    if (requireThere(task, from) == Kind::Folder)
        throw FileError("'" + from + "' is a folder: the server copies files only, one at a time");
    const std::string target = targetFor(task, from, Kind::File, to);
    if (!task.files.copy(from, target))
        failChange(task, "write '" + target + "'", target);
}

void makeFolders(const FsTask& task, const std::vector<std::string>& paths, bool withParents)
{
    for (const std::string& path : paths)
        task.problems.attempt([&] {
            task.files.check(path);
            for (std::size_t end = 1; withParents && end < path.size(); ++end) {
                const std::string above = path.substr(0, end);
                if (isSeparator(path[end]) &&
                    findMappedFolder(task.files.mappedFolders(), above) != nullptr &&
                    !task.files.isMappedFolder(above))
                    task.files.makeFolder(above); // the last one tells whether all are there
            }
            if (!task.files.makeFolder(path) &&
                task.files.kindOf(path) != RemoteFiles::Kind::Folder)
                failChange(task, "make the folder '" + path + "'", path);
        });
}

} // namespace tool
