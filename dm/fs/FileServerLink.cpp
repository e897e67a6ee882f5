#include "dm/fs/FileServerLink.h"

#include "dm/comm/ManagerRegistry.h"
#include "dm/common/Diagnostics.h"

#include <dm/fs.h>

#include <atomic>
#include <utility>

namespace dm {

namespace {

constinit OrderedMutex<LockRank::ListBuffer> s_listLock;
std::atomic<bool> s_saidOwnThread{false};
std::atomic<bool> s_saidSeveral{false};
char s_listBuffer[NetworkFileSystem::kMaxListBytes]; // under s_listLock

/// Hands the pipe to `work`, or returns `otherwise`.
template <typename Result, typename Work>
Result withPipe(Result otherwise, Work work)
{
    ManagerRegistry& registry = ManagerRegistry::instance();
    if (registry.hasSeveral() && !s_saidSeveral.exchange(true))
        warn("remote files fail while the process has several pipe managers: they go over its only "
             "one, the client of the file server");
    return registry.with(
        nullptr, std::move(otherwise), [&](NetCommunicationPipeManager& manager) -> Result {
            return work(manager, manager.getPipe(NetworkFileSystem::kPipeName, nullptr));
        });
}

bool mayWaitFor(const NetCommunicationPipeManager& manager)
{
    if (!manager.isOwnThread())
        return true;
    if (!s_saidOwnThread.exchange(true))
        warn(
            "a file operation on the thread of the manager that it would wait for fails: callbacks "
            "must hand such work to another thread");
    return false;
}

} // namespace

void watchFileServer(PipeCallback connected)
{
    ManagerRegistry::instance().with(nullptr, false, [&](NetCommunicationPipeManager& manager) {
        manager.getPipe(NetworkFileSystem::kPipeName, &connected);
        return true;
    });
}

uint32 connectionNumber(const CommunicationPipe& fileServerPipe)
{
    return static_cast<const NetCommunicationPipe&>(fileServerPipe).connectionNumber();
}

NetCommunicationPipe::Answer askFileServer(const Command& command,
                                           NetCommunicationPipe::Question question)
{
    question.text = command.c_str();
    return withPipe(NetCommunicationPipe::Answer(), [&](NetCommunicationPipeManager& manager,
                                                        NetCommunicationPipe& pipe) {
        return mayWaitFor(manager) ? pipe.ask(question) : NetCommunicationPipe::Answer();
    });
}

// The pipe is made, if need be, before the lock is taken, because that may run a callback of the
// program. While waiting for the lock nothing is held that a shutdown would wait for.
ListRequest::ListRequest()
    : mayWait(withPipe(false, [](NetCommunicationPipeManager& manager, NetCommunicationPipe&) {
        return mayWaitFor(manager);
    }))
{
    if (mayWait)
        s_listLock.lock();
}

ListRequest::~ListRequest()
{
    if (mayWait)
        s_listLock.unlock();
}

bool ListRequest::send(const Command& command)
{
    if (mayWait)
        answer = askFileServer(
            command, {.responseBuffer = s_listBuffer, .responseCapacity = sizeof s_listBuffer});
    return answer.arrived;
}

std::string_view ListRequest::list() const { return {s_listBuffer, answer.storedBytes}; }

} // namespace dm
