#include "bench/MeasureFiles.h"
#include "bench/contenders/FileServer.h"
#include "bench/rows/Rows.h"
#include "bench/support/TestFiles.h"

#include <zul/LocalFileSystem.h>

#include <algorithm>
#include <stdexcept>

namespace bench {
namespace {

using Names = std::vector<std::string>;

/// All entries of a folder and of those in it, as a program looks through a tree: a search each.
void search(zu::FileSystem& files, const std::string& folder, Names& found)
{
    Names folders;
    zu::FindFileHandle* entry = files.findFirstFile((folder + "/*").c_str());
    for (; entry != nullptr; entry = files.findNextFile(entry)) {
        std::string path = folder + "/" + files.findGetFileName(entry);
        (files.findIsDirectory(entry) ? folders : found).push_back(std::move(path));
    }
    for (const std::string& inner : folders)
        search(files, inner, found);
}

/// All files below a folder, which a file server tells in one answer.
void list(zu::FileSystem& files, const std::string& folder, Names& found)
{
    zu::FileSystem::PathList paths;
    files.listFiles(paths, folder.c_str(), nullptr, true);
    for (const auto& path : paths)
        found.emplace_back(path.c_str());
}

using Find = void (*)(zu::FileSystem& files, const std::string& folder, Names& found);

///   prefix   what the file system calls the folder of the test files, with a separator.
double entriesPerSecond(const Settings& settings, zu::FileSystem& files, const std::string& prefix,
                        Find find)
{
    Names expected = TestFiles::get().listed();
    for (std::string& path : expected)
        path = prefix + path;
    std::ranges::sort(expected);
    return perSecond(settings, [&](Stopwatch& watch) {
        Names found;
        watch.inside([&] { find(files, prefix + TestFiles::kListedFolder, found); });
        for (std::string& path : found)
            std::ranges::replace(path, '\\', '/');
        std::ranges::sort(found);
        if (found != expected)
            throw std::runtime_error("entries were lost: " + std::to_string(found.size()) +
                                     " found of " + std::to_string(expected.size()));
        return static_cast<double>(found.size());
    });
}

template <Find find>
double remotely(const Settings& settings)
{
    TestFiles::get().listed();
    const FileServer server;
    Game game(server.port());
    return entriesPerSecond(settings, game.files(), remotePath(""), find);
}

double locally(const Settings& settings)
{
    return entriesPerSecond(settings, zu::LocalFileSystem::getInstance(),
                            TestFiles::get().root().string() + "/", search);
}

} // namespace

Row fileFindRow()
{
    Row row;
    row.name = "filefind20k";
    row.title = "20,000 files in folders of 500 found";
    row.unit = "entries/s";
    row.contenders = {
        {"dm-files", remotely<search>}, {"dm-files-list", remotely<list>}, {"local", locally}};
    row.note =
        "dm-files: a search each folder; dm-files-list: one list of all; local: as dm-files, "
        "without a server";
    return row;
}

} // namespace bench
