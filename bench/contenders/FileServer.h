/// Ours for files: `dm serve` as a child process, and a game of it.
#pragma once

#include "bench/support/Processes.h"

#include <dm/fs.h>

#include <string>

namespace bench {

/// `dm serve`, with the folder of all test files mapped.
class FileServer
{
public:
    enum class Access
    {
        Read,
        Write,
    };

    explicit FileServer(Access access = Access::Read);

    uint16_t port() const { return tcpPort; }
    ChildProcess::Memory memory() const { return process.memory(); }

private:
    ChildProcess process;
    uint16_t tcpPort;
};

/// What a game calls a test file, by its path below the root.
std::string remotePath(const std::string& path);

/// This process as a game. One at a time, and no manager beside it.
class Game
{
public:
    /// Returns when it is connected; throws when that takes too long.
    explicit Game(uint16_t port);
    ~Game();
    Game(const Game&) = delete;
    Game& operator=(const Game&) = delete;

    dm::NetworkFileSystem& files() { return dm::NetworkFileSystem::getInstance(); }
};

/// A file that a game has open.
class GameFile
{
public:
    GameFile(Game& game, const std::string& path, zu::BaseFile::Mode mode);
    ~GameFile();
    GameFile(const GameFile&) = delete;
    GameFile& operator=(const GameFile&) = delete;

    size_t read(void* buffer, size_t size);
    size_t write(void* bytes, size_t size);
    void seek(uint64_t position);

private:
    dm::NetworkFileSystem& files;
    zu::FileHandle* handle;
};

/// For a process that is started to be a game: tells when it is connected, then reads the large
/// file in one read for each line that it is given, and tells how many bytes came.
void playGame(uint16_t port);

} // namespace bench
