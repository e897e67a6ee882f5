#include "zul/common/ProfileRegistry.h"
#include "zul/common/ProfileWriter.h"

#include <zul/Packet.h>
#include <zul/Profile.h>

#include <algorithm>
#include <mutex>

namespace d::Profile {

static_assert(kMaxSnapshotBytes <= net::kMaxPayloadBytes);

std::atomic<bool> Recorder::recording{false};

namespace {

std::mutex s_switchLock; // switching on and off are one step each; taken alone
std::atomic<u64> s_recordingSince{0};

[[gnu::tls_model("initial-exec")]] constinit thread_local ZoneRing* t_ring = nullptr;

ZoneRing* ownRing() noexcept { return t_ring ? t_ring : RingRegistry::get().claim(t_ring); }

} // namespace

ZoneRing* Recorder::beginZone(const char* name) noexcept
{
    ZoneRing* ring = ownRing();
    if (ring)
        ring->begin(name);
    return ring;
}

void Recorder::endZone(ZoneRing* ring) noexcept { ring->end(); }

void Recorder::markFrame() noexcept
{
    if (ZoneRing* ring = ownRing())
        ring->mark();
}

const ThreadProfiler& ThreadProfiler::current()
{
    static constexpr ThreadProfiler profiler;
    return profiler;
}

void ThreadProfiler::setRecording(bool on)
{
    std::lock_guard guard(s_switchLock);
    if (on == isRecording())
        return;
    if (on) {
        const ProfileClock clock = ProfileClock::pick();
        clock.ticksPerSecond(); // measured now, not when the first snapshot waits for it
        s_recordingSince.store(clock.ticks(), std::memory_order_relaxed);
    }
    Recorder::recording.store(on, std::memory_order_relaxed);
}

static std::vector<u8> takeSnapshot()
{
    // Shares first: what they hold has ended before.
    const std::vector<RingShare> shares = RingRegistry::get().listShares();
    const ProfileClock clock = ProfileClock::pick();
    SnapshotWriter writer(clock.ticksPerSecond(), clock.ticks());
    const u64 since = s_recordingSince.load(std::memory_order_relaxed);
    std::vector<ZoneEntry> entries;
    entries.reserve(kZonesPerThread);
    for (const RingShare& share : shares) {
        entries.clear();
        share.ring->copy(share.from, share.to, entries);
        std::erase_if(entries, [since](const ZoneEntry& entry) { return entry.begin < since; });
        writer.addThread(share.threadId, share.threadName, share.ended, entries);
    }
    return writer.finish(kMaxSnapshotBytes - net::kTextFrameBytes);
}

} // namespace d::Profile

net::Packet& net::operator<<(Packet& packet, const d::Profile::ThreadProfiler&)
{
    const std::vector<u8> bytes = d::Profile::takeSnapshot();
    return packet.writeText(reinterpret_cast<const char*>(bytes.data()),
                            static_cast<u32>(bytes.size()));
}
