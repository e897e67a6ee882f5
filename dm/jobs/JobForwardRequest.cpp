#include "dm/jobs/JobForwardRequest.h"

#include "dm/comm/NetCommunicationPipe.h"
#include "dm/common/Diagnostics.h"
#include "dm/jobs/JobPipe.h"

#include <zul/Memory.h>

#include <algorithm>

namespace dm {

namespace {

constexpr uint32 kBufferBytes = 0x10000;

struct HeapDeleter
{
    void operator()(void* memory) const { zu::deleteMemory(memory); }
};

} // namespace

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
    const std::unique_ptr<void, HeapDeleter> buffer(zu::allocateMemory(kBufferBytes, kBufferBytes));
    zu::InplaceString<128> response;
    uint32 size = 0;
    if (targetGate != nullptr) {
        const Gate::Pass pass(*targetGate);
        if (pass)
            response = targetPipe->sendRequest(request.c_str(), 0, buffer.get(), kBufferBytes,
                                               &size, *asking);
    }
    const Gate::Pass pass(*replyGate);
    if (!pass)
        return;
    if (size > kBufferBytes)
        warn("pipe \"%s\": an answer's %u bytes of data are cut to the %u that a hub forwards",
             replyPipe->getName(), size, kBufferBytes);
    replyPipe->respond(response.c_str(), size > 0 ? buffer.get() : nullptr,
                       std::min(size, kBufferBytes), *replying);
}

} // namespace dm
