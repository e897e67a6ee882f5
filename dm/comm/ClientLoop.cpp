#include "dm/comm/ClientLoop.h"

#include "dm/comm/NetCommunicationPipeManager.h"

#include <zul/Timer.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

namespace dm {

namespace {

/// An IPv6 address that is good on one network only, as the server wrote it, with the interface of
/// this machine that leads there: the one the server was reached over.
std::string onSameNetwork(const std::string& host, const std::string& server)
{
    const size_t scope = server.find('%');
    if (scope == std::string::npos || zu::strnicmp(host.c_str(), "fe80:", 5) != 0)
        return host;
    return host.substr(0, host.find('%')) + server.substr(scope);
}

} // namespace

ClientLoop::ClientLoop(NetCommunicationPipeManager& owner)
    : ManagerLoop(owner)
    , connection(std::make_unique<net::Socket>(), kConnectionKey)
{
    connection.socket->setCorked(true);
}

void ClientLoop::pass()
{
    const std::span<const Ready> readyNow = wait(timeoutMs());
    const Ready readiness = readyNow.empty() ? Ready{} : readyNow.front();
    addressVersion = manager.address().version();
    takeBroken(); // there is but one connection, and every pass looks at it

    connection.socket->update(readiness.readable, readiness.writable);
    if (connection.socket->isConnected())
        receive();
    if (!connection.socket->isConnected() && wasConnected)
        onLost();
    connectIfDue();
    if (connection.socket->isConnected())
        sendOpenPipes();
    watch(connection);
    pumpPipes();
}

/// When something is due by the clock; the other end and the pipes wake us by themselves.
uint32 ClientLoop::timeoutMs() const
{
    if (connection.socket->isPending())
        return connection.watched.isValid() ? kLongestWaitMs : kLongestWaitMs / 10;
    const double due =
        connection.socket->isConnected() ? nextOpenPipe : lastConnectAttempt + kReconnectSeconds;
    const double waitMs = std::ceil((due - zu::Timer::getAppAge()) * 1000.0) + 1.0;
    return static_cast<uint32>(std::clamp(waitMs, 0.0, double{kLongestWaitMs}));
}

void ClientLoop::receive()
{
    if (!std::exchange(wasConnected, true))
        manager.connectionIsUp();
    noteHeard(connection);
    pendingTarget = Target::None;
    closedByUs = false;
    net::Socket& socket = *connection.socket;
    while (!closedByUs && socket.isConnected()) {
        uint32 packetSize = 0;
        net::Packet* packet = socket.pollPacket(&packetSize);
        if (packet == nullptr)
            break;
        if (packet->getID() == kPipePacketId)
            dispatch(*packet, packetSize);
    }
    endNotifyRuns();
    resumeBlockedPipes(connection);
}

void ClientLoop::dispatch(net::Packet& packet, uint32 packetSize)
{
    const auto decoded = [&](auto& message) { return decode(packet, packetSize, message); };
    PipeNameMessage opened;
    RedirectMessage redirect;
    WelcomeMessage welcome;
    const MessageKind kind = readKind(packet);
    switch (kind) {
    case MessageKind::PipeOpened:
        if (decoded(opened))
            openPipe(connection, opened.pipeName, true);
        break;
    case MessageKind::PipeRefused:
        break; // perhaps later: it is asked again
    case MessageKind::Redirect:
        if (decoded(redirect))
            onRedirect(redirect);
        break;
    case MessageKind::Welcome:
        if (decoded(welcome))
            onWelcome(welcome);
        break;
    default:
        dispatchToPipe(connection, kind, packet, packetSize);
        break;
    }
}

void ClientLoop::onRedirect(const RedirectMessage& message)
{
    const std::string host =
        onSameNetwork(message.host, connection.socket->getConnectedIP().c_str());
    closedByUs = true;
    connection.socket->close();
    const auto port = static_cast<uint32>(std::max(message.port, 0));
    manager.address().redirectReceived(host.c_str(), port, addressVersion);
}

void ClientLoop::onWelcome(const WelcomeMessage& message)
{
    manager.setId(message.connectionId);
    manager.setRemoteName(message.serverManagerName);
    if (!std::exchange(isWelcomed, true))
        manager.connectionMade(message.protocolVersion, *connection.socket);
    manager.address().rememberConfigured(addressVersion);
    if (message.protocolVersion != kPipeProtocolVersion) {
        closedByUs = true;
        connection.socket->close();
        manager.address().forgetRedirect(addressVersion);
        manager.connectionLost("the server speaks another version of the pipe protocol");
    }
    manager.callClientConnectionCallback();
}

void ClientLoop::onLost()
{
    manager.connectionLost(closedByUs ? "" : connection.socket->closeReason());
    manager.address().forgetRedirectUnlessPending(addressVersion);
    detachEverything(connection);
    wasConnected = false;
    if (std::exchange(isWelcomed, false))
        manager.connectionEnded();
}

void ClientLoop::connectIfDue()
{
    net::Socket& socket = *connection.socket;
    if (socket.isConnected())
        return;
    const ManagerAddress::Snapshot address = manager.address().read();
    if (socket.isPending() && !abandonIfAddressChanged(address.configured))
        return;
    const Target failed = std::exchange(pendingTarget, Target::None);
    if (failed != Target::None)
        manager.connectionFailed(socket.closeReason());
    // The remembered address does not answer: the configured one gets its turn in the same
    // attempt, or it would never get one.
    if (failed == Target::Redirect)
        attempt(Target::Configured, address);
    else if (zu::Timer::getAppAge() - lastConnectAttempt > kReconnectSeconds)
        attempt(Target::Redirect, address);
}

/// An attempt at an address that is no longer wanted may take long to fail.
bool ClientLoop::abandonIfAddressChanged(const Address& configured)
{
    if (pendingTarget != Target::Configured || pendingAddress == configured)
        return false;
    connection.socket->close();
    pendingTarget = Target::None;
    lastConnectAttempt = -1000.0;
    return true;
}

void ClientLoop::attempt(Target first, const ManagerAddress::Snapshot& address)
{
    net::Socket& socket = *connection.socket;
    if (first == Target::Redirect)
        tryConnect(Target::Redirect, address.redirect);
    if (!socket.isConnected() && !socket.isPending())
        tryConnect(Target::Configured, address.configured);
    manager.address().redirectFollowed(address.version);
    lastConnectAttempt = zu::Timer::getAppAge();
}

bool ClientLoop::tryConnect(Target target, const Address& to)
{
    if (to.host.empty())
        return false;
    pendingTarget = target;
    pendingAddress = to;
    manager.connectionAttempted();
    return connection.socket->connect(to.host.c_str(), to.port);
}

void ClientLoop::sendOpenPipes()
{
    if (nextOpenPipe == std::numeric_limits<double>::infinity() &&
        !manager.pipeTable().hasNewToOpen())
        return;
    const double now = zu::Timer::getAppAge();
    if (connection.socket->pendingSendBytes() > kSendHighWaterBytes) {
        nextOpenPipe = now + kOpenPipeSeconds; // it does not read: asking again does not help
        return;
    }
    namesToOpen.clear();
    nextOpenPipe = manager.pipeTable().takeDueToOpen(now, namesToOpen);
    for (const char* name : namesToOpen) {
        net::Packet packet(kPipePacketId);
        encode(packet, OpenPipeMessage{name, manager.getName()});
        send(connection, packet);
    }
}

bool ClientLoop::hasSendsToDo() const { return !isPumpIdle() || connection.hasSendsToDo(); }

void ClientLoop::shutDown()
{
    Connection* const open[] = {&connection};
    // What is left open ends in order when it is destroyed; closing it here would not wait for
    // what the system still has to send.
    if (connection.socket->isConnected())
        flushAndClose(open);
    else
        connection.socket->close();
    if (wasConnected)
        onLost();
}

} // namespace dm
