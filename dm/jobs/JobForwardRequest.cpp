#include "dm/jobs/JobForwardRequest.h"

#include "dm/comm/NetCommunicationPipe.h"
#include "dm/common/Diagnostics.h"
#include "dm/jobs/JobPipe.h"

#include <utility>

namespace dm {

JobForwardRequest::JobForwardRequest(CommunicationPipe* reply, CommunicationPipe* target,
                                     const char* text)
    : replyPipe(static_cast<NetCommunicationPipe*>(reply))
    , targetPipe(static_cast<NetCommunicationPipe*>(target))
    , request(text)
    , replyGate(gateOf(reply))
    , targetGate(gateOf(target))
{
}

void JobForwardRequest::run(const char*)
{
    if (targetGate != nullptr) {
        const Gate::Pass pass(*targetGate);
        if (pass) {
            targetPipe->askAside(request.c_str(), BroadcastServer::kMaxAnswerBytes,
                                 shared_from_this());
            return;
        }
    }
    onAnswer("", {}, 0);
}

void JobForwardRequest::cancel()
{
    // A manager that closes its gate cancels by itself.
    if (targetGate == nullptr)
        return;
    const Gate::Pass pass(*targetGate);
    if (pass)
        targetPipe->cancelAsking(*this);
}

bool JobForwardRequest::isAskerConnected() const
{
    const Gate::Pass pass(*replyGate);
    return pass && replyPipe->isConnected();
}

void JobForwardRequest::onAnswer(const zu::String& text, std::vector<uint8> data, uint32 dataSize)
{
    const Gate::Pass pass(*replyGate);
    if (!pass) {
        settled();
        return;
    }
    if (dataSize > data.size())
        warn("pipe \"%s\": an answer's %u bytes of data are cut to the %zu that a hub forwards",
             replyPipe->getName(), dataSize, data.size());
    replyPipe->answerAside(text.c_str(), std::move(data), shared_from_this());
}

} // namespace dm
