#include "tools/dm/fs/RemoteFiles.h"

#include <dm/fs.h>

#include <algorithm>
#include <string_view>
#include <unordered_set>

namespace tool {

namespace {

// A list this close to the limit may have been cut at a whole entry.
constexpr std::size_t kLongestEntryBytes = 4200;

bool mayBeCut(std::size_t listBytes)
{
    return listBytes + kLongestEntryBytes > dm::NetworkFileSystem::kMaxListBytes;
}

// What the entry takes in a list: FLAG SIZE TIME "NAME" and its zero.
std::size_t listedBytes(const RemoteFiles::Entry& entry)
{
    return 7 + std::to_string(entry.size).size() + std::to_string(entry.time).size() +
           entry.name.size();
}

} // namespace

std::string describeCut(const std::string& folder)
{
    return "the list of '" + folder + "' is as long as the protocol carries: there may be more";
}

void RemoteFiles::throwIfEnding() const
{
    if (session.isEnding())
        throw Ended();
}

void RemoteFiles::check(const std::string& path) const
{
    const std::string why = whyNotSendable(path);
    if (!why.empty())
        throw FileError("'" + path + "' cannot be asked for: " + why);
    if (folders.empty())
        throw FileError("the server has no folders, so not '" + path + "' either");
    if (findMappedFolder(folders, path) == nullptr)
        throw FileError("'" + path + "' is not in a folder of the server, which has " +
                        tool::describe(folders) + ": begin with one of them");
}

bool RemoteFiles::isMappedFolder(const std::string& path) const
{
    const MappedFolder* const folder = findMappedFolder(folders, path);
    if (folder == nullptr)
        return false;
    // Also by another name: the server reads "data/./" as "data".
    std::string_view rest = std::string_view(path).substr(trimEnd(folder->name).size());
    for (rest = trimEnd(rest); !rest.empty(); rest = parentOf(rest)) {
        if (lastName(rest) != ".")
            return false;
    }
    return true;
}

std::vector<std::string> RemoteFiles::foldersWithFiles(const std::string& folder)
{
    const auto found = ask([&] {
        zu::FileSystem::PathList paths;
        network.listFiles(paths, folder.c_str(), nullptr, true);
        return paths;
    });
    std::vector<std::string> above;
    for (const auto& path : found) {
        std::string one(parentOf(path.view()));
        if (above.empty() || above.back() != one)
            above.push_back(std::move(one));
    }
    return above;
}

RemoteFiles::Kind RemoteFiles::kindOf(const std::string& path)
{
    if (ask([&] { return network.fileExists(path.c_str()); }))
        return Kind::File;
    return ask([&] { return network.directoryExists(path.c_str()); }) ? Kind::Folder
                                                                      : Kind::Missing;
}

std::uint64_t RemoteFiles::sizeOf(const std::string& path)
{
    // To open for both asks for nothing but the size.
    return RemoteFile(*this, path, zu::File::ReadWrite).size();
}

RemoteFiles::Entry RemoteFiles::describe(const std::string& path)
{
    Entry entry{path, false, 0, 0};
    zu::u64 size = 0;
    zu::u64 time = 0;
    if (ask([&] { return network.getFileAttributes(path.c_str(), size, time); })) {
        entry.size = size;
        entry.time = time;
    } else if (ask([&] { return network.directoryExists(path.c_str()); }))
        entry.isFolder = true;
    else
        throw FileError("'" + path + "' does not exist");
    return entry;
}

bool RemoteFiles::isReadOnly(const std::string& path)
{
    return ask([&] { return network.isFileReadOnly(path.c_str()); });
}

RemoteFiles::Listing RemoteFiles::list(const std::string& folder)
{
    std::vector<Entry> entries = ask([&] {
        std::vector<Entry> read;
        const std::string pattern = join(folder, "*");
        zu::FindFileHandle* found = network.findFirstFile(pattern.c_str());
        for (; found != nullptr; found = network.findNextFile(found))
            read.push_back({network.findGetFileName(found), network.findIsDirectory(found),
                            network.findGetFileSize(found), network.findGetFileTime(found)});
        return read;
    });
    std::size_t bytes = 0;
    for (const Entry& entry : entries)
        bytes += listedBytes(entry);
    addTwins(folder, entries);
    return {std::move(entries), mayBeCut(bytes)};
}

/// A search shows one of several names that differ in letter case only; the other kind of list
/// shows all.
void RemoteFiles::addTwins(const std::string& folder, std::vector<Entry>& entries)
{
    const auto files = ask([&] {
        zu::FileSystem::PathList paths;
        network.listFiles(paths, folder.c_str(), nullptr, false);
        return paths;
    });
    const auto known = static_cast<std::size_t>(std::count_if(
        entries.begin(), entries.end(), [](const Entry& entry) { return !entry.isFolder; }));
    if (files.size() <= known)
        return;
    std::unordered_set<std::string> names;
    for (const Entry& entry : entries)
        names.insert(entry.name);
    for (const auto& path : files) {
        const std::string name(lastName(path.view()));
        if (!names.insert(name).second || !isPlainName(name))
            continue;
        Entry twin{name, false, 0, 0};
        zu::u64 size = 0;
        zu::u64 time = 0;
        if (ask([&] { return network.getFileAttributes(join(folder, name).c_str(), size, time); }))
        {
            twin.size = size;
            twin.time = time;
        }
        entries.push_back(twin);
    }
}

std::vector<std::string> RemoteFiles::find(const std::string& folder, const std::string& wildcard)
{
    const auto found = ask([&] {
        zu::FileSystem::PathList paths;
        network.listFiles(paths, folder.c_str(), wildcard.c_str(), true);
        return paths;
    });
    std::vector<std::string> paths;
    std::size_t bytes = 0;
    for (const auto& path : found) {
        paths.emplace_back(path.view());
        bytes += path.length() + 5; // NUMBER "PATH" and its zero
    }
    if (mayBeCut(bytes))
        problems.note("what was found is as much as the protocol carries: there may be more, "
                      "dm fs ls -R, which asks for one folder after the other, shows it");
    return paths;
}

bool RemoteFiles::remove(const std::string& file)
{
    return ask([&] { return network.deleteFile(file.c_str()); }) || kindOf(file) == Kind::Missing;
}

bool RemoteFiles::removeFolder(const std::string& folder)
{
    return ask([&] { return network.deleteDirectory(folder.c_str()); }) ||
           kindOf(folder) == Kind::Missing;
}

bool RemoteFiles::makeFolder(const std::string& folder)
{
    return ask([&] { return network.createDirectory(folder.c_str()); });
}

bool RemoteFiles::move(const std::string& from, const std::string& to)
{
    return ask([&] { return network.moveFile(from.c_str(), to.c_str(), true); }) ||
           (kindOf(from) == Kind::Missing && kindOf(to) != Kind::Missing);
}

bool RemoteFiles::copy(const std::string& from, const std::string& to)
{
    return ask([&] { return network.copyFile(from.c_str(), to.c_str()); });
}

bool RemoteFiles::discard(const std::string& file) noexcept
{
    try {
        if (network.deleteFile(file.c_str()))
            return true;
        // Without a connection every answer is no.
        return !session.isEnding() && !network.fileExists(file.c_str());
    } catch (...) {
        return false; // no memory for the question
    }
}

RemoteFile::RemoteFile(RemoteFiles& remoteFiles, const std::string& path, zu::BaseFile::Mode mode)
    : files(remoteFiles)
    , name(path)
    , handle(files.ask([&] {
        return decltype(handle)(files.network.openFile(path.c_str(), mode), Closer{&files.network});
    }))
{
    if (handle == nullptr)
        throw FileError("'" + path + "' does not exist");
}

std::uint64_t RemoteFile::size() const { return files.network.getFileSize(handle.get()); }

std::size_t RemoteFile::readPiece(std::uint64_t at, std::uint64_t bytes, std::vector<char>& buffer)
{
    const std::uint64_t wanted = std::min<std::uint64_t>(bytes - at, buffer.size());
    const std::uint64_t count =
        files.ask([&] { return files.network.readFile(handle.get(), buffer.data(), wanted); });
    if (count == 0)
        throw FileError("cannot read '" + name + "': the server gave " + std::to_string(at) +
                        " of " + std::to_string(bytes) + " bytes");
    return static_cast<std::size_t>(count);
}

std::uint64_t RemoteFile::write(void* buffer, std::uint64_t count)
{
    return files.ask([&] { return files.network.writeFile(handle.get(), buffer, count); });
}

namespace {

/// A walk through what is below a folder.
class Walk
{
public:
    Walk(RemoteFiles& remoteFiles, const std::string& rootFolder, Problems& sharedProblems,
         const Visit& visitor)
        : files(remoteFiles)
        , root(rootFolder)
        , problems(sharedProblems)
        , visit(visitor)
        , known{std::string(trimEnd(rootFolder))}
    {
    }

    void run()
    {
        std::vector<Folder> waiting = {{"", 0}};
        while (!waiting.empty()) {
            const Folder folder = std::move(waiting.back());
            waiting.pop_back();
            const std::vector<Folder> found = lookInto(folder);
            waiting.insert(waiting.end(), found.rbegin(), found.rend()); // the first comes next
        }
        tellHidden();
    }

private:
    struct Folder
    {
        std::string below;
        zu::u32 depth;
    };

    /// Visits what is in it; returns the folders among that.
    std::vector<Folder> lookInto(const Folder& folder)
    {
        const std::string path = folder.below.empty() ? root : join(root, folder.below);
        const RemoteFiles::Listing listing = files.list(path);
        if (listing.mayBeCut)
            problems.fail(describeCut(path));
        std::vector<Folder> found;
        for (const RemoteFiles::Entry& entry : listing.entries) {
            if (++entries > kMaxEntries)
                throw FileError("'" + root + "' has more than " + std::to_string(kMaxEntries) +
                                " entries: take its folders one by one");
            if (!isPlainName(entry.name)) {
                problems.fail("'" + path + "' has '" + entry.name +
                              "', which is no name for a file: left out");
                continue;
            }
            const std::string below = join(folder.below, entry.name);
            visit(below, entry);
            if (!entry.isFolder)
                continue;
            known.insert(join(root, below));
            if (folder.depth + 1 < zu::FileSystem::kMaxFolderDepth)
                found.push_back({below, folder.depth + 1});
            else
                problems.fail("'" + join(root, below) + "' is too deep: what is in it is left out");
        }
        return found;
    }

    /// Of folders whose names differ in letter case only, a search shows one.
    void tellHidden()
    {
        for (const std::string& folder : files.foldersWithFiles(std::string(trimEnd(root)))) {
            if (known.insert(folder).second)
                problems.fail("'" + folder +
                              "' is left out: it is hidden by one that differs in letter " +
                              "case only, or was made meanwhile");
        }
    }

    RemoteFiles& files;
    const std::string& root;
    Problems& problems;
    const Visit& visit;
    std::unordered_set<std::string> known; // folders
    std::size_t entries = 0;
};

} // namespace

void walk(RemoteFiles& files, const std::string& root, Problems& problems, const Visit& visit)
{
    Walk(files, root, problems, visit).run();
}

} // namespace tool
