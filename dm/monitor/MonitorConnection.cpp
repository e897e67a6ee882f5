#include "dm/monitor/MonitorConnection.h"

#include <utility>

namespace dm {

// Sent to one tool before the next gets its turn.
static constexpr u32 kSendBytesPerPump = 256 * 1024;

// In one pump. A game that prints 100 lines in each of 60 frames a second stays far below.
static constexpr u32 kMuchBytes = 32 * 1024;

u32 MonitorConnection::waitingCommands()
{
    const std::lock_guard guard(inboxLock);
    return static_cast<u32>(inbox.size());
}

bool MonitorConnection::takeCommand(MonitorCommand& out)
{
    const std::lock_guard guard(inboxLock);
    if (inbox.empty())
        return false;
    out = std::move(inbox.front());
    inbox.pop_front();
    inboxBytes -= static_cast<u32>(out.data.size());
    return true;
}

bool MonitorConnection::isOver()
{
    const std::lock_guard guard(inboxLock);
    return ended && inbox.empty();
}

bool MonitorConnection::hasRoom()
{
    const std::lock_guard guard(inboxLock);
    return inbox.size() < kMaxWaitingCommands && inboxBytes < kMaxWaitingCommandBytes;
}

MonitorConnection::Progress MonitorConnection::pump(bool readable, bool writable,
                                                    net::Packet& scratch)
{
    const bool received = receive(readable, writable);
    const u32 sentBytes = isConnected() ? send(scratch) : 0;
    if (!isConnected()) {
        const std::lock_guard guard(inboxLock);
        ended = true;
        return Progress::Some;
    }
    if (hasMore && socket->pendingSendBytes() < net::kCorkedBytes)
        return Progress::MoreToDo;
    if (sentBytes >= kMuchBytes)
        return Progress::Much;
    return received || sentBytes > 0 ? Progress::Some : Progress::None;
}

bool MonitorConnection::receive(bool readable, bool writable)
{
    bool received = false;
    receiving = hasRoom();
    socket->update(readable && receiving, writable);
    while (receiving) {
        net::Packet* arrived = socket->pollPacket(nullptr);
        if (!arrived)
            break;
        received = true;
        MonitorCommand command = readMonitorCommand(*arrived);
        {
            const std::lock_guard guard(inboxLock);
            inboxBytes += static_cast<u32>(command.data.size());
            inbox.push_back(std::move(command));
        }
        receiving = hasRoom();
    }
    return received;
}

// The socket gathers small packets and sends them together, so what it has not been able to send
// grows to kCorkedBytes and a packet at most. That much reaches the tool even after a loss.
// Returns how many bytes.
u32 MonitorConnection::send(net::Packet& packet)
{
    u32 sent = 0;
    hasMore = true;
    while (sent < kSendBytesPerPump && socket->pendingSendBytes() < net::kCorkedBytes) {
        hasMore = reader.next(packet);
        if (!hasMore)
            break;
        socket->sendPacket(&packet);
        sent += packet.getSize();
    }
    socket->update(false, false);
    return sent;
}

void MonitorConnection::watch(net::WaitSet& waitSet)
{
    u32 interest = receiving ? static_cast<u32>(zu::Interest::Read) : 0;
    if (socket->hasSendsToDo())
        interest |= static_cast<u32>(zu::Interest::Write);
    const auto wanted = static_cast<zu::Interest>(interest);
    if (wanted == watched)
        return;
    watched = wanted;
    // A tool that is gone would end every wait at once, even with no interest in it.
    if (wanted == zu::Interest::None)
        waitSet.remove(socket->getWaitHandle());
    else
        waitSet.change(socket->getWaitHandle(), wanted, key);
}

void MonitorConnection::hangUp()
{
    if (socket->hasSendsToDo())
        socket->close();
    socket = std::make_unique<net::Socket>();
}

} // namespace dm
