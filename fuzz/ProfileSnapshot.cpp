#include "fuzz/Checks.h"

#include <zul/ProfileSnapshot.h>

#include <algorithm>

namespace fuzz {

void checkProfileSnapshot(const std::uint8_t* data, size_t size)
{
    d::Profile::Snapshot snapshot;
    if (!snapshot.read(data, size)) {
        require(snapshot.threads.empty() && snapshot.names.empty());
        return;
    }
    size_t entries = 0;
    require(snapshot.ticksPerSecond > 0);
    for (const auto& thread : snapshot.threads) {
        entries += thread.zones.size() + thread.frames.size();
        require(std::is_sorted(thread.frames.begin(), thread.frames.end()));
        for (size_t i = 0; i < thread.zones.size(); ++i) {
            const d::Profile::Snapshot::Zone& zone = thread.zones[i];
            require(zone.name < snapshot.names.size());
            require(zone.depth < d::Profile::kMaxZoneDepth);
            require(zone.begin <= zone.end);
            require(i == 0 || thread.zones[i - 1].begin <= zone.begin);
        }
    }
    require(2 * entries + snapshot.names.size() < size);
}

} // namespace fuzz
