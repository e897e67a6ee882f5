#include "dm/comm/OutgoingMessages.h"

#include <algorithm>
#include <utility>

namespace dm {

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

void OutgoingMessages::restart()
{
    for (size_t index = 0; index < requests.size(); ++index) {
        // One that is answered already only waits for its caller to wake up.
        OutgoingRequest& request = requests[index];
        if (request.responseReceived)
            continue;
        request.sending.restart();
        request.responseSize = 0;
        request.responseReceivedBytes = 0;
    }
    for (size_t index = 0; index < responses.size(); ++index) {
        if (!responses[index].sending.sent)
            responses[index].sending.restart();
    }
}

} // namespace dm
