/// Hands a request that came in on one pipe of a hub to another, and the answer back.
///
/// run() only sends the request on; the answer is handed back, as it arrives, by the thread of the
/// manager it comes to. So nothing waits, however long an answer takes. Both pipes may go with
/// their managers at any time.
///
/// Threads: run and cancel on any. `settled` is called once, when the answer was handed to the
/// asker's connection or given up, on any thread, possibly under a lock: it may only take notes.
#pragma once

#include "dm/comm/Relay.h"
#include "dm/common/Gate.h"

#include <dm/jobs.h>

#include <functional>
#include <memory>

namespace dm {

class NetCommunicationPipe;

class JobForwardRequest final : public Job,
                                public Relay,
                                public std::enable_shared_from_this<JobForwardRequest>
{
public:
    /// Both pipes must exist now. `target` null: nobody is there to answer.
    JobForwardRequest(CommunicationPipe* reply, CommunicationPipe* target, const char* text);

    void setSettled(std::function<void()> callback) { settled = std::move(callback); }

    void run(const char* managerName) override;

    /// Nobody will answer, or nobody wants it: the asker, if it is still there, gets "".
    void cancel();

    /// Whether the asker's pipe still has a connection.
    bool isAskerConnected() const;

    void onAnswer(const zu::String& text, std::vector<uint8> data, uint32 dataSize) override;
    void onAnswerSettled() override { settled(); }

private:
    NetCommunicationPipe* replyPipe;  // that the request came in on
    NetCommunicationPipe* targetPipe; // that it is forwarded to
    zu::InplaceString<128> request;
    std::shared_ptr<Gate> replyGate;
    std::shared_ptr<Gate> targetGate; // null without a target
    std::function<void()> settled;
};

} // namespace dm
