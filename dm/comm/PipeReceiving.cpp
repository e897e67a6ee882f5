/// The receiving half of a pipe, on the manager's thread: connections come and go, packets come in.
#include "dm/comm/NetCommunicationPipe.h"
#include "dm/common/Diagnostics.h"

#include <algorithm>
#include <utility>

namespace dm {

namespace {

/// Copies a chunk of the answer to the caller's buffer. Without enforcement the capacity is not
/// looked at: programs rely on that.
void storeResponse(OutgoingRequest& request, const Chunk& chunk, net::Packet& packet)
{
    request.responseSize = chunk.totalBytes;
    request.responseReceivedBytes += chunk.bytes;
    if (request.relay != nullptr) {
        // The size is the other end's word, and may change from chunk to chunk.
        const size_t kept = std::min(chunk.totalBytes, request.responseCapacity);
        if (request.relayedData.size() < kept)
            request.relayedData.resize(kept);
        request.responseBuffer = request.relayedData.data();
    }
    if (request.responseBuffer == nullptr)
        return;
    uint32 wanted = chunk.bytes;
    if (request.capacityEnforced) {
        const uint32 room =
            request.responseCapacity - std::min(request.responseCapacity, chunk.offset);
        wanted = std::min(wanted, room);
    }
    if (wanted > 0)
        packet.read(static_cast<uint8*>(request.responseBuffer) + chunk.offset, wanted);
}

} // namespace

void NetCommunicationPipe::attach(Connection& newConnection)
{
    reset();
    leaveBlockedPipes();
    {
        std::lock_guard guard(incomingLock);
        incomingBudget = newConnection.incomingBudget;
    }
    const zu::InplaceString<128> address = newConnection.socket->getConnectedIP();
    std::lock_guard guard(outgoingLock);
    peerAddress = address;
    connection = &newConnection;
    attached.store(true, std::memory_order_release);
}

/// Another client may take the pipe over from one that does not read.
void NetCommunicationPipe::leaveBlockedPipes()
{
    if (connection != nullptr)
        std::erase(connection->blockedPipes, this);
    link.blocked = false;
}

void NetCommunicationPipe::reset()
{
    {
        std::lock_guard guard(incomingLock);
        incomingRequests.reset();
        ++incomingEpoch;
        incomingNotifications.beginConnection();
    }
    pump.restart();
    RelayNews news;
    {
        std::lock_guard guard(outgoingLock);
        outgoing.finishRelayedResponses(news); // another client took the pipe over
        outgoing.giveUpForOneConnection();
        answerBroken = false;
        dropNotifications();
        outgoing.restart();
        ++outgoingEpoch;
    }
    tell(news);
}

void NetCommunicationPipe::announceConnection() { connectionCallback.call(this); }

bool NetCommunicationPipe::detach()
{
    RelayNews news;
    bool notificationsLeft = false;
    {
        std::lock_guard guard(outgoingLock);
        connection = nullptr;
        attached.store(false, std::memory_order_release);
        outgoing.finishRelayedResponses(news);
        outgoing.giveUpForOneConnection();
        answerBroken = false;
        notificationsLeft = !outgoing.notifications.empty() || pump.hasNotificationsLeft();
    }
    tell(news);
    return notificationsLeft;
}

void NetCommunicationPipe::onRequestPacket(const RequestMessage& message, net::Packet& packet)
{
    IncomingRequests::Outcome outcome;
    bool sayRefused = false;
    {
        std::lock_guard guard(incomingLock);
        outcome = incomingRequests.accept(message, packet, incomingBudget);
        sayRefused = outcome == IncomingRequests::Outcome::Refused && raiseRefusalNotice();
    }
    if (sayRefused)
        warn("pipe \"%s\": a request with %u bytes of data is dropped: this connection has more "
             "than %llu bytes or %u requests waiting to be taken and answered",
             name.c_str(), message.chunk.totalBytes,
             static_cast<unsigned long long>(kIncomingBytesLimit), kMaxIncomingRequests);
    if (outcome == IncomingRequests::Outcome::Completed)
        requestCallback.call(this);
}

/// Under incomingLock.
bool NetCommunicationPipe::raiseRefusalNotice()
{
    return incomingBudget && incomingBudget->raiseNotice();
}

void NetCommunicationPipe::onResponsePacket(const ResponseMessage& message, net::Packet& packet)
{
    const Chunk& chunk = message.chunk;
    RelayNews news;
    {
        std::lock_guard guard(outgoingLock);
        OutgoingRequest* request = outgoing.findRequest(message.requestId);
        if (request == nullptr || request->responseReceived)
            return;
        request->responseText = message.text;
        if (chunk.bytes > 0)
            storeResponse(*request, chunk, packet);
        if (!chunk.reachesEnd())
            return;
        request->responseReceived = true;
        request->receivedOver = outgoingEpoch;
        request->sending.sent = true; // an early answer: nothing more of it is wanted
        if (request->relay == nullptr)
            request->event.set();
        else if (!request->sending.inFlight)
            outgoing.finishRelay(*request, news);
    }
    tell(news);
}

bool NetCommunicationPipe::onNotifyPacket(const NotifyMessage& message, net::Packet& packet)
{
    IncomingNotifications::Outcome outcome;
    bool sayRefused = false;
    {
        std::lock_guard guard(incomingLock);
        outcome = incomingNotifications.accept(message, packet, incomingBudget);
        sayRefused = outcome == IncomingNotifications::Outcome::Refused && raiseRefusalNotice();
    }
    if (sayRefused)
        warn("pipe \"%s\": notifications are dropped because nobody takes them with receiveNotify "
             "and %llu bytes are waiting",
             name.c_str(), static_cast<unsigned long long>(kMaxIncomingNotifyBytes));
    if (outcome != IncomingNotifications::Outcome::Completed)
        return false;
    if (notifiesByRun.load(std::memory_order_acquire))
        return !std::exchange(runNoted, true);
    notifyCallback.call(this);
    return false;
}

void NetCommunicationPipe::endNotifyRun()
{
    runNoted = false;
    notifyCallback.call(this);
}

} // namespace dm
