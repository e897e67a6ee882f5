#include "bench/contenders/FileServer.h"

#include "bench/contenders/FileContenders.h"
#include "bench/support/TestFiles.h"

#include <dm/comm.h>
#include <zul/LocalFileSystem.h>
#include <zul/Yield.h>

#include <cstdio>
#include <stdexcept>
#include <thread>

namespace bench {
namespace {

constexpr const char* kMapName = "bench";
constexpr auto kStartLimit = std::chrono::seconds(10);
constexpr auto kConnectLimit = std::chrono::seconds(15);

std::vector<std::string> serveCommand(FileServer::Access access)
{
#ifdef DM_BENCH_DM_COMMAND
    const std::string rights = access == FileServer::Access::Write ? ":rw" : "";
    const std::string map = std::string(kMapName) + "=" + TestFiles::get().root().string() + rights;
    return {DM_BENCH_DM_COMMAND, "serve", "--map", map, "--port", "0"};
#else
    static_cast<void>(access);
    throw std::runtime_error("skipped: built without the dm command (DM_BUILD_TOOLS)");
#endif
}

/// From "... listening on ADDRESS:PORT".
uint16_t readPort(ChildProcess& process)
{
    std::string said;
    while (const auto line = process.readLine(kStartLimit)) {
        if (line->find("listening on ") != std::string::npos)
            return static_cast<uint16_t>(std::stoul(line->substr(line->rfind(':') + 1)));
        said += ": " + *line;
    }
    throw std::runtime_error("dm serve did not start" + said);
}

class DmFileAccess : public FileAccess
{
public:
    bool exists(const std::string& path) override
    {
        return game.files().fileExists(remotePath(path).c_str());
    }

    size_t read(const std::string& path, std::span<char> out) override
    {
        GameFile file(game, path, zu::File::Read);
        return file.read(out.data(), out.size());
    }

private:
    FileServer server;
    Game game{server.port()};
};

class DmOpenFile : public OpenFile
{
public:
    size_t read(uint64_t position, std::span<char> out) override
    {
        file.seek(position);
        return file.read(out.data(), out.size());
    }

private:
    FileServer server;
    Game game{server.port()};
    GameFile file{game, TestFiles::kLargeFile, zu::File::Read};
};

} // namespace

FileServer::FileServer(Access access)
    : process(serveCommand(access), ChildProcess::Errors::WithOutput)
    , tcpPort(readPort(process))
{
}

std::string remotePath(const std::string& path) { return std::string(kMapName) + "/" + path; }

Game::Game(uint16_t port)
{
    zu::setYieldMicroseconds(Setup{}.yieldMicroseconds);
    dm::initCommunicationManagerAsClient("game", "127.0.0.1", port);
    new dm::NetworkFileSystem(zu::LocalFileSystem::getInstance());
    const auto deadline = std::chrono::steady_clock::now() + kConnectLimit;
    while (!files().isPipeAcquired()) {
        if (std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error("the game could not connect");
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

Game::~Game()
{
    dm::deinitCommunicationManagers();
    dm::NetworkFileSystem::deleteInstance();
}

GameFile::GameFile(Game& game, const std::string& path, zu::BaseFile::Mode mode)
    : files(game.files())
    , handle(files.openFile(remotePath(path).c_str(), mode))
{
    if (handle == nullptr)
        throw std::runtime_error("no such file: " + path);
}

GameFile::~GameFile() { files.closeFile(handle); }

size_t GameFile::read(void* buffer, size_t size) { return files.readFile(handle, buffer, size); }
size_t GameFile::write(void* bytes, size_t size) { return files.writeFile(handle, bytes, size); }

void GameFile::seek(uint64_t position)
{
    files.seekFile(handle, static_cast<zu::s64>(position), zu::File::SeekFromStart);
}

void playGame(uint16_t port)
{
    Game game(port);
    AliasedBuffer buffer(TestFiles::kLargeFileBytes);
    std::puts("connected");
    std::fflush(stdout);
    while (std::getchar() == '\n') {
        GameFile file(game, TestFiles::kLargeFile, zu::File::Read);
        std::printf("%zu\n", file.read(buffer.data(), TestFiles::kLargeFileBytes));
        std::fflush(stdout);
    }
}

FileContender dmFiles()
{
    return {"dm-files", [] { return std::unique_ptr<FileAccess>(new DmFileAccess); },
            [] { return std::unique_ptr<OpenFile>(new DmOpenFile); }};
}

} // namespace bench
