/// What a server's and a client's thread have in common: waiting, dispatching messages to pipes,
/// pumping pipes, sending.
///
/// A pass begins with the one wait of the loop, which any of the connections, the listener or a
/// call of requestPump ends, and never blocks anywhere else. So an idle manager costs nothing, and
/// a stalled peer costs only its own connection.
///
/// Threads: the manager's only, except requestPump and wake.
#pragma once

#include "dm/comm/Connection.h"
#include "dm/comm/PipeMessages.h"
#include "dm/comm/PipeTable.h"
#include "dm/comm/PumpQueue.h"

#include <zul/Packet.h>
#include <zul/WaitSet.h>

#include <array>
#include <chrono>
#include <span>
#include <utility>
#include <vector>

namespace dm {

class NetCommunicationPipeManager;

class ManagerLoop
{
public:
    explicit ManagerLoop(NetCommunicationPipeManager& owner)
        : manager(owner)
    {
    }
    virtual ~ManagerLoop() = default;

    /// One round: waits for work, at most kLongestWaitMs, and does it.
    virtual void pass() = 0;

    /// After the last pass: sends what callers believe sent, for kShutdownFlushMs at most, and
    /// closes everything.
    virtual void shutDown() = 0;

    /// Whether anything queued on a connected pipe has not been handed to the system yet.
    virtual bool hasSendsToDo() const = 0;

    /// The pipe has something to send. Any thread.
    void requestPump(NetCommunicationPipe& pipe)
    {
        if (pumpQueue.add(pipe))
            waitSet.wake();
    }

    /// Ends the present wait. Any thread.
    void wake() { waitSet.wake(); }

protected:
    using Ready = net::WaitSet::Ready;

    std::span<const Ready> wait(uint32 timeoutMs);

    /// Handles Request, Response and Notify; the other kinds are the derived loop's.
    void dispatchToPipe(Connection& connection, MessageKind kind, net::Packet& packet,
                        uint32 packetSize);

    /// To be called when a connection has been read as far as it will be in this pass.
    void endNotifyRuns();

    bool isPumpIdle() const { return pending.empty() && touched.empty() && pumpQueue.empty(); }

    /// The other end names a pipe: attaches it, or makes and attaches it.
    PipeTable::OpenResult openPipe(Connection& connection, const char* pipeName, bool mayCreate);

    void send(Connection& connection, const net::Packet& packet);

    /// Sends what the pipes have queued.
    void pumpPipes();

    /// After the socket was updated.
    void resumeBlockedPipes(Connection& connection);

    /// Tells the wait set what to watch for, if that has changed.
    void watch(Connection& connection);

    /// Forgets the connection everywhere but in the derived loop. Its pipes are detached.
    void detachEverything(Connection& connection);

    /// The connection was found closed, and the wait set does not report what is closed any more:
    /// the next pass must look at it.
    void noteBroken(const Connection& connection) { broken.push_back(connection.key); }
    std::vector<zu::u64> takeBroken() { return std::exchange(broken, {}); }

    /// Something came over this connection; the next thing most likely does too.
    void noteHeard(Connection& connection) { lastHeard = &connection; }

    static void flushAndClose(std::span<Connection* const> connections);

    NetCommunicationPipeManager& manager;
    net::WaitSet waitSet;

private:
    void touch(Connection& connection);
    void schedule(NetCommunicationPipe& pipe);
    void pumpOne(NetCommunicationPipe& pipe);
    void flushTouched();
    bool flushOne(Connection& connection);

    PumpQueue pumpQueue;
    std::array<Ready, 64> ready;
    std::chrono::steady_clock::time_point lastLook; // at the wait set, with work at hand
    Connection* lastHeard = nullptr;
    std::vector<NetCommunicationPipe*> announced; // just taken from the queue
    std::vector<NetCommunicationPipe*> pending;   // to be pumped, oldest first
    std::vector<NetCommunicationPipe*> pumped;    // in this pass
    std::vector<Connection*> touched;             // to be flushed and watched anew
    std::vector<zu::u64> broken;
    std::vector<NetCommunicationPipe*> notified; // whose run is to be ended
};

} // namespace dm
