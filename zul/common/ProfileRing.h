/// The newest zones of one thread, read by others while it goes on writing.
///
/// A zone is written when it ends, so that every entry is whole, and one counter says how many
/// there are. Nobody waits for anybody: a reader copies entries and then drops those that the
/// counter says may have been overwritten meanwhile.
///
/// Threads: begin, end and mark are the owner's; the rest is anybody's.
#pragma once

#include "zul/common/ProfileClock.h"

#include <zul/Memory.h>
#include <zul/Profile.h>

#include <array>
#include <atomic>
#include <memory>
#include <vector>

namespace d::Profile {

using zu::u64;

/// A zone, or without a name the beginning of a frame.
struct ZoneEntry
{
    const char* name;
    u64 begin;
    u64 end;
    u64 depth;
};

class ZoneRing
{
public:
    /// Null when there is no memory.
    static std::unique_ptr<ZoneRing> tryCreate() noexcept;

    /// Before another thread becomes the owner: nothing is open any more.
    void forgetOpenZones() noexcept { depth = 0; }

    void begin(const char* name) noexcept
    {
        if (depth < kMaxZoneDepth)
            open[depth] = {name, nextTick()};
        ++depth;
    }
    void end() noexcept
    {
        if (--depth < kMaxZoneDepth)
            append({open[depth].name, open[depth].begin, nextTick(), depth});
    }
    void mark() noexcept
    {
        const u64 now = nextTick();
        append({nullptr, now, now, 0});
    }

    /// How many entries have ever been written, by all owners.
    u64 countWritten() const noexcept { return written.load(std::memory_order_acquire); }

    /// Appends those of the entries with numbers from `from` up to, not including, `to` that are
    /// still there, oldest first; `to` is at most what countWritten has said.
    void copy(u64 from, u64 to, std::vector<ZoneEntry>& entries) const;

private:
    struct OpenZone
    {
        const char* name;
        u64 begin;
    };

    ZoneRing() = default;

    // Never the same twice, so that the order of beginnings and ends can be told from the times
    // alone, even when the processor reads its counter out of order.
    u64 nextTick() noexcept
    {
        const u64 now = clock.ticks();
        lastTick = now > lastTick ? now : lastTick + 1;
        return lastTick;
    }

    // Entry n takes the place of entry n - kZonesPerThread, and who sees a part of it is also to
    // see that n entries were written before. So every part is stored with release, and loaded with
    // acquire, before the counter is looked at again.
    void append(const ZoneEntry& entry) noexcept
    {
        const u64 number = written.load(std::memory_order_relaxed);
        ZoneEntry& place = entries[number % kZonesPerThread];
        std::atomic_ref(place.name).store(entry.name, std::memory_order_release);
        std::atomic_ref(place.begin).store(entry.begin, std::memory_order_release);
        std::atomic_ref(place.end).store(entry.end, std::memory_order_release);
        std::atomic_ref(place.depth).store(entry.depth, std::memory_order_release);
        written.store(number + 1, std::memory_order_release);
    }

    // Set once.
    const ProfileClock clock = ProfileClock::pick();
    zu::ZeroedBuffer memory;
    ZoneEntry* entries = nullptr; // kZonesPerThread of them, in memory

    std::atomic<u64> written{0};

    // The owner's.
    u64 lastTick = 0;
    u64 depth = 0;
    std::array<OpenZone, kMaxZoneDepth> open;
};

} // namespace d::Profile
