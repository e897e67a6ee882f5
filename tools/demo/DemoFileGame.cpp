// The demo's game of the file server: reads a source tree on the development machine, changes it
// and lists it, through the installed file system alone.
//
//   dm_demo_file_game HOST:PORT FOLDER ROUNDS
//
// Each round reads the whole tree and prints how much, and the SHA-256 of all its files' bytes in
// the order of their paths. Then comes what a game does with files: a report, a copy, a new name, a
// file less, and the list of the folder.

#include "tools/dm/Arguments.h"
#include "tools/dm/ExitCode.h"
#include "tools/dm/Sha256.h"

#include <dm/comm.h>
#include <dm/fs.h>
#include <zul/BufferedMemoryFile.h>
#include <zul/LocalFileSystem.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using Paths = std::vector<std::string>;

/// The game's file system is the server's for as long as this lives.
class RemoteFiles
{
public:
    explicit RemoteFiles(const tool::Address& server)
    {
        dm::initCommunicationManagerAsClient("game", server.host.c_str(), server.port);
        new dm::NetworkFileSystem(zu::LocalFileSystem::getInstance());
        zu::FileSystem::set(&dm::NetworkFileSystem::getInstance());
    }

    ~RemoteFiles()
    {
        zu::FileSystem::set(nullptr);
        dm::deinitCommunicationManagers();
        dm::NetworkFileSystem::deleteInstance();
    }

    RemoteFiles(const RemoteFiles&) = delete;
    RemoteFiles& operator=(const RemoteFiles&) = delete;
};

Paths listTree(const std::string& folder)
{
    zu::FileSystem::PathList found;
    zu::FileSystem::get().listFiles(found, folder.c_str(), nullptr, true);
    Paths paths;
    for (const auto& path : found)
        paths.emplace_back(path.c_str());
    std::sort(paths.begin(), paths.end());
    return paths;
}

void readTree(const std::string& folder)
{
    std::string bytes;
    const Paths paths = listTree(folder);
    for (const std::string& path : paths) {
        const zu::BufferedMemoryFile file(path.c_str());
        bytes.append(static_cast<const char*>(file.getData()), file.getSize());
    }
    std::printf("read %zu files, %zu bytes, sha256 %s\n", paths.size(), bytes.size(),
                tool::sha256(bytes.data(), bytes.size()).c_str());
    std::fflush(stdout);
}

void require(bool succeeded, const char* what)
{
    if (!succeeded)
        throw tool::ToolError(tool::ExitCode::File, std::string("the file server refused ") + what);
}

void changeTree(const std::string& folder)
{
    zu::FileSystem& files = zu::FileSystem::get();
    const std::string built = folder + "/built";
    require(files.createDirectory(built.c_str()), "a new folder");
    const std::string report = built + "/report.txt";
    {
        zu::File file(report.c_str(), zu::File::Write);
        for (const std::string& path : listTree(folder)) {
            const std::string line = path + "\n";
            file.write(line.data(), line.size());
        }
        file.close();
    }
    const std::string copy = built + "/copy.txt";
    const std::string renamed = built + "/files.txt";
    require(files.copyFile(report.c_str(), copy.c_str()), "a copy");
    require(files.moveFile(copy.c_str(), renamed.c_str(), false), "a new name");
    require(files.deleteFile(report.c_str()), "to delete a file");
    std::printf("wrote %s\n", renamed.c_str());
}

void listFolder(const std::string& folder)
{
    zu::FileSystem& files = zu::FileSystem::get();
    zu::FindFileHandle* entry = files.findFirstFile((folder + "/*").c_str());
    for (; entry != nullptr; entry = files.findNextFile(entry)) {
        if (files.findIsDirectory(entry))
            std::printf("  %s/\n", files.findGetFileName(entry));
        else
            std::printf("  %s %llu\n", files.findGetFileName(entry),
                        static_cast<unsigned long long>(files.findGetFileSize(entry)));
    }
}

} // namespace

int main(int argc, char** argv)
{
    int rounds = 0;
    if (argc == 4)
        std::from_chars(argv[3], argv[3] + std::char_traits<char>::length(argv[3]), rounds);
    if (rounds < 1) {
        std::fprintf(stderr, "usage: dm_demo_file_game HOST:PORT FOLDER ROUNDS\n");
        return static_cast<int>(tool::ExitCode::Usage);
    }
    try {
        const RemoteFiles remote(tool::parseAddress(argv[1]));
        const std::string folder = argv[2];
        for (int round = 0; round < rounds; ++round)
            readTree(folder);
        changeTree(folder);
        listFolder(folder);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "dm_demo_file_game: %s\n", error.what());
        return static_cast<int>(tool::ExitCode::File);
    }
}
