#include <zul/Yield.h>

#include <atomic>
#include <thread>

namespace zu {

namespace {

std::atomic<u32> s_yieldMicroseconds{kDefaultYieldMicroseconds};

} // namespace

void setYieldMicroseconds(u32 microseconds)
{
    s_yieldMicroseconds.store(microseconds, std::memory_order_relaxed);
}

u32 getYieldMicroseconds() { return s_yieldMicroseconds.load(std::memory_order_relaxed); }

bool YieldBudget::yield()
{
    using Clock = std::chrono::steady_clock;

    if (remaining.count() == 0)
        return false;
    const Clock::time_point now = Clock::now();
    if (deadline == Clock::time_point())
        deadline = now + remaining;
    if (now >= deadline) {
        remaining = {};
        return false;
    }
    std::this_thread::yield();
    return true;
}

} // namespace zu
