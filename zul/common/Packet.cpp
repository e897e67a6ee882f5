#include "zul/common/Frame.h"

#include <zul/Packet.h>

#include <algorithm>
#include <cassert>
#include <cstring>

namespace net {

// Beyond any packet that could be sent; keeps all sums of positions and sizes within 32 bits.
static constexpr u64 kMaxWrittenBytes = 0x40000000;

Packet::Packet(int id)
    : packetId(id)
    , roomBytes(kInlineBytes - kHeaderBytes)
    , payload(inlineBytes + kHeaderBytes)
{
    static_assert(kHeaderBytes == kFrameHeaderBytes);
    assert(id >= 0 && id <= 0xFFFF && "the frame has 16 bits for the id");
}

Packet::~Packet() = default;

void Packet::reset(int id)
{
    assert(id >= 0 && id <= 0xFFFF && "the frame has 16 bits for the id");
    packetId = id;
    failed = false;
    cursor = ownSize = lentSize = 0;
    lentBytes = nullptr;
    if (viewing) {
        viewing = false;
        payload = (heap ? heap.get() : inlineBytes) + kHeaderBytes;
    }
}

// Room for size bytes at the position, which moves behind them. Null when that is not allowed.
u8* Packet::place(u32 size)
{
    u64 end = u64{cursor} + size;
    bool appends = end > ownSize;
    if (viewing || end > kMaxWrittenBytes || (appends && lentSize > 0)) {
        assert(!viewing && "a received packet is read only");
        failed = true;
        return nullptr;
    }
    if (end > roomBytes)
        grow(static_cast<u32>(end));
    u8* bytes = payload + cursor;
    cursor = static_cast<u32>(end);
    if (appends)
        ownSize = cursor;
    return bytes;
}

void Packet::grow(u32 payloadBytes)
{
    // A packet that outgrows its inline room is most often filled by write, so go for the nominal
    // size early instead of doubling all the way.
    u32 capacity = std::max(payloadBytes, roomBytes * 4);
    if (payloadBytes <= kNominalPayloadBytes)
        capacity = std::min(capacity, kNominalPayloadBytes);
    auto bytes = std::make_unique_for_overwrite<u8[]>(kHeaderBytes + capacity);
    std::memcpy(bytes.get() + kHeaderBytes, payload, ownSize);
    heap = std::move(bytes);
    payload = heap.get() + kHeaderBytes;
    roomBytes = capacity;
}

Packet& Packet::operator<<(int value) { return *this << static_cast<unsigned int>(value); }

Packet& Packet::operator<<(unsigned int value)
{
    if (u8* bytes = place(4))
        store32(bytes, value);
    return *this;
}

Packet& Packet::operator<<(const char* text)
{
    std::size_t length = text ? std::strlen(text) : 0;
    if (length > kMaxWrittenBytes) {
        failed = true;
        return *this;
    }
    return writeText(text, static_cast<u32>(length));
}

Packet& Packet::writeText(const char* text, u32 length)
{
    if (length > kMaxWrittenBytes) {
        failed = true;
        return *this;
    }
    if (u8* bytes = place(length + kTextFrameBytes)) {
        store32(bytes, length);
        if (length > 0)
            std::memcpy(bytes + 4, text, length);
        bytes[4 + length] = 0;
    }
    return *this;
}

// How much of size more bytes at the position are taken.
u32 Packet::acceptable(u32 size) const
{
    u32 room = cursor < kNominalPayloadBytes ? kNominalPayloadBytes - cursor : 0;
    return std::min(size, std::max(room, kMinimumChunkBytes));
}

u32 Packet::write(const void* data, u32 size)
{
    u32 taken = acceptable(size);
    if (taken == 0)
        return 0;
    u8* bytes = place(taken);
    if (!bytes)
        return 0;
    std::memcpy(bytes, data, taken);
    return taken;
}

u32 Packet::lend(const void* data, u32 size)
{
    u32 taken = acceptable(size);
    if (taken == 0)
        return 0;
    if (viewing || lentSize > 0 || cursor != ownSize) {
        assert(false && "lend comes once, at the end of a packet that is being written");
        failed = true;
        return 0;
    }
    lentBytes = static_cast<const u8*>(data);
    lentSize = taken;
    cursor += taken;
    return taken;
}

// The next size bytes, if they are there and in one piece.
const u8* Packet::take(u32 size)
{
    if (size > bytesLeft()) {
        failed = true;
        return nullptr;
    }
    const u8* bytes = payload + cursor;
    if (cursor >= ownSize && lentSize > 0)
        bytes = lentBytes + (cursor - ownSize);
    else if (size > ownSize - cursor) {
        failed = true;
        return nullptr;
    }
    cursor += size;
    return bytes;
}

Packet& Packet::operator>>(int& value)
{
    unsigned int bits = 0;
    *this >> bits;
    value = static_cast<int>(bits);
    return *this;
}

Packet& Packet::operator>>(unsigned int& value)
{
    const u8* bytes = take(4);
    value = bytes ? load32(bytes) : 0;
    return *this;
}

Packet& Packet::operator>>(const char*& text)
{
    u32 length = 0;
    text = readText(length);
    return *this;
}

const char* Packet::readText(u32& outLength)
{
    u32 length = 0;
    *this >> length;
    // One more byte for the zero, without the sum that could wrap.
    const u8* bytes = length < bytesLeft() ? take(length + 1) : nullptr;
    if (!bytes || bytes[length] != 0) {
        failed = true;
        outLength = 0;
        return "";
    }
    outLength = length;
    return reinterpret_cast<const char*>(bytes);
}

u32 Packet::read(void* data, u32 size)
{
    if (size > bytesLeft())
        failed = true;
    if (failed || size == 0)
        return 0;
    u32 own = std::min(size, ownBytesLeft());
    if (own > 0)
        std::memcpy(data, payload + cursor, own);
    if (own < size)
        std::memcpy(static_cast<u8*>(data) + own, lentBytes + (cursor + own - ownSize), size - own);
    cursor += size;
    return size;
}

const u8* Packet::view(u32 size)
{
    u32 own = ownBytesLeft();
    bool inTwoPieces = own > 0 && size > own && size <= bytesLeft();
    return failed || inTwoPieces ? nullptr : take(size);
}

void Packet::setPos(u32 position)
{
    if (position > getSize())
        failed = true;
    else
        cursor = position;
}

void PacketAccess::showFrame(Packet& packet, const Frame& frame)
{
    packet.reset(static_cast<int>(frame.id));
    packet.viewing = true;
    packet.payload = frame.payload;
    packet.ownSize = frame.payloadBytes;
}

const u8* PacketAccess::frameBytes(const Packet& packet, u32& outBytes)
{
    outBytes = kFrameHeaderBytes + packet.ownSize;
    u8* header = packet.payload - kFrameHeaderBytes;
    if (packet.viewing)
        return header; // as it arrived, so a received packet can be passed on
    if (packet.failed)
        return nullptr;
    header[0] = kFrameMagic[0];
    header[1] = kFrameMagic[1];
    store16(header + 2, static_cast<u32>(packet.packetId));
    store32(header + 4, packet.getSize());
    return header;
}

} // namespace net
