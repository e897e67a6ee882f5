/// Packets as bytes, and bytes as packets.
#pragma once

#include "zul/common/Frame.h"

#include <zul/Packet.h>

#include <memory>
#include <string>

namespace support {

/// What is sent of the packet.
inline std::string frameOf(const net::Packet& packet)
{
    net::u32 ownBytes = 0;
    net::u32 lentBytes = 0;
    const net::u8* own = net::PacketAccess::frameBytes(packet, ownBytes);
    const net::u8* lent = net::PacketAccess::lentBytes(packet, lentBytes);
    return std::string(own, own + ownBytes).append(lent, lent + lentBytes);
}

/// A packet as its receiver sees it: a view of exactly as many heap bytes as arrived, so that a
/// sanitizer sees every byte read beyond them.
class ReceivedPacket
{
public:
    explicit ReceivedPacket(std::string_view payload, net::u32 id = 205)
        : bytes(new net::u8[net::kFrameHeaderBytes + payload.size()])
    {
        net::u8* start = bytes.get() + net::kFrameHeaderBytes;
        payload.copy(reinterpret_cast<char*>(start), payload.size());
        net::PacketAccess::showFrame(packet, {id, start, static_cast<net::u32>(payload.size())});
    }

    net::Packet& operator*() { return packet; }

private:
    std::unique_ptr<net::u8[]> bytes;
    net::Packet packet{0};
};

} // namespace support
