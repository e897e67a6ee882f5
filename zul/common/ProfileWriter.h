/// A snapshot's bytes, as docs/protocol/monitor.md describes them, from the zones of threads.
#pragma once

#include "zul/common/ProfileRing.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace d::Profile {

using zu::u8;

/// A snapshot names no more different zones than this, and those with no more bytes together, so
/// that names never take the room of zones. What has no place is named by kOtherZones.
inline constexpr u32 kMaxZoneNames = 4096;
inline constexpr u32 kZoneNameBytes = 256 * 1024;
inline constexpr const char* kOtherZones = "(other zones)";

/// The names of zones, each once, whatever number of literals says it.
class NameTable
{
public:
    /// The name's place in the table.
    u32 find(const char* name);

    const std::vector<std::string_view>& all() const { return names; }

private:
    u32 add(const char* name);

    std::unordered_map<const char*, u32> placeOfLiteral;
    std::unordered_map<std::string_view, u32> placeOfText;
    std::vector<std::string_view> names;
    size_t nameBytes = 0;
    const char* latestName = nullptr; // zones come in runs
    u32 latestPlace = 0;
};

class SnapshotWriter
{
public:
    SnapshotWriter(u64 ticksPerSecond, u64 takenAt);

    /// A thread without entries leaves no trace. Ends ascend in `oldestFirst`.
    void addThread(u32 id, const char* name, bool ended, std::span<const ZoneEntry> oldestFirst);

    /// The newest of what was added that fit into the limit, which is not below what names take.
    std::vector<u8> finish(size_t limitBytes) const;

private:
    struct Entry
    {
        u64 end;
        u32 bytesUpTo; // of its thread, from the newest entry to this one
    };
    struct Thread
    {
        std::vector<u8> head;
        std::vector<u8> bytes;
        std::vector<Entry> entries; // newest first

        size_t countSince(u64 tick) const;
        size_t bytesSince(u64 tick) const;
    };

    u64 findCut(size_t roomBytes) const;

    u64 ticksPerSecond;
    u64 takenAt;
    NameTable names;
    std::vector<Thread> threads;
};

} // namespace d::Profile
