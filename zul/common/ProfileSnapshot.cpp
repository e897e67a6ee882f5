#include "zul/common/ProfileWriter.h"

#include <zul/Packet.h>
#include <zul/ProfileSnapshot.h>

#include <algorithm>
#include <optional>

namespace d::Profile {

namespace {

/// Numbers and texts one after the other. What is not there fails for good and reads as 0 or "".
class Cursor
{
public:
    Cursor(const u8* bytes, size_t size)
        : place(bytes)
        , end(bytes + size)
    {
    }

    u64 takeNumber()
    {
        u64 value = 0;
        for (unsigned shift = 0; shift < 64 && place != end; shift += 7) {
            const u64 bits = *place & 0x7F;
            if (shift == 63 && bits > 1)
                break;
            value |= bits << shift;
            if ((*place++ & 0x80) == 0)
                return value;
        }
        fail();
        return 0;
    }

    /// A number that is at most `largest`.
    u32 takeNumber(u32 largest)
    {
        const u64 value = takeNumber();
        if (value <= largest)
            return static_cast<u32>(value);
        fail();
        return 0;
    }

    std::string takeText(u32 longest)
    {
        const u32 length = takeNumber(longest);
        if (length > static_cast<size_t>(end - place)) {
            fail();
            return {};
        }
        std::string text(reinterpret_cast<const char*>(place), length);
        place += length;
        return text;
    }

    /// `later` less a number.
    u64 takeBefore(u64 later)
    {
        const u64 distance = takeNumber();
        if (distance <= later)
            return later - distance;
        fail();
        return 0;
    }

    void fail()
    {
        failed = true;
        place = end;
    }
    bool good() const { return !failed; }
    bool atEnd() const { return place == end; }

private:
    const u8* place;
    const u8* end;
    bool failed = false;
};

// Entries stand newest first, and an inner zone ends before its outer one.
void orderByBeginning(Snapshot::Thread& thread)
{
    std::reverse(thread.frames.begin(), thread.frames.end());
    std::sort(thread.zones.begin(), thread.zones.end(),
              [](const Snapshot::Zone& left, const Snapshot::Zone& right) {
                  return left.begin != right.begin ? left.begin < right.begin
                                                   : left.depth < right.depth;
              });
}

// Every entry takes bytes, so the count may be any: it ends where the bytes do.
void takeEntries(Cursor& cursor, size_t nameCount, Snapshot::Thread& thread)
{
    u64 end = cursor.takeNumber();
    for (u64 count = cursor.takeNumber(); count > 0 && cursor.good(); --count) {
        const u32 name = cursor.takeNumber(static_cast<u32>(nameCount));
        end = cursor.takeBefore(end);
        if (name == 0) {
            thread.frames.push_back(end);
            continue;
        }
        Snapshot::Zone zone;
        zone.name = name - 1;
        zone.end = end;
        zone.begin = cursor.takeBefore(end);
        zone.depth = cursor.takeNumber(kMaxZoneDepth - 1);
        thread.zones.push_back(zone);
    }
    orderByBeginning(thread);
}

std::optional<Snapshot> parse(Cursor& cursor)
{
    if (cursor.takeNumber() != kSnapshotVersion)
        return {};
    Snapshot snapshot;
    snapshot.ticksPerSecond = cursor.takeNumber();
    snapshot.takenAt = cursor.takeNumber();
    for (u32 count = cursor.takeNumber(kMaxZoneNames); count > 0 && cursor.good(); --count)
        snapshot.names.push_back(cursor.takeText(kMaxNameBytes));
    for (u32 count = cursor.takeNumber(kMaxRings); count > 0 && cursor.good(); --count) {
        Snapshot::Thread& thread = snapshot.threads.emplace_back();
        thread.id = cursor.takeNumber(~u32{0});
        thread.ended = cursor.takeNumber(1) == 1;
        thread.name = cursor.takeText(kMaxNameBytes);
        takeEntries(cursor, snapshot.names.size(), thread);
    }
    if (!cursor.good() || !cursor.atEnd() || snapshot.ticksPerSecond == 0)
        return {};
    return snapshot;
}

} // namespace

bool Snapshot::read(const u8* bytes, size_t size)
{
    Cursor cursor(bytes, size);
    std::optional<Snapshot> parsed = parse(cursor);
    const bool complete = parsed.has_value();
    *this = complete ? std::move(*parsed) : Snapshot();
    return complete;
}

bool Snapshot::read(net::Packet& packet)
{
    u32 size = 0;
    const char* bytes = packet.readText(size);
    return read(reinterpret_cast<const u8*>(bytes), size);
}

} // namespace d::Profile
