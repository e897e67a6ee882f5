#include "dm/monitor/MonitorPackets.h"

#include "support/ReceivedPacket.h"
#include "support/SourceTree.h"

#include <gtest/gtest.h>

using namespace support;

namespace {

std::string bytesOf(const net::Packet& packet)
{
    net::u32 size = 0;
    const net::u8* bytes = net::PacketAccess::frameBytes(packet, size);
    return {reinterpret_cast<const char*>(bytes), size};
}

dm::MonitorMessage received(ReceivedPacket& packet) { return dm::readMonitorMessage(*packet); }

dm::MonitorCommand commandOf(int id, const std::string& payload)
{
    ReceivedPacket packet(payload, static_cast<net::u32>(id));
    return dm::readMonitorCommand(*packet);
}

std::string payloadOf(const std::string& frame) { return frame.substr(net::kFrameHeaderBytes); }

} // namespace

TEST(MonitorPackets, AreWrittenAndReadAsDocumented)
{
    auto frames = documentedFrames("monitor.md");
    net::Packet packet(0);

    dm::writeText(packet, 2, "h", 1);
    EXPECT_EQ(bytesOf(packet), frames["Text"]);
    ReceivedPacket text(payloadOf(frames["Text"]), 1);
    const dm::MonitorMessage line = received(text);
    EXPECT_EQ(line.kind, dm::MonitorMessage::Kind::Text);
    EXPECT_EQ(line.channel, 2);
    EXPECT_STREQ(line.text, "h");

    EXPECT_EQ(dm::writeInPlace(packet, 1, "frame", "3", 1), 14u);
    EXPECT_EQ(bytesOf(packet), frames["InPlace"]);
    ReceivedPacket inPlace(payloadOf(frames["InPlace"]), 2);
    const dm::MonitorMessage value = received(inPlace);
    EXPECT_EQ(value.kind, dm::MonitorMessage::Kind::InPlace);
    EXPECT_EQ(value.group, 1);
    EXPECT_STREQ(value.name, "frame");
    EXPECT_STREQ(value.text, "3");

    dm::writeLostLines(packet, 12);
    EXPECT_EQ(bytesOf(packet), frames["LostLines"]);
    ReceivedPacket lost(payloadOf(frames["LostLines"]), 1);
    EXPECT_EQ(dm::readLostLines(received(lost)), 12u);
    EXPECT_EQ(dm::readLostLines(line), 0u);

    dm::writeMonitorRequest(packet, 1);
    EXPECT_EQ(bytesOf(packet), frames["Request"]);
    EXPECT_EQ(commandOf(4, payloadOf(frames["Request"])).request, 1);

    ASSERT_TRUE(dm::writeMonitorData(packet, "help"));
    EXPECT_EQ(bytesOf(packet), frames["Data"]);
    EXPECT_EQ(commandOf(101, payloadOf(frames["Data"])).data, "help");
    EXPECT_FALSE(dm::writeMonitorData(packet, std::string(65536, 'x').c_str()));
}

TEST(MonitorPackets, CommandsThatSayNothingAreNothing)
{
    using namespace std::string_literals;
    using Kind = dm::MonitorCommand::Kind;
    EXPECT_EQ(commandOf(4, "\2\0\0\0"s).kind, Kind::Request);
    EXPECT_EQ(commandOf(4, "\3\0\0\0"s).kind, Kind::Nothing) << "out of range";
    EXPECT_EQ(commandOf(4, "\xFF\xFF\xFF\xFF").kind, Kind::Nothing) << "-1";
    EXPECT_EQ(commandOf(4, "\0\0\0"s).kind, Kind::Nothing) << "cut off";
    EXPECT_EQ(commandOf(101, "").kind, Kind::Nothing) << "no text";
    EXPECT_EQ(commandOf(101, "\xFF\xFF\xFF\xFFx"s).kind, Kind::Nothing) << "a lie";
    EXPECT_EQ(commandOf(101, "\1\0\0\0xy"s).kind, Kind::Nothing) << "no zero";
    EXPECT_EQ(commandOf(101, "\0\0\0\0\0"s).kind, Kind::Data) << "empty, but there";
    EXPECT_EQ(commandOf(100, "\1\0\0\0"s).kind, Kind::Nothing);
    EXPECT_EQ(commandOf(3, "\1\0\0\0"s).kind, Kind::Nothing);
}
