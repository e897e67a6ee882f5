#include "dm/comm/IncomingNotifications.h"

#include <algorithm>
#include <cstring>

namespace dm {

namespace {

void appendChunk(zu::String& text, uint32 bytes, net::Packet& packet)
{
    if (const auto* chunk = reinterpret_cast<const char*>(packet.view(bytes)))
        text.append(chunk, strnlen(chunk, bytes));
}

} // namespace

IncomingNotifications::Notification* IncomingNotifications::findIncomplete(uint32 id)
{
    // A sender never interleaves two texts of one pipe, so what is incomplete is among the newest,
    // even when several clients share the pipe. Looking further back would let one unfinished
    // text make every later one cost the length of the queue.
    constexpr size_t kNewestLookedAt = 16;
    const size_t count = std::min(queue.size(), kNewestLookedAt);
    for (size_t back = 1; back <= count; ++back) {
        Notification& notification = queue[queue.size() - back];
        if (notification.id == id && !notification.isReadable())
            return &notification;
    }
    return nullptr;
}

IncomingNotifications::Outcome
IncomingNotifications::accept(const NotifyMessage& message, net::Packet& packet,
                              const std::shared_ptr<IncomingBudget>& budget)
{
    if (discardedId == message.notifyId)
        return Outcome::Stored; // the rest of one that was refused
    Notification* notification = findIncomplete(message.notifyId);
    const bool isNew = notification == nullptr;
    const zu::u64 cost = message.chunk.bytes + (isNew ? zu::u64{kRecordBytes} : 0);
    if (!reserve(cost, budget)) {
        discard(message.notifyId);
        return Outcome::Refused;
    }
    if (isNew) {
        Notification begun;
        begun.id = message.notifyId;
        begun.value = message.value;
        begun.expectedLength = message.chunk.totalBytes;
        notification = &queue.append(std::move(begun));
    }
    appendChunk(notification->text, message.chunk.bytes, packet);
    notification->receivedLength += message.chunk.bytes;
    queuedBytes += cost;
    if (notification->receivedLength != notification->expectedLength)
        return Outcome::Stored;
    return Outcome::Completed;
}

bool IncomingNotifications::reserve(zu::u64 cost, const std::shared_ptr<IncomingBudget>& budget)
{
    // In steps, and kept while the queue is short: the budget is shared, and a notification is
    // small.
    constexpr zu::u64 kStepBytes = 64 * 1024;
    if (queuedBytes + cost > kMaxIncomingNotifyBytes)
        return false;
    const zu::u64 wanted = queuedBytes - carriedBytes + cost;
    if (wanted <= reservation.size())
        return true;
    return reservation.tryAdd(budget, std::max(wanted - reservation.size(), kStepBytes));
}

/// One that is cut off would never complete, and hold back all that follow.
void IncomingNotifications::discard(uint32 id)
{
    discardedId = id;
    eraseIncomplete([id](const Notification& notification) { return notification.id == id; });
}

template <typename Predicate>
void IncomingNotifications::eraseIncomplete(Predicate matches)
{
    queue.eraseIf([&](const Notification& notification) {
        const bool erased = !notification.isReadable() && matches(notification);
        if (erased)
            queuedBytes -= notification.cost();
        return erased;
    });
}

bool IncomingNotifications::takeOldest(zu::InplaceString<128>& text, uint32* outValue)
{
    if (queue.empty() || !queue.front().isReadable())
        return false;
    Notification& notification = queue.front();
    queuedBytes -= notification.cost();
    carriedBytes -= std::min(carriedBytes, notification.cost()); // the oldest go first
    if (outValue != nullptr)
        *outValue = notification.value;
    text = std::move(notification.text);
    queue.popFront();
    if (queue.empty())
        giveBack();
    return true;
}

/// What a long queue had reserved.
void IncomingNotifications::giveBack()
{
    constexpr zu::u64 kKeptBytes = 1024 * 1024;
    if (reservation.size() > kKeptBytes)
        reservation.release();
}

void IncomingNotifications::beginConnection()
{
    discardedId.reset();
    eraseIncomplete([](const Notification&) { return true; });
    // What is left counts against no connection: the pipe's own limit bounds it.
    carriedBytes = queuedBytes;
    reservation.release();
}

} // namespace dm
