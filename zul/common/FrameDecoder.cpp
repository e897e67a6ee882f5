#include "zul/common/FrameDecoder.h"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace net {

// An idle connection has no block at all, one that exchanges small packets the first of these,
// and one that streams the second, which a fast sender fills several times an update.
static constexpr u32 kFirstBlockBytes = 16 * 1024;
static constexpr u32 kBulkBlockBytes = 256 * 1024;

std::span<u8> FrameDecoder::space()
{
    if (m_begin == m_end && !m_lent)
        m_begin = m_end = 0;
    if (m_capacity == 0)
        relocate(kFirstBlockBytes);
    else if (m_filled && m_capacity < kBulkBlockBytes)
        relocate(m_capacity * 2);
    else if (m_capacity - m_end < m_capacity / 2 && hasRoomByMoving())
        relocate(m_capacity);
    if (m_end == m_capacity && status() == Status::Incomplete)
        relocate(m_capacity * 2);
    m_filled = false;
    return {m_block.get() + m_end, m_capacity - m_end};
}

// Moving many unread frames for a little room, again and again, would cost more than it brings.
// The rest of one frame has to move some time, and only once.
bool FrameDecoder::hasRoomByMoving() const
{
    return m_begin > 0 && (m_end - m_begin <= m_capacity / 2 || status() == Status::Incomplete);
}

void FrameDecoder::relocate(u32 capacity)
{
    u32 bytes = m_end - m_begin;
    if (capacity == m_capacity && !m_lent)
        std::memmove(m_block.get(), m_block.get() + m_begin, bytes);
    else {
        auto block = std::make_unique_for_overwrite<u8[]>(capacity);
        if (bytes > 0)
            std::memcpy(block.get(), m_block.get() + m_begin, bytes);
        // Only the first block after a frame was given out holds it.
        if (m_lent && !m_retired)
            m_retired = std::move(m_block);
        m_block = std::move(block);
        m_capacity = capacity;
    }
    m_begin = 0;
    m_end = bytes;
}

void FrameDecoder::commit(u32 bytes)
{
    assert(bytes <= m_capacity - m_end);
    m_end += bytes;
    m_filled = m_end == m_capacity;
}

FrameDecoder::Status FrameDecoder::status() const
{
    u32 bytes = m_end - m_begin;
    const u8* header = m_block.get() + m_begin;
    for (u32 index = 0; index < std::min(bytes, 2u); index++) {
        if (header[index] != kFrameMagic[index])
            return Status::Malformed;
    }
    if (bytes < kFrameHeaderBytes)
        return Status::Incomplete;
    u32 payloadBytes = load32(header + 4);
    if (payloadBytes > kMaxPayloadBytes)
        return Status::Malformed;
    return bytes - kFrameHeaderBytes < payloadBytes ? Status::Incomplete : Status::Complete;
}

FrameDecoder::Status FrameDecoder::next(Frame& out)
{
    m_lent = false;
    m_retired.reset();
    Status found = status();
    if (found == Status::Complete) {
        u8* header = m_block.get() + m_begin;
        out = {load16(header + 2), header + kFrameHeaderBytes, load32(header + 4)};
        m_begin += kFrameHeaderBytes + out.payloadBytes;
        m_lent = true;
    }
    return found;
}

void FrameDecoder::clear()
{
    if (m_lent && !m_retired)
        m_retired = std::move(m_block);
    m_block.reset();
    m_capacity = m_begin = m_end = 0;
    m_filled = false;
}

void FrameDecoder::trim()
{
    if (m_begin == m_end && !m_lent)
        clear();
}

} // namespace net
