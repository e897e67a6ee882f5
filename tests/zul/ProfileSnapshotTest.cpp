/// The bytes of a snapshot: how they are cut, and what is refused.
#include "support/SourceTree.h"
#include "zul/common/ProfileWriter.h"

#include <zul/ProfileSnapshot.h>

#include <numeric>

using d::Profile::Snapshot;
using d::Profile::SnapshotWriter;
using d::Profile::ZoneEntry;
using zu::u64;
using zu::u8;

namespace {

std::vector<u8> readDocumented()
{
    const std::string bytes = support::documentedFrames("monitor.md")["Profile"];
    return {bytes.begin(), bytes.end()};
}

bool isReadable(const std::vector<u8>& bytes)
{
    Snapshot snapshot;
    return snapshot.read(bytes.data(), bytes.size());
}

TEST(ProfileSnapshot, IsWrittenAndReadAsDocumented)
{
    const std::vector<ZoneEntry> entries = {
        {nullptr, 1000, 1000, 0}, {"draw", 1100, 1500, 1}, {"frame", 1050, 2000, 0}};
    SnapshotWriter writer(1'000'000, 2100);
    writer.addThread(8, "silent", false, {});
    writer.addThread(7, "main", false, entries);
    const std::vector<u8> bytes = writer.finish(1000);
    EXPECT_EQ(bytes, readDocumented());

    Snapshot snapshot;
    ASSERT_TRUE(snapshot.read(bytes.data(), bytes.size()));
    EXPECT_EQ(snapshot.names, (std::vector<std::string>{"frame", "draw"}));
    EXPECT_EQ(snapshot.microseconds(1000, snapshot.takenAt), 1100);
    EXPECT_EQ(snapshot.microseconds(2000, 1999), -1);
    const Snapshot::Thread& thread = snapshot.threads.at(0);
    EXPECT_TRUE(thread.id == 7 && !thread.ended && thread.name == "main");
    EXPECT_EQ(thread.frames, std::vector<u64>{1000});
    ASSERT_EQ(thread.zones.size(), 2u);
    EXPECT_TRUE(thread.zones[0].begin == 1050 && thread.zones[0].end == 2000);
    EXPECT_TRUE(thread.zones[1].name == 1 && thread.zones[1].depth == 1);
}

TEST(ProfileSnapshot, IsCutAtOneMomentForAllThreads)
{
    // One thread has ten zones in the time that the other has one, and a third ended long ago.
    std::vector<ZoneEntry> often, seldom;
    for (u64 i = 1; i <= 1000; ++i) {
        often.push_back({"often", 1'000'000 + i * 1000, 1'000'900 + i * 1000, 0});
        if (i % 10 == 0)
            seldom.push_back({"seldom", 1'000'001 + i * 1000, 1'000'901 + i * 1000, 0});
    }
    const ZoneEntry old[] = {{"old", 10, 20, 0}};
    SnapshotWriter writer(1'000'000, 9'000'000);
    writer.addThread(1, "often", false, often);
    writer.addThread(2, "seldom", false, seldom);
    writer.addThread(3, "old", true, old);

    Snapshot snapshot;
    for (size_t limit : {150u, 151u, 350u, 4000u}) {
        const std::vector<u8> bytes = writer.finish(limit);
        EXPECT_LE(bytes.size(), limit);
        EXPECT_GT(bytes.size() + 100, limit); // what counts and heads could take, and two entries
        ASSERT_TRUE(snapshot.read(bytes.data(), bytes.size()));
    }
    ASSERT_EQ(snapshot.threads.size(), 2u); // with the last limit
    const auto& zones = snapshot.threads[0].zones;
    const auto& seldomZones = snapshot.threads[1].zones;
    EXPECT_EQ(zones.back().end, often.back().end);
    EXPECT_EQ(seldomZones.back().end, seldom.back().end);
    EXPECT_GT(seldomZones.front().end, zones.front().end);
    EXPECT_LE(seldomZones.front().end, zones.front().end + 10'001);
}

TEST(ProfileSnapshot, NamesAreMergedCutAndLimited)
{
    std::vector<std::string> texts;
    for (u64 i = 1000; i < 3000; ++i)
        texts.push_back(std::to_string(i) + std::string(250, 'y'));
    texts.insert(texts.end(), {std::string(300, 'x'), "same", "same"});
    std::vector<ZoneEntry> entries;
    for (u64 i = 0; i < texts.size(); ++i)
        entries.push_back({texts[i].c_str(), 10 * i, 10 * i + 5, 0});
    SnapshotWriter writer(1, 1);
    writer.addThread(1, "", false, entries);
    const std::vector<u8> bytes = writer.finish(d::Profile::kMaxSnapshotBytes);
    Snapshot snapshot;
    ASSERT_TRUE(snapshot.read(bytes.data(), bytes.size()));

    ASSERT_EQ(snapshot.threads.at(0).zones.size(), texts.size());
    const std::vector<std::string>& names = snapshot.names; // of the newest zones first
    EXPECT_TRUE(names[0] == "same" && names[1] == std::string(d::Profile::kMaxNameBytes, 'x'));
    EXPECT_EQ(names[2], texts[1999]);
    EXPECT_EQ(names[snapshot.threads[0].zones[0].name], d::Profile::kOtherZones);
    const size_t nameBytes = std::accumulate(names.begin(), names.end(), std::string()).size();
    EXPECT_LE(nameBytes, d::Profile::kZoneNameBytes);
    EXPECT_GT(nameBytes + 300, d::Profile::kZoneNameBytes);
}

TEST(ProfileSnapshot, WhatIsNotWholeIsRefused)
{
    const std::vector<u8> good = readDocumented();
    ASSERT_TRUE(isReadable(good));
    for (size_t size = 0; size < good.size(); ++size)
        EXPECT_FALSE(isReadable({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)}));
    std::vector<u8> longer = good;
    longer.push_back(0);
    EXPECT_FALSE(isReadable(longer));

    // From the end: the frame's kind and time, "draw" with its name, end, duration and depth.
    const auto isReadableWith = [&good](size_t fromEnd, u8 value) {
        std::vector<u8> changed = good;
        changed[changed.size() - fromEnd] = value;
        return isReadable(changed);
    };
    EXPECT_FALSE(isReadableWith(9, 3));                           // a third name
    EXPECT_FALSE(isReadableWith(7, 0x13));                        // ended before the beginning
    EXPECT_FALSE(isReadableWith(5, 0x13));                        // began before that
    EXPECT_FALSE(isReadableWith(1, 0x83));                        // a number without its end
    EXPECT_FALSE(isReadableWith(good.size(), 2));                 // another version
    EXPECT_TRUE(isReadableWith(4, 127) && isReadableWith(7, 10)); // only strange
}

} // namespace
