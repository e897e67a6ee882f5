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
    if (first == last && !frameIsOut)
        first = last = 0;
    if (roomBytes == 0)
        relocate(kFirstBlockBytes);
    else if (filled && roomBytes < kBulkBlockBytes)
        relocate(roomBytes * 2);
    else if (roomBytes - last < roomBytes / 2 && hasRoomByMoving())
        relocate(roomBytes);
    if (last == roomBytes && status() == Status::Incomplete)
        relocate(roomBytes * 2);
    filled = false;
    return {block.get() + last, roomBytes - last};
}

// Moving many unread frames for a little room, again and again, would cost more than it brings.
// The rest of one frame has to move some time, and only once.
bool FrameDecoder::hasRoomByMoving() const
{
    return first > 0 && (last - first <= roomBytes / 2 || status() == Status::Incomplete);
}

void FrameDecoder::relocate(u32 capacity)
{
    u32 bytes = last - first;
    if (capacity == roomBytes && !frameIsOut)
        std::memmove(block.get(), block.get() + first, bytes);
    else {
        auto moved = std::make_unique_for_overwrite<u8[]>(capacity);
        if (bytes > 0)
            std::memcpy(moved.get(), block.get() + first, bytes);
        // Only the first block after a frame was given out holds it.
        if (frameIsOut && !retired)
            retired = std::move(block);
        block = std::move(moved);
        roomBytes = capacity;
    }
    first = 0;
    last = bytes;
}

void FrameDecoder::commit(u32 bytes)
{
    assert(bytes <= roomBytes - last);
    last += bytes;
    filled = last == roomBytes;
}

FrameDecoder::Status FrameDecoder::status() const
{
    u32 bytes = last - first;
    const u8* header = block.get() + first;
    for (u32 index = 0; index < std::min(bytes, 2u); index++) {
        if (header[index] != kFrameMagic[index])
            return Status::Malformed;
    }
    if (bytes < kFrameHeaderBytes)
        return Status::Incomplete;
    u32 payloadBytes = load32(header + 4);
    if (payloadBytes > maxPayloadBytes)
        return Status::Malformed;
    return bytes - kFrameHeaderBytes < payloadBytes ? Status::Incomplete : Status::Complete;
}

FrameDecoder::Status FrameDecoder::next(Frame& out)
{
    frameIsOut = false;
    retired.reset();
    Status found = status();
    if (found == Status::Complete) {
        u8* header = block.get() + first;
        out = {load16(header + 2), header + kFrameHeaderBytes, load32(header + 4)};
        first += kFrameHeaderBytes + out.payloadBytes;
        frameIsOut = true;
    }
    return found;
}

void FrameDecoder::clear()
{
    if (frameIsOut && !retired)
        retired = std::move(block);
    block.reset();
    roomBytes = first = last = 0;
    filled = false;
}

void FrameDecoder::trim()
{
    if (first == last && !frameIsOut)
        clear();
}

} // namespace net
