/// Serves the mapped folders to games.
///
///     FileServer server({3510}, {runner, log, statistics});
///     server.start();
///     ...
///     if (!server.stop())
///         std::quick_exit(0);   // a disk keeps a thread
///
///     game ── main port ── "dm serve" ── a session of its own, and the game is sent there
///     game ── a port    ── "dm serve game 1" ── worker
///     game ── a port    ── "dm serve game 2" ── worker
///
/// So games do not wait for each other, but for the turns that CommandRunner gives. When all
/// sessions are taken, a game is sent to the main port again, where it tries twice a second.
///
/// Threads: one at a time, unless said otherwise. A housekeeping thread, started by start and
/// joined by stop, ends the sessions whose games have left.
#pragma once

#include "tools/fileserver/GameSession.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace fileserver {

class FileServer
{
public:
    static constexpr const char* kManagerName = "dm serve";
    static constexpr unsigned kMaxGames = 64;

    struct Options
    {
        int port = 0; ///< 0: any free one
        unsigned maxGames = kMaxGames;
    };

    FileServer(const Options& serverOptions, const ServeContext& sharedContext);
    /// Waits for the sessions' workers without limit, unless stop was called before.
    ~FileServer();
    FileServer(const FileServer&) = delete;
    FileServer& operator=(const FileServer&) = delete;

    /// Listens. Whether it could says dm::getConnectionStatus(kManagerName).
    void start();
    int getPort() const { return static_cast<int>(port); }

    /// Sends all games away. False when after two seconds a worker is still at something that
    /// cannot be woken, as a disk that does not answer: the process is to be ended then, by
    /// std::quick_exit.
    bool stop();

    /// Any thread.
    ServeSummary summarise();
    unsigned countGames();

private:
    using Sessions = std::vector<std::unique_ptr<GameSession>>;

    void admit(dm::CommunicationPipeManager& main);
    bool isFull();
    dm::uint32 makeSession(dm::uint32 mainPort);
    void warn(const std::string& text);
    void keepHouse();
    Sessions takeEnded();
    void bury(Sessions ended);

    // Never change after start().
    const Options options;
    const ServeContext context;
    dm::uint32 port = 0; // for getPort; the manager is there before
    const GameSession::Clock::time_point started = GameSession::Clock::now();

    // The main manager's thread only.
    bool saidFull = false;
    unsigned sessionsMade = 0;

    std::mutex mutex;
    std::condition_variable changed;
    // Under mutex.
    Sessions sessions;
    bool isStopping = false;

    std::thread housekeeping; // last: it uses all of the above
};

} // namespace fileserver
