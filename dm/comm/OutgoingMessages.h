/// What waits to be sent on one pipe. No locks, no I/O: the pipe guards it.
#pragma once

#include "dm/comm/PipeLimits.h"
#include "dm/comm/RecordQueue.h"

#include <zul/Event.h>
#include <zul/InplaceString.h>

#include <atomic>

namespace dm {

/// Lets another thread end a wait for an answer, or for an answer to be taken, that nobody wants
/// any more. One wait at a time; the same thread may use it for several, until it is abandoned.
class Abandonment
{
public:
    void abandon()
    {
        abandoned.store(true);
        event.set();
    }
    bool isAbandoned() const { return abandoned.load(); }
    const zu::Event& waitEvent() const { return event; }

private:
    std::atomic<bool> abandoned{false};
    const zu::Event event = zu::Event::create();
};

/// The part of a record that sending works on. A message with much data is sent over several
/// passes; sentBytes is where the next one goes on. Messages of one kind are sent strictly one
/// after the other, because the receiver tells chunks apart by message id only in that order.
struct Sending
{
    const void* data = nullptr; // the waiting caller's, lent until its call returns
    uint32 dataSize = 0;
    uint32 sentBytes = 0;
    bool sent = false;
    // The manager's thread is reading the data without the lock: the record must stay, and its
    // caller must not return, until it has finished.
    bool inFlight = false;
    const Abandonment* abandonment = nullptr; // the waiting caller's; null: waits to the end

    bool isAbandoned() const { return abandonment != nullptr && abandonment->isAbandoned(); }

    void restart()
    {
        sent = false;
        sentBytes = 0;
    }
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

    zu::Event event; // wakes the caller: answered, no longer in flight, or closing

    zu::InplaceString<128> text;
    zu::InplaceString<128> responseText;
};

struct OutgoingResponse
{
    zu::u64 serial = 0; // two responses may answer the same id, so they are told apart by this
    uint32 requestId = 0;
    Sending sending;
    zu::Event event;
    zu::InplaceString<128> text;
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

    /// A new connection: requests without an answer go out again, whole; a response broken off
    /// starts anew; notifications are never kept for a later connection.
    void restart();
};

} // namespace dm
