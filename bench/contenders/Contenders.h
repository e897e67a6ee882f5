/// The programs that are compared: each a server, run as a process of its own, and its client.
#pragma once

#include "bench/support/Platform.h"
#include "bench/support/Processes.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace bench {

/// The size of every request, and of an answer or notification where a row says 64 B.
inline constexpr size_t kSmallBytes = 64;

/// What both ends of a contender must agree on.
struct Setup
{
    size_t answerBytes = kSmallBytes;
    unsigned yieldMicroseconds = 50;
    unsigned pipes = 1;
    unsigned members = 1; ///< of a hub, in the asking process
    uint16_t hubPort = 0; ///< of the hub that a serving process joins
    std::string file;     ///< that a serving process reads; not among the arguments made

    std::vector<std::string> toArguments() const;
};

/// One thread's asking end.
class Client
{
public:
    virtual ~Client() = default;
    /// Sends a request of kSmallBytes and waits for the answer, copied into `answer`. Returns its
    /// size.
    virtual size_t ask(std::span<char> answer) = 0;
};

/// What the clients of one process share: a manager, a context, or nothing.
class Connection
{
public:
    virtual ~Connection() = default;
    virtual std::unique_ptr<Client> makeClient(unsigned index) = 0;
};

/// Clients that share nothing: each makes a connection of its own to the port.
template <typename AnyClient>
class SeparateClients : public Connection
{
public:
    SeparateClients(uint16_t serverPort, const Setup& agreed)
        : port(serverPort)
        , setup(agreed)
    {
    }

    std::unique_ptr<Client> makeClient(unsigned) override
    {
        return std::make_unique<AnyClient>(port, setup);
    }

private:
    const uint16_t port;
    const Setup setup;
};

/// One thread's end that sends kSmallBytes one-way.
class Notifier
{
public:
    virtual ~Notifier() = default;
    virtual void notify() = 0;
    /// Waits until everything sent has been taken out by the receiving program.
    virtual void finish() = 0;
};

class Deliveries;

/// One sender and members that each take every message of kSmallBytes, all through another process.
class FanOut
{
public:
    virtual ~FanOut() = default;
    virtual void send() = 0;
};

/// Never returns: announces its port and serves.
using Serve = void (*)(const Setup& setup);

struct RequestContender
{
    std::string name;
    Serve serve = nullptr;
    std::unique_ptr<Connection> (*connect)(uint16_t port, const Setup& setup) = nullptr;
};

struct NotifyContender
{
    std::string name;
    Serve serve = nullptr;
    std::unique_ptr<Notifier> (*connect)(uint16_t port, const Setup& setup) = nullptr;
};

struct FanOutContender
{
    std::string name;
    Serve serve = nullptr;
    /// Returns when a message would reach every member.
    std::unique_ptr<FanOut> (*join)(uint16_t port, Deliveries& deliveries) = nullptr;
};

/// Ours, through the exported interface only.
RequestContender dmRequests();
NotifyContender dmNotifications();

/// Ours with a hub in the server process: the asker and a further process that answers; members
/// of the asking process that ask each other; and one that notifies the others.
RequestContender hubForward();
RequestContender hubMesh();
FanOutContender hubFanOut();
/// The process that answers; it has no client of its own.
RequestContender hubMember();

/// The shape of ours on bare sockets: caller -> I/O thread -> TCP -> I/O thread -> answering thread
/// and back. Its hops yield before they block, or block at once with a yield time of 0.
RequestContender hopLimit();

/// Blocking send and receive on one socket, without any further thread.
RequestContender rawTcp();

/// libzmq over tcp: REQ/REP, DEALER/ROUTER, PUSH/PULL, and PUB/SUB through a proxy.
RequestContender zeroMqRequests();
RequestContender zeroMqRouter();
NotifyContender zeroMqPush();
FanOutContender zeroMqProxy();

/// The server of that name; null when there is none. For the process that serves.
Serve findServer(const std::string& name);

template <typename AnyContender>
ServerProcess startServer(const AnyContender& contender, const Setup& setup)
{
    std::vector<std::string> arguments{"--serve", contender.name};
    for (std::string& argument : setup.toArguments())
        arguments.push_back(std::move(argument));
    return ServerProcess(arguments);
}

} // namespace bench
