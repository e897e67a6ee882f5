#include "dm/monitor/MonitorLog.h"

#include "dm/monitor/MonitorPackets.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace {

constexpr dm::u32 kLimit = dm::kMinMonitorBacklogBytes;

class MonitorLogTest : public testing::Test
{
protected:
    MonitorLogTest() { log.start(kLimit, nullptr); }

    void print(int channel, const std::string& text)
    {
        dm::writeText(packet, channel, text.data(), static_cast<dm::u32>(text.size()));
        log.append(packet);
    }

    void set(int group, const std::string& name, const std::string& value)
    {
        const dm::u32 place = dm::writeInPlace(packet, group, name.c_str(), value.data(),
                                               static_cast<dm::u32>(value.size()));
        log.append(packet, place);
    }

    void broadcast(int id, dm::u32 bytes)
    {
        packet.reset(id);
        packet.writeText(std::string(bytes, 'p').c_str(), bytes);
        log.append(packet);
    }

    /// More than the log holds. Returns the lines.
    size_t flood()
    {
        constexpr size_t kLines = kLimit / 200;
        for (size_t line = 0; line < kLines; ++line)
            print(9, kFloodText);
        return kLines;
    }

    /// Everything that the reader has, in words.
    std::vector<std::string> readAll(dm::LogReader& reader)
    {
        std::vector<std::string> found;
        net::Packet next(0);
        while (reader.next(next)) {
            next.setPos(0);
            const dm::MonitorMessage message = dm::readMonitorMessage(next);
            if (const dm::u64 lost = dm::readLostLines(message))
                found.push_back("lost " + std::to_string(lost));
            else if (message.kind == dm::MonitorMessage::Kind::InPlace)
                found.push_back(message.name + std::string("=") + message.text);
            else
                found.push_back(next.getID() == 1 ? message.text : std::to_string(next.getSize()));
        }
        return found;
    }

    const std::string kFloodText = std::string(200, 'f');
    dm::MonitorLog log;
    net::Packet packet{0};
};

} // namespace

TEST_F(MonitorLogTest, LosersLearnHowMuchThenTheNewestValuesThenWhatIsLeft)
{
    for (int number = 0; number < 100; ++number) // more than are looked at in one go
        set(1, std::to_string(number), "not for this reader");
    dm::LogReader reader = log.openReader();
    set(1, "seen", "early");
    EXPECT_EQ(readAll(reader), std::vector<std::string>{"seen=early"});
    for (const std::string round : {"first", "second"}) {
        size_t printed = flood(); // so that the block that the reader is in the middle of is full
        for (const char* value : {"old", "newest"})
            for (const std::string& name : {std::string("lost"), round, std::string("again")})
                set(1, name, value);
        set(1, std::string(256, 'n'), "not kept");
        broadcast(3, 100000);
        printed += flood();
        set(1, "again", "late");

        const std::vector<std::string> found = readAll(reader);
        const auto lines = static_cast<size_t>(std::ranges::count(found, kFloodText));
        size_t index = 0;
        while (found.at(index) == kFloodText)
            ++index;
        EXPECT_EQ(found[index++], "lost " + std::to_string(printed - lines));
        EXPECT_EQ(found.at(index++), "lost=newest");
        EXPECT_EQ(found.at(index++), round + "=newest");
        EXPECT_EQ(found.size(), lines + 4) << "the packet and the long name are gone";
        EXPECT_EQ(found.back(), "again=late");
    }
}

TEST_F(MonitorLogTest, WhatCannotBeSentIsNotKept)
{
    dm::LogReader reader = log.openReader();
    broadcast(3, net::kMaxPayloadBytes);
    packet.reset(8);
    packet.setPos(99);
    log.append(packet);
    log.stop();
    print(0, "after the end");
    EXPECT_TRUE(readAll(reader).empty());
}
