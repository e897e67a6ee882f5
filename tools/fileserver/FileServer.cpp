#include "tools/fileserver/FileServer.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

namespace fileserver {

using namespace std::chrono_literals;

namespace {

constexpr dm::uint32 kManagerId = 1;

// How soon a game that has left is noticed.
constexpr auto kLookInterval = 100ms;

constexpr auto kStopLimit = 2s;
constexpr auto kStopLookInterval = 5ms;

} // namespace

FileServer::FileServer(const Options& serverOptions, const ServeContext& sharedContext)
    : options(serverOptions)
    , context(sharedContext)
{
}

FileServer::~FileServer() { stop(); }

void FileServer::start()
{
    dm::CommunicationPipeManager* const manager = dm::initCommunicationManagerAsServer(
        kManagerName, options.port, kManagerId, false,
        {this, [](void* self, dm::CommunicationPipeManager* main) {
             static_cast<FileServer*>(self)->admit(*main);
         }});
    manager->getHost(&port);
    housekeeping = std::thread([this] { keepHouse(); });
}

bool FileServer::stop()
{
    dm::deinitCommunicationManager(kManagerName); // nobody comes any more
    {
        const std::lock_guard lock(mutex);
        isStopping = true;
        for (const auto& session : sessions)
            session->close();
    }
    changed.notify_all();
    if (housekeeping.joinable())
        housekeeping.join();
    const auto deadline = GameSession::Clock::now() + kStopLimit;
    for (;;) {
        bury(takeEnded());
        if (countGames() == 0)
            return true;
        if (GameSession::Clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(kStopLookInterval);
    }
}

// The main manager's thread.

void FileServer::admit(dm::CommunicationPipeManager& main)
{
    const zu::InplaceString<128> reached = dm::getReachedAddress(main);
    dm::uint32 mainPort = 0;
    main.getHost(&mainPort);
    const dm::uint32 sessionPort = isFull() ? 0 : makeSession(mainPort);
    // Without a session, to where it came from: it comes again in half a second.
    main.setRedirect(reached.c_str(), sessionPort != 0 ? sessionPort : mainPort);
}

bool FileServer::isFull()
{
    std::size_t games = 0;
    {
        const std::lock_guard lock(mutex);
        games = sessions.size();
    }
    const bool isFullNow = games >= options.maxGames;
    if (isFullNow && !saidFull)
        warn("a game has to wait: there are " + std::to_string(options.maxGames) + " already");
    saidFull = isFullNow;
    return isFullNow;
}

/// Its port, or 0 when it cannot be had.
dm::uint32 FileServer::makeSession(dm::uint32 mainPort)
{
    auto session = std::make_unique<GameSession>(++sessionsMade, context, mainPort);
    std::string failure;
    try {
        if (!session->open())
            failure = "no port is free";
    } catch (const std::exception& exception) {
        failure = exception.what();
    }
    const dm::uint32 sessionPort = failure.empty() ? session->getPort() : 0;
    {
        // What is half made, too: only housekeeping may wait for a manager to end.
        const std::lock_guard lock(mutex);
        sessions.push_back(std::move(session));
    }
    changed.notify_all();
    if (!failure.empty())
        warn("a game has to wait: " + failure);
    return sessionPort;
}

void FileServer::warn(const std::string& text)
{
    context.statistics.countWarning();
    context.log.warn(nullptr, text);
}

// Housekeeping.

void FileServer::keepHouse()
{
    std::unique_lock lock(mutex);
    while (!isStopping) {
        if (sessions.empty())
            changed.wait(lock);
        else
            changed.wait_for(lock, kLookInterval);
        const auto now = GameSession::Clock::now();
        // Who only knocks must not keep games out for long.
        const bool isCrowded = sessions.size() >= options.maxGames;
        for (const auto& session : sessions) {
            if (session->isOver(now, isCrowded))
                session->close();
        }
        lock.unlock();
        bury(takeEnded());
        lock.lock();
    }
}

/// The closed sessions that nobody works for any more.
FileServer::Sessions FileServer::takeEnded()
{
    const std::lock_guard lock(mutex);
    const auto ended =
        std::stable_partition(sessions.begin(), sessions.end(), [](const auto& session) {
            return !(session->isClosed() && session->hasEnded());
        });
    Sessions taken(std::make_move_iterator(ended), std::make_move_iterator(sessions.end()));
    sessions.erase(ended, sessions.end());
    return taken;
}

/// Waits for their managers' threads, so without the mutex.
void FileServer::bury(Sessions ended)
{
    for (auto& session : ended) {
        GameTotals game;
        if (session->describe(game))
            context.log.left(game.game, game.totals);
        session.reset();
    }
}

// Any thread.

ServeSummary FileServer::summarise()
{
    ServeSummary summary;
    summary.age =
        std::chrono::duration_cast<std::chrono::milliseconds>(GameSession::Clock::now() - started);
    summary.totals = context.statistics.getTotals();
    const std::lock_guard lock(mutex);
    for (const auto& session : sessions) {
        GameTotals game;
        if (session->describe(game))
            summary.games.push_back(std::move(game));
    }
    return summary;
}

unsigned FileServer::countGames()
{
    const std::lock_guard lock(mutex);
    return static_cast<unsigned>(sessions.size());
}

} // namespace fileserver
