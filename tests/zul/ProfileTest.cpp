#include "zul/common/ProfileClock.h"
#include "zul/common/ProfileRing.h"

#include <zul/Packet.h>
#include <zul/Profile.h>
#include <zul/ProfileSnapshot.h>
#include <zul/Thread.h>
#include <zul/Timer.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <latch>
#include <thread>

using d::Profile::kZonesPerThread;
using d::Profile::ProfileClock;
using d::Profile::Snapshot;
using d::Profile::ThreadProfiler;
using zu::u32;
using zu::u64;

namespace {

Snapshot takeSnapshot()
{
    net::Packet packet(3);
    packet << ThreadProfiler::current();
    EXPECT_LE(packet.getSize(), d::Profile::kMaxSnapshotBytes);
    packet.setPos(0);
    Snapshot snapshot;
    EXPECT_TRUE(snapshot.read(packet));
    return snapshot;
}

// The names of a thread's zones, indented by their depths, in the order of their beginnings.
std::string describe(const Snapshot& snapshot, const Snapshot::Thread& thread)
{
    std::string text;
    for (const Snapshot::Zone& zone : thread.zones)
        text += std::string(zone.depth, '.') + snapshot.names[zone.name] + " ";
    return text;
}

// A zone lies within the one that began last with a lesser depth, or behind it if that is missing
// or over; it never begins before one of its depth or a greater one has ended.
bool isProperlyNested(const Snapshot::Thread& thread)
{
    std::vector<Snapshot::Zone> around;
    for (const Snapshot::Zone& zone : thread.zones) {
        while (!around.empty() && around.back().depth >= zone.depth) {
            if (around.back().end >= zone.begin)
                return false;
            around.pop_back();
        }
        if (zone.end <= zone.begin ||
            (!around.empty() && around.back().end > zone.begin && around.back().end <= zone.end))
            return false;
        around.push_back(zone);
    }
    return true;
}

void recurse(u32 depth)
{
    ZUL_PROFILE_ZONE("recursion");
    if (depth > 1)
        recurse(depth - 1);
}

/// Each test's recording shows its own zones alone.
class Profile : public testing::Test
{
protected:
    Profile() { ThreadProfiler::setRecording(true); }
    ~Profile() override { ThreadProfiler::setRecording(false); }

    /// Runs it on a thread of its own, which has ended afterwards, and tells what the thread did.
    static Snapshot record(const std::function<void()>& work)
    {
        std::thread(work).join();
        Snapshot snapshot = takeSnapshot();
        EXPECT_EQ(snapshot.threads.size(), 1u);
        snapshot.threads.resize(1);
        return snapshot;
    }
    static std::string describeRecord(const std::function<void()>& work)
    {
        const Snapshot snapshot = record(work);
        EXPECT_TRUE(isProperlyNested(snapshot.threads[0]));
        return describe(snapshot, snapshot.threads[0]);
    }
};

TEST_F(Profile, ShowsZonesFramesAndNameOfAThread)
{
    u32 id = 0;
    const Snapshot snapshot = record([&] {
        id = zu::currentThreadId();
        ZUL_PROFILE_FRAME();
        {
            ZUL_PROFILE_ZONE("frame");
            {
                ZUL_PROFILE_ZONE("draw");
            }
            ZUL_PROFILE_ZONE("wait");
        }
        ZUL_PROFILE_FRAME();
        zu::setThreadName(id, "render"); // later than its first zone
    });
    const Snapshot::Thread& thread = snapshot.threads[0];
    EXPECT_EQ(describe(snapshot, thread), "frame .draw .wait ");
    EXPECT_TRUE(isProperlyNested(thread));
    EXPECT_TRUE(thread.ended && thread.id == id && thread.name == "render");
    ASSERT_EQ(thread.frames.size(), 2u);
    EXPECT_LT(thread.frames[0], thread.zones[0].begin);
    EXPECT_GT(thread.frames[1], thread.zones[0].end);
    EXPECT_LE(thread.frames[1], snapshot.takenAt);
}

TEST_F(Profile, RecordsWholeZonesWhenSwitchedInTheMiddle)
{
    EXPECT_EQ(describeRecord([] {
                  ThreadProfiler::setRecording(false);
                  ZUL_PROFILE_ZONE("before");
                  ThreadProfiler::setRecording(true);
                  ZUL_PROFILE_ZONE("outer");
                  {
                      ZUL_PROFILE_ZONE("inner");
                      ThreadProfiler::setRecording(false);
                      ZUL_PROFILE_ZONE("while off");
                  }
              }),
              "outer .inner ");
    ThreadProfiler::setRecording(true); // begins anew
    EXPECT_TRUE(takeSnapshot().threads.empty());
    EXPECT_EQ(describeRecord([] {
                  ZUL_PROFILE_ZONE("of an earlier recording");
                  ThreadProfiler::setRecording(false);
                  ThreadProfiler::setRecording(true);
                  ZUL_PROFILE_ZONE("in it");
              }),
              ".in it ");
}

TEST_F(Profile, KeepsTheNewestWhenARingWrapsWithinAZone)
{
    const Snapshot snapshot = record([] {
        ZUL_PROFILE_ZONE("outer");
        for (u32 i = 0; i < kZonesPerThread; ++i) {
            ZUL_PROFILE_ZONE("middle");
            ZUL_PROFILE_ZONE("inner");
        }
    });
    EXPECT_TRUE(isProperlyNested(snapshot.threads[0]));
    const std::vector<Snapshot::Zone>& zones = snapshot.threads[0].zones;
    ASSERT_EQ(zones.size(), kZonesPerThread - 1);
    EXPECT_TRUE(snapshot.names[zones[0].name] == "outer" && zones.back().depth == 2);
}

TEST_F(Profile, LeavesOutZonesThatAreTooDeep)
{
    const Snapshot snapshot = record([] {
        recurse(d::Profile::kMaxZoneDepth + 10);
        ZUL_PROFILE_ZONE("after");
    });
    const std::vector<Snapshot::Zone>& zones = snapshot.threads[0].zones;
    EXPECT_TRUE(zones.size() == d::Profile::kMaxZoneDepth + 1 && zones.back().depth == 0);
}

TEST_F(Profile, RecordsNoMoreThreadsThanItHasRingsFor)
{
    constexpr u32 kThreads = d::Profile::kMaxRings + 20;
    std::latch recorded(kThreads), end(1);
    std::vector<std::jthread> threads;
    for (u32 i = 0; i < kThreads; ++i)
        threads.emplace_back([&] {
            recurse(2);
            recorded.count_down();
            end.wait();
            recurse(2);
        });
    recorded.wait();
    const size_t shown = takeSnapshot().threads.size();
    EXPECT_GE(shown, d::Profile::kMaxRings - d::Profile::kKeptEndedThreads);
    EXPECT_LE(shown, d::Profile::kMaxRings);
    end.count_down();
    threads.clear();
    EXPECT_EQ(takeSnapshot().threads.size(), d::Profile::kKeptEndedThreads);
    std::thread(recurse, 1).join(); // takes over one of theirs
    EXPECT_EQ(std::ranges::count(takeSnapshot().threads, 1u,
                                 [](const auto& thread) { return thread.zones.size(); }),
              1);
}

// Every zone's name says how deep it is: a torn or overwritten one would not match.
void recordNamedByDepth()
{
    ZUL_PROFILE_ZONE("0");
    for (int i = 0; i < 3; ++i) {
        ZUL_PROFILE_ZONE("1");
        ZUL_PROFILE_FRAME();
        ZUL_PROFILE_ZONE("2");
    }
}

TEST_F(Profile, IsReadWhileThreadsRecordComeAndGo)
{
    std::atomic<bool> stop = false;
    std::atomic<u32> come = 0;
    std::vector<std::jthread> threads;
    for (int i = 0; i < 2; ++i)
        threads.emplace_back([&] {
            while (!stop)
                recordNamedByDepth();
        });
    threads.emplace_back([&] {
        for (; !stop; ++come)
            std::jthread([] {
                zu::setThreadName(zu::currentThreadId(), "short");
                for (int i = 0; i < 100; ++i)
                    recordNamedByDepth();
            });
    });
    for (int snapshots = 0; snapshots < 6 || come < 10; ++snapshots) {
        const Snapshot snapshot = takeSnapshot();
        for (const Snapshot::Thread& thread : snapshot.threads) {
            EXPECT_TRUE(isProperlyNested(thread));
            EXPECT_TRUE(
                std::all_of(thread.zones.begin(), thread.zones.end(), [&](const auto& zone) {
                    return snapshot.names[zone.name][0] == static_cast<char>('0' + zone.depth);
                }));
        }
    }
    for (int recordings = 0; recordings < 3; ++recordings) {
        ThreadProfiler::setRecording(false);
        ThreadProfiler::setRecording(true);
        for (const Snapshot::Thread& thread : takeSnapshot().threads)
            EXPECT_TRUE(isProperlyNested(thread));
    }
    stop = true;
}

// More readers than cores: each is now and then interrupted while it copies, for so long that the
// writer goes all around the ring.
TEST(ProfileRing, DropsWhatIsOverwrittenWhileItIsCopied)
{
    constexpr u64 kLaps = 50;
    const auto ring = d::Profile::ZoneRing::tryCreate();
    std::atomic<size_t> copied = 0;
    std::vector<std::jthread> readers;
    for (int i = 0; i < 4; ++i)
        readers.emplace_back([&] {
            std::vector<d::Profile::ZoneEntry> entries;
            for (u64 written = 0; written < kLaps * kZonesPerThread;) {
                written = ring->countWritten();
                entries.clear();
                ring->copy(0, written, entries);
                EXPECT_TRUE(std::is_sorted(
                    entries.begin(), entries.end(),
                    [](const auto& left, const auto& right) { return left.end < right.end; }));
                copied += entries.size();
            }
        });
    for (u64 i = 0; i < kLaps * kZonesPerThread; ++i) {
        ring->begin("zone");
        ring->end();
    }
    readers.clear();
    EXPECT_GE(copied, 4 * (kZonesPerThread - 1));
}

TEST(ProfileClock, CountsAsManyTicksASecondAsItSays)
{
    for (const ProfileClock clock : {ProfileClock::pick(), ProfileClock::pickSystem()}) {
        // The ticks are read between two readings of the other clock at either end.
        const zu::Timer whole;
        const u64 first = clock.ticks();
        const zu::Timer inner;
        while (inner.getElapsed() < 0.020)
            ;
        const double atLeast = inner.getElapsed();
        const auto ticks = static_cast<double>(clock.ticks() - first);
        const double seconds = ticks / static_cast<double>(clock.ticksPerSecond());
        EXPECT_GT(seconds, atLeast * 0.999);
        EXPECT_LT(seconds, whole.getElapsed() * 1.001);
    }
}

} // namespace
