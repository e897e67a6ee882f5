#include "zul/common/ProfileRing.h"

#include <algorithm>
#include <new>

namespace d::Profile {

std::unique_ptr<ZoneRing> ZoneRing::tryCreate() noexcept
{
    std::unique_ptr<ZoneRing> ring(new (std::nothrow) ZoneRing);
    if (!ring)
        return nullptr;
    ring->memory = zu::ZeroedBuffer::tryAllocate(u64{kZonesPerThread} * sizeof(ZoneEntry));
    ring->entries = reinterpret_cast<ZoneEntry*>(ring->memory.data());
    return ring->entries ? std::move(ring) : nullptr;
}

// The number of the oldest entry that cannot be under way of being overwritten.
static u64 oldestIntact(u64 written)
{
    return written < kZonesPerThread ? 0 : written - kZonesPerThread + 1;
}

void ZoneRing::copy(u64 from, u64 to, std::vector<ZoneEntry>& copies) const
{
    from = std::max(from, oldestIntact(countWritten()));
    if (from >= to)
        return;
    const size_t begin = copies.size();
    for (u64 number = from; number < to; ++number) {
        ZoneEntry& place = entries[number % kZonesPerThread];
        copies.push_back({std::atomic_ref(place.name).load(std::memory_order_acquire),
                          std::atomic_ref(place.begin).load(std::memory_order_acquire),
                          std::atomic_ref(place.end).load(std::memory_order_acquire),
                          std::atomic_ref(place.depth).load(std::memory_order_acquire)});
    }
    const u64 intact = std::clamp(oldestIntact(countWritten()), from, to);
    const auto first = copies.begin() + static_cast<std::ptrdiff_t>(begin);
    copies.erase(first, first + static_cast<std::ptrdiff_t>(intact - from));
}

} // namespace d::Profile
