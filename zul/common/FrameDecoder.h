// Finds frames in a stream of bytes: bytes in, frames out, no I/O.
//
// Bytes are received straight into space() and frames are shown where they lie, so a packet is
// never copied on its way to the reader. The price is that the memory of the frame given out last
// must not move: while it is out, a block that has become too small is kept beside its successor.
//
// Memory follows the bytes that really arrived, never a length that a peer announced.
#pragma once

#include "zul/common/Frame.h"

#include <zul/Packet.h>

#include <memory>
#include <span>

namespace net {

class FrameDecoder
{
public:
    enum class Status
    {
        Incomplete,
        Complete,
        Malformed
    };

    // Longer payloads than this are malformed. At most kMaxPayloadBytes, which it is at first.
    void setMaxPayload(u32 bytes) { maxPayloadBytes = bytes; }

    // Where to put the bytes that arrive next. Empty when there is no room before frames are taken.
    std::span<u8> space();

    // So many bytes were put into the space. Filling it all makes the next space larger.
    void commit(u32 bytes);

    // Whether another frame can be taken. Malformed stays: there is no way back into the stream.
    Status status() const;

    // Takes the next frame if there is a complete one. It lives until the next call.
    Status next(Frame& out);

    // Forgets all bytes; the frame given out last stays.
    void clear();

    // Gives the memory back, unless bytes or the last frame are in it.
    void trim();

    u32 capacity() const { return roomBytes; }

private:
    bool hasRoomByMoving() const;
    void relocate(u32 capacity);

    std::unique_ptr<u8[]> block;
    std::unique_ptr<u8[]> retired; // holds the frame given out last, after a move
    u32 maxPayloadBytes = kMaxPayloadBytes;
    u32 roomBytes = 0;
    u32 first = 0;           // first byte not given out
    u32 last = 0;            // behind the last byte received
    bool frameIsOut = false; // a frame is out
    bool filled = false;     // the last receive took all the space: there is more to come
};

} // namespace net
