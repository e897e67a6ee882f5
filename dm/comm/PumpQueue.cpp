#include "dm/comm/PumpQueue.h"

#include "dm/comm/NetCommunicationPipe.h"

#include <algorithm>

namespace dm {

bool PumpQueue::add(NetCommunicationPipe& pipe)
{
    PumpLink& link = pipe.pumpLink();
    // The plain look first: both ends of the mark are ordered by the pipe's own lock, which the
    // caller holds or has just released, so a mark that is still seen set has not been acted on
    // yet.
    if (link.queued.load(std::memory_order_relaxed) || link.queued.exchange(true))
        return false;
    link.next = newest.load(std::memory_order_relaxed);
    while (!newest.compare_exchange_weak(link.next, &pipe, std::memory_order_release,
                                         std::memory_order_relaxed))
    {
    }
    return true;
}

void PumpQueue::takeAll(std::vector<NetCommunicationPipe*>& pipes)
{
    if (newest.load(std::memory_order_relaxed) == nullptr)
        return;
    const auto firstTaken = static_cast<std::ptrdiff_t>(pipes.size());
    NetCommunicationPipe* pipe = newest.exchange(nullptr, std::memory_order_acquire);
    while (pipe != nullptr) {
        // Read the link before clearing the mark: from then on another thread may write it.
        NetCommunicationPipe* next = pipe->pumpLink().next;
        pipe->pumpLink().queued.store(false, std::memory_order_seq_cst);
        pipes.push_back(pipe);
        pipe = next;
    }
    std::reverse(pipes.begin() + firstTaken, pipes.end());
}

} // namespace dm
