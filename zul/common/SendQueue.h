// Bytes that wait to be sent, in one piece so that one call can send them.
#pragma once

#include <zul/Packet.h>

#include <memory>

namespace net {

class SendQueue
{
public:
    void append(const u8* bytes, u32 count);

    // The first count bytes have been sent.
    void consume(u32 count);

    // Forgets the bytes and gives the memory back.
    void clear();

    const u8* bytes() const { return block.get() + first; }
    u32 size() const { return last - first; }
    u32 capacity() const { return roomBytes; }

private:
    std::unique_ptr<u8[]> block;
    u32 roomBytes = 0;
    u32 first = 0;
    u32 last = 0;
};

} // namespace net
