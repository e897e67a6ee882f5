/// Counts what the members of a fan-out have taken, and holds the sender back.
///
/// The sender goes on with message n only when every member has taken message n - kWindow, because
/// none of the contenders would hold it back itself: a PUB socket and a hub drop what a member has
/// no room for.
///
/// Threads: taken() on one thread at a time for each member, the rest on the sender's.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

namespace bench {

class Deliveries
{
public:
    /// Far below what the queues on the way hold, and enough that nobody runs dry.
    static constexpr uint64_t kWindow = 1024;

    /// Messages are sent, and told to the sender when all have taken them, in steps of so many.
    static constexpr uint64_t kStep = 256;

    explicit Deliveries(unsigned memberCount)
        : counts(memberCount)
    {
    }

    unsigned members() const { return static_cast<unsigned>(counts.size()); }

    /// The member has taken one more.
    void taken(unsigned member);

    /// Waits until the next kStep messages may be sent. Throws when deliveries stay away.
    void awaitRoom();

    /// Waits until every member has taken everything. Throws when one has taken less or more.
    void awaitAll();

private:
    static constexpr uint64_t kStepsAhead = kWindow / kStep;

    void awaitSteps(uint64_t steps);

    struct alignas(64) Count
    {
        std::atomic<uint64_t> messages{0};
    };
    std::vector<Count> counts;

    // How many members have completed a step. A member is less than kStepsAhead steps ahead of any
    // other, so steps that are under way never share an entry.
    std::array<std::atomic<unsigned>, kStepsAhead * 2> arrivals{};

    uint64_t sentSteps = 0; // the sender's

    std::mutex mutex;
    std::condition_variable completed;
    uint64_t completedSteps = 0; // under mutex
};

} // namespace bench
