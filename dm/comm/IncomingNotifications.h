/// The notifications that have come in on one pipe. No locks, no I/O: the pipe guards it.
#pragma once

#include "dm/comm/IncomingBudget.h"
#include "dm/comm/PipeMessages.h"
#include "dm/comm/RecordQueue.h"

#include <zul/InplaceString.h>

#include <optional>

namespace dm {

class IncomingNotifications
{
public:
    enum class Outcome
    {
        Stored,
        Completed,
        Refused, ///< nobody takes them: over the limit, dropped
    };

    /// Takes in one Notify packet, whose chunk bytes follow in `packet`. Chunks are appended as
    /// they come; each ends at its first zero byte, as the text it is.
    Outcome accept(const NotifyMessage& message, net::Packet& packet,
                   const std::shared_ptr<IncomingBudget>& budget);

    /// Takes the oldest if it has arrived whole.
    bool takeOldest(zu::InplaceString<128>& text, uint32* outValue);

    /// A new connection begins. What is complete stays; what is not never will be, and must not
    /// hold back what follows. The new connection counts its ids anew, so none of them may be
    /// taken for a piece of an old one.
    void beginConnection();

private:
    struct Notification
    {
        uint32 id = 0;
        uint32 value = 0;
        zu::InplaceString<128> text;
        uint32 expectedLength = 0;
        uint32 receivedLength = 0;

        bool isReadable() const { return receivedLength >= expectedLength; }
        zu::u64 cost() const { return zu::u64{receivedLength} + kRecordBytes; }
    };

    Notification* findIncomplete(uint32 id);
    void discard(uint32 id);
    void giveBack();
    bool reserve(zu::u64 cost, const std::shared_ptr<IncomingBudget>& budget);
    template <typename Predicate>
    void eraseIncomplete(Predicate matches);

    RecordQueue<Notification> queue;
    zu::u64 carriedBytes = 0;          // of queuedBytes: came over earlier connections
    zu::u64 queuedBytes = 0;           // sum of the queue's cost()
    BudgetReservation reservation;     // at least queuedBytes, of the present connection's
    std::optional<uint32> discardedId; // refused, and more of it may come
};

} // namespace dm
