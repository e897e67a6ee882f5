// The frame that carries one packet over a byte stream, little-endian throughout:
//
//   0  magic 0xD5
//   1  magic 0x7A
//   2  id, 16 bits
//   4  payload length in bytes, 32 bits
//   8  payload
#pragma once

#include <zul/Packet.h>

namespace net {

inline constexpr u32 kFrameHeaderBytes = 8;

// Neither text nor the first byte of a TLS record: whoever greets with another protocol is
// recognised by its first byte. 0x7A beside it makes an accident in binary data unlikely.
inline constexpr u8 kFrameMagic[2] = {0xD5, 0x7A};

inline void store16(u8* bytes, u32 value)
{
    bytes[0] = static_cast<u8>(value);
    bytes[1] = static_cast<u8>(value >> 8);
}

inline void store32(u8* bytes, u32 value)
{
    store16(bytes, value);
    store16(bytes + 2, value >> 16);
}

inline u32 load16(const u8* bytes)
{
    return static_cast<u32>(bytes[0]) | static_cast<u32>(bytes[1]) << 8;
}

inline u32 load32(const u8* bytes) { return load16(bytes) | load16(bytes + 2) << 16; }

// A packet as it was found in, or is put into, a stream.
struct Frame
{
    u32 id = 0;
    u8* payload = nullptr; // the header stands in the kFrameHeaderBytes before it
    u32 payloadBytes = 0;
};

// The parts of a packet that are none of its users' business.
struct PacketAccess
{
    // Makes the packet a view of the frame's payload, to be read from the start.
    static void showFrame(Packet& packet, const Frame& frame);

    // Writes the frame's header in front of the payload and gives header and own bytes in one
    // piece. Null when the packet was not written properly.
    static const u8* frameBytes(const Packet& packet, u32& outBytes);

    static const u8* lentBytes(const Packet& packet, u32& outBytes)
    {
        outBytes = packet.lentSize;
        return packet.lentBytes;
    }
};

} // namespace net
