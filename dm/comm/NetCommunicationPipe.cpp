#include "dm/comm/NetCommunicationPipe.h"

#include "dm/comm/NetCommunicationPipeManager.h"
#include "dm/comm/ThreadEvent.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace dm {

namespace {

std::atomic<bool> s_responseCapacityEnforced{false};

} // namespace

CommunicationPipe::~CommunicationPipe() = default;

void setResponseCapacityEnforced(bool enforced) { s_responseCapacityEnforced = enforced; }

bool isResponseCapacityEnforced() { return s_responseCapacityEnforced; }

TransferProgress getTransferProgress(CommunicationPipe* pipe)
{
    auto* netPipe = dynamic_cast<NetCommunicationPipe*>(pipe);
    return netPipe != nullptr ? netPipe->getTransferProgress() : TransferProgress();
}

NetCommunicationPipe::NetCommunicationPipe(NetCommunicationPipeManager& owner, const char* pipeName)
    : manager(owner)
    , name(pipeName)
    , callersGone(zu::Event::create())
    , pump(*this)
{
}

NetCommunicationPipe::~NetCommunicationPipe() = default;

CommunicationPipeManager* NetCommunicationPipe::getManager() { return &manager; }

uint32 NetCommunicationPipe::managerId() const { return manager.getID(); }

zu::InplaceString<128> NetCommunicationPipe::getConnectedIP()
{
    std::lock_guard guard(outgoingLock);
    return isConnected() ? peerAddress : zu::InplaceString<128>();
}

void NetCommunicationPipe::setConnectionCallback(PipeCallback callback)
{
    connectionCallback.set(callback);
}

void NetCommunicationPipe::setNotifyCallback(PipeCallback callback)
{
    notifiesByRun = false;
    notifyCallback.set(callback);
}

void NetCommunicationPipe::setNotifyRunCallback(PipeCallback callback)
{
    notifyCallback.set(callback);
    notifiesByRun = true;
}

void NetCommunicationPipe::setRequestCallback(PipeCallback callback)
{
    requestCallback.set(callback);
}

void NetCommunicationPipe::requestPump() { manager.requestPump(*this); }

// Notifications.

bool NetCommunicationPipe::sendNotify(const char* text, uint32 value)
{
    if (!isConnected())
        return false;
    OutgoingNotification notification;
    notification.value = value;
    notification.text = text;
    bool queued = false;
    bool sayFull = false;
    {
        std::lock_guard guard(outgoingLock);
        queued = queueNotification(std::move(notification), sayFull);
    }
    if (sayFull)
        warnNotifyQueueFull();
    if (queued)
        requestPump();
    return queued;
}

void NetCommunicationPipe::sendNotifies(const std::vector<zu::InplaceString<128>>& texts,
                                        uint32 value)
{
    if (!isConnected())
        return;
    bool queued = false;
    bool sayFull = false;
    {
        std::lock_guard guard(outgoingLock);
        for (const auto& text : texts)
            queued = queueNotification({0, value, text}, sayFull) || queued;
    }
    if (sayFull)
        warnNotifyQueueFull();
    if (queued)
        requestPump();
}

/// Under outgoingLock.
bool NetCommunicationPipe::queueNotification(OutgoingNotification&& notification, bool& sayFull)
{
    if (closing || !isConnected())
        return false;
    const zu::u64 cost = outgoing.notifyCost + notification.cost();
    const bool isOver = cost > kMaxQueuedNotifyBytes && !outgoing.notifications.empty();
    if (isOver || !manager.notifyBudget().take(notification.cost())) {
        sayFull = saidNotifyQueueFull.raise() || sayFull;
        return false;
    }
    notification.id = outgoing.nextNotifyId++;
    outgoing.notifyCost = cost;
    outgoing.notifications.append(std::move(notification));
    return true;
}

/// Under outgoingLock.
void NetCommunicationPipe::giveBackNotifyCost(zu::u64 cost)
{
    outgoing.notifyCost -= cost;
    manager.notifyBudget().giveBack(cost);
}

/// Under outgoingLock.
void NetCommunicationPipe::dropNotifications()
{
    outgoing.notifications.clear();
    giveBackNotifyCost(outgoing.notifyCost);
}

void NetCommunicationPipe::warnNotifyQueueFull()
{
    warn("pipe \"%s\": notifications are refused because the other end reads slower than they "
         "come and %u bytes are waiting for it",
         name.c_str(), kMaxQueuedNotifyBytes);
}

zu::InplaceString<128> NetCommunicationPipe::receiveNotify(uint32* outValue)
{
    zu::InplaceString<128> text;
    takeNotify(text, outValue);
    return text;
}

bool NetCommunicationPipe::takeNotify(zu::InplaceString<128>& text, uint32* outValue)
{
    std::lock_guard guard(incomingLock);
    return incomingNotifications.takeOldest(text, outValue);
}

void NetCommunicationPipe::takeNotifies(std::vector<zu::InplaceString<128>>& texts)
{
    std::lock_guard guard(incomingLock);
    for (zu::InplaceString<128> text; incomingNotifications.takeOldest(text, nullptr);)
        texts.push_back(std::move(text));
}

// Asking.

bool NetCommunicationPipe::isTextSendable(const char* operation, const char* text)
{
    assert(!manager.isOwnThread() &&
           "sendRequest and respond wait for the manager's thread and must not run on it");
    if (isTextAllowed(text))
        return true;
    warn("pipe \"%s\": %s with a text of more than %u bytes is not sent; send it as data",
         name.c_str(), operation, kMaxTextBytes);
    return false;
}

zu::InplaceString<128> NetCommunicationPipe::sendRequest(const char* text, uint32 value,
                                                         void* responseBuffer,
                                                         uint32 responseCapacity,
                                                         uint32* outResponseSize, const void* data,
                                                         uint32 dataSize)
{
    Answer answer = ask({text, value, responseBuffer, responseCapacity,
                         isResponseCapacityEnforced(), data, dataSize});
    if (answer.arrived && outResponseSize != nullptr)
        *outResponseSize = answer.size;
    return std::move(answer.text);
}

NetCommunicationPipe::Answer NetCommunicationPipe::ask(const Question& question)
{
    Answer answer;
    assert((question.data != nullptr || question.dataSize == 0) && "data is null with a size");
    if (!isTextSendable("a request", question.text))
        return answer;

    const zu::Event& event = threadEvent();
    uint32 id = 0;
    {
        // The id is taken in the same step as the place in the queue: the receiver drops an id
        // that comes after a higher one.
        std::lock_guard guard(outgoingLock);
        if (closing)
            return answer;
        id = outgoing.nextRequestId++;
        OutgoingRequest& request = outgoing.requests.appendEmpty();
        request.id = id;
        request.value = question.value;
        request.text = question.text;
        request.sending.data = question.data;
        request.sending.dataSize = question.dataSize;
        request.responseBuffer = question.responseBuffer;
        request.responseCapacity = question.responseCapacity;
        request.capacityEnforced = question.capacityEnforced;
        request.event = event;
    }
    requestPump();

    do
        event.wait();
    while (!finishAsking(id, answer));
    return answer;
}

/// True when the caller may return; its record is then gone.
bool NetCommunicationPipe::finishAsking(uint32 id, Answer& answer)
{
    std::lock_guard guard(outgoingLock);
    OutgoingRequest* request = outgoing.findRequest(id);
    if (request->sending.inFlight || !(request->responseReceived || closing))
        return false;
    if (request->responseReceived) {
        answer.arrived = true;
        answer.text = std::move(request->responseText);
        answer.size = request->responseSize;
        answer.connection = request->receivedOver;
        // A peer that leaves gaps has sent less than it announced.
        answer.storedBytes = std::min(
            {request->responseSize, request->responseReceivedBytes, request->responseCapacity});
    }
    removeWaited(outgoing.requests, *request);
    return true;
}

/// Under outgoingLock.
void NetCommunicationPipe::noteCallersGone()
{
    if (closing && !outgoing.hasWaiters())
        callersGone.set();
}

TransferProgress NetCommunicationPipe::getTransferProgress()
{
    TransferProgress progress;
    std::lock_guard guard(outgoingLock);
    if (outgoing.requests.empty())
        return progress;
    const OutgoingRequest& oldest = outgoing.requests.front();
    progress.active = true;
    progress.sentBytes = oldest.sending.sentBytes;
    progress.sendTotal = oldest.sending.dataSize;
    progress.receivedBytes = oldest.responseReceivedBytes;
    progress.receiveTotal = oldest.responseSize;
    return progress;
}

// Relaying.

void NetCommunicationPipe::askAside(const char* text, uint32 capacity, std::shared_ptr<Relay> relay)
{
    {
        std::lock_guard guard(outgoingLock);
        if (!closing) {
            OutgoingRequest& request = outgoing.requests.appendEmpty();
            request.id = outgoing.nextRequestId++;
            request.text = text;
            request.responseCapacity = capacity;
            request.capacityEnforced = true;
            request.relay = std::move(relay);
        }
    }
    if (relay != nullptr)
        relay->onAnswer("", {}, 0);
    else
        requestPump();
}

void NetCommunicationPipe::cancelAsking(const Relay& relay)
{
    RelayNews news;
    {
        std::lock_guard guard(outgoingLock);
        OutgoingRequest* request = outgoing.requests.find(
            [&](const OutgoingRequest& candidate) { return candidate.relay.get() == &relay; });
        if (request == nullptr)
            return;
        request->cancelled = true;
        if (!request->sending.inFlight)
            outgoing.finishRelay(*request, news);
    }
    tell(news);
}

void NetCommunicationPipe::answerAside(const char* text, std::vector<uint8> data,
                                       std::shared_ptr<Relay> relay)
{
    IncomingRequest answered;
    uint32 epoch = 0;
    if (takeCurrentRequest(answered, epoch)) {
        std::lock_guard guard(outgoingLock);
        if (!closing && isConnected() && epoch == outgoingEpoch) {
            OutgoingResponse& response = appendResponse(answered.id, text);
            response.relayedData = std::move(data);
            response.sending.data = response.relayedData.data();
            response.sending.dataSize = static_cast<uint32>(response.relayedData.size());
            response.relay = std::move(relay);
        }
    }
    if (relay != nullptr)
        relay->onAnswerSettled();
    else
        requestPump();
}

/// Without any lock of the pipe.
void NetCommunicationPipe::tell(RelayNews& news)
{
    if (news.madeRoom)
        requestPump();
    news.tell();
}

// End of life.

void NetCommunicationPipe::close()
{
    RelayNews news;
    {
        std::lock_guard guard(outgoingLock);
        closing = true;
        dropNotifications();
        outgoing.finishRelayedRequests(news);
        outgoing.finishRelayedResponses(news);
        for (const OutgoingRequest& request : outgoing.requests)
            request.wake();
        for (const OutgoingResponse& response : outgoing.responses)
            response.wake();
        noteCallersGone();
    }
    tell(news);
}

void NetCommunicationPipe::awaitCallersGone()
{
    callersGone.wait();
    // The last one signalled under the lock: let it out before the lock goes.
    std::lock_guard guard(outgoingLock);
}

} // namespace dm
