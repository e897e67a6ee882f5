#include "bench/MedianFigure.h"
#include "bench/rows/Rows.h"

#include <zul/Packet.h>
#include <zul/Profile.h>
#include <zul/ProfileSnapshot.h>

#include <chrono>
#include <latch>
#include <stdexcept>
#include <thread>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;
using d::Profile::ThreadProfiler;

constexpr unsigned kThreads = 8;
constexpr unsigned kZonesEach = 10'000;
constexpr int kProfilePacket = 3;

// A frame of a game, roughly: tasks within passes within a frame.
unsigned recordFrame()
{
    ZUL_PROFILE_ZONE("frame");
    unsigned zones = 1;
    for (int pass = 0; pass < 4; ++pass) {
        ZUL_PROFILE_ZONE("pass");
        for (int task = 0; task < 8; ++task, ++zones) {
            ZUL_PROFILE_ZONE("task");
        }
        ++zones;
    }
    return zones;
}

/// Threads that have recorded their zones, and live until the object goes.
class RecordedThreads
{
public:
    RecordedThreads()
    {
        for (unsigned i = 0; i < kThreads; ++i)
            threads.emplace_back([this] {
                for (unsigned zones = 0; zones < kZonesEach;)
                    zones += recordFrame();
                recorded.count_down();
                end.wait();
            });
        recorded.wait();
    }
    ~RecordedThreads() { end.count_down(); }

private:
    std::latch recorded{kThreads};
    std::latch end{1};
    std::vector<std::jthread> threads;
};

size_t countZones(net::Packet& packet)
{
    d::Profile::Snapshot snapshot;
    packet.setPos(0);
    size_t zones = 0;
    if (snapshot.read(packet))
        for (const auto& thread : snapshot.threads)
            zones += thread.zones.size();
    return zones;
}

double millisecondsPerSnapshot(const Settings& settings)
{
    ThreadProfiler::setRecording(true);
    const RecordedThreads threads;
    ThreadProfiler::setRecording(false);
    net::Packet packet(kProfilePacket);
    const double figure = medianFigure(settings, [&packet] {
        packet.reset(kProfilePacket);
        const Clock::time_point start = Clock::now();
        packet << ThreadProfiler::current();
        return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    });
    if (countZones(packet) < size_t{kThreads} * kZonesEach)
        throw std::runtime_error("zones are missing in the snapshot");
    return figure;
}

} // namespace

Row profileSnapshotRow()
{
    Row row;
    row.name = "profile-snapshot";
    row.title = "a profile packet of 8 threads with 10,000 zones each, on the calling thread";
    row.unit = "ms";
    row.better = Better::Lower;
    row.contenders = {{"dm", millisecondsPerSnapshot}};
    row.thresholds = {{"", 5}};
    row.decimals = 2;
    return row;
}

} // namespace bench
