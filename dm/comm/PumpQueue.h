/// Which pipes have something to send: any thread adds, the manager's thread takes.
#pragma once

#include <atomic>
#include <vector>

namespace dm {

class NetCommunicationPipe;

/// A pipe's place in the queue. Part of the pipe, so that adding never allocates or locks.
struct PumpLink
{
    alignas(64) std::atomic<bool> queued{false};
    NetCommunicationPipe* next = nullptr; // written by whoever set `queued`

    // Manager thread only: whether it is in the loop's list of those to pump, and in its
    // connection's list of those that wait for it to drain.
    bool scheduled = false;
    bool blocked = false;
};

class PumpQueue
{
public:
    /// Adds the pipe unless it is in already. True when it was added.
    ///
    /// Call it after the change it announces: takeAll() clears the mark before the taker looks at
    /// the pipe, so a change is either seen by that look or queues the pipe again.
    bool add(NetCommunicationPipe& pipe);

    /// Whether anything was added since the last takeAll(). Manager thread only.
    bool empty() const { return newest.load() == nullptr; }

    /// Appends all queued pipes to `pipes`, the first added first. Manager thread only.
    void takeAll(std::vector<NetCommunicationPipe*>& pipes);

private:
    // On a cache line of its own: written by callers while the manager's thread spins beside it.
    alignas(64) std::atomic<NetCommunicationPipe*> newest{nullptr};
};

} // namespace dm
