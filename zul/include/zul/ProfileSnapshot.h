/// What a program's threads were doing, as read from a profile packet.
///
///     d::Profile::Snapshot snapshot;
///     if (snapshot.read(*packet))
///         for (const d::Profile::Snapshot::Thread& thread : snapshot.threads)
///             for (const d::Profile::Snapshot::Zone& zone : thread.zones)
///                 draw(snapshot.names[zone.name], zone.depth,
///                      snapshot.microseconds(start, zone.begin),
///                      snapshot.microseconds(start, zone.end));
///
/// Threads: one at a time.
/// Errors: whatever the bytes are, reading is safe, and zones name what is in `names`, end no
/// earlier than they begin and are less deep than kMaxZoneDepth. That zones of a thread lie
/// properly within each other is what the profiler writes, but reading does not check it.
#pragma once

#include <zul/Profile.h>
#include <zul/Types.h>
#include <zul/export.h>

#include <string>
#include <vector>

namespace d::Profile {

using zu::u64;
using zu::u8;

/// Of the bytes; a reader takes no other.
inline constexpr u32 kSnapshotVersion = 1;

/// Times are ticks of the program's clock, comparable between all snapshots of one process.
struct ZUL_API Snapshot
{
    struct Zone
    {
        u32 name = 0;  ///< index into names
        u32 depth = 0; ///< so many recorded zones of its thread were around it
        u64 begin = 0;
        u64 end = 0;
    };

    struct Thread
    {
        u32 id = 0;              ///< the system's number, which a later thread may have as well
        bool ended = false;      ///< was no longer there
        std::string name;        ///< "" when it has none
        std::vector<Zone> zones; ///< in the order of their beginnings, outer before inner
        std::vector<u64> frames; ///< when frames began, in order
    };

    u64 ticksPerSecond = 1;
    u64 takenAt = 0;
    std::vector<std::string> names; ///< any bytes
    std::vector<Thread> threads;    ///< those with something to show

    /// Reads the next field of a packet, or a snapshot's bytes, in place of what was in here.
    ///
    /// Returns false, and leaves it empty, for bytes that no profiler of this version wrote.
    bool read(net::Packet& packet);
    bool read(const u8* bytes, size_t size);

    /// From one time to another, negative if that is earlier.
    double microseconds(u64 from, u64 to) const
    {
        const double ticks =
            to >= from ? static_cast<double>(to - from) : -static_cast<double>(from - to);
        return ticks * 1e6 / static_cast<double>(ticksPerSecond);
    }
};

} // namespace d::Profile
