#include "dm/comm/OutgoingMessages.h"

#include <zul/Packet.h>

#include <algorithm>
#include <utility>

namespace dm {

const void* Sending::next() const
{
    return static_cast<const uint8*>(data) + (ringBytes > 0 ? sentBytes % ringBytes : sentBytes);
}

uint32 Sending::nextBytes() const
{
    if (ringBytes == 0)
        return dataSize - sentBytes;
    return std::min(readyBytes - sentBytes, ringBytes - sentBytes % ringBytes);
}

bool Sending::isStarved() const
{
    // A small rest is better sent together with what follows.
    return ringBytes > 0 && readyBytes < dataSize &&
           readyBytes - sentBytes < net::kNominalPayloadBytes;
}

void Sending::settle(const Sending& done)
{
    sentBytes = done.sentBytes;
    sent = sent || done.sent;
    inFlight = false;
}

void RelayNews::tell()
{
    for (Answer& answer : answers)
        answer.relay->onAnswer(answer.text, std::move(answer.data), answer.dataSize);
    for (const auto& relay : settled)
        relay->onAnswerSettled();
}

void OutgoingMessages::finishRelay(OutgoingRequest& request, RelayNews& news)
{
    RelayNews::Answer& answer = news.answers.emplace_back();
    answer.relay = std::move(request.relay);
    if (request.responseReceived) {
        answer.text = std::move(request.responseText);
        answer.data = std::move(request.relayedData);
        answer.data.resize(std::min<size_t>(answer.data.size(), request.responseSize));
        answer.dataSize = request.responseSize;
    }
    news.madeRoom = news.madeRoom || requests.size() > kMessagesPerPass;
    requests.erase(static_cast<size_t>(&request - &requests.front()));
}

void OutgoingMessages::finishRelay(OutgoingResponse& response, RelayNews& news)
{
    news.settled.push_back(std::move(response.relay));
    news.madeRoom = news.madeRoom || responses.size() > kMessagesPerPass;
    responses.erase(static_cast<size_t>(&response - &responses.front()));
}

void OutgoingMessages::finishRelayedRequests(RelayNews& news)
{
    for (size_t index = requests.size(); index-- > 0;) {
        if (requests[index].relay != nullptr && !requests[index].sending.inFlight)
            finishRelay(requests[index], news);
    }
}

void OutgoingMessages::finishRelayedResponses(RelayNews& news)
{
    for (size_t index = responses.size(); index-- > 0;) {
        if (responses[index].relay != nullptr && !responses[index].sending.inFlight)
            finishRelay(responses[index], news);
    }
}

void OutgoingMessages::giveUpForOneConnection()
{
    for (OutgoingResponse& response : responses) {
        if (!response.isForOneConnection || response.sending.sent)
            continue;
        response.giveUp();
        response.wake();
    }
}

void OutgoingMessages::restart()
{
    for (OutgoingRequest& request : requests) {
        if (request.responseReceived)
            continue; // only waits for its caller to wake up
        request.sending.restart();
        request.responseSize = 0;
        request.responseReceivedBytes = 0;
    }
    for (OutgoingResponse& response : responses) {
        if (!response.sending.sent)
            response.sending.restart();
    }
}

} // namespace dm
