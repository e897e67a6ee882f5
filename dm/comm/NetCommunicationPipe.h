/// A pipe over a socket that its manager attaches and detaches.
///
/// Application threads queue outgoing messages and take incoming ones; the manager's thread moves
/// them. The pipe itself is locks, waiting and callbacks; what it guards are cores without either
/// (IncomingRequests.h, IncomingNotifications.h, OutgoingMessages.h), and PipePump.h sends.
///
/// Locks: incomingLock guards what has come in and the request being answered; outgoingLock guards
/// what goes out. Both are leaves and never held together. No callback, send or wait happens under
/// either. A record's data is read by the pump without the lock, see Sending::inFlight; of a ring
/// the parts that are ready and not sent, while its caller fills in the others.
///
/// End of life: close() makes every blocked caller return and every later call return at once;
/// awaitCallersGone() then waits for the blocked ones to have left; then the pipe may go.
#pragma once

#include "dm/comm/CallbackSlot.h"
#include "dm/comm/Connection.h"
#include "dm/comm/IncomingNotifications.h"
#include "dm/comm/IncomingRequests.h"
#include "dm/comm/OutgoingMessages.h"
#include "dm/comm/PipePump.h"
#include "dm/comm/PumpQueue.h"
#include "dm/comm/Relay.h"
#include "dm/common/Diagnostics.h"
#include "dm/common/LockOrder.h"

#include <zul/Event.h>
#include <zul/Socket.h>

#include <atomic>
#include <memory>
#include <vector>

namespace dm {

class NetCommunicationPipeManager;

class NetCommunicationPipe final : public CommunicationPipe
{
public:
    NetCommunicationPipe(NetCommunicationPipeManager& manager, const char* name);
    ~NetCommunicationPipe() override;

    const char* getName() override { return name.c_str(); }
    bool isConnected() override { return attached.load(std::memory_order_acquire); }
    CommunicationPipeManager* getManager() override;
    zu::InplaceString<128> getConnectedIP() override;
    bool sendNotify(const char* text, uint32 value) override;
    zu::InplaceString<128> receiveNotify(uint32* outValue) override;
    zu::InplaceString<128> sendRequest(const char* text, uint32 value, void* responseBuffer,
                                       uint32 responseCapacity, uint32* outResponseSize,
                                       const void* data, uint32 dataSize) override;
    zu::InplaceString<128> receiveRequest(uint32* outValue) override;
    void getRequestData(void** outData, uint32* outSize) override;
    void respond(const char* text, const void* data, uint32 dataSize) override;
    void setConnectionCallback(PipeCallback callback) override;
    void setNotifyCallback(PipeCallback callback) override;
    void setRequestCallback(PipeCallback callback) override;

    // For the library's own callers.

    struct Question
    {
        const char* text = "";
        uint32 value = 0;
        void* responseBuffer = nullptr;
        uint32 responseCapacity = 0;
        bool capacityEnforced = true; ///< whatever the process has set
        const void* data = nullptr;
        uint32 dataSize = 0;
    };
    struct Answer
    {
        bool arrived = false; ///< false: the pipe closed first, and the rest says nothing
        zu::InplaceString<128> text;
        uint32 size = 0;        ///< of the data, as announced
        uint32 storedBytes = 0; ///< of the data, in the buffer
        uint32 connection = 0;  ///< the connectionNumber of the one it came over
    };
    /// sendRequest that tells more.
    Answer ask(const Question& question);

    /// sendRequest without data that does not wait, see Relay.h. Of the answer's data at most
    /// `capacity` bytes are kept.
    void askAside(const char* text, uint32 capacity, std::shared_ptr<Relay> relay);
    /// Its answer is not wanted any more: onAnswer comes now, with "", unless it has come.
    void cancelAsking(const Relay& relay);
    /// respond that does not wait, to the request taken last; given up at once while not connected.
    void answerAside(const char* text, std::vector<uint8> data, std::shared_ptr<Relay> relay);

    /// receiveRequest and receiveNotify that tell "none" from an empty text.
    bool takeRequest(zu::InplaceString<128>& text, uint32* outValue);
    bool takeNotify(zu::InplaceString<128>& text, uint32* outValue);

    /// For relaying many notifications at once: replaces the notify callback by one that is called
    /// once for all that one reading of the connection has brought.
    void setNotifyRunCallback(PipeCallback callback);
    /// Appends all there are.
    void takeNotifies(std::vector<zu::InplaceString<128>>& texts);
    /// sendNotify for each text in turn; what it would refuse is left out.
    void sendNotifies(const std::vector<zu::InplaceString<128>>& texts, uint32 value);

    /// See dm::isRequestWhole.
    bool isRequestWhole();

    /// See dm::respondFrom.
    bool respondFrom(const char* text, uint32 dataSize, const ResponseSource& source);

    /// Counts the pipe's connections, from 1. For callbacks: the manager's thread only.
    uint32 connectionNumber() const { return outgoingEpoch; }

    TransferProgress getTransferProgress();

    // For the manager. Its thread only, except close and awaitCallersGone.

    /// A connection begins for this pipe: resets it and makes it connected.
    void attach(Connection& newConnection);
    /// The second half of attaching, to be called without any lock.
    void announceConnection();
    /// The connection is gone. Nothing is reset until the next attach. True when notifications
    /// were left, which are not kept for another connection.
    bool detach();
    /// Null while not attached.
    Connection* attachedConnection() const { return connection; }

    void onRequestPacket(const RequestMessage& message, net::Packet& packet);
    void onResponsePacket(const ResponseMessage& message, net::Packet& packet);
    /// True when the pipe is to be told at the end of this reading, by endNotifyRun.
    bool onNotifyPacket(const NotifyMessage& message, net::Packet& packet);
    void endNotifyRun();

    /// Sends what is queued, as much as this pass allows.
    PipePump::Result pumpOutgoing(net::Socket& target) { return pump.send(target); }
    /// After the pass has flushed its connections: wakes those whose messages are out.
    void finishPump() { pump.finish(); }

    PumpLink& pumpLink() { return link; }
    uint32 managerId() const;

    void close();
    void awaitCallersGone();

private:
    friend class PipePump;

    /// Where the next block of an answer's data goes, and which it is.
    struct RingRoom
    {
        uint32 offset = 0; // in the data
        uint32 place = 0;  // in the ring
        uint32 bytes = 0;
    };

    void reset();
    void leaveBlockedPipes();
    bool raiseRefusalNotice();
    bool queueNotification(OutgoingNotification&& notification, bool& sayFull);
    void giveBackNotifyCost(zu::u64 cost);
    void dropNotifications();
    void warnNotifyQueueFull();
    bool isTextSendable(const char* operation, const char* text);
    bool finishAsking(uint32 id, Answer& answer);
    bool takeCurrentRequest(IncomingRequest& answered, uint32& epoch);
    OutgoingResponse& appendResponse(uint32 requestId, const char* text);
    bool finishResponding(zu::u64 serial, bool& sent);
    void fillRing(uint8* ring, const ResponseSource& source, zu::u64 serial);
    bool awaitRoom(zu::u64 serial, RingRoom& room);
    void breakAnswer(zu::u64 serial);
    void noteCallersGone();
    void tell(RelayNews& news);
    template <typename Record>
    void removeWaited(RecordQueue<Record>& queue, Record& record);
    void requestPump();

    // Never change after construction.
    NetCommunicationPipeManager& manager;
    const zu::InplaceString<128> name;

    // Under incomingLock. The two groups are on cache lines of their own, since the threads of a
    // busy pipe work on both at once.
    alignas(64) LeafMutex incomingLock;
    IncomingRequests incomingRequests;
    IncomingNotifications incomingNotifications;
    std::shared_ptr<IncomingBudget> incomingBudget; // the present connection's
    uint32 incomingEpoch =
        0; // counts attachments; an answer to an earlier one's request is dropped

    // Under outgoingLock.
    alignas(64) LeafMutex outgoingLock;
    OutgoingMessages outgoing;
    zu::InplaceString<128> peerAddress;
    uint32 outgoingEpoch = 0; // as incomingEpoch
    bool closing = false;
    bool answerBroken = false; // the connection has to be closed
    OnceFlag saidNotifyQueueFull;

    // Written by the manager's thread under outgoingLock; used by that thread only.
    Connection* connection = nullptr;
    // The same for everybody else to look at.
    std::atomic<bool> attached{false};

    // Set once the pipe is closing and its last blocked caller has left.
    zu::Event callersGone;

    CallbackSlot<CommunicationPipe*> connectionCallback;
    CallbackSlot<CommunicationPipe*> notifyCallback;
    CallbackSlot<CommunicationPipe*> requestCallback;
    std::atomic<bool> notifiesByRun{false}; // whom notifyCallback is for
    bool runNoted = false;                  // manager thread only: endNotifyRun is due

    PumpLink link;
    PipePump pump; // manager thread only
};

/// Under outgoingLock. The caller of this record returns.
template <typename Record>
void NetCommunicationPipe::removeWaited(RecordQueue<Record>& queue, Record& record)
{
    // Its place in the first few goes to the next. Asked for before this caller counts as gone:
    // after that the pipe may go too.
    if (queue.size() > kMessagesPerPass)
        requestPump();
    queue.erase(static_cast<size_t>(&record - &queue.front()));
    noteCallersGone();
}

} // namespace dm
