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

    const u8* bytes() const { return m_block.get() + m_begin; }
    u32 size() const { return m_end - m_begin; }
    u32 capacity() const { return m_capacity; }

private:
    std::unique_ptr<u8[]> m_block;
    u32 m_capacity = 0;
    u32 m_begin = 0;
    u32 m_end = 0;
};

} // namespace net
