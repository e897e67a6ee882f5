/// A packet as its receiver sees it: a view of exactly as many heap bytes as arrived, so that a
/// sanitizer sees every byte read beyond them.
#pragma once

#include "zul/common/Frame.h"

#include <zul/Packet.h>

#include <memory>
#include <string_view>

namespace support {

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
