/// The HTTP server of the page: no connection holds it up, whoever makes it.
///
/// A connection has kRequestTime to say what it wants, and maxRequestBytes for it. When others
/// wait for a thread it is only heard if it has said it already, or does so within kPatience: a
/// browser connects ahead of need, and so may any program on this machine. What takes nothing for
/// kStalledTime is given up.
///
/// Threads: stop on any; the commands run on the server's. After stop whatever is connected is
/// hung up on within a fraction of a second.
#pragma once

#include <atomic>
#include <chrono>
#include <httplib.h>

namespace monitor {

class BoundedServer : public httplib::Server
{
public:
    static constexpr std::chrono::milliseconds kRequestTime{5000};
    static constexpr std::chrono::milliseconds kPatience{100};
    static constexpr std::chrono::milliseconds kStalledTime{3000};

    /// Serves up to `threads` connections at a time, with requests of maxRequestBytes.
    BoundedServer(std::size_t threads, std::size_t maxRequestBytes);

    /// Hides the library's, which waits for whatever the connections are up to.
    void stop();

private:
    class Queue;
    class Connection;

    // The library's hook for a kind of connection of one's own.
    bool process_and_close_socket(socket_t socket) override;

    const std::size_t maxRequestBytes;
    std::atomic<int> waiting{0}; // connections without a thread
    std::atomic<bool> isStopping{false};
};

} // namespace monitor
