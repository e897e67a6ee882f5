/// The sending half of a pipe, on the manager's thread.
///
/// A pass takes what is due under the lock (send), sends it without, and after the connections
/// have been flushed settles what was sent under the lock again (finish). It stops in the middle
/// of a large message when the connection is full or the pass has sent its share, and a later pass
/// goes on there, so a message of any size costs no memory beyond its caller's.
#pragma once

#include "dm/comm/OutgoingMessages.h"
#include "dm/comm/PipeMessages.h"

#include <zul/Socket.h>

#include <array>

namespace dm {

class NetCommunicationPipe;

class PipePump
{
public:
    enum class Result // in the order of urgency: of two, the later one counts
    {
        Done,    ///< nothing left that could be sent now
        Starved, ///< the same, before the end of a message: its caller has to make more of it
        More,    ///< this pass's share is used up: come back in the next
        Blocked, ///< the connection is full: come back when it has drained
        Broken,  ///< an announced answer cannot be completed: the connection must be closed
    };

    explicit PipePump(NetCommunicationPipe& owner)
        : pipe(owner)
    {
    }

    Result send(net::Socket& target);
    void finish();

    bool hasNotificationsLeft() const { return notificationNext < notificationCount; }

    /// A new connection: what the last one had not taken of the notifications is dropped.
    void restart();

private:
    /// One request or response under way, copied out of its record.
    struct Job
    {
        zu::u64 key = 0; // the request's id, or the response's serial
        uint32 messageId = 0;
        uint32 value = 0;
        zu::InplaceString<128> text;
        Sending sending;
    };

    struct Jobs
    {
        std::array<Job, kMessagesPerPass> entries;
        uint32 count = 0;
    };

    Result takeDue();
    template <typename Queue, typename Describe>
    void take(Queue& queue, Jobs& jobs, Describe describe);
    void takeNotifications();

    template <typename EncodeChunk>
    Result sendJobs(Jobs& jobs, EncodeChunk encodeChunk);
    template <typename EncodeChunk>
    Result sendChunks(Sending& sending, EncodeChunk encodeChunk);
    void settleResponse(const Job& job, RelayNews& news);
    void settleRequest(const Job& job, RelayNews& news);

    Result sendRequests();
    Result sendResponses();
    Result sendNotifications();

    NetCommunicationPipe& pipe;

    // What the pass under way works on.
    net::Socket* socket = nullptr;
    uint32 shareLeft = 0;
    Jobs requests;
    Jobs responses;

    // Notifications leave their queue when a pass takes them; here is what it has not sent yet.
    std::array<OutgoingNotification, kMessagesPerPass> notifications;
    uint32 notificationCount = 0;
    uint32 notificationNext = 0;
    Sending notificationSending; // of the next one
    bool moreQueued = false;     // the queues hold more than this pass may look at
};

} // namespace dm
