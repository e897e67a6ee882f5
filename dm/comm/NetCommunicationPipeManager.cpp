#include "dm/comm/NetCommunicationPipeManager.h"

#include "dm/comm/ClientLoop.h"
#include "dm/comm/ServerLoop.h"
#include "dm/common/Diagnostics.h"

#include <chrono>
#include <utility>

namespace dm {

namespace {

thread_local bool t_isManagersThread = false;

} // namespace

CommunicationPipeManager::~CommunicationPipeManager() = default;

bool CommunicationPipeManager::pipeExists(const char*) { return false; }

NetCommunicationPipeManager::NetCommunicationPipeManager(const Options& options)
    : server(options.isServer)
    , createPipesOnRequest(options.createPipesOnRequest)
    , contextOwner(options.contextOwner)
    , connectionLostCallback(options.connectionLostCallback)
    , name(options.name)
    , remoteName("", kMaxRemoteNames)
    , addresses(options.host, static_cast<uint32>(options.port))
    , id(options.id)
    , queuedNotifies(options.maxQueuedNotifyBytes)
    , pipes(*this, options.pipeNames)
{
    clientConnectionCallback.set(options.clientConnectionCallback);
    pipes.setCreateCallback(options.pipeCreateCallback);
    if (server) {
        auto serverLoop = std::make_unique<ServerLoop>(*this, options.port);
        const bool listening = serverLoop->isListening();
        connectionStatus.state =
            listening ? ConnectionStatus::Connected : ConnectionStatus::Disconnected;
        if (listening)
            addresses.setConfigured(options.host, serverLoop->port());
        else
            connectionStatus.lastFailure = serverLoop->listenFailure();
        loop = std::move(serverLoop);
    } else {
        connectionStatus.state = ConnectionStatus::Disconnected;
        loop = std::make_unique<ClientLoop>(*this);
    }
    startThread();
}

NetCommunicationPipeManager::~NetCommunicationPipeManager()
{
    requestShutdown();
    joinThread();
    for (NetCommunicationPipe* pipe : pipes.all())
        pipe->awaitCallersGone();
}

void NetCommunicationPipeManager::requestShutdown()
{
    stopRequested.store(true);
    ownGate->close();
    for (NetCommunicationPipe* pipe : pipes.all())
        pipe->close();
    loop->wake();
    std::lock_guard guard(flushLock);
    flushSettled.notify_all();
}

int NetCommunicationPipeManager::run()
{
    constexpr int kThreadId = 9;
    zu::registerThread(kThreadId);
    zu::setThreadName(zu::currentThreadId(), "ZMK - Communication Pipe");
    threadId.store(std::this_thread::get_id());
    t_isManagersThread = true;
    while (!stopRequested.load()) {
        loop->pass();
        if (flushWanted.load())
            settleFlushes();
    }
    // Here, so that managers that end together do it side by side.
    loop->shutDown();
    return 0;
}

bool NetCommunicationPipeManager::isAnyManagersThread() { return t_isManagersThread; }

FlushResult NetCommunicationPipeManager::flush(uint32 timeoutMs)
{
    std::unique_lock guard(flushLock);
    const zu::u64 ticket = ++flushTickets;
    flushWanted = true;
    loop->wake();
    flushSettled.wait_for(guard, std::chrono::milliseconds(timeoutMs),
                          [&] { return flushTicketsSettled >= ticket || stopRequested.load(); });
    if (flushTicketsSettled < ticket)
        return FlushResult::TimedOut;
    const uint32 losses = lossCount.load();
    return std::exchange(lossesReported, losses) == losses ? FlushResult::Flushed
                                                           : FlushResult::Lost;
}

void NetCommunicationPipeManager::settleFlushes()
{
    std::lock_guard guard(flushLock);
    if (loop->hasSendsToDo())
        return;
    flushTicketsSettled = flushTickets;
    flushWanted = false;
    flushSettled.notify_all();
}

NetCommunicationPipe& NetCommunicationPipeManager::getPipe(const char* pipeName,
                                                           const PipeCallback* connected)
{
    if (!isNameAllowed(pipeName))
        warn("a pipe name of more than %u bytes will be refused by every other end", kMaxNameBytes);
    bool made = false;
    NetCommunicationPipe& pipe = pipes.getPipe(pipeName, made, connected);
    if (made)
        loop->wake(); // a client asks the server for it at once
    return pipe;
}

const char* NetCommunicationPipeManager::getHost(uint32* outPort)
{
    const Address configured = addresses.read().configured;
    if (outPort != nullptr)
        *outPort = configured.port;
    return hosts.keep(configured.host.c_str());
}

void NetCommunicationPipeManager::setHost(const char* newHost, uint32 port)
{
    addresses.setConfigured(newHost, port);
    loop->wake();
}

void NetCommunicationPipeManager::setRedirect(const char* newHost, uint32 port)
{
    addresses.setRedirect(newHost, port);
}

void NetCommunicationPipeManager::setClientConnectionCallback(ClientConnectionCallback callback)
{
    clientConnectionCallback.set(callback);
}

void NetCommunicationPipeManager::setPipeCreateCallback(PipeCreateCallback callback)
{
    pipes.setCreateCallback(callback);
}

bool NetCommunicationPipeManager::callClientConnectionCallback()
{
    const bool isSet = clientConnectionCallback.isSet();
    clientConnectionCallback.call(this);
    return isSet;
}

ConnectionStatus NetCommunicationPipeManager::status()
{
    std::lock_guard guard(statusLock);
    return connectionStatus;
}

void NetCommunicationPipeManager::connectionAttempted()
{
    std::lock_guard guard(statusLock);
    connectionStatus.state = ConnectionStatus::Connecting;
}

void NetCommunicationPipeManager::connectionIsUp()
{
    std::lock_guard guard(statusLock);
    connectionStatus.state = ConnectionStatus::Connected;
}

void NetCommunicationPipeManager::connectionMade(uint32 protocolVersion, const net::Socket& socket)
{
    const zu::InplaceString<128> peer = socket.getConnectedIP();
    const zu::InplaceString<128> own = socket.getLocalIP();
    std::lock_guard guard(statusLock);
    newestPeer = peer;
    newestOwn = own;
    connectionStatus.protocolVersion = protocolVersion;
    ++connectionStatus.connections;
}

void NetCommunicationPipeManager::connectionFailed(const char* reason)
{
    std::lock_guard guard(statusLock);
    connectionStatus.state = ConnectionStatus::Disconnected;
    connectionStatus.lastFailure = reason;
    ++connectionStatus.attempts;
}

void NetCommunicationPipeManager::connectionLost(const char* reason)
{
    std::lock_guard guard(statusLock);
    connectionStatus.state = ConnectionStatus::Disconnected;
    if (*reason != '\0')
        connectionStatus.lastFailure = reason;
}

void NetCommunicationPipeManager::connectionEnded()
{
    if (connectionLostCallback.function != nullptr)
        connectionLostCallback.function(connectionLostCallback.context, this);
}

zu::InplaceString<128> NetCommunicationPipeManager::peerAddress()
{
    std::lock_guard guard(statusLock);
    return newestPeer;
}

zu::InplaceString<128> NetCommunicationPipeManager::ownAddress()
{
    std::lock_guard guard(statusLock);
    return newestOwn;
}

zu::InplaceString<128> getReachedAddress(CommunicationPipeManager& manager)
{
    auto* netManager = dynamic_cast<NetCommunicationPipeManager*>(&manager);
    return netManager != nullptr ? netManager->ownAddress() : zu::InplaceString<128>();
}

} // namespace dm
