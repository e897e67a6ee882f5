/// How long a waiter yields the core before it sleeps in the system.
///
/// Waking a sleeping thread costs the waker a system call and both a detour through the scheduler.
/// Where the awaited thing usually happens within microseconds, a waiter does better to stay
/// runnable for a moment:
///
///     zu::YieldBudget budget;
///     while (!ready())
///         if (!budget.yield())
///             return sleepUntilReady();
///
/// Threads: any; a budget belongs to one waiter.
#pragma once

#include <zul/Types.h>
#include <zul/export.h>

#include <algorithm>
#include <chrono>

namespace zu {

inline constexpr u32 kDefaultYieldMicroseconds = 50;

/// A yield that took this long gave the core to somebody with real work. Yielding on would cost
/// the thread its turn again and again, so it stops for kCrowdedPauseMicroseconds.
inline constexpr u32 kCrowdedYieldMicroseconds = 300;
inline constexpr u32 kCrowdedPauseMicroseconds = 5000;

/// Process-wide, for waits that begin afterwards. 0 makes every waiter sleep at once.
ZUL_API void setYieldMicroseconds(u32 microseconds);
ZUL_API u32 getYieldMicroseconds();

/// The time one wait may spend yielding. It begins with the first yield().
class ZUL_API YieldBudget
{
public:
    /// Never more than `atMost`, whatever the process-wide time.
    explicit YieldBudget(std::chrono::microseconds atMost = std::chrono::microseconds::max())
        : remaining(std::min(std::chrono::microseconds(getYieldMicroseconds()), atMost))
    {
    }

    /// Yields the core; false, without yielding, once the time is used up, yielding is off, or the
    /// core has turned out to be crowded.
    bool yield();

private:
    using Clock = std::chrono::steady_clock;

    std::chrono::microseconds remaining;
    Clock::time_point deadline{};
    Clock::time_point lastYield{};
};

} // namespace zu
