/// Which ring belongs to which thread, and which threads have ended.
///
/// Life of a ring: made for a thread's first zone, or taken over from the thread that ended longest
/// ago when enough of those are kept; never destroyed, because threads may outlive main and
/// snapshots read rings without a lock. The count of its entries goes on from owner to owner, so
/// that a snapshot that still reads the old owner's notices what the new one overwrites.
///
/// Threads: any.
#pragma once

#include "zul/common/ProfileRing.h"

#include <array>
#include <memory>
#include <mutex>
#include <vector>

namespace d::Profile {

/// What a snapshot needs to know of a thread.
struct RingShare
{
    const ZoneRing* ring = nullptr;
    u32 threadId = 0;
    const char* threadName = ""; // lives for ever
    bool ended = false;
    u64 from = 0; // the thread's entries in the ring
    u64 to = 0;
};

class RingRegistry
{
public:
    /// The one there is; never destroyed.
    static RingRegistry& get();

    /// A ring for the calling thread, which has none, until it ends. Null when there are too many,
    /// or no memory, and from then on when the thread is ending.
    ///
    ///   place   the thread's, receives the ring and in the end null.
    ZoneRing* claim(ZoneRing*& place) noexcept;

    /// The shares of all threads, as they are now, and of those that ended last. After a crowd of
    /// threads more rings than those are there, and would make every snapshot a long one.
    std::vector<RingShare> listShares();

private:
    struct Keeper;
    struct Seat
    {
        std::unique_ptr<ZoneRing> ring;
        RingShare share;
        u64 endNumber = 0; // how many threads had ended when this one did, itself included
    };

    ZoneRing* seatThread(u32 threadId) noexcept;
    Seat* pickSeat() noexcept;
    void release(ZoneRing* ring) noexcept;

    std::mutex lock; // only the lock on the names of threads is taken under it
    std::array<Seat, kMaxRings> seats;
    u32 usedSeats = 0; // the first ones
    u64 endedThreads = 0;
};

} // namespace d::Profile
