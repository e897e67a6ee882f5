#include "dm/monitor/MonitorPackets.h"

#include "support/ReceivedPacket.h"
#include "support/SourceTree.h"

using namespace support;

namespace {

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
    EXPECT_EQ(frameOf(packet), frames["Text"]);
    ReceivedPacket text(payloadOf(frames["Text"]), 1);
    const dm::MonitorMessage line = received(text);
    EXPECT_TRUE(line.kind == dm::MonitorMessage::Kind::Text && line.channel == 2);
    EXPECT_STREQ(line.text, "h");

    EXPECT_EQ(dm::writeInPlace(packet, 1, "frame", "3", 1), 14u);
    EXPECT_EQ(frameOf(packet), frames["InPlace"]);
    ReceivedPacket inPlace(payloadOf(frames["InPlace"]), 2);
    const dm::MonitorMessage value = received(inPlace);
    EXPECT_TRUE(value.kind == dm::MonitorMessage::Kind::InPlace && value.group == 1);
    EXPECT_EQ(value.name + std::string("=") + value.text, "frame=3");

    dm::writeLostLines(packet, 12);
    EXPECT_EQ(frameOf(packet), frames["LostLines"]);
    ReceivedPacket lost(payloadOf(frames["LostLines"]), 1);
    EXPECT_EQ(dm::readLostLines(received(lost)), 12u);
    EXPECT_EQ(dm::readLostLines(line), 0u);

    dm::writeMonitorRequest(packet, 1);
    EXPECT_EQ(frameOf(packet), frames["Request"]);
    EXPECT_EQ(commandOf(4, payloadOf(frames["Request"])).request, 1);

    ASSERT_TRUE(dm::writeMonitorData(packet, "help"));
    EXPECT_EQ(frameOf(packet), frames["Data"]);
    EXPECT_EQ(commandOf(101, payloadOf(frames["Data"])).data, "help");
    EXPECT_FALSE(dm::writeMonitorData(packet, std::string(65536, 'x').c_str()));
}

TEST(MonitorPackets, CommandsThatSayNothingAreNothing)
{
    using namespace std::string_literals;
    using Kind = dm::MonitorCommand::Kind;
    EXPECT_EQ(commandOf(4, "\2\0\0\0"s).kind, Kind::Request);
    EXPECT_EQ(commandOf(101, "\0\0\0\0\0"s).kind, Kind::Data) << "empty, but there";
    // Requests out of range, -1, cut off; no text, a lie, no zero; foreign numbers.
    const std::pair<int, std::string> nothing[] = {
        {4, "\3\0\0\0"s},           {4, "\xFF\xFF\xFF\xFF"}, {4, "\0\0\0"s},     {101, ""},
        {101, "\xFF\xFF\xFF\xFFx"}, {101, "\1\0\0\0xy"s},    {100, "\1\0\0\0"s}, {3, "\1\0\0\0"s}};
    for (const auto& [id, payload] : nothing)
        EXPECT_EQ(commandOf(id, payload).kind, Kind::Nothing) << testing::PrintToString(payload);
}
