#include "dm/comm/IncomingRequests.h"

#include <zul/String.h>

#include <utility>

namespace dm {

namespace {

void storeChunk(IncomingRequest& request, const Chunk& chunk, net::Packet& packet)
{
    if (chunk.bytes > 0)
        packet.read(request.data.data() + chunk.offset, chunk.bytes);
    if (chunk.offset == request.arrivedBytes)
        request.arrivedBytes += chunk.bytes;
}

// The sizes are the record's as it was made: a later packet cannot change them.
bool fits(const IncomingRequest& request, const Chunk& chunk)
{
    return zu::u64{chunk.offset} + chunk.bytes <= request.dataSize;
}

} // namespace

IncomingRequests::Outcome IncomingRequests::accept(const RequestMessage& message,
                                                   net::Packet& packet,
                                                   const std::shared_ptr<IncomingBudget>& budget)
{
    if (takenEarlyId == message.requestId)
        return acceptTakenEarly(message, packet);
    if (lastCompletedId != kNoId && message.requestId <= lastCompletedId)
        return Outcome::Duplicate;

    Outcome failure = Outcome::Dropped;
    IncomingRequest* request = findOrCreate(message, budget, failure);
    if (request == nullptr)
        return failure;
    if (request->complete || !fits(*request, message.chunk))
        return Outcome::Dropped;

    storeChunk(*request, message.chunk, packet);
    if (!message.chunk.reachesEnd())
        return Outcome::Stored;
    request->complete = true;
    lastCompletedId = message.requestId;
    return Outcome::Completed;
}

IncomingRequests::Outcome IncomingRequests::acceptTakenEarly(const RequestMessage& message,
                                                             net::Packet& packet)
{
    if (takenEarlyIsCurrent) {
        if (!fits(currentRequest, message.chunk))
            return Outcome::Dropped;
        storeChunk(currentRequest, message.chunk, packet);
    }
    if (!message.chunk.reachesEnd())
        return Outcome::Stored;
    takenEarlyId.reset();
    takenEarlyIsCurrent = false;
    lastCompletedId = message.requestId;
    return Outcome::Completed;
}

IncomingRequest* IncomingRequests::findOrCreate(const RequestMessage& message,
                                                const std::shared_ptr<IncomingBudget>& budget,
                                                Outcome& failure)
{
    IncomingRequest* found =
        queue.find([&](const IncomingRequest& request) { return request.id == message.requestId; });
    if (found != nullptr)
        return found;

    IncomingRequest request;
    request.id = message.requestId;
    request.value = message.value;
    request.text = message.text;
    request.dataSize = message.chunk.totalBytes;
    failure = Outcome::Refused;
    const zu::u64 cost = zu::u64{request.dataSize} + request.text.length() + kRecordBytes;
    if (queue.size() >= kMaxIncomingRequests || !request.reservation.tryAdd(budget, cost))
        return nullptr;
    if (request.dataSize > 0) {
        request.data = zu::ZeroedBuffer::tryAllocate(request.dataSize);
        if (request.data.data() == nullptr)
            return nullptr;
    }
    return &queue.append(std::move(request));
}

bool IncomingRequests::takeOldest()
{
    if (queue.empty())
        return false;
    currentRequest = std::move(queue.front());
    queue.popFront();
    takenEarlyIsCurrent = !currentRequest.complete;
    if (takenEarlyIsCurrent)
        takenEarlyId = currentRequest.id;
    return true;
}

bool IncomingRequests::isAborted() const
{
    return zu::stricmp(currentRequest.text.c_str(), kAbortToken) == 0;
}

void IncomingRequests::discardAbortToken()
{
    if (!isAborted())
        return;
    // The id stays: whoever answers late answers the request it meant.
    currentRequest.text = "";
    currentRequest.data = zu::ZeroedBuffer();
    currentRequest.dataSize = 0;
    currentRequest.arrivedBytes = 0;
    currentRequest.reservation = BudgetReservation();
    takenEarlyIsCurrent = false;
}

IncomingRequest IncomingRequests::takeCurrent()
{
    takenEarlyIsCurrent = false;
    return std::exchange(currentRequest, IncomingRequest());
}

void IncomingRequests::reset()
{
    queue.clear();
    currentRequest.text = kAbortToken;
    takenEarlyIsCurrent = false;
    takenEarlyId.reset();
    lastCompletedId = kNoId;
}

} // namespace dm
