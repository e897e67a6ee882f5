#include "zul/common/ProfileWriter.h"

#include <zul/ProfileSnapshot.h>

#include <algorithm>
#include <cassert>
#include <cstring>

namespace d::Profile {

namespace {

constexpr size_t kMaxVarintBytes = 10;
constexpr size_t kMaxEntryBytes = 4 * kMaxVarintBytes;

u8* putNumber(u8* place, u64 value)
{
    for (; value >= 0x80; value >>= 7)
        *place++ = static_cast<u8>(value | 0x80);
    *place++ = static_cast<u8>(value);
    return place;
}

void appendNumber(std::vector<u8>& bytes, u64 value)
{
    u8 number[kMaxVarintBytes];
    bytes.insert(bytes.end(), number, putNumber(number, value));
}

void appendText(std::vector<u8>& bytes, std::string_view text)
{
    appendNumber(bytes, text.size());
    bytes.insert(bytes.end(), text.begin(), text.end());
}

std::string_view cutName(const char* name)
{
    const void* zero = std::memchr(name, 0, kMaxNameBytes);
    return {name, zero ? static_cast<size_t>(static_cast<const char*>(zero) - name)
                       : size_t{kMaxNameBytes}};
}

} // namespace

u32 NameTable::find(const char* name)
{
    if (name == latestName)
        return latestPlace;
    const auto known = placeOfLiteral.find(name);
    latestPlace = known != placeOfLiteral.end() ? known->second : add(name);
    latestName = name;
    return latestPlace;
}

u32 NameTable::add(const char* name)
{
    std::string_view text = cutName(name);
    // The last place is kept for the name of those that have none.
    const size_t roomBytes = kZoneNameBytes - std::strlen(kOtherZones);
    const bool fits = names.size() < kMaxZoneNames - 1 && text.size() <= roomBytes - nameBytes;
    if (!fits && !placeOfText.contains(text))
        text = kOtherZones;
    const auto [entry, isNew] = placeOfText.try_emplace(text, static_cast<u32>(names.size()));
    if (isNew) {
        names.push_back(text);
        nameBytes += fits ? text.size() : 0;
    }
    placeOfLiteral[name] = entry->second;
    return entry->second;
}

SnapshotWriter::SnapshotWriter(u64 perSecond, u64 now)
    : ticksPerSecond(perSecond)
    , takenAt(now)
{
}

void SnapshotWriter::addThread(u32 id, const char* name, bool ended,
                               std::span<const ZoneEntry> oldestFirst)
{
    if (oldestFirst.empty())
        return;
    Thread& thread = threads.emplace_back();
    appendNumber(thread.head, id);
    appendNumber(thread.head, ended ? 1 : 0);
    appendText(thread.head, cutName(name));
    u64 laterEnd = oldestFirst.back().end;
    appendNumber(thread.head, laterEnd);

    const auto room = std::make_unique_for_overwrite<u8[]>(oldestFirst.size() * kMaxEntryBytes);
    u8* place = room.get();
    thread.entries.reserve(oldestFirst.size());
    for (size_t i = oldestFirst.size(); i-- > 0;) {
        const ZoneEntry& entry = oldestFirst[i];
        place = putNumber(place, entry.name ? names.find(entry.name) + 1 : 0);
        place = putNumber(place, laterEnd - entry.end);
        laterEnd = entry.end;
        if (entry.name) {
            place = putNumber(place, entry.end - entry.begin);
            place = putNumber(place, entry.depth);
        }
        thread.entries.push_back({entry.end, static_cast<u32>(place - room.get())});
    }
    thread.bytes.assign(room.get(), place);
}

// How many entries ended at that tick or later.
size_t SnapshotWriter::Thread::countSince(u64 tick) const
{
    const auto tooOld = std::partition_point(
        entries.begin(), entries.end(), [tick](const Entry& entry) { return entry.end >= tick; });
    return static_cast<size_t>(tooOld - entries.begin());
}

size_t SnapshotWriter::Thread::bytesSince(u64 tick) const
{
    const size_t count = countSince(tick);
    return count == 0 ? 0 : entries[count - 1].bytesUpTo;
}

// The earliest tick that leaves no more than so many bytes of entries.
u64 SnapshotWriter::findCut(size_t roomBytes) const
{
    const auto bytesSince = [this](u64 tick) {
        size_t sum = 0;
        for (const Thread& thread : threads)
            sum += thread.bytesSince(tick);
        return sum;
    };
    u64 tooEarly = 0;
    if (bytesSince(tooEarly) <= roomBytes)
        return tooEarly;
    u64 cut = ~u64{0};
    while (cut - tooEarly > 1) {
        const u64 middle = tooEarly + (cut - tooEarly) / 2;
        (bytesSince(middle) <= roomBytes ? cut : tooEarly) = middle;
    }
    return cut;
}

std::vector<u8> SnapshotWriter::finish(size_t limitBytes) const
{
    std::vector<u8> bytes;
    appendNumber(bytes, kSnapshotVersion);
    appendNumber(bytes, ticksPerSecond);
    appendNumber(bytes, takenAt);
    appendNumber(bytes, names.all().size());
    for (std::string_view name : names.all())
        appendText(bytes, name);

    size_t takenBytes = bytes.size() + kMaxVarintBytes;
    for (const Thread& thread : threads)
        takenBytes += thread.head.size() + kMaxVarintBytes;
    assert(takenBytes <= limitBytes && "names are limited so that they leave room");
    const u64 cut = findCut(limitBytes - std::min(limitBytes, takenBytes));

    appendNumber(bytes, static_cast<u64>(std::count_if(
                            threads.begin(), threads.end(),
                            [cut](const Thread& thread) { return thread.countSince(cut) > 0; })));
    for (const Thread& thread : threads) {
        const size_t count = thread.countSince(cut);
        if (count == 0)
            continue;
        bytes.insert(bytes.end(), thread.head.begin(), thread.head.end());
        appendNumber(bytes, count);
        bytes.insert(bytes.end(), thread.bytes.begin(),
                     thread.bytes.begin() + static_cast<std::ptrdiff_t>(thread.bytesSince(cut)));
    }
    return bytes;
}

} // namespace d::Profile
