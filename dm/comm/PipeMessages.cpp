#include "dm/comm/PipeMessages.h"

#include <cstring>

namespace dm {

namespace {

// Copying this much into the packet is cheaper than a second piece in the gather list.
constexpr uint32 kLendFromBytes = 4096;

uint32 bytesLeft(const net::Packet& packet, uint32 packetSize)
{
    const uint32 position = packet.getPos();
    return position < packetSize ? packetSize - position : 0;
}

bool isChunkInside(const Chunk& chunk, uint32 bytesInPacket)
{
    return chunk.bytes <= bytesInPacket && zu::u64{chunk.offset} + chunk.bytes <= chunk.totalBytes;
}

void readChunk(net::Packet& packet, Chunk& chunk)
{
    packet >> chunk.totalBytes >> chunk.offset >> chunk.bytes;
}

uint32 appendChunk(net::Packet& packet, const Chunk& chunk, const void* payload)
{
    packet << chunk.totalBytes << chunk.offset;
    const uint32 countPosition = packet.getPos();
    packet << uint32{0};
    if (chunk.bytes == 0)
        return 0;

    const uint32 taken = chunk.bytes < kLendFromBytes ? packet.write(payload, chunk.bytes)
                                                      : packet.lend(payload, chunk.bytes);
    const uint32 endPosition = packet.getPos();
    packet.setPos(countPosition);
    packet << taken;
    packet.setPos(endPosition);
    return taken;
}

} // namespace

bool isNameAllowed(const char* name)
{
    return strnlen(name, kMaxNameBytes + size_t{1}) <= kMaxNameBytes;
}

bool isTextAllowed(const char* text)
{
    constexpr size_t kMostBytes = CommunicationPipe::kMaxTextBytes;
    return strnlen(text, kMostBytes + 1) <= kMostBytes;
}

MessageKind readKind(net::Packet& packet)
{
    int kind = -1;
    packet >> kind;
    return packet.good() ? static_cast<MessageKind>(kind) : static_cast<MessageKind>(-1);
}

bool decode(net::Packet& packet, uint32, OpenPipeMessage& message)
{
    packet >> message.pipeName >> message.senderManagerName;
    return packet.good() && isNameAllowed(message.pipeName) &&
           isNameAllowed(message.senderManagerName);
}

bool decode(net::Packet& packet, uint32, PipeNameMessage& message)
{
    packet >> message.pipeName;
    return packet.good() && isNameAllowed(message.pipeName);
}

bool decode(net::Packet& packet, uint32 packetSize, RequestMessage& message)
{
    packet >> message.pipeName >> message.requestId >> message.value >> message.text;
    // A request without data may leave its sizes out.
    message.chunk = Chunk{};
    if (packet.good() && bytesLeft(packet, packetSize) > 0)
        readChunk(packet, message.chunk);
    return packet.good() && isNameAllowed(message.pipeName) && isTextAllowed(message.text) &&
           isChunkInside(message.chunk, bytesLeft(packet, packetSize));
}

bool decode(net::Packet& packet, uint32 packetSize, ResponseMessage& message)
{
    packet >> message.pipeName >> message.requestId >> message.text;
    readChunk(packet, message.chunk);
    return packet.good() && isNameAllowed(message.pipeName) && isTextAllowed(message.text) &&
           isChunkInside(message.chunk, bytesLeft(packet, packetSize));
}

bool decode(net::Packet& packet, uint32 packetSize, NotifyMessage& message)
{
    packet >> message.pipeName >> message.notifyId >> message.value;
    readChunk(packet, message.chunk);
    // The offset is not looked at: chunks of one text are appended as they come. An empty chunk of
    // a text that has bytes would never complete it, and hold back all that follow.
    return packet.good() && isNameAllowed(message.pipeName) &&
           message.chunk.bytes <= bytesLeft(packet, packetSize) &&
           (message.chunk.bytes > 0 || message.chunk.totalBytes == 0);
}

bool decode(net::Packet& packet, uint32, RedirectMessage& message)
{
    packet >> message.host >> message.port;
    return packet.good() && isNameAllowed(message.host);
}

bool decode(net::Packet& packet, uint32, WelcomeMessage& message)
{
    packet >> message.protocolVersion;
    if (!packet.good())
        return false;
    packet >> message.connectionId >> message.serverManagerName;
    const bool decoded = packet.good() && isNameAllowed(message.serverManagerName);
    if (decoded || message.protocolVersion == kPipeProtocolVersion)
        return decoded;
    // Of another version nothing but the number can be relied on, and the number must be heard.
    message.connectionId = 0;
    message.serverManagerName = "";
    return true;
}

void encode(net::Packet& packet, const OpenPipeMessage& message)
{
    packet << static_cast<int>(MessageKind::OpenPipe) << message.pipeName
           << message.senderManagerName;
}

void encode(net::Packet& packet, MessageKind kind, const PipeNameMessage& message)
{
    packet << static_cast<int>(kind) << message.pipeName;
}

void encode(net::Packet& packet, const RedirectMessage& message)
{
    packet << static_cast<int>(MessageKind::Redirect) << message.host << message.port;
}

void encode(net::Packet& packet, const WelcomeMessage& message)
{
    packet << static_cast<int>(MessageKind::Welcome) << message.protocolVersion
           << message.connectionId << message.serverManagerName;
}

uint32 encode(net::Packet& packet, const RequestMessage& message, const void* payload)
{
    packet << static_cast<int>(MessageKind::Request) << message.pipeName << message.requestId
           << message.value << message.text;
    return appendChunk(packet, message.chunk, payload);
}

uint32 encode(net::Packet& packet, const ResponseMessage& message, const void* payload)
{
    packet << static_cast<int>(MessageKind::Response) << message.pipeName << message.requestId
           << message.text;
    return appendChunk(packet, message.chunk, payload);
}

uint32 encode(net::Packet& packet, const NotifyMessage& message, const void* payload)
{
    packet << static_cast<int>(MessageKind::Notify) << message.pipeName << message.notifyId
           << message.value;
    return appendChunk(packet, message.chunk, payload);
}

} // namespace dm
