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

NetCommunicationPipe& PipeTable::getPipe(const char* name, bool& made,
                                         const PipeCallback* connected)
{
    made = false;
    NetCommunicationPipe* pipe = findReady(name);
    if (pipe == nullptr) {
        std::lock_guard creation(creationLock());
        pipe = findOrInsert(name, made);
        if (made) {
            createCallback.call(&manager, pipe);
            if (connected != nullptr)
                pipe->setConnectionCallback(*connected);
            std::lock_guard guard(pipesLock);
            findEntry(name)->ready = true;
            noteNewToOpen();
            return *pipe;
        }
    }
    if (connected != nullptr)
        pipe->setConnectionCallback(*connected);
    return *pipe;
}

/// A pipe that is made is not ready yet.
NetCommunicationPipe* PipeTable::findOrInsert(const char* name, bool& made)
{
    std::lock_guard guard(pipesLock);
    // Not ready here means: being made further up on this very thread.
    if (const Entry* entry = findEntry(name))
        return entry->pipe.get();
    made = true;
    Entry& entry = insert(name);
    entry.ready = false;
    return entry.pipe.get();
}

NetCommunicationPipe* PipeTable::findReady(const char* name)
{
    std::lock_guard guard(pipesLock);
    const Entry* entry = findEntry(name);
    return entry != nullptr && entry->ready ? entry->pipe.get() : nullptr;
}

NetCommunicationPipe* PipeTable::find(const char* name)
{
    std::lock_guard guard(pipesLock);
    const Entry* entry = findEntry(name);
    return entry != nullptr ? entry->pipe.get() : nullptr;
}

bool PipeTable::hasAttached()
{
    std::lock_guard guard(pipesLock);
    return detachedCount < pipes.size();
}

bool PipeTable::exists(const char* name) { return find(name) != nullptr; }

/// Under pipesLock. Null when there is none.
PipeTable::Entry* PipeTable::findEntry(const char* name)
{
    const auto found = pipes.find(name);
    return found != pipes.end() ? &found->second : nullptr;
}

/// Under pipesLock.
PipeTable::Entry& PipeTable::insert(const char* name)
{
    Entry& entry = pipes[name];
    entry.pipe = std::make_unique<NetCommunicationPipe>(manager, name);
    // Made by a callback while everything ends: whoever asks on it must not wait.
    if (manager.isStopping())
        entry.pipe->close();
    ++detachedCount;
    noteNewToOpen();
    return entry;
}

PipeTable::OpenResult PipeTable::open(const char* name, bool mayCreate, Connection& connection,
                                      NetCommunicationPipe*& pipe)
{
    const AttachResult attached = attach(name, mayCreate, connection);
    pipe = attached.pipe;
    if (attached.sayTooMany)
        warn("manager \"%s\": pipe \"%s\" is refused, other ends have made too many",
             manager.getName(), name);
    if (attached.result != OpenResult::Attached)
        return attached.result;
    pipe->announceConnection();
    if (attached.made)
        createCallback.call(&manager, pipe);
    return OpenResult::Attached;
}

PipeTable::AttachResult PipeTable::attach(const char* name, bool mayCreate, Connection& connection)
{
    AttachResult attached;
    std::lock_guard guard(pipesLock);
    Entry* entry = findEntry(name);
    if (entry == nullptr) {
        const bool hasRoom = mayCreate && pipes.size() < kMaxPipes &&
                             (sharedNames == nullptr || sharedNames->admit(name));
        attached.sayTooMany = mayCreate && !hasRoom && saidTooMany.raise();
        if (!mayCreate || !hasRoom)
            return attached;
        entry = &insert(name);
        attached.made = true;
    }
    attached.pipe = entry->pipe.get();
    attached.result = OpenResult::NotYet;
    if (!entry->ready)
        return attached;
    attached.result = OpenResult::AlreadyOpen;
    if (entry->connection == &connection)
        return attached;
    if (entry->connection == nullptr)
        --detachedCount;
    entry->connection = &connection;
    entry->pipe->attach(connection);
    attached.result = OpenResult::Attached;
    return attached;
}

bool PipeTable::detachAll(const Connection& connection)
{
    bool lost = false;
    std::lock_guard guard(pipesLock);
    for (auto& [name, entry] : pipes) {
        if (entry.connection != &connection)
            continue;
        entry.connection = nullptr;
        lost = entry.pipe->detach() || lost;
        ++detachedCount;
        noteNewToOpen();
    }
    return lost;
}

double PipeTable::takeDueToOpen(double now, std::vector<const char*>& names)
{
    std::lock_guard guard(pipesLock);
    newToOpen = false;
    // One pipe that the other end refuses must not have every pass look at all of them.
    if (now < nextDueToOpen)
        return nextDueToOpen;
    nextDueToOpen = std::numeric_limits<double>::infinity();
    if (detachedCount == 0)
        return nextDueToOpen;
    for (auto& [name, entry] : pipes) {
        if (entry.connection != nullptr || !entry.ready)
            continue;
        if (now - entry.lastOpenPipeSent > kOpenPipeSeconds) {
            entry.lastOpenPipeSent = now;
            names.push_back(name.c_str());
        }
        nextDueToOpen = std::min(nextDueToOpen, entry.lastOpenPipeSent + kOpenPipeSeconds);
    }
    return nextDueToOpen;
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
