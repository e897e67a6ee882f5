/// The tool's end of the debug monitor's link: connects to a game, again whenever the connection is
/// lost, and hands over what the game sends.
///
///     monitor::MonitorClient client("127.0.0.1", 3600, [](monitor::MonitorEvents events) {
///         for (const monitor::MonitorEvent& event : events)
///             show(event);
///     });
///     client.start();
///     ...
///     client.request(0); // once connected
///
/// Threads: start and stop on one; request, sendData and isConnected on any, the sink included. A
/// thread of its own runs the sink: started by start, woken by stop and by what is to be sent,
/// joined by stop, which the destructor calls too. Never stop from within the sink. Errors: the
/// sink must not throw. Nothing else throws but the constructor and start, when the system has no
/// descriptor or thread left. Limits: kMaxEventsAtOnce events a call of the sink;
/// kMaxWaitingCommands commands wait to be sent. Overload: while the sink runs nothing is received,
/// so a slow one makes the game drop lines, and count them.
#pragma once

#include "tools/monitor/MonitorEvent.h"

#include <dm/monitor.h>
#include <zul/Socket.h>
#include <zul/WaitHandle.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace monitor {

class MonitorClient
{
public:
    using Sink = std::function<void(MonitorEvents)>;

    static constexpr std::size_t kMaxEventsAtOnce = 1024;
    static constexpr std::size_t kMaxWaitingCommands = 256;
    static constexpr std::chrono::milliseconds kReconnectDelay{500};

    /// Times of events count from here.
    MonitorClient(std::string host, int port, Sink sink);
    ~MonitorClient();
    MonitorClient(const MonitorClient&) = delete;
    MonitorClient& operator=(const MonitorClient&) = delete;

    void start();

    /// Returns when the sink has. What was to be sent still goes out if the game takes it; the
    /// connection ends with the client.
    void stop();

    /// Sends one of the game's requests, 0 to dm::kMonitorRequests - 1, or data for its parser, up
    /// to the first zero byte. Returns false when that cannot be: not connected, no such request,
    /// data of more than kMaxDataBytes, or too many waiting. Lost with the connection.
    bool request(int request);
    bool sendData(std::string data);

    /// What the game takes, less what the text has beside its bytes.
    static constexpr std::size_t kMaxDataBytes = dm::kMaxMonitorRequestBytes - 5;

    /// Between Connected and Lost or NotAMonitor.
    bool isConnected() const { return connected; }

private:
    using Clock = std::chrono::steady_clock;

    struct Command
    {
        int request = -1; // negative: data
        std::string data;
    };

    void run();
    bool connect();
    void serve();
    void receive();
    void decode(net::Packet& packet);
    void endConnection(MonitorEvent::Kind kind, const std::string& why);
    void sayConnected();
    void sendCommands();
    bool add(Command command);
    void waitFor(std::chrono::milliseconds time);

    MonitorEvent& addEvent(MonitorEvent::Kind kind);
    void handOver();

    // Never change after construction.
    const std::string host;
    const int port;
    const std::string address;
    const Sink sink;
    const Clock::time_point begin = Clock::now();

    zu::PollableEvent wake;
    std::atomic<bool> stopping{false};
    std::atomic<bool> connected{false};

    std::mutex commandsLock; // a leaf
    std::vector<Command> commands;

    // The thread's only.
    net::Socket socket;
    std::vector<MonitorEvent> events; // their texts keep their memory
    std::size_t eventCount = 0;
    bool isAnnounced = false; // Connected was said of this connection
    bool hasReceived = false; // anything, on this connection
    bool isDoubtful = false;  // the last one ended before it had brought anything
    MonitorEvent::Kind said = MonitorEvent::Kind::Text; // last of how it stands; Text: nothing yet

    std::thread thread; // last: it uses all of the above
};

} // namespace monitor
