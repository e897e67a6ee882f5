#include "fuzz/Checks.h"

#include <zul/ProfileSnapshot.h>

#include <algorithm>
#include <memory>

namespace fuzz {

void checkProfileSnapshot(const std::uint8_t* data, size_t size)
{
    // On the heap and of their own size, so that a sanitizer sees what is read beyond them.
    const std::unique_ptr<std::uint8_t[]> bytes(new std::uint8_t[size]);
    std::copy_n(data, size, bytes.get());

    d::Profile::Snapshot snapshot;
    if (!snapshot.read(bytes.get(), size)) {
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
