#include "dm/comm/PipeMessages.h"

#include <dm/comm.h>

namespace dm {

namespace {

using Kind = PipeServerMessage::Kind;

PipeServerMessage readWelcome(net::Packet& packet)
{
    WelcomeMessage welcome;
    if (!decode(packet, packet.getSize(), welcome))
        return {};
    return {Kind::Welcome, welcome.protocolVersion, welcome.serverManagerName, 0};
}

PipeServerMessage readRedirect(net::Packet& packet)
{
    RedirectMessage redirect;
    if (!decode(packet, packet.getSize(), redirect) || redirect.port < 0)
        return {};
    return {Kind::Redirect, 0, redirect.host, static_cast<uint32>(redirect.port)};
}

PipeServerMessage readPipeName(net::Packet& packet, Kind kind)
{
    PipeNameMessage named;
    if (!decode(packet, packet.getSize(), named))
        return {};
    return {kind, 0, named.pipeName, 0};
}

} // namespace

PipeServerMessage readPipeServerMessage(net::Packet& packet)
{
    if (packet.getID() != kPipePacketId)
        return {};
    switch (readKind(packet)) {
    case MessageKind::Welcome:
        return readWelcome(packet);
    case MessageKind::Redirect:
        return readRedirect(packet);
    case MessageKind::PipeOpened:
        return readPipeName(packet, Kind::PipeOpened);
    case MessageKind::PipeRefused:
        return readPipeName(packet, Kind::PipeRefused);
    default:
        return {};
    }
}

void writeOpenPipe(net::Packet& packet, const char* pipeName, const char* senderName)
{
    packet.reset(kPipePacketId);
    encode(packet, OpenPipeMessage{pipeName, senderName});
}

} // namespace dm
