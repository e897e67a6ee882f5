/// The monitor from init to deinit: a listener, the connections, and the thread that does their
/// I/O.
///
/// The game's thread never touches a socket. The I/O thread accepts connections into `arrived`;
/// takeArrived makes them the game's, in that order, and from there on they follow the log. What
/// they send waits in their inboxes.
///
/// Life of the thread: started by start(), woken through the wait set, joined by stop(). It looks
/// at the log every few milliseconds while there are tools, so that printing need not wake it.
///
/// Threads: the owner's calls one at a time, under its lock.
/// Locks: `handOverLock`, a leaf, for the two lists that change hands.
#pragma once

#include "dm/common/Diagnostics.h"
#include "dm/common/LockOrder.h"
#include "dm/monitor/MonitorConnection.h"

#include <zul/Listener.h>
#include <zul/Thread.h>
#include <zul/WaitSet.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

namespace dm {

class MonitorLink : private zu::Thread
{
public:
    using Connection = std::shared_ptr<MonitorConnection>; // the I/O thread's and the game's

    /// Listens. Throws zu::Exception when the system has no descriptor left.
    MonitorLink(int port, MonitorLog& log, u32 backlogBytes);
    ~MonitorLink() override;

    bool isListening() const { return listener.isListening(); }
    u32 getPort() const { return listener.getPort(); }

    /// Throws zu::Exception when the system has no thread left.
    void start() { startThread(); }

    enum class Ending
    {
        HangUp, ///< sends what the log has, for a fifth of a second at most, and closes
        Abandon ///< leaves all sockets open
    };
    /// Joins the thread. What the log gets meanwhile may go out too.
    void stop(Ending ending);

    /// Makes what has connected since the game's.
    void takeArrived();

    /// Lets go of a connection that is over.
    void remove(size_t index);

    // Owner only: in the order of acceptance.
    std::vector<Connection> connections;

private:
    using Clock = std::chrono::steady_clock;

    int run() override;
    void wait();
    u32 waitMs() const;
    void accept();
    void takeAccepted();
    bool isTimeUp() const;
    void pumpAll();
    void dropLost();
    void sendLast();

    MonitorLog& log;
    const u32 backlogBytes;
    net::Listener listener;                // once started the I/O thread's, but for the port
    std::shared_ptr<net::WaitSet> waitSet; // shared with the log: whoever prints may wake it
    std::atomic<bool> stopping{false};

    // Set before stopping.
    Ending ending = Ending::HangUp;
    Clock::time_point endBy; // whatever is left to send

    LeafMutex handOverLock;

    // Under handOverLock.
    std::vector<Connection> arrived;  // for the game
    std::vector<Connection> accepted; // by the game, for the I/O thread

    // I/O thread only.
    struct Tool
    {
        Connection connection;
        bool readable = false;
        bool writable = false;
    };
    std::vector<Tool> tools;
    net::Packet scratch{0};
    u32 connected = 0; // accepted, and not yet dropped
    u64 nextKey = 1;   // 0 is the listener's
    OnceFlag tooMany;
    MonitorConnection::Progress lastProgress = MonitorConnection::Progress::None;
    u32 quietPasses = 0;
};

} // namespace dm
