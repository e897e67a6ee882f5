/// The answering half of a pipe.
#include "dm/comm/NetCommunicationPipe.h"
#include "dm/comm/ThreadEvent.h"

#include <algorithm>
#include <cassert>
#include <memory>

namespace dm {

zu::InplaceString<128> NetCommunicationPipe::receiveRequest(uint32* outValue)
{
    zu::InplaceString<128> text;
    takeRequest(text, outValue);
    return text;
}

bool NetCommunicationPipe::takeRequest(zu::InplaceString<128>& text, uint32* outValue)
{
    std::lock_guard guard(incomingLock);
    incomingRequests.discardAbortToken();
    if (!incomingRequests.takeOldest())
        return false;
    const IncomingRequest& request = incomingRequests.current();
    if (outValue != nullptr)
        *outValue = request.value;
    text = request.text;
    return true;
}

void NetCommunicationPipe::getRequestData(void** outData, uint32* outSize)
{
    std::lock_guard guard(incomingLock);
    incomingRequests.discardAbortToken();
    *outData = nullptr;
    *outSize = 0;
    IncomingRequest& request = incomingRequests.current();
    if (request.text.empty())
        return;
    *outData = request.data.data();
    *outSize = request.dataSize;
}

bool NetCommunicationPipe::isRequestWhole()
{
    std::lock_guard guard(incomingLock);
    return incomingRequests.isCurrentWhole();
}

/// False when the current request came over an earlier connection, which swallows the answer.
bool NetCommunicationPipe::takeCurrentRequest(IncomingRequest& answered, uint32& epoch)
{
    std::lock_guard guard(incomingLock);
    if (incomingRequests.isAborted()) {
        incomingRequests.discardAbortToken();
        return false;
    }
    answered = incomingRequests.takeCurrent();
    epoch = incomingEpoch;
    return true;
}

void NetCommunicationPipe::respond(const char* text, const void* data, uint32 dataSize)
{
    assert((data != nullptr || dataSize == 0) && "data is null with a size");
    const bool sendable = isTextSendable("a response", text);
    // Kept until the end: an answer may well be made of the request's own data.
    IncomingRequest answered;
    uint32 epoch = 0;
    if (!takeCurrentRequest(answered, epoch))
        return;

    zu::u64 serial = 0;
    {
        std::lock_guard guard(outgoingLock);
        if (closing || epoch != outgoingEpoch)
            return;
        // Without its text, but the one who asks must not wait for ever.
        OutgoingResponse& response = appendResponse(answered.id, sendable ? text : "");
        response.event = threadEvent();
        response.sending.data = data;
        response.sending.dataSize = dataSize;
        serial = response.serial;
    }
    requestPump();

    bool sent = false;
    do
        threadEvent().wait();
    while (!finishResponding(serial, sent));
}

/// Under outgoingLock.
OutgoingResponse& NetCommunicationPipe::appendResponse(uint32 requestId, const char* text)
{
    OutgoingResponse& response = outgoing.responses.appendEmpty();
    response.serial = outgoing.nextResponseSerial++;
    response.requestId = requestId;
    response.text = text;
    return response;
}

/// True when the caller may return; its record is then gone.
bool NetCommunicationPipe::finishResponding(zu::u64 serial, bool& sent)
{
    std::lock_guard guard(outgoingLock);
    OutgoingResponse* response = outgoing.findResponse(serial);
    if (response->sending.inFlight || !(response->sending.sent || closing))
        return false;
    sent = response->sending.sent && !response->givenUp;
    removeWaited(outgoing.responses, *response);
    return true;
}

// Answering from a source. The record's data is a ring, which this thread fills and the manager's
// empties. A block is used again once the pump has settled that all of it was handed to the socket,
// which keeps a copy of what the system did not take.

bool NetCommunicationPipe::respondFrom(const char* text, uint32 dataSize,
                                       const ResponseSource& source)
{
    assert((source.read != nullptr || dataSize == 0) && "a source without its function");
    const bool sendable = isTextSendable("a response", text);
    const uint32 ringBytes = std::min(dataSize, kAnswerBlockBytes * kAnswerBlocks);
    const auto ring = std::make_unique_for_overwrite<uint8[]>(ringBytes);
    IncomingRequest answered;
    uint32 epoch = 0;
    if (!takeCurrentRequest(answered, epoch))
        return false;

    zu::u64 serial = 0;
    {
        std::lock_guard guard(outgoingLock);
        if (closing || !isConnected() || epoch != outgoingEpoch)
            return false;
        OutgoingResponse& response = appendResponse(answered.id, sendable ? text : "");
        response.event = threadEvent();
        response.isForOneConnection = true;
        response.sending.data = ring.get();
        response.sending.dataSize = dataSize;
        response.sending.ringBytes = ringBytes;
        serial = response.serial;
    }
    if (dataSize == 0)
        requestPump();
    else
        fillRing(ring.get(), source, serial);

    bool sent = false;
    while (!finishResponding(serial, sent))
        threadEvent().wait();
    return sent;
}

void NetCommunicationPipe::fillRing(uint8* ring, const ResponseSource& source, zu::u64 serial)
{
    // The manager's thread would go on with a record whose memory an exception has freed.
    const auto readBlock = [&](const RingRoom& room) noexcept {
        return source.read(source.context, room.offset, ring + room.place, room.bytes);
    };
    for (RingRoom room; awaitRoom(serial, room);) {
        if (!readBlock(room)) {
            breakAnswer(serial);
            return;
        }
        {
            std::lock_guard guard(outgoingLock);
            outgoing.findResponse(serial)->sending.readyBytes += room.bytes;
        }
        requestPump();
    }
}

/// False when nothing more is to be filled in.
bool NetCommunicationPipe::awaitRoom(zu::u64 serial, RingRoom& room)
{
    for (;; threadEvent().wait()) {
        std::lock_guard guard(outgoingLock);
        const Sending& sending = outgoing.findResponse(serial)->sending;
        if (closing || sending.sent || sending.readyBytes == sending.dataSize)
            return false;
        if (sending.hasRoom()) {
            room = {sending.readyBytes, sending.readyBytes % sending.ringBytes,
                    sending.blockBytes()};
            return true;
        }
    }
}

/// The source has failed: its announced answer can only end with the connection.
void NetCommunicationPipe::breakAnswer(zu::u64 serial)
{
    {
        std::lock_guard guard(outgoingLock);
        OutgoingResponse& response = *outgoing.findResponse(serial);
        if (closing || response.sending.sent)
            return; // over already, and another connection is not to blame
        response.giveUp();
        answerBroken = true;
    }
    warn("pipe \"%s\": the data of an answer could not be had; the connection is dropped, so that "
         "the other end asks again",
         name.c_str());
    requestPump();
}

bool isRequestWhole(CommunicationPipe& pipe)
{
    auto* netPipe = dynamic_cast<NetCommunicationPipe*>(&pipe);
    return netPipe == nullptr || netPipe->isRequestWhole();
}

bool respondFrom(CommunicationPipe& pipe, const char* text, uint32 dataSize,
                 const ResponseSource& source)
{
    auto* netPipe = dynamic_cast<NetCommunicationPipe*>(&pipe);
    return netPipe != nullptr && netPipe->respondFrom(text, dataSize, source);
}

} // namespace dm
