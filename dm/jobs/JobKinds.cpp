/// The conversations that are part of the interface.
///
/// Log lines are part of it too: people's tools read them, so their texts and when they come stay
/// as they are, however odd.
#include "dm/jobs/JobLog.h"
#include "dm/jobs/JobPipe.h"

#include <dm/jobs.h>

#include <utility>

namespace dm {

JobSendNotify::JobSendNotify(CommunicationPipe* notifiedPipe, const char* notification,
                             unsigned number)
    : pipe(notifiedPipe)
    , text(notification)
    , value(number)
    , gate(gateOf(notifiedPipe))
{
}

void JobSendNotify::run(const char* managerName)
{
    bool retrying = false;
    JobPipe(pipe, gate).poll([&](CommunicationPipe& used) {
        // Before the retry, whatever the words say, and never for one that succeeds at once.
        if (std::exchange(retrying, true))
            logLine("Manager \"%s\" sent a notification \"%s\" to pipe\n", managerName,
                    text.c_str());
        return used.sendNotify(text.c_str(), value);
    });
}

JobSendRequest::JobSendRequest(const char* pipe, const char* requestText, void* responseBuffer,
                               unsigned capacity, uint32* responseSize)
    : pipeName(pipe)
    , request(requestText)
    , response(responseBuffer)
    , responseCapacity(capacity)
    , outResponseSize(responseSize)
{
}

void JobSendRequest::run(const char* managerName)
{
    JobPipe::find(managerName, pipeName.c_str()).use([&](CommunicationPipe& pipe) {
        pipe.sendRequest(request.c_str(), 0, response, responseCapacity, outResponseSize, nullptr,
                         0);
    });
}

JobWaitNotify::JobWaitNotify(const char* pipe, const char* notification)
    : pipeName(pipe)
    , notifyName(notification)
{
}

void JobWaitNotify::run(const char* managerName)
{
    const JobPipe target = JobPipe::find(managerName, pipeName.c_str());
    const auto take = [](CommunicationPipe& pipe) { return !pipe.receiveNotify(nullptr).empty(); };
    target.poll(take);
}

JobWaitRequest::JobWaitRequest(const char* pipe, const char* requestText)
    : pipeName(pipe)
    , requestName(requestText)
{
}

void JobWaitRequest::run(const char* managerName)
{
    const JobPipe target = JobPipe::find(managerName, pipeName.c_str());
    const auto take = [](CommunicationPipe& pipe) { return !pipe.receiveRequest(nullptr).empty(); };
    target.poll(take,
                [&] { logLine("JobWaitRequest: Listening to pipe: %s\n", pipeName.c_str()); });
}

JobRespond::JobRespond(const char* pipe, const char* responseText, const void* responseData,
                       zu::u64 size)
    : pipeName(pipe)
    , response(responseText)
    , data(responseData)
    , dataSize(size)
{
}

void JobRespond::run(const char* managerName)
{
    const JobPipe target = JobPipe::find(managerName, pipeName.c_str());
    logLine("JobRespond: Responding to pipe: %s\n", pipeName.c_str());
    target.use([&](CommunicationPipe& pipe) {
        pipe.respond(response.c_str(), data, static_cast<uint32>(dataSize));
    });
}

JobWaitNotifyAndRequest::JobWaitNotifyAndRequest(const char* pipe, const char* notification,
                                                 const char* requestText, void* responseBuffer,
                                                 unsigned capacity, uint32* responseSize)
    : pipeName(pipe)
    , notifyName(notification)
    , request(requestText)
    , response(responseBuffer)
    , responseCapacity(capacity)
    , outResponseSize(responseSize)
{
}

void JobWaitNotifyAndRequest::run(const char* managerName)
{
    const JobPipe target = JobPipe::find(managerName, pipeName.c_str());
    uint32 number = 0;
    const auto take = [&](CommunicationPipe& pipe) { return !pipe.receiveNotify(&number).empty(); };
    const bool taken = target.poll(take, [&] {
        logLine("JobManager \"%s\" Waiting for Notify \"%s\"\n", managerName, notifyName.c_str());
    });
    if (!taken)
        return;
    logLine("JobManager \"%s\" doing request: %s\n", managerName, request.c_str());
    target.use([&](CommunicationPipe& pipe) {
        const auto text = pipe.sendRequest(request.c_str(), number, response, responseCapacity,
                                           outResponseSize, nullptr, 0);
        logLine("JobManager \"%s\" got response: %s from pipe: %s \n", managerName, text.c_str(),
                pipe.getName());
    });
}

} // namespace dm
