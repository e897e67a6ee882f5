/// One message of the wire: an id and a payload of fields.
///
/// Written field by field and handed to a Socket; read from a Socket in the same order.
///
///     net::Packet packet(205);
///     packet << 3 << "assets" << 17u;
///     socket.sendPacket(&packet);
///
///     while (net::Packet* received = socket.pollPacket(nullptr))
///     {
///         int kind = 0;
///         const char* name = "";
///         *received >> kind >> name;
///         if (received->good())
///             handle(kind, name);
///     }
///
/// The bytes are described in docs/protocol/packet.md. Positions and sizes count payload bytes
/// only: a new packet is at position 0 and has size 0.
///
/// Threads: one at a time.
/// Ownership: a packet made by its constructor owns what was written, except lent bytes. A packet
/// from Socket::pollPacket is a view of the socket's memory, can only be read, and lives as the
/// socket says.
/// Errors: reading past the end gives 0 or "" and makes the packet fail for good: every later read
/// gives 0 or "" too, so a decoder reads all its fields and asks good() once. Never reads beyond
/// the payload, whatever it holds.
/// Limits: a payload of more than kMaxPayloadBytes can be written but not sent.
#pragma once

#include <zul/Types.h>
#include <zul/export.h>

#include <cstddef>
#include <memory>

namespace net {

using zu::u32;
using zu::u64;
using zu::u8;

/// The longest payload that a socket sends or accepts; a longer one closes the connection.
inline constexpr u32 kMaxPayloadBytes = 1024 * 1024;

/// How far write and lend fill a payload. Large enough to keep a fast link busy, small enough that
/// other messages of the same connection soon get their turn between two chunks.
inline constexpr u32 kNominalPayloadBytes = 64 * 1024;

/// What write and lend accept of longer data even when the payload is full already, so that a
/// sender of chunks always gets on.
inline constexpr u32 kMinimumChunkBytes = 1024;

/// What a text takes in the payload beside its bytes: its length before it and a zero behind it.
inline constexpr u32 kTextFrameBytes = 5;

class ZUL_API Packet
{
public:
    /// An empty packet to be written. The id is 0 to 65535.
    explicit Packet(int id);
    ~Packet();

    Packet(const Packet&) = delete;
    Packet& operator=(const Packet&) = delete;

    int getID() const { return packetId; }

    /// Makes an empty packet of it again, keeping its memory.
    void reset(int id);

    // Writing. After setPos back, writing replaces what is there and leaves what follows.

    Packet& operator<<(int value);
    Packet& operator<<(unsigned int value);

    /// A text up to its zero; null counts as "". Always fits: the packet grows.
    Packet& operator<<(const char* text);

    /// A text of known length, embedded zeros included. Read it back with readText.
    Packet& writeText(const char* text, u32 length);

    /// Appends raw bytes as far as the nominal payload size allows.
    ///
    /// Returns how many it took: at least min(size, kMinimumChunkBytes), at most size.
    u32 write(const void* data, u32 size);

    /// Like write, but borrows the bytes instead of copying them: for bulk data.
    ///
    /// They must stay as they are until sendPacket has returned. At most once a packet, at its
    /// end; afterwards fields can be replaced (setPos) but nothing can be appended.
    u32 lend(const void* data, u32 size);

    // Reading.

    Packet& operator>>(int& value);
    Packet& operator>>(unsigned int& value);

    /// Gives a zero-terminated text inside the packet: valid while the packet lives.
    Packet& operator>>(const char*& text);

    /// The same with its length, which tells embedded zeros from the end. "" and 0 on failure.
    const char* readText(u32& outLength);

    /// Copies size bytes out. Returns size, or 0 and copies nothing when fewer are left.
    u32 read(void* data, u32 size);

    /// Gives size bytes inside the packet without copying; null when fewer are left. Null, without
    /// failing, also for bytes on both sides of where lent ones begin: these can only be read.
    const u8* view(u32 size);

    /// Whether every read so far found what it wanted.
    bool good() const { return !failed; }

    // Position and size, in payload bytes.

    u32 getPos() const { return cursor; }

    /// A position past the end fails the packet and leaves the position alone.
    void setPos(u32 position);

    /// Lent bytes included.
    u32 getSize() const { return ownSize + lentSize; }

    u32 bytesLeft() const { return failed ? 0 : getSize() - cursor; }

private:
    friend struct PacketAccess; // how the socket reaches the frame

    static constexpr u32 kHeaderBytes = 8;
    static constexpr u32 kInlineBytes = 512; // a usual request in one piece without the heap

    u8* place(u32 size);
    const u8* take(u32 size);
    void grow(u32 payloadBytes);
    u32 acceptable(u32 size) const;
    u32 ownBytesLeft() const { return cursor < ownSize ? ownSize - cursor : 0; }

    int packetId;
    bool failed = false;
    bool viewing = false; // of a socket's memory: read only

    u32 cursor = 0;
    u32 ownSize = 0;  // payload bytes at payload
    u32 roomBytes;    // room at payload
    u32 lentSize = 0; // follow the own bytes on the wire
    const u8* lentBytes = nullptr;

    // Points behind the room for the frame's header, which so leaves in one piece with the fields.
    u8* payload;
    std::unique_ptr<u8[]> heap;
    u8 inlineBytes[kInlineBytes]; // left unset: only what was written is ever read
};

} // namespace net
