#include "dm/comm/ServerLoop.h"

#include "dm/comm/NetCommunicationPipeManager.h"

#include <zul/Timer.h>

#include <algorithm>

namespace dm {

ServerLoop::ServerLoop(NetCommunicationPipeManager& owner, int port)
    : ManagerLoop(owner)
    , listener(port)
{
    if (listener.isListening())
        waitSet.add(listener.getWaitHandle(), zu::Interest::Read, kListenerKey);
}

void ServerLoop::pass()
{
    const std::span<const Ready> readyNow = wait(kLongestWaitMs);
    addressVersion = manager.address().version();
    for (const Ready& readiness : readyNow) {
        // A client that was sent on ends the pass; what else is ready is so in the next.
        if (readiness.key == kListenerKey && acceptOne())
            return;
    }
    for (const Ready& readiness : readyNow) {
        if (const auto found = connections.find(readiness.key); found != connections.end())
            serve(*found->second, readiness);
    }
    trimIfDue();
    dropBroken();
    pumpPipes();
}

/// Takes one client, so that many at once do not keep the others from being served. True when it
/// was redirected.
bool ServerLoop::acceptOne()
{
    listener.update();
    std::unique_ptr<net::Socket> socket(listener.pollConnect());
    if (!socket)
        return false;
    const zu::u64 key = nextKey++;
    Connection& connection =
        *connections.emplace(key, std::make_unique<Connection>(std::move(socket), key))
             .first->second;
    connection.socket->setCorked(true);
    manager.connectionMade(kPipeProtocolVersion, *connection.socket);

    net::Packet welcome(kPipePacketId);
    encode(welcome, WelcomeMessage{kPipeProtocolVersion, nextConnectionId++, manager.getName()});
    send(connection, welcome);

    Address redirect;
    const bool redirected =
        manager.callClientConnectionCallback() && manager.address().takeRedirect(redirect);
    if (redirected) {
        net::Packet packet(kPipePacketId);
        encode(packet, RedirectMessage{redirect.host.c_str(), static_cast<int>(redirect.port)});
        send(connection, packet);
        connection.sentOnAt = zu::Timer::getAppAge();
        dropSentOn(connection);
    }
    connection.socket->flush();
    watch(connection);
    return redirected;
}

/// Its turn to be the newest that was sent on: of many that stay all the same, the oldest goes.
void ServerLoop::dropSentOn(const Connection& newest)
{
    Connection* oldest = nullptr;
    size_t count = 0;
    for (auto& [key, connection] : connections) {
        if (connection->sentOnAt == 0.0 || connection.get() == &newest)
            continue;
        ++count;
        if (oldest == nullptr || connection->key < oldest->key)
            oldest = connection.get();
    }
    if (count >= kMaxSentOn)
        drop(*oldest);
}

void ServerLoop::serve(Connection& connection, const Ready& readiness)
{
    net::Socket& socket = *connection.socket;
    socket.update(readiness.readable, readiness.writable);
    while (socket.isConnected()) {
        uint32 packetSize = 0;
        net::Packet* packet = socket.pollPacket(&packetSize);
        if (packet == nullptr)
            break;
        // One that was sent elsewhere must not take or disturb the pipes of those who belong here.
        if (packet->getID() == kPipePacketId && connection.sentOnAt == 0.0)
            dispatch(connection, *packet, packetSize);
    }
    endNotifyRuns();
    if (!socket.isConnected()) {
        drop(connection);
        return;
    }
    noteHeard(connection);
    resumeBlockedPipes(connection);
    watch(connection);
}

void ServerLoop::dispatch(Connection& connection, net::Packet& packet, uint32 packetSize)
{
    const MessageKind kind = readKind(packet);
    if (kind != MessageKind::OpenPipe) {
        dispatchToPipe(connection, kind, packet, packetSize);
        return;
    }
    OpenPipeMessage message;
    if (decode(packet, packetSize, message))
        onOpenPipe(connection, message);
}

void ServerLoop::onOpenPipe(Connection& connection, const OpenPipeMessage& message)
{
    manager.setRemoteName(message.senderManagerName);
    const auto result = openPipe(connection, message.pipeName, manager.createsPipesOnRequest());
    if (result == PipeTable::OpenResult::NotYet)
        return;
    const bool opened = result != PipeTable::OpenResult::Refused;
    net::Packet answer(kPipePacketId);
    encode(answer, opened ? MessageKind::PipeOpened : MessageKind::PipeRefused,
           PipeNameMessage{message.pipeName});
    send(connection, answer);
    if (connection.socket->pendingSendBytes() > kMaxUnreadAnswerBytes)
        connection.socket->close();
}

void ServerLoop::dropBroken()
{
    for (const zu::u64 key : takeBroken()) {
        if (const auto found = connections.find(key); found != connections.end())
            drop(*found->second);
    }
}

/// Only sockets that are ready get updated otherwise, and a quiet one is not.
void ServerLoop::trimIfDue()
{
    const double now = zu::Timer::getAppAge();
    if (now - lastTrim < kTrimSeconds)
        return;
    lastTrim = now;
    for (auto& [key, connection] : connections) {
        connection->socket->update(false, false);
        if (connection->sentOnAt != 0.0 && now - connection->sentOnAt > kSentOnSeconds)
            connection->socket->close();
        if (!connection->socket->isConnected())
            noteBroken(*connection);
    }
}

void ServerLoop::drop(Connection& connection)
{
    // The redirect was meant for a client that may be the one that left. The mark stays: the next
    // client is sent to no address, and so comes back to this one.
    manager.address().forgetRedirect(addressVersion);
    detachEverything(connection);
    connections.erase(connection.key);
    manager.connectionEnded();
}

bool ServerLoop::hasSendsToDo() const
{
    const auto isBusy = [](const auto& entry) { return entry.second->hasSendsToDo(); };
    return !isPumpIdle() || std::any_of(connections.begin(), connections.end(), isBusy);
}

void ServerLoop::shutDown()
{
    std::vector<Connection*> open;
    for (auto& [key, connection] : connections)
        open.push_back(connection.get());
    flushAndClose(open);
    for (Connection* connection : open)
        drop(*connection);
}

} // namespace dm
