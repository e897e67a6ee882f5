#include "dm/monitor/MonitorPackets.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace dm {

static constexpr char kLostLinesWords[] = " lines were lost: they came faster than they were read";

static int idOf(MonitorPacketId id) { return static_cast<int>(id); }

void writeText(net::Packet& packet, int channel, const char* text, u32 length)
{
    packet.reset(idOf(MonitorPacketId::Text));
    packet << channel;
    packet.writeText(text, length);
}

u32 writeInPlace(net::Packet& packet, int group, const char* name, const char* text, u32 length)
{
    packet.reset(idOf(MonitorPacketId::InPlace));
    packet << group << name;
    const u32 placeBytes = packet.getPos();
    packet.writeText(text, length);
    return placeBytes;
}

MonitorCommand readMonitorCommand(net::Packet& packet)
{
    MonitorCommand command;
    switch (static_cast<MonitorPacketId>(packet.getID())) {
    case MonitorPacketId::Request:
        packet >> command.request;
        if (packet.good() && command.request >= 0 && command.request < kMonitorRequests)
            command.kind = MonitorCommand::Kind::Request;
        break;
    case MonitorPacketId::Data: {
        u32 length = 0;
        const char* data = packet.readText(length);
        if (packet.good()) {
            command.kind = MonitorCommand::Kind::Data;
            command.data.assign(data, length);
        }
        break;
    }
    default:
        break;
    }
    return command;
}

void writeLostLines(net::Packet& packet, u64 lines)
{
    char text[kMaxMonitorTextLength + 1];
    const int length = std::snprintf(text, sizeof text, "%llu%s",
                                     static_cast<unsigned long long>(lines), kLostLinesWords);
    writeText(packet, 0, text, static_cast<u32>(length));
}

u64 readLostLines(const MonitorMessage& message)
{
    if (message.kind != MonitorMessage::Kind::Text || message.channel != 0)
        return 0;
    const std::string_view text = message.text;
    u64 lines = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), lines);
    return error == std::errc() && std::string_view(rest) == kLostLinesWords ? lines : 0;
}

MonitorMessage readMonitorMessage(net::Packet& packet)
{
    using Kind = MonitorMessage::Kind;
    MonitorMessage message;
    switch (static_cast<MonitorPacketId>(packet.getID())) {
    case MonitorPacketId::Text:
        message.kind = Kind::Text;
        packet >> message.channel >> message.text;
        break;
    case MonitorPacketId::InPlace:
        message.kind = Kind::InPlace;
        packet >> message.group >> message.name >> message.text;
        break;
    case MonitorPacketId::Profile:
        message.kind = Kind::Profile;
        break;
    default:
        message.kind = Kind::Other;
        break;
    }
    return packet.good() ? message : MonitorMessage();
}

void writeMonitorRequest(net::Packet& packet, int request)
{
    packet.reset(idOf(MonitorPacketId::Request));
    packet << request;
}

bool writeMonitorData(net::Packet& packet, const char* data)
{
    packet.reset(idOf(MonitorPacketId::Data));
    const size_t length = data ? std::strlen(data) : 0;
    if (length > kMaxMonitorRequestBytes - net::kTextFrameBytes)
        return false;
    packet.writeText(data, static_cast<u32>(length));
    return true;
}

} // namespace dm
