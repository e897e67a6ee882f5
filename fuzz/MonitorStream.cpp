#include "dm/monitor/MonitorPackets.h"
#include "fuzz/Checks.h"
#include "zul/common/FrameDecoder.h"

#include <algorithm>
#include <cstring>

namespace fuzz {

namespace {

void checkCommand(const dm::MonitorCommand& command, const net::Frame& frame)
{
    using Kind = dm::MonitorCommand::Kind;
    require(command.kind != Kind::Request ||
            (frame.id == 4 && command.request >= 0 && command.request < dm::kMonitorRequests));
    require(command.kind != Kind::Data || frame.id == 101);
    require(command.data.size() <= frame.payloadBytes);
}

} // namespace

void checkMonitorStream(const std::uint8_t* data, size_t size)
{
    net::FrameDecoder decoder;
    while (size > 0) {
        const auto space = decoder.space();
        const size_t piece = std::min(size, space.size());
        std::copy_n(data, piece, space.data());
        decoder.commit(static_cast<net::u32>(piece));
        data += piece;
        size -= piece;
        for (net::Frame frame; decoder.next(frame) == net::FrameDecoder::Status::Complete;) {
            net::Packet packet(0);
            net::PacketAccess::showFrame(packet, frame);
            checkCommand(dm::readMonitorCommand(packet), frame);
            net::PacketAccess::showFrame(packet, frame);
            const dm::MonitorMessage message = dm::readMonitorMessage(packet);
            require(std::strlen(message.name) + std::strlen(message.text) <= frame.payloadBytes);
            dm::readLostLines(message);
        }
        if (decoder.status() == net::FrameDecoder::Status::Malformed)
            return;
    }
}

} // namespace fuzz
