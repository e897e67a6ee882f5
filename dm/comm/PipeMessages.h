/// The eight pipe messages: encoding and decoding, without I/O.
///
/// docs/protocol/pipes.md describes them byte by byte. Decoding never trusts the sender: a message
/// that is short, has a chunk that lies outside its own total, or a name over the limit is refused
/// whole, before anything is changed.
#pragma once

#include "dm/comm/PipeLimits.h"

#include <zul/Packet.h>

namespace dm {

enum class MessageKind : int
{
    OpenPipe = 0,
    PipeOpened = 1,
    PipeRefused = 2,
    Request = 3,
    Response = 4,
    Notify = 5,
    Redirect = 6,
    Welcome = 7,
};

/// Where a piece of payload lies in the whole. On receipt the bytes follow in the packet at its
/// read position.
struct Chunk
{
    uint32 totalBytes = 0;
    uint32 offset = 0;
    uint32 bytes = 0;

    bool reachesEnd() const { return bytes == 0 || zu::u64{offset} + bytes == totalBytes; }
};

/// Texts in the structures below point into the packet they were read from, or at the caller's.
struct OpenPipeMessage
{
    const char* pipeName = "";
    const char* senderManagerName = "";
};

struct PipeNameMessage
{
    const char* pipeName = "";
};

struct RequestMessage
{
    const char* pipeName = "";
    uint32 requestId = 0;
    uint32 value = 0;
    const char* text = "";
    Chunk chunk;
};

struct ResponseMessage
{
    const char* pipeName = "";
    uint32 requestId = 0;
    const char* text = "";
    Chunk chunk;
};

struct NotifyMessage
{
    const char* pipeName = "";
    uint32 notifyId = 0;
    uint32 value = 0;
    Chunk chunk;
};

struct RedirectMessage
{
    const char* host = "";
    int port = 0;
};

struct WelcomeMessage
{
    uint32 protocolVersion = 0;
    uint32 connectionId = 0;
    const char* serverManagerName = "";
};

/// Whether every other end takes it: names up to kMaxNameBytes, texts up to kMaxTextBytes.
bool isNameAllowed(const char* name);
bool isTextAllowed(const char* text);

/// Reads the kind, the first field of every message.
MessageKind readKind(net::Packet& packet);

/// Read the fields after the kind. `packetSize` is what net::Socket::pollPacket reported. False
/// when the message is malformed and must be dropped; the structure is then meaningless.
bool decode(net::Packet& packet, uint32 packetSize, OpenPipeMessage& message);
bool decode(net::Packet& packet, uint32 packetSize, PipeNameMessage& message);
bool decode(net::Packet& packet, uint32 packetSize, RequestMessage& message);
bool decode(net::Packet& packet, uint32 packetSize, ResponseMessage& message);
bool decode(net::Packet& packet, uint32 packetSize, NotifyMessage& message);
bool decode(net::Packet& packet, uint32 packetSize, RedirectMessage& message);
bool decode(net::Packet& packet, uint32 packetSize, WelcomeMessage& message);

void encode(net::Packet& packet, const OpenPipeMessage& message);
void encode(net::Packet& packet, MessageKind kind, const PipeNameMessage& message);
void encode(net::Packet& packet, const RedirectMessage& message);
void encode(net::Packet& packet, const WelcomeMessage& message);

/// The three below write one chunk: of the chunk.bytes at `payload`, which are those from
/// chunk.offset on, as many as the packet takes. The payload may be lent to the packet, so it must
/// stay valid until the packet is sent.
///
/// Return how many bytes were taken: 0 only for an empty payload.
uint32 encode(net::Packet& packet, const RequestMessage& message, const void* payload);
uint32 encode(net::Packet& packet, const ResponseMessage& message, const void* payload);
uint32 encode(net::Packet& packet, const NotifyMessage& message, const void* payload);

} // namespace dm
