/// Hands a request that came in on one pipe of a hub to another, and the answer back.
///
/// The waits end when there is nobody left to wait for: abandonAsking() makes the asker get "" (the
/// one who was to answer has left), abandonAll() gives up the answer too (so has the asker, or the
/// hub goes). Both pipes may go with their managers while the job runs.
///
/// Threads: run on one; the abandoning from any, also before run.
#pragma once

#include "dm/comm/OutgoingMessages.h"
#include "dm/common/Gate.h"

#include <dm/jobs.h>

#include <memory>

namespace dm {

class NetCommunicationPipe;

class JobForwardRequest final : public Job
{
public:
    /// Both pipes must exist now. `target` null: nobody is there to answer.
    JobForwardRequest(CommunicationPipe* reply, CommunicationPipe* target, const char* text);

    void run(const char* managerName) override;

    void abandonAsking() { asking->abandon(); }
    void abandonAll()
    {
        asking->abandon();
        replying->abandon();
    }

private:
    NetCommunicationPipe* replyPipe;  // that the request came in on
    NetCommunicationPipe* targetPipe; // that it is forwarded to
    zu::InplaceString<128> request;
    std::shared_ptr<Gate> replyGate;
    std::shared_ptr<Gate> targetGate; // null without a target
    std::shared_ptr<Abandonment> asking = std::make_shared<Abandonment>();
    std::shared_ptr<Abandonment> replying = std::make_shared<Abandonment>();
};

} // namespace dm
