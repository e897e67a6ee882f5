#pragma once

#include <algorithm>
#include <chrono>

namespace tool {

/// How long nothing has happened, in time that this program was there to see.
///
/// A suspended machine or a tool stopped in a debugger must not find its patience used up on
/// return, before the other end had a chance: a gap between two looks counts as one look's worth.
class InactivityClock
{
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds kLongestGap{250};

    InactivityClock(std::chrono::milliseconds patience, Clock::time_point now)
        : limit(patience)
        , lastLook(now)
    {
    }

    void look(bool somethingHappened, Clock::time_point now)
    {
        const Clock::duration gap = std::min<Clock::duration>(now - lastLook, kLongestGap);
        lastLook = now;
        idle = somethingHappened ? Clock::duration::zero() : idle + gap;
    }

    bool isExpired() const { return idle >= limit; }

private:
    std::chrono::milliseconds limit;
    Clock::time_point lastLook;
    Clock::duration idle = Clock::duration::zero();
};

} // namespace tool
