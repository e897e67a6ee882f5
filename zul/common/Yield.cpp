#include <zul/Yield.h>

#include <atomic>
#include <thread>

namespace zu {

namespace {

constexpr std::chrono::microseconds kCrowdedYield{kCrowdedYieldMicroseconds};
constexpr std::chrono::microseconds kCrowdedPause{kCrowdedPauseMicroseconds};

std::atomic<u32> s_yieldMicroseconds{kDefaultYieldMicroseconds};

// Until when this thread takes its core for crowded.
thread_local std::chrono::steady_clock::time_point t_crowdedUntil;

} // namespace

void setYieldMicroseconds(u32 microseconds)
{
    s_yieldMicroseconds.store(microseconds, std::memory_order_relaxed);
}

u32 getYieldMicroseconds() { return s_yieldMicroseconds.load(std::memory_order_relaxed); }

bool YieldBudget::yield()
{
    if (remaining.count() == 0)
        return false;
    const Clock::time_point now = Clock::now();
    const bool crowded = lastYield != Clock::time_point() && now - lastYield > kCrowdedYield;
    if (crowded)
        t_crowdedUntil = now + kCrowdedPause;
    if (deadline == Clock::time_point())
        deadline = now < t_crowdedUntil ? now : now + remaining;
    if (crowded || now >= deadline) {
        remaining = {};
        return false;
    }
    lastYield = now;
    std::this_thread::yield();
    return true;
}

} // namespace zu
