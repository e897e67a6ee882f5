#include "bench/contenders/Deliveries.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace bench {
namespace {

constexpr auto kLongestWait = std::chrono::seconds(10);

} // namespace

void Deliveries::taken(unsigned member)
{
    const uint64_t count = counts[member].messages.fetch_add(1) + 1;
    if (count % kStep != 0)
        return;
    std::atomic<unsigned>& arrived = arrivals[count / kStep % arrivals.size()];
    if (++arrived != counts.size())
        return;
    arrived = 0;
    const std::lock_guard guard(mutex);
    ++completedSteps;
    completed.notify_one();
}

void Deliveries::awaitRoom()
{
    ++sentSteps;
    if (sentSteps > kStepsAhead)
        awaitSteps(sentSteps - kStepsAhead);
}

void Deliveries::awaitAll()
{
    awaitSteps(sentSteps);
    if (std::ranges::any_of(
            counts, [&](const Count& count) { return count.messages != sentSteps * kStep; }))
        throw std::runtime_error("a member got a message twice");
}

void Deliveries::awaitSteps(uint64_t steps)
{
    std::unique_lock guard(mutex);
    if (!completed.wait_for(guard, kLongestWait, [&] { return completedSteps >= steps; }))
        throw std::runtime_error("a message has not reached all members");
}

} // namespace bench
