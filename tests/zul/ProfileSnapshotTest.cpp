/// The bytes of a snapshot: how they are cut, and what is refused.
#include "support/SourceTree.h"
#include "zul/common/ProfileWriter.h"

#include <zul/ProfileSnapshot.h>

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

    for (size_t limit : {150u, 151u, 350u, 4000u}) {
        const std::vector<u8> bytes = writer.finish(limit);
        EXPECT_LE(bytes.size(), limit);
        EXPECT_GT(bytes.size() + 100, limit); // what counts and heads could take, and two entries
        Snapshot snapshot;
        ASSERT_TRUE(snapshot.read(bytes.data(), bytes.size()));
        if (limit == 4000) {
            ASSERT_EQ(snapshot.threads.size(), 2u);
            EXPECT_EQ(snapshot.threads[0].zones.back().end, often.back().end);
            EXPECT_EQ(snapshot.threads[1].zones.back().end, seldom.back().end);
            const u64 cut = snapshot.threads[0].zones.front().end;
            EXPECT_GT(snapshot.threads[1].zones.front().end, cut);
            EXPECT_LE(snapshot.threads[1].zones.front().end, cut + 10'001);
        }
    }
    Snapshot whole;
    const std::vector<u8> bytes = writer.finish(d::Profile::kMaxSnapshotBytes);
    ASSERT_TRUE(whole.read(bytes.data(), bytes.size()));
    EXPECT_EQ(whole.threads.size(), 3u);
    EXPECT_EQ(whole.threads[0].zones.size(), 1000u);
}

TEST(ProfileSnapshot, NamesAreMergedCutAndLimited)
{
    std::vector<std::string> texts = {"same", "same", std::string(300, 'x')};
    for (u64 i = 0; i < 2000; ++i)
        texts.push_back(std::to_string(i) + std::string(250, 'y'));
    std::vector<ZoneEntry> entries;
    for (size_t i = texts.size(); i-- > 0;)
        entries.push_back({texts[i].c_str(), 10 * entries.size(), 10 * entries.size() + 5, 0});
    SnapshotWriter writer(1, 1);
    writer.addThread(1, "", false, entries);
    const std::vector<u8> bytes = writer.finish(d::Profile::kMaxSnapshotBytes);
    Snapshot snapshot;
    ASSERT_TRUE(snapshot.read(bytes.data(), bytes.size()));

    const std::vector<Snapshot::Zone>& zones = snapshot.threads.at(0).zones;
    ASSERT_EQ(zones.size(), texts.size());
    const auto nameOfNewest = [&](size_t i) {
        return snapshot.names[zones[zones.size() - 1 - i].name];
    };
    EXPECT_EQ(zones[zones.size() - 1].name, zones[zones.size() - 2].name);
    EXPECT_EQ(nameOfNewest(2), std::string(d::Profile::kMaxNameBytes, 'x'));
    EXPECT_EQ(nameOfNewest(3), texts[3]);
    EXPECT_EQ(nameOfNewest(2000), d::Profile::kOtherZones);
    size_t nameBytes = 0;
    for (const std::string& name : snapshot.names)
        nameBytes += name.size();
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
