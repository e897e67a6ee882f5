/// What waits to be sent on one pipe. No locks, no I/O: the pipe guards it.
#pragma once

#include "dm/comm/PipeLimits.h"
#include "dm/comm/RecordQueue.h"
#include "dm/comm/Relay.h"

#include <zul/Event.h>
#include <zul/InplaceString.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace dm {

/// The part of a record that sending works on. A message with much data is sent over several
/// passes; sentBytes is where the next one goes on. Messages of one kind are sent strictly one
/// after the other, because the receiver tells chunks apart by message id only in that order.
struct Sending
{
    const void* data = nullptr; // the waiting caller's, lent until its call returns
    uint32 dataSize = 0;
    uint32 sentBytes = 0;
    // Of data that is made while it is sent: `data` is a ring, in which byte n lies at n modulo
    // ringBytes, and that many bytes have been put in so far. 0 and 0 when all of it is there.
    uint32 ringBytes = 0;
    uint32 readyBytes = 0;
    bool sent = false;
    // The manager's thread is reading the data without the lock: the record must stay, and its
    // caller must not return, until it has finished.
    bool inFlight = false;

    void restart()
    {
        sent = false;
        sentBytes = 0;
    }

    /// What follows sentBytes, in one piece.
    const void* next() const;
    uint32 nextBytes() const;
    /// Whether more must be made before it is worth going on.
    bool isStarved() const;

    /// Of a ring: the size of the next block to be put in, and whether it has room.
    uint32 blockBytes() const { return std::min(kAnswerBlockBytes, dataSize - readyBytes); }
    bool hasRoom() const
    {
        return readyBytes < dataSize && readyBytes - sentBytes + blockBytes() <= ringBytes;
    }

    /// What the manager's thread has done with a copy of it. More may have been made meanwhile, and
    /// the caller may have given it up.
    void settle(const Sending& done);
};

// In the records below what both threads of a message touch comes first and the texts last, so
// that it shares few cache lines.

struct OutgoingRequest
{
    uint32 id = 0;
    uint32 value = 0;
    Sending sending;

    void* responseBuffer = nullptr; // the waiting caller's; may be null
    uint32 responseCapacity = 0;
    uint32 responseSize = 0;
    uint32 responseReceivedBytes = 0;
    bool capacityEnforced = false;
    bool responseReceived = false;
    uint32 receivedOver = 0; // which attach of the pipe the response came after

    zu::Event event; // wakes the caller: answered, no longer in flight, or closing

    zu::InplaceString<128> text;
    zu::InplaceString<128> responseText;

    // Of a request that no thread waits for; the buffer is then made when the answer's size is
    // known.
    std::shared_ptr<Relay> relay;
    std::vector<uint8> relayedData;
    bool cancelled = false;

    void wake() const
    {
        if (relay == nullptr)
            event.set();
    }
};

struct OutgoingResponse
{
    zu::u64 serial = 0; // two responses may answer the same id, so they are told apart by this
    uint32 requestId = 0;
    Sending sending;
    zu::Event event;
    zu::InplaceString<128> text;

    // One that cannot be sent again is good for the connection its request came over only. Given up
    // it counts as sent, for the pump.
    bool isForOneConnection = false;
    bool givenUp = false;

    void giveUp()
    {
        givenUp = !sending.sent;
        sending.sent = true;
    }

    // Of a response that no thread waits for.
    std::shared_ptr<Relay> relay;
    std::vector<uint8> relayedData;

    void wake() const
    {
        if (relay == nullptr)
            event.set();
    }
};

/// Relays to be told, once no lock of the pipe is held.
struct RelayNews
{
    struct Answer
    {
        std::shared_ptr<Relay> relay;
        zu::InplaceString<128> text;
        std::vector<uint8> data;
        uint32 dataSize = 0;
    };
    std::vector<Answer> answers;
    std::vector<std::shared_ptr<Relay>> settled;
    bool madeRoom = false; // among the first few of a queue, for a record behind them

    void tell();
};

struct OutgoingNotification
{
    uint32 id = 0;
    uint32 value = 0;
    zu::InplaceString<128> text;

    uint32 cost() const { return static_cast<uint32>(text.length()) + kRecordBytes; }
};

struct OutgoingMessages
{
    RecordQueue<OutgoingRequest> requests;
    RecordQueue<OutgoingResponse> responses;
    RecordQueue<OutgoingNotification> notifications;
    zu::u64 notifyCost = 0; // sum of the notifications' cost()
    uint32 nextRequestId = 0;
    uint32 nextNotifyId = 0;
    zu::u64 nextResponseSerial = 0;

    OutgoingRequest* findRequest(uint32 id)
    {
        return requests.find([id](const OutgoingRequest& request) { return request.id == id; });
    }

    OutgoingResponse* findResponse(zu::u64 serial)
    {
        return responses.find(
            [serial](const OutgoingResponse& response) { return response.serial == serial; });
    }

    bool hasWaiters() const { return !requests.empty() || !responses.empty(); }

    // Each removes a relay's record that is not in flight.
    void finishRelay(OutgoingRequest& request, RelayNews& news);
    void finishRelay(OutgoingResponse& response, RelayNews& news);
    /// All of them: the pipe closes, or (responses only) the connection they were for is gone.
    void finishRelayedRequests(RelayNews& news);
    void finishRelayedResponses(RelayNews& news);

    /// The connection is gone: its responses that cannot start anew are over, their callers return.
    void giveUpForOneConnection();

    /// A new connection: requests without an answer go out again, whole; a response broken off
    /// starts anew. The notifications, which are never kept for a later one, go before.
    void restart();
};

} // namespace dm
