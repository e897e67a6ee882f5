/// One TCP connection of a manager, and what its thread keeps beside it.
#pragma once

#include "dm/comm/IncomingBudget.h"

#include <zul/Socket.h>

#include <memory>
#include <vector>

namespace dm {

class NetCommunicationPipe;

/// Threads: the manager's only.
struct Connection
{
    Connection(std::unique_ptr<net::Socket> connectionSocket, zu::u64 connectionKey)
        : key(connectionKey)
        , socket(std::move(connectionSocket))
    {
    }

    const zu::u64 key; // what the wait set calls it
    std::unique_ptr<net::Socket> socket;
    std::shared_ptr<IncomingBudget> incomingBudget = std::make_shared<IncomingBudget>();

    // Pipes that have more to send than the connection took. They go on when it has drained.
    std::vector<NetCommunicationPipe*> blockedPipes;

    // The pipe of the last message: the next one is mostly for the same.
    NetCommunicationPipe* lastPipe = nullptr;

    // What the wait set was told last.
    zu::WaitHandle watched;
    zu::Interest watchedInterest = zu::Interest::None;

    /// One whose sends have failed, too, until it is dropped and the loss is known.
    bool hasSendsToDo() const
    {
        return !blockedPipes.empty() || socket->hasSendsToDo() ||
               (socket->isConnected() && socket->hasLostSends());
    }

    // When it was sent elsewhere, in seconds of application age; 0: it was not. What it says after
    // that is not heard, and it is closed when it stays.
    double sentOnAt = 0.0;

    bool gathering = false; // pipes of it have more to send in the next pass
    bool touched = false;   // is in the list of those to flush and to watch anew
};

} // namespace dm
