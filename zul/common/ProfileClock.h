/// Seam: the cheapest clock that is right.
///
/// A counter of the processor serves only where it runs at one rate in all states of the processor
/// and agrees between its cores; elsewhere it is the system's monotonic clock.
///
/// Threads: any.
#pragma once

#include <zul/Types.h>

namespace d::Profile {

class ProfileClock
{
public:
    /// The same choice every time in a process.
    static ProfileClock pick() noexcept { return ProfileClock(isCounterRight()); }
    /// Right on every machine, and slower.
    static ProfileClock pickSystem() noexcept { return ProfileClock(false); }

    /// A few nanoseconds' work; two readings may come out of order by as much.
    zu::u64 ticks() const noexcept;

    /// How many a second has, always the same. The first call may take a millisecond to measure it.
    zu::u64 ticksPerSecond() const noexcept;

private:
    explicit ProfileClock(bool counter) noexcept
        : readsCounter(counter)
    {
    }

    static bool isCounterRight() noexcept;

    bool readsCounter;
};

} // namespace d::Profile
