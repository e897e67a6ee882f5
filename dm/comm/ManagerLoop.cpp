#include "dm/comm/ManagerLoop.h"

#include "dm/comm/NetCommunicationPipeManager.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

namespace dm {

std::span<const ManagerLoop::Ready> ManagerLoop::wait(uint32 timeoutMs)
{
    // A pass may have ended before it pumped, when the wake-up for the queue was already taken.
    const bool workLeft = !isPumpIdle() || !broken.empty();
    // Passes over a long queue of small messages are far shorter than a look at the kernel.
    if (workLeft) {
        const auto now = std::chrono::steady_clock::now();
        if (now - lastLook < kLookInterval)
            return {};
        lastLook = now;
    }
    net::WaitSet::Hint likely;
    if (lastHeard != nullptr)
        likely = {lastHeard->socket.get(), lastHeard->key};
    const uint32 count = waitSet.wait(ready.data(), static_cast<uint32>(ready.size()),
                                      workLeft ? 0 : timeoutMs, likely);
    return {ready.data(), count};
}

void ManagerLoop::dispatchToPipe(Connection& connection, MessageKind kind, net::Packet& packet,
                                 uint32 packetSize)
{
    const auto withPipe = [&](auto message, auto deliver) {
        if (!decode(packet, packetSize, message))
            return;
        NetCommunicationPipe*& last = connection.lastPipe;
        if (last == nullptr || std::strcmp(last->getName(), message.pipeName) != 0)
            last = manager.pipeTable().find(message.pipeName);
        // An unknown name is dropped: pipes are made by OpenPipe alone.
        if (last != nullptr)
            deliver(*last, message);
    };
    switch (kind) {
    case MessageKind::Request:
        withPipe(RequestMessage(), [&](NetCommunicationPipe& pipe, const RequestMessage& message) {
            pipe.onRequestPacket(message, packet);
        });
        break;
    case MessageKind::Response:
        withPipe(ResponseMessage(),
                 [&](NetCommunicationPipe& pipe, const ResponseMessage& message) {
                     pipe.onResponsePacket(message, packet);
                 });
        break;
    case MessageKind::Notify:
        withPipe(NotifyMessage(), [&](NetCommunicationPipe& pipe, const NotifyMessage& message) {
            if (pipe.onNotifyPacket(message, packet))
                notified.push_back(&pipe);
        });
        break;
    default:
        break;
    }
}

void ManagerLoop::endNotifyRuns()
{
    for (NetCommunicationPipe* pipe : notified)
        pipe->endNotifyRun();
    notified.clear();
}

PipeTable::OpenResult ManagerLoop::openPipe(Connection& connection, const char* pipeName,
                                            bool mayCreate)
{
    NetCommunicationPipe* pipe = nullptr;
    const auto result = manager.pipeTable().open(pipeName, mayCreate, connection, pipe);
    // Whatever was queued while there was no connection.
    if (result == PipeTable::OpenResult::Attached)
        schedule(*pipe);
    return result;
}

void ManagerLoop::send(Connection& connection, const net::Packet& packet)
{
    connection.socket->sendPacket(&packet);
    touch(connection);
}

void ManagerLoop::touch(Connection& connection)
{
    if (connection.touched)
        return;
    connection.touched = true;
    touched.push_back(&connection);
}

void ManagerLoop::pumpPipes()
{
    announced.clear();
    pumpQueue.takeAll(announced);
    for (NetCommunicationPipe* pipe : announced)
        schedule(*pipe);

    const auto count = static_cast<std::ptrdiff_t>(std::min<size_t>(pending.size(), kPipesPerPass));
    pumped.assign(pending.begin(), pending.begin() + count);
    pending.erase(pending.begin(), pending.begin() + count);
    for (NetCommunicationPipe* pipe : pumped)
        pumpOne(*pipe);
    flushTouched();
    // Only now: those who wait for their message to be out are woken after the ones it is for.
    for (NetCommunicationPipe* pipe : pumped)
        pipe->finishPump();
}

void ManagerLoop::schedule(NetCommunicationPipe& pipe)
{
    if (std::exchange(pipe.pumpLink().scheduled, true))
        return;
    pending.push_back(&pipe);
}

void ManagerLoop::pumpOne(NetCommunicationPipe& pipe)
{
    pipe.pumpLink().scheduled = false;
    Connection* connection = pipe.attachedConnection();
    if (connection == nullptr || !connection->socket->isConnected())
        return; // attaching queues it again
    touch(*connection);
    switch (pipe.pumpOutgoing(*connection->socket)) {
    case PipePump::Result::Done:
    case PipePump::Result::Starved:
        break;
    case PipePump::Result::More:
        schedule(pipe);
        break;
    case PipePump::Result::Blocked:
        if (!std::exchange(pipe.pumpLink().blocked, true))
            connection->blockedPipes.push_back(&pipe);
        break;
    case PipePump::Result::Broken:
        connection->socket->close();
        noteBroken(*connection);
        break;
    }
}

void ManagerLoop::flushTouched()
{
    for (Connection* connection : touched)
        connection->gathering = false;
    for (NetCommunicationPipe* pipe : pending) {
        if (Connection* connection = pipe->attachedConnection())
            connection->gathering = true;
    }
    std::erase_if(touched, [&](Connection* connection) { return flushOne(*connection); });
}

/// False when it is better done in a later pass.
bool ManagerLoop::flushOne(Connection& connection)
{
    net::Socket& socket = *connection.socket;
    // While its pipes have more, small messages gather, and leave many in one system call. What the
    // system did not take before gathers by itself, and has to be watched.
    const bool isWatchedForWriting = connection.watchedInterest == zu::Interest::ReadWrite;
    if (connection.gathering && !isWatchedForWriting && socket.pendingSendBytes() < kGatherBytes)
        return false;
    socket.flush();
    connection.touched = false;
    if (!socket.isConnected()) {
        noteBroken(connection);
        return true;
    }
    resumeBlockedPipes(connection);
    watch(connection);
    return true;
}

void ManagerLoop::resumeBlockedPipes(Connection& connection)
{
    if (connection.blockedPipes.empty() || connection.socket->hasSendsToDo())
        return;
    for (NetCommunicationPipe* pipe : connection.blockedPipes) {
        pipe->pumpLink().blocked = false;
        schedule(*pipe);
    }
    connection.blockedPipes.clear();
}

void ManagerLoop::watch(Connection& connection)
{
    const zu::WaitHandle handle = connection.socket->getWaitHandle();
    if (!handle.isValid()) {
        connection.watched = handle;
        return;
    }
    const bool isNew = !connection.watched.isValid() ||
                       connection.watched.native != handle.native ||
                       connection.watched.serial != handle.serial;
    if (!isNew && connection.watchedInterest == handle.interest)
        return;
    waitSet.change(handle, handle.interest, connection.key);
    connection.watched = handle;
    connection.watchedInterest = handle.interest;
}

void ManagerLoop::detachEverything(Connection& connection)
{
    const bool notificationsLost = manager.pipeTable().detachAll(connection);
    if (notificationsLost || connection.socket->hasLostSends() || connection.socket->hasSendsToDo())
        manager.sendsLost();
    for (NetCommunicationPipe* pipe : connection.blockedPipes)
        pipe->pumpLink().blocked = false;
    connection.blockedPipes.clear();
    connection.lastPipe = nullptr;
    if (lastHeard == &connection)
        lastHeard = nullptr;
    connection.touched = false;
    std::erase(touched, &connection);
}

void ManagerLoop::flushAndClose(std::span<Connection* const> connections)
{
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(kShutdownFlushMs);
    for (Connection* connection : connections) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        const auto waitMs = std::max<std::chrono::milliseconds::rep>(left.count(), 0);
        // All of them share one bound, so a peer that does not read cannot hold us up.
        if (!connection->socket->drain(static_cast<uint32>(waitMs)))
            connection->socket->close();
    }
}

} // namespace dm
