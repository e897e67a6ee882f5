/// One game at a file server: a manager on a port of its own, the pipe on which the game asks, and
/// the thread that answers.
///
///     main manager's thread   open, and then the game is redirected to getPort()
///     session's manager       announces requests and connections, never works
///     worker                  takes a request, answers it, takes the next; waits as long as the
///                             game does not read
///     housekeeping            close, then destroys it when hasEnded
///
/// A game's connection is never its session's second: when it is lost the session is over, and the
/// game gets another through the main port. What it was asking for comes again there, and the
/// worker of this one does not begin anything any more.
#pragma once

#include "tools/fileserver/ServeLog.h"

#include <dm/comm.h>
#include <zul/Event.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace fileserver {

/// What all sessions share.
struct ServeContext
{
    CommandRunner& runner;
    ServeLog& log;
    ServeStatistics& statistics;
};

/// Threads: as above; the rest says so.
/// Ownership: the context outlives it.
class GameSession
{
public:
    using Clock = std::chrono::steady_clock;

    /// A game that was sent here and does not come within so long will not.
    static constexpr std::chrono::seconds kComeLimit{10};
    /// The same while others have to wait. It comes again by itself.
    static constexpr std::chrono::seconds kCrowdedComeLimit{1};

    /// Nobody else's port is `mainPort`: who comes here uninvited is sent there.
    GameSession(unsigned sessionNumber, const ServeContext& sharedContext, dm::uint32 mainPort);
    /// After hasEnded it waits for nobody but the manager's thread.
    ~GameSession();
    GameSession(const GameSession&) = delete;
    GameSession& operator=(const GameSession&) = delete;

    /// Makes the manager and starts the worker. False when no port can be had.
    bool open();
    dm::uint32 getPort() const { return port; }

    /// Any thread: whether its game has left, or has not come in time.
    bool isOver(Clock::time_point now, bool isCrowded) const;

    /// Any thread: wakes the worker and has it end. Returns at once.
    void close();
    bool isClosed() const { return closing; }

    /// Any thread: whether the worker has ended, or was never started.
    bool hasEnded() const { return workerEnded; }

    /// Any thread. False while the game has not come yet.
    bool describe(GameTotals& out);

private:
    void listenTo(dm::CommunicationPipe& created);
    void sendAway(dm::CommunicationPipeManager& own);
    void noteConnection(dm::CommunicationPipe& connected);
    void noteRequest();

    struct Taken
    {
        zu::InplaceString<128> text;
        unsigned connection = 0; // it came over
    };
    void work();
    bool takeRequest(Taken& taken);
    void answer(const Taken& taken);
    Answer run(const Taken& taken, CommandReport& report);
    bool send(const Answer& answer, const Taken& taken);
    void count(const CommandReport& report, const Answer& answer);
    bool isWanted(unsigned connection) const;

    // Never change after open().
    const unsigned number;
    const ServeContext& context;
    const dm::uint32 fallbackPort;
    const std::string managerName;
    const Clock::time_point made = Clock::now();
    dm::CommunicationPipe* pipe = nullptr;
    dm::uint32 port = 0;

    ServeStatistics statistics;
    unsigned visitors = 0; // the manager's thread only

    std::mutex mutex;
    unsigned announced = 0; // requests that are whole and not taken; under mutex
    GameName game;          // written once, under mutex, before the first request is announced
    std::atomic<unsigned> connections{0}; // of the pipe

    zu::Event arrived = zu::Event::create();
    std::atomic<bool> closing{false};
    std::atomic<bool> workerEnded{true};
    std::thread worker; // last: it uses all of the above
};

} // namespace fileserver
