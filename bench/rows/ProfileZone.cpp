#include "bench/MedianFigure.h"
#include "bench/rows/Rows.h"

#include <zul/Profile.h>

#include <chrono>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;
using d::Profile::ThreadProfiler;

// Enough that reading the clock does not count, and little against a slice of the scheduler's.
constexpr unsigned kZones = 20'000;

// One after the other, each in a frame of its own, as calls of one function are.
[[gnu::noinline]] void runZone() { ZUL_PROFILE_ZONE("bench"); }

double nanosecondsPerZone()
{
    const Clock::time_point start = Clock::now();
    for (unsigned i = 0; i < kZones; ++i)
        runZone();
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / kZones;
}

double medianPerZone(const Settings& settings, bool recording)
{
    ThreadProfiler::setRecording(recording);
    const double figure = medianFigure(settings, nanosecondsPerZone);
    ThreadProfiler::setRecording(false);
    return figure;
}

Row zoneRow(std::string name, std::string title, bool recording, double mostNanoseconds)
{
    Row row;
    row.name = std::move(name);
    row.title = std::move(title);
    row.unit = "ns";
    row.better = Better::Lower;
    row.contenders = {{"dm", [recording](const Settings& settings) {
                           return medianPerZone(settings, recording);
                       }}};
    row.thresholds = {{"", mostNanoseconds}};
    row.decimals = 1;
    return row;
}

} // namespace

Row recordedZoneRow()
{
    return zoneRow("zone-recording", "one profile zone while recording, and the call it is in",
                   true, 30);
}

Row idleZoneRow()
{
    return zoneRow("zone-idle", "one profile zone while nobody has asked, and the call it is in",
                   false, 2);
}

} // namespace bench
