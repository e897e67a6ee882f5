/// A pipe manager over TCP: its pipes, its address, and the thread that runs a ServerLoop or a
/// ClientLoop.
///
/// Life of the thread: started by the last statement of the constructor; woken by requestShutdown,
/// which sets the flag and the wait set; joined by the destructor's first. Between the two nothing
/// it does can block, except a callback of the program's and the last flush, which is bounded.
#pragma once

#include "dm/comm/CallbackSlot.h"
#include "dm/comm/ManagerAddress.h"
#include "dm/comm/ManagerLoop.h"
#include "dm/comm/PipeQuota.h"
#include "dm/comm/PipeTable.h"
#include "dm/comm/PublishedText.h"
#include "dm/common/Gate.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <thread>

namespace dm {

class NetCommunicationPipeManager final : public CommunicationPipeManager
{
public:
    struct Options
    {
        const char* name = "";
        bool isServer = false;
        int port = 0;
        const char* host = "";
        uint32 id = 0;
        bool createPipesOnRequest = true;
        // Of several managers together, beside each one's own limits; null: none.
        std::shared_ptr<PipeNameQuota> pipeNames;
        // Of all pipes together, beside each one's own limit.
        zu::u64 maxQueuedNotifyBytes = NotifyBudget::kNoLimit;
        // In force before the thread starts, so no client is ever accepted without them.
        ClientConnectionCallback clientConnectionCallback;
        PipeCreateCallback pipeCreateCallback;
        // Called on the manager's thread after a connection was lost and its pipes were detached.
        ClientConnectionCallback connectionLostCallback;
        // What the callbacks' contexts point to lives as long as the manager.
        std::shared_ptr<void> contextOwner;
    };

    explicit NetCommunicationPipeManager(const Options& options);
    ~NetCommunicationPipeManager() override;

    int run() override;
    bool isClient() override { return !server; }
    bool isServer() override { return server; }
    const char* getName() override { return name.get(); }
    void setName(const char* newName) override { name.set(newName); }
    const char* getRemoteName() override { return remoteName.get(); }
    uint32 getID() override { return id.load(std::memory_order_relaxed); }
    CommunicationPipe* getPipe(const char* pipeName) override
    {
        return &getPipe(pipeName, nullptr);
    }
    /// The same; sets the connection callback, if not null, before a pipe that is made can connect.
    NetCommunicationPipe& getPipe(const char* pipeName, const PipeCallback* connected);
    const char* getHost(uint32* outPort) override;
    void setHost(const char* host, uint32 port) override;
    void setRedirect(const char* host, uint32 port) override;
    void setClientConnectionCallback(ClientConnectionCallback callback) override;
    void setPipeCreateCallback(PipeCreateCallback callback) override;
    bool pipeExists(const char* pipeName) override { return pipes.exists(pipeName); }

    /// Asks the thread to end and makes everybody blocked on a pipe return. Does not wait.
    void requestShutdown();

    bool isStopping() const { return stopRequested.load(); }
    /// Whether the calling thread is that of any manager.
    static bool isAnyManagersThread();
    bool isOwnThread() const { return threadId.load() == std::this_thread::get_id(); }
    ConnectionStatus status();

    /// For who keeps a pointer to the manager: it is not destroyed while somebody holds a pass,
    /// and gives none once it shuts down.
    const std::shared_ptr<Gate>& gate() const { return ownGate; }

    bool hasAttachedPipes() { return pipes.hasAttached(); }
    NotifyBudget& notifyBudget() { return queuedNotifies; }

    /// Where the newest connection leads, in numbers.
    zu::InplaceString<128> peerAddress();
    /// Its end here.
    zu::InplaceString<128> ownAddress();

    /// Waits until nothing is left to send; ends as timed out when shutting down.
    FlushResult flush(uint32 timeoutMs);

    // For pipes and loops.

    void requestPump(NetCommunicationPipe& pipe) { loop->requestPump(pipe); }
    PipeTable& pipeTable() { return pipes; }
    ManagerAddress& address() { return addresses; }
    bool createsPipesOnRequest() const { return createPipesOnRequest; }
    void setId(uint32 newId) { id.store(newId, std::memory_order_relaxed); }
    void setRemoteName(const char* newName) { remoteName.set(newName); }
    /// True when a callback is set.
    bool callClientConnectionCallback();

    void connectionAttempted();
    /// The connection is there, though nothing has been heard yet.
    void connectionIsUp();
    /// A client was welcomed, or a server has accepted one.
    void connectionMade(uint32 protocolVersion, const net::Socket& socket);
    void connectionFailed(const char* reason);
    /// An empty reason leaves the last one: it was not a failure.
    void connectionLost(const char* reason);
    /// A connection that was made is gone, its pipes are detached.
    void connectionEnded();
    /// Something unsent went with a connection.
    void sendsLost() { lossCount.fetch_add(1); }

private:
    void settleFlushes();

    // Never change after construction.
    const bool server;
    const bool createPipesOnRequest;
    const std::shared_ptr<void> contextOwner;
    const ClientConnectionCallback connectionLostCallback;
    const std::shared_ptr<Gate> ownGate = std::make_shared<Gate>();

    PublishedText name;
    PublishedText remoteName;
    KeptTexts hosts; // that getHost handed out
    ManagerAddress addresses;
    std::atomic<uint32> id;
    std::atomic<bool> stopRequested{false};
    std::atomic<std::thread::id> threadId;

    CallbackSlot<CommunicationPipeManager*> clientConnectionCallback;

    // flush() draws a ticket; the thread settles all tickets drawn before a pass that found nothing
    // to send.
    LeafMutex flushLock;
    std::condition_variable_any flushSettled;
    zu::u64 flushTickets = 0;        // under flushLock
    zu::u64 flushTicketsSettled = 0; // under flushLock
    uint32 lossesReported = 0;       // under flushLock; of lossCount
    std::atomic<uint32> lossCount{0};
    std::atomic<bool> flushWanted{false};

    LeafMutex statusLock;
    ConnectionStatus connectionStatus; // under statusLock
    // Under statusLock; the two ends of the newest connection.
    zu::InplaceString<128> newestPeer;
    zu::InplaceString<128> newestOwn;

    NotifyBudget queuedNotifies;

    // The loop's connections use the pipes, and the pipes' callers the loop until they are closed:
    // the destructor takes care of the order.
    PipeTable pipes;
    std::unique_ptr<ManagerLoop> loop;
};

} // namespace dm
