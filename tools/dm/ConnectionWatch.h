#pragma once

#include "tools/dm/Arguments.h"

#include <dm/comm.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace tool {

/// Says on standard error how a connection that is never given up stands: once that it is not
/// there, once that it is lost, and each time that it is back.
///
/// What counts are the pipes, not the connection: on its way into a hub a member is connected,
/// redirected and connected again, of which only the end is news.
///
/// Threads: one at a time. The pipes must live as long.
class ConnectionWatch
{
public:
    using Clock = std::chrono::steady_clock;

    ///   watchedPipes     of the manager; not empty.
    ///   firstConnected   called once, when all pipes are there for the first time.
    ConnectionWatch(std::string managerName, std::vector<dm::CommunicationPipe*> watchedPipes,
                    const Address& address, std::function<void()> firstConnected);

    void look(Clock::time_point now = Clock::now());

    /// As the last look saw it.
    bool wasConnected() const { return state == Connected || state == Lost; }

    /// The first pipe that is not connected at this moment, or null.
    dm::CommunicationPipe* findMissing() const;

private:
    void sayMissed(dm::CommunicationPipe& missing) const;

    enum State
    {
        Awaited,
        Missed, // and said so
        Connected,
        Lost, // and said so
    };

    const std::string manager;
    const std::vector<dm::CommunicationPipe*> pipes;
    const std::string destination;
    const std::function<void()> onFirstConnected;
    const Clock::time_point start = Clock::now();
    State state = Awaited;
};

/// A pipe's callback that wakes the main thread out of its zu::Interrupt, to look.
void wakeMainThread(void*, dm::CommunicationPipe*);

/// Throws ToolError when `destination` has been met and speaks another version of the protocol.
void requireOwnVersion(const dm::ConnectionStatus& status, const std::string& destination);

} // namespace tool
