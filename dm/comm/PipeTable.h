/// A manager's pipes by name.
///
/// Locks: pipesLock guards the map and is held only to look up, insert, attach and detach; no
/// callback runs under it. The process-wide creation lock is taken only by getPipe when it makes
/// a pipe, and is held across the pipe-create callback: whoever else asks for the new pipe waits
/// there until the callback has seen it, and callbacks that make pipes on other managers cannot
/// lock each other out, because there is only one such lock.
#pragma once

#include "dm/comm/Connection.h"
#include "dm/comm/NameOrder.h"
#include "dm/comm/NetCommunicationPipe.h"
#include "dm/comm/PipeQuota.h"
#include "dm/common/LockOrder.h"

#include <atomic>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace dm {

class PipeTable
{
public:
    PipeTable(NetCommunicationPipeManager& owner, std::shared_ptr<PipeNameQuota> nameQuota)
        : manager(owner)
        , sharedNames(std::move(nameQuota))
    {
    }

    /// Finds or makes; runs the create callback on this thread if it makes. Sets `made`.
    ///
    ///   connected   set as the pipe's connection callback, if not null. A pipe that is made cannot
    ///               connect before.
    NetCommunicationPipe& getPipe(const char* name, bool& made, const PipeCallback* connected);

    bool exists(const char* name);

    /// Null when there is none. Never makes one.
    NetCommunicationPipe* find(const char* name);

    enum class OpenResult
    {
        Refused,
        NotYet,      ///< its create callback is still running: the other end will ask again
        AlreadyOpen, ///< attached to this very connection before
        Attached,
    };

    /// The other end names this pipe: attaches it, makes it first if that is allowed. Callbacks
    /// run on this thread, which is the manager's, without a lock.
    OpenResult open(const char* name, bool mayCreate, Connection& connection,
                    NetCommunicationPipe*& pipe);

    /// The connection is gone: all its pipes are detached. True when notifications go with it.
    bool detachAll(const Connection& connection);

    /// Appends the names of the pipes without a connection that have not asked for one lately, and
    /// notes that they do now. Returns when the next will be due, in seconds of application age;
    /// infinity when all are connected. Names live as long as the table.
    double takeDueToOpen(double now, std::vector<const char*>& names);

    /// Whether a pipe has lost its connection, or was made, since the last takeDueToOpen.
    bool hasNewToOpen() const { return newToOpen.load(std::memory_order_acquire); }

    bool hasAttached();

    /// Pipes live as long as the table.
    std::vector<NetCommunicationPipe*> all();

    void setCreateCallback(PipeCreateCallback callback) { createCallback.set(callback); }

private:
    struct Entry
    {
        Connection* connection = nullptr; // the one the pipe is attached to
        std::unique_ptr<NetCommunicationPipe> pipe;
        double lastOpenPipeSent = -1000.0; // at once
        bool ready = true;                 // false while getPipe's create callback runs
    };

    /// Under pipesLock.
    void noteNewToOpen()
    {
        nextDueToOpen = 0;
        newToOpen = true;
    }

    struct AttachResult
    {
        OpenResult result = OpenResult::Refused;
        NetCommunicationPipe* pipe = nullptr;
        bool made = false;
        bool sayTooMany = false;
    };

    AttachResult attach(const char* name, bool mayCreate, Connection& connection);
    Entry* findEntry(const char* name);
    Entry& insert(const char* name);
    NetCommunicationPipe* findReady(const char* name);
    NetCommunicationPipe* findOrInsert(const char* name, bool& made);

    NetCommunicationPipeManager& manager;
    const std::shared_ptr<PipeNameQuota> sharedNames; // null: no limit but this table's
    CallbackSlot<CommunicationPipeManager*, CommunicationPipe*> createCallback;

    OrderedMutex<LockRank::PipeTable> pipesLock;
    std::map<zu::InplaceString<128>, Entry, NameOrder> pipes; // under pipesLock
    OnceFlag saidTooMany;                                     // under pipesLock
    double nextDueToOpen = 0;                                 // under pipesLock; 0: look again
    std::atomic<bool> newToOpen{false};
    uint32 detachedCount = 0; // under pipesLock
};

} // namespace dm
