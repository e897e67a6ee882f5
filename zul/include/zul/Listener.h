/// Takes TCP connections on one port.
///
///     net::Listener listener(0);                   // any free port
///     announce(listener.getPort());
///     if (net::Socket* socket = listener.pollConnect())
///         sockets.emplace_back(socket);
///
/// Listens on the loopback address unless net::setListenAddress or the environment variable
/// ZUL_LISTEN_ADDRESS names another: connections are neither authenticated nor encrypted, so
/// opening them to a network is a decision of whoever runs the program.
///
/// Threads: one at a time.
/// Errors: a port that cannot be had leaves a listener that is not listening and a line on standard
/// error; nothing throws. While the process has no descriptor left, connections are taken and
/// closed at once instead of waiting in a queue that nobody can empty.
#pragma once

#include <zul/InplaceString.h>
#include <zul/Packet.h>
#include <zul/WaitHandle.h>
#include <zul/export.h>

#include <cstdint>
#include <memory>

namespace net {

class Socket;

/// Where listeners made from now on listen: a numeric address of this machine, "localhost", or
/// "0.0.0.0" or "::" for all networks. "" goes back to the default. Outranks ZUL_LISTEN_ADDRESS.
ZUL_API void setListenAddress(const char* address);

/// Where a listener made now would listen: what was set, else ZUL_LISTEN_ADDRESS, else loopback.
ZUL_API zu::InplaceString<128> getListenAddress();

/// For a socket that another library is about to listen with: gives it what a Listener's has. Its
/// port can be had as soon as the program that had it has stopped, and not before: two programs
/// never share one.
ZUL_API void allowPortAfterStop(std::intptr_t nativeSocket);

class ZUL_API Listener
{
public:
    /// Listens on the port at once; 0 picks a free one.
    explicit Listener(int port);
    ~Listener();

    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    bool isListening() const;

    /// Why it is not listening, for people; "" when it is.
    zu::InplaceString<128> getFailure() const;

    /// The port in use, also when the system picked it. The one asked for when not listening.
    u32 getPort() const { return portInUse; }

    /// Does what is due besides taking connections. Never waits.
    void update();

    /// Takes the next connection, or gives null. The caller deletes the socket. Never waits for a
    /// connection; without descriptors it may take some milliseconds, so that no loop spins.
    Socket* pollConnect();

    /// How many connections were closed at once for want of descriptors.
    u64 getRefusedCount() const { return refusedCount; }

    zu::WaitHandle getWaitHandle() const;

private:
    void reportRefusal();

    struct State;
    std::unique_ptr<State> listening;
    u32 portInUse;
    u64 refusedCount = 0;
};

} // namespace net
