#include "zul/common/ProfileRegistry.h"

#include "zul/common/ThreadNames.h"

#include <zul/Thread.h>

#include <utility>

namespace d::Profile {

// The calling thread has been refused, or is ending and has given its ring back.
static constinit thread_local bool t_excluded = false;

/// Gives a thread's ring back when it ends.
struct RingRegistry::Keeper
{
    ZoneRing*& place;

    ~Keeper()
    {
        t_excluded = true;
        get().release(std::exchange(place, nullptr));
    }
};

RingRegistry& RingRegistry::get()
{
    static RingRegistry& registry = *new RingRegistry;
    return registry;
}

// A seat with a ring that nobody owns.
RingRegistry::Seat* RingRegistry::pickSeat() noexcept
{
    Seat* oldestEnded = nullptr;
    u32 keptEnded = 0;
    for (u32 i = 0; i < usedSeats; ++i) {
        Seat& seat = seats[i];
        if (!seat.share.ended)
            continue;
        ++keptEnded;
        if (!oldestEnded || seat.endNumber < oldestEnded->endNumber)
            oldestEnded = &seat;
    }
    if (keptEnded < kKeptEndedThreads && usedSeats < kMaxRings) {
        if ((seats[usedSeats].ring = ZoneRing::tryCreate()))
            return &seats[usedSeats++];
    }
    return oldestEnded;
}

ZoneRing* RingRegistry::claim(ZoneRing*& place) noexcept
{
    if (t_excluded)
        return nullptr;
    place = seatThread(zu::currentThreadId());
    t_excluded = !place;
    if (place) {
        // Before the keeper, which so still finds the thread's name at the end.
        zu::forgetNameAtThreadEnd();
        thread_local Keeper keeper{place};
        static_cast<void>(keeper.place);
    }
    return place;
}

ZoneRing* RingRegistry::seatThread(u32 threadId) noexcept
{
    std::lock_guard guard(lock);
    Seat* seat = pickSeat();
    if (!seat)
        return nullptr;
    seat->ring->forgetOpenZones();
    seat->share = {seat->ring.get(), threadId, "", false, seat->ring->countWritten(), 0};
    return seat->ring.get();
}

void RingRegistry::release(ZoneRing* ring) noexcept
{
    std::lock_guard guard(lock);
    for (u32 i = 0; i < usedSeats; ++i)
        if (seats[i].ring.get() == ring) {
            RingShare& share = seats[i].share;
            share.threadName = zu::getThreadName(share.threadId);
            share.ended = true;
            share.to = ring->countWritten();
            seats[i].endNumber = ++endedThreads;
        }
}

std::vector<RingShare> RingRegistry::listShares()
{
    std::vector<RingShare> shares;
    shares.reserve(kMaxRings);
    std::lock_guard guard(lock);
    for (u32 i = 0; i < usedSeats; ++i) {
        RingShare share = seats[i].share;
        if (share.ended && seats[i].endNumber + kKeptEndedThreads <= endedThreads)
            continue;
        if (!share.ended) {
            share.threadName = zu::getThreadName(share.threadId);
            share.to = share.ring->countWritten();
        }
        shares.push_back(share);
    }
    return shares;
}

} // namespace d::Profile
