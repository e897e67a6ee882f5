#include "dm/comm/PipePump.h"

#include "dm/comm/NetCommunicationPipe.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace dm {

namespace {

PipePump::Result worse(PipePump::Result one, PipePump::Result other)
{
    return static_cast<int>(one) > static_cast<int>(other) ? one : other;
}

} // namespace

PipePump::Result PipePump::send(net::Socket& target)
{
    socket = &target;
    shareLeft = kPumpBytesPerPass;
    const Result taken = takeDue();
    if (taken != Result::More)
        return taken;

    // A kind that has to stop does not stop the others: only chunks of one kind must not mix.
    Result result = sendResponses();
    result = worse(result, sendRequests());
    result = worse(result, sendNotifications());
    return moreQueued ? worse(result, Result::More) : result;
}

/// More when there is something to send.
PipePump::Result PipePump::takeDue()
{
    std::lock_guard guard(pipe.outgoingLock);
    if (pipe.closing)
        return Result::Done;
    if (pipe.answerBroken)
        return Result::Broken;
    moreQueued = false;
    take(pipe.outgoing.responses, responses, [](const OutgoingResponse& response, Job& job) {
        job.key = response.serial;
        job.messageId = response.requestId;
    });
    take(pipe.outgoing.requests, requests, [](const OutgoingRequest& request, Job& job) {
        job.key = request.id;
        job.messageId = request.id;
        job.value = request.value;
    });
    takeNotifications();
    const bool isAnyDue = responses.count + requests.count + notificationCount > 0;
    return isAnyDue ? Result::More : Result::Done;
}

template <typename Queue, typename Describe>
void PipePump::take(Queue& queue, Jobs& jobs, Describe describe)
{
    jobs.count = 0;
    const size_t looked = std::min<size_t>(queue.size(), kMessagesPerPass);
    for (size_t index = 0; index < looked; ++index) {
        auto& record = queue[index];
        if (record.sending.sent)
            continue;
        Job& job = jobs.entries[jobs.count++];
        describe(record, job);
        job.text = record.text;
        job.sending = record.sending;
        record.sending.inFlight = true;
    }
}

void PipePump::takeNotifications()
{
    if (hasNotificationsLeft()) {
        moreQueued = !pipe.outgoing.notifications.empty();
        return;
    }
    notificationNext = 0;
    notificationCount = 0;
    auto& queue = pipe.outgoing.notifications;
    while (notificationCount < kMessagesPerPass && !queue.empty()) {
        pipe.giveBackNotifyCost(queue.front().cost());
        notifications[notificationCount++] = std::move(queue.front());
        queue.popFront();
    }
    moreQueued = !queue.empty();
}

PipePump::Result PipePump::sendResponses()
{
    return sendJobs(responses, [this](net::Packet& packet, const Job& job, const Chunk& chunk) {
        return encode(packet,
                      ResponseMessage{pipe.getName(), job.messageId, job.text.c_str(), chunk},
                      job.sending.next());
    });
}

PipePump::Result PipePump::sendRequests()
{
    return sendJobs(requests, [this](net::Packet& packet, const Job& job, const Chunk& chunk) {
        return encode(
            packet,
            RequestMessage{pipe.getName(), job.messageId, job.value, job.text.c_str(), chunk},
            job.sending.next());
    });
}

template <typename EncodeChunk>
PipePump::Result PipePump::sendJobs(Jobs& jobs, EncodeChunk encodeChunk)
{
    for (uint32 index = 0; index < jobs.count; ++index) {
        Job& job = jobs.entries[index];
        const Result result = sendChunks(job.sending, [&](net::Packet& packet, const Chunk& chunk) {
            return encodeChunk(packet, job, chunk);
        });
        if (result != Result::Done)
            return result;
    }
    return Result::Done;
}

PipePump::Result PipePump::sendNotifications()
{
    while (notificationNext < notificationCount) {
        OutgoingNotification& notification = notifications[notificationNext];
        notificationSending.data = notification.text.c_str();
        notificationSending.dataSize = static_cast<uint32>(notification.text.length());
        const uint32 value = notification.value != 0 ? notification.value : pipe.managerId();
        const Result result =
            sendChunks(notificationSending, [&](net::Packet& packet, const Chunk& chunk) {
                return encode(packet, NotifyMessage{pipe.getName(), notification.id, value, chunk},
                              notificationSending.next());
            });
        if (result != Result::Done)
            return result;
        notificationSending = Sending();
        notification.text.clear();
        ++notificationNext;
    }
    return Result::Done;
}

template <typename EncodeChunk>
PipePump::Result PipePump::sendChunks(Sending& sending, EncodeChunk encodeChunk)
{
    do {
        // Once a large message has filled the connection, what more it hands over would only be
        // copied; small messages may still gather behind it.
        const uint32 limit = sending.sentBytes > 0 ? 0 : kSendHighWaterBytes;
        if (socket->pendingSendBytes() > limit)
            return Result::Blocked;
        if (sending.isStarved())
            return Result::Starved;
        if (shareLeft == 0)
            return Result::More;

        net::Packet packet(kPipePacketId);
        const uint32 taken =
            encodeChunk(packet, Chunk{sending.dataSize, sending.sentBytes, sending.nextBytes()});
        assert(taken > 0 || sending.dataSize == 0);
        // A connection that does not take it is gone, though what its peer sent before may still
        // be unread. The next attach sends the message again, whole.
        if (!socket->sendPacket(&packet))
            return Result::Blocked;
        sending.sentBytes += taken;
        shareLeft -= std::min(shareLeft, packet.getSize());
    } while (sending.sentBytes < sending.dataSize);
    sending.sent = true;
    return Result::Done;
}

void PipePump::finish()
{
    if (responses.count + requests.count == 0)
        return;
    RelayNews news;
    {
        std::lock_guard guard(pipe.outgoingLock);
        for (uint32 index = 0; index < responses.count; ++index)
            settleResponse(responses.entries[index], news);
        for (uint32 index = 0; index < requests.count; ++index)
            settleRequest(requests.entries[index], news);
        responses.count = 0;
        requests.count = 0;
        if (pipe.closing)
            pipe.noteCallersGone();
    }
    pipe.tell(news);
}

/// Under the pipe's outgoingLock.
void PipePump::settleResponse(const Job& job, RelayNews& news)
{
    OutgoingResponse& response = *pipe.outgoing.findResponse(job.key);
    response.sending.settle(job.sending);
    const bool madeRoom = response.sending.ringBytes > 0 && response.sending.hasRoom();
    if (!response.sending.sent && !madeRoom && !pipe.closing)
        return;
    if (response.relay != nullptr)
        pipe.outgoing.finishRelay(response, news);
    else
        response.event.set();
}

/// Under the pipe's outgoingLock.
void PipePump::settleRequest(const Job& job, RelayNews& news)
{
    OutgoingRequest& request = *pipe.outgoing.findRequest(static_cast<uint32>(job.key));
    request.sending.settle(job.sending);
    if (!request.responseReceived && !request.cancelled && !pipe.closing)
        return;
    if (request.relay != nullptr)
        pipe.outgoing.finishRelay(request, news);
    else
        request.event.set();
}

void PipePump::restart()
{
    notificationNext = 0;
    notificationCount = 0;
    notificationSending = Sending();
}

} // namespace dm
