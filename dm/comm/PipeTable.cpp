#include "dm/comm/PipeTable.h"

#include "dm/comm/NetCommunicationPipeManager.h"

#include <algorithm>
#include <limits>

namespace dm {

namespace {

// Never destroyed: managers that were left running outlive the end of main.
RecursiveOrderedMutex<LockRank::PipeCreation>& creationLock()
{
    static auto* lock = new RecursiveOrderedMutex<LockRank::PipeCreation>;
    return *lock;
}

} // namespace

NetCommunicationPipe& PipeTable::getPipe(const char* name, bool& made)
{
    made = false;
    if (NetCommunicationPipe* pipe = findReady(name))
        return *pipe;

    std::lock_guard creation(creationLock());
    NetCommunicationPipe* pipe = nullptr;
    {
        std::lock_guard guard(pipesLock);
        // Not ready here means: being made further up on this very thread.
        if (const auto found = pipes.find(name); found != pipes.end())
            return *found->second.pipe;
        Entry& entry = insert(name);
        entry.ready = false;
        pipe = entry.pipe.get();
    }
    made = true;
    createCallback.call(&manager, pipe);
    std::lock_guard guard(pipesLock);
    pipes.find(name)->second.ready = true;
    return *pipe;
}

NetCommunicationPipe* PipeTable::findReady(const char* name)
{
    std::lock_guard guard(pipesLock);
    const auto found = pipes.find(name);
    return found != pipes.end() && found->second.ready ? found->second.pipe.get() : nullptr;
}

NetCommunicationPipe* PipeTable::find(const char* name)
{
    std::lock_guard guard(pipesLock);
    const auto found = pipes.find(name);
    return found != pipes.end() ? found->second.pipe.get() : nullptr;
}

bool PipeTable::exists(const char* name) { return find(name) != nullptr; }

/// Under pipesLock. Whether the other end may make one more.
bool PipeTable::hasRoom()
{
    if (pipes.size() < kMaxPipes)
        return true;
    if (saidTooMany.raise())
        warn("manager \"%s\": other ends cannot make more than %u pipes", manager.getName(),
             kMaxPipes);
    return false;
}

/// Under pipesLock.
PipeTable::Entry& PipeTable::insert(const char* name)
{
    Entry& entry = pipes[name];
    entry.pipe = std::make_unique<NetCommunicationPipe>(manager, name);
    ++detachedCount;
    return entry;
}

PipeTable::OpenResult PipeTable::open(const char* name, bool mayCreate, Connection& connection,
                                      NetCommunicationPipe*& pipe)
{
    bool made = false;
    {
        std::lock_guard guard(pipesLock);
        auto found = pipes.find(name);
        if (found == pipes.end()) {
            if (!mayCreate || !hasRoom())
                return OpenResult::Refused;
            insert(name);
            made = true;
            found = pipes.find(name);
        }
        Entry& entry = found->second;
        pipe = entry.pipe.get();
        if (entry.connection == &connection)
            return OpenResult::AlreadyOpen;
        if (entry.connection == nullptr)
            --detachedCount;
        entry.connection = &connection;
        pipe->attach(connection);
    }
    pipe->announceConnection();
    if (made)
        createCallback.call(&manager, pipe);
    return OpenResult::Attached;
}

void PipeTable::detachAll(const Connection& connection)
{
    std::lock_guard guard(pipesLock);
    for (auto& [name, entry] : pipes) {
        if (entry.connection != &connection)
            continue;
        entry.connection = nullptr;
        entry.pipe->detach();
        ++detachedCount;
    }
}

double PipeTable::takeDueToOpen(double now, std::vector<const char*>& names)
{
    double nextDue = std::numeric_limits<double>::infinity();
    std::lock_guard guard(pipesLock);
    if (detachedCount == 0)
        return nextDue;
    for (auto& [name, entry] : pipes) {
        if (entry.connection != nullptr)
            continue;
        if (now - entry.lastOpenPipeSent > kOpenPipeSeconds) {
            entry.lastOpenPipeSent = now;
            names.push_back(name.c_str());
        }
        nextDue = std::min(nextDue, entry.lastOpenPipeSent + kOpenPipeSeconds);
    }
    return nextDue;
}

std::vector<NetCommunicationPipe*> PipeTable::all()
{
    std::vector<NetCommunicationPipe*> result;
    std::lock_guard guard(pipesLock);
    for (auto& [name, entry] : pipes)
        result.push_back(entry.pipe.get());
    return result;
}

} // namespace dm
