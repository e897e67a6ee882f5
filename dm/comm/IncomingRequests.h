/// The requests that have come in on one pipe, and the one being answered. No locks, no I/O: the
/// pipe guards it.
#pragma once

#include "dm/comm/IncomingBudget.h"
#include "dm/comm/PipeMessages.h"
#include "dm/comm/RecordQueue.h"

#include <zul/InplaceString.h>
#include <zul/Memory.h>

#include <optional>

namespace dm {

struct IncomingRequest
{
    uint32 id = 0;
    uint32 value = 0;
    uint32 dataSize = 0;
    uint32 arrivedBytes = 0; // of the data, from its beginning to the first gap
    bool complete = false;
    zu::ZeroedBuffer data;         // committed only as chunks arrive, zero where none did
    BudgetReservation reservation; // of text and data
    zu::InplaceString<128> text;
};

class IncomingRequests
{
public:
    /// "None yet". Wraps by itself: after request 0xFFFFFFFF any id is new again.
    static constexpr uint32 kNoId = 0xFFFFFFFF;

    /// Takes the place of the request being answered when a new connection begins, so that an
    /// answer to a request of an earlier one is swallowed. It is compared as text, without case.
    static constexpr const char* kAbortToken = "666ABORTALL666";

    enum class Outcome
    {
        Stored,    ///< more chunks to come
        Completed, ///< the request has arrived whole
        Duplicate, ///< answered, or being answered, before a reconnect
        Dropped,   ///< does not fit what came before
        Refused,   ///< over a limit; worth a word to the developer
    };

    /// Takes in one Request packet, whose chunk bytes follow in `packet`.
    Outcome accept(const RequestMessage& message, net::Packet& packet,
                   const std::shared_ptr<IncomingBudget>& budget);

    /// Makes the oldest request the current one, whole or not; false when there is none.
    bool takeOldest();

    /// The request taken last. Its text is the abort token after reset().
    IncomingRequest& current() { return currentRequest; }

    /// Whether all data of the request taken last is there. A peer may leave gaps, or begin another
    /// request in the middle of one.
    bool isCurrentWhole() const { return currentRequest.arrivedBytes == currentRequest.dataSize; }

    /// Forgets the abort token: the current request is then one without text and data.
    void discardAbortToken();
    bool isAborted() const;

    /// The current request is being answered: hands it over and clears it.
    IncomingRequest takeCurrent();

    /// A new connection begins: nothing of the last one can be answered or completed any more.
    void reset();

private:
    Outcome acceptTakenEarly(const RequestMessage& message, net::Packet& packet);
    IncomingRequest* findOrCreate(const RequestMessage& message,
                                  const std::shared_ptr<IncomingBudget>& budget, Outcome& failure);

    RecordQueue<IncomingRequest> queue;
    IncomingRequest currentRequest;
    uint32 lastCompletedId = kNoId;
    // A request taken before its data was complete; the rest still goes to it, or nowhere once it
    // is answered, but never makes a second request of it.
    std::optional<uint32> takenEarlyId;
    bool takenEarlyIsCurrent = false;
};

} // namespace dm
