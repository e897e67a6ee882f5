/// One tool's connection: sends it the log at its own speed and collects what it wants of the game.
///
/// Between the thread that does the I/O and the game's stands the inbox. It is bounded: while it is
/// full nothing more is received, so a tool that floods fills its own connection and the game hands
/// over so many packets an update, whatever the tool does.
///
/// Threads: as grouped below.
#pragma once

#include "dm/common/LockOrder.h"
#include "dm/monitor/MonitorLog.h"
#include "dm/monitor/MonitorPackets.h"

#include <zul/Socket.h>

#include <deque>
#include <memory>

namespace dm {

/// What waits for the game, a tool. Packets that mean nothing count too. With packets of at most
/// kMaxMonitorRequestBytes a full inbox holds twice the bytes at most.
inline constexpr u32 kMaxWaitingCommands = 256;
inline constexpr u32 kMaxWaitingCommandBytes = 256 * 1024;

class MonitorConnection
{
public:
    MonitorConnection(std::unique_ptr<net::Socket> connected, u64 watchKey)
        : key(watchKey)
        , socket(std::move(connected))
    {
        socket->setCorked(true);
        socket->setMaxReceivedPayload(kMaxMonitorRequestBytes);
    }

    const u64 key; // in the wait set

    // The thread that accepts the connection for the game, before the I/O thread knows it.

    void setReader(LogReader start) { reader = std::move(start); }

    // The game's thread.

    /// How many commands there are to take.
    u32 waitingCommands();
    /// False when there is none.
    bool takeCommand(MonitorCommand& out);
    /// Whether the tool is gone and all its commands were taken.
    bool isOver();

    // The I/O thread.

    enum class Progress
    {
        None,
        Some,
        Much,    ///< whoever prints so much goes on
        MoreToDo ///< and possible at once
    };
    /// Receives, and sends what the log has, both up to a limit.
    ///
    ///   scratch   any packet. One for all tools, because it keeps the size of the longest.
    Progress pump(bool readable, bool writable, net::Packet& scratch);

    bool isConnected() const { return socket->isConnected(); }
    /// Whether something that was sent is still in this process.
    bool hasUnsent() const { return isConnected() && (hasMore || socket->hasSendsToDo()); }
    void watch(net::WaitSet& waitSet);
    /// Lets go of the socket without waiting for the tool.
    void hangUp();

private:
    bool hasRoom();
    bool receive(bool readable, bool writable);
    u32 send(net::Packet& packet);

    LeafMutex inboxLock;

    // Under inboxLock.
    std::deque<MonitorCommand> inbox;
    u32 inboxBytes = 0;
    bool ended = false; // nothing will be added

    // I/O thread only, from the acceptance on.
    std::unique_ptr<net::Socket> socket;
    LogReader reader;
    bool hasMore = false; // the reader was not at its end when the last pump stopped
    zu::Interest watched = zu::Interest::None;
    bool receiving = true; // the inbox has room
};

} // namespace dm
