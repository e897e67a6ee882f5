/// Jobs, endpoints and the broadcast hub: conversations over pipes (see <dm/comm.h>).
///
/// A job is one small conversation: send this, wait for that, answer. An endpoint has pipes and a
/// thread that runs jobs in order; a hub gives every client that connects a manager of its own and
/// relays between all of them.
///
///     #include <dm/jobs.h>
///
///     int main() // a hub and two members, which usually are programs of their own
///     {
///         dm::BroadcastServer hub("studio", 5000);
///         dm::Client game("game");
///         dm::Client viewer("viewer");
///         for (dm::Client* member : {&game, &viewer}) {
///             member->connect("127.0.0.1", 5000);
///             member->waitPipeToConnect("levels");
///         }
///
///         viewer.addJob(new dm::JobWaitNotify("levels", "loaded"));
///         viewer.runJobs(false);
///         game.addJob(new dm::JobSendNotify(game.getPipe("levels"), "loaded", 1));
///         game.runJobs(true);
///         viewer.waitJobsToComplete();
///
///         dm::deinitCommunicationManagers(); // first, then the endpoints go
///     }
///
/// When not: what must react to whatever comes uses the pipe's callbacks; jobs follow a script.
///
/// Threads: every function may be called from any thread unless said otherwise. Jobs run on a
/// thread of their manager's.
/// Ownership: jobs are their job manager's from addJob on. The pipe managers of endpoints are the
/// library's, and outlive them.
/// Errors: no connection is none, jobs wait for it; ports that cannot be had are told by
/// getConnectionStatus and a message on stderr. zu::Exception when the system has no thread left.
/// What jobs do they say in log lines, see setLogSink.
/// Limits: those of pipes; a hub's stand at BroadcastServer.
/// Order: make an endpoint, add jobs, run them. At the end deinitCommunicationManagers(), which
/// ends every job that still waits, then the endpoints: one destroyed before waits for its running
/// batch, possibly for ever.
#pragma once

#include <dm/comm.h>
#include <zul/Event.h>
#include <zul/InplaceString.h>
#include <zul/Memory.h>
#include <zul/Mutex.h>
#include <zul/Thread.h>
#include <zul/Vector.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <new>
#include <thread>

namespace dm {

class Gate;
class Hub;

/// Takes the log lines of jobs and endpoints. Each ends in a newline; the text is the caller's.
/// Called on whatever thread has something to say, several at once, also on managers' threads: it
/// must return soon and call nothing of this library.
using LogSink = void (*)(const char* line);

/// Process-wide. Null, as at the start: standard output, each line with one write.
DM_API void setLogSink(LogSink sink);

/// One task for a JobManager's thread. Derive from it for conversations of your own.
///
/// Ownership: addJob takes it; the manager destroys it after run. Create it with plain new.
/// Threads: run is called once, on the job manager's thread, which it may hold up as long as it
/// must. It must not throw: that ends the process.
/// Deadlocks: from run, do not call runJobs or waitJobsToComplete of another manager whose jobs
/// may wait for this one.
class DM_API Job
{
public:
    Job() = default;
    Job(const Job&) = default;
    Job& operator=(const Job&) = default;
    virtual ~Job();

    /// Does the job's whole work.
    ///
    ///   managerName   of the job manager that runs it, and of the pipe manager it acts on.
    virtual void run(const char* managerName) = 0;

    // From the library's heap, because the library frees it.
    static void* operator new(size_t size) { return zu::allocateMemory(size); }
    static void* operator new(size_t size, std::align_val_t align)
    {
        return zu::allocateMemory(size, static_cast<size_t>(align));
    }
    static void* operator new(size_t size, const std::nothrow_t&) noexcept
    {
        try {
            return zu::allocateMemory(size);
        } catch (...) {
            return nullptr;
        }
    }
    static void* operator new(size_t, void* place) noexcept { return place; }
    static void operator delete(void* memory) noexcept { zu::deleteMemory(memory); }
    static void operator delete(void* memory, const std::nothrow_t&) noexcept
    {
        zu::deleteMemory(memory);
    }
    static void operator delete(void* memory, std::align_val_t) noexcept
    {
        zu::deleteMemory(memory);
    }
    static void operator delete(void*, void*) noexcept {}
};

/// A thread that runs batches of jobs, one job after the other.
///
///     dm::JobManager manager("game");
///     manager.addJob(new LoadLevel);
///     manager.runJobs(true);
///
/// Order: jobs run in the order of addJob, each after the one before has returned. Those added
/// while a batch runs wait for the next runJobs; those that a job adds to its own manager run at
/// the end of the same batch.
/// Limits: a batch with a job that never ends holds up addJob, runJobs, waitJobsToComplete and the
/// destructor for as long.
class DM_API JobManager : public zu::Thread
{
public:
    /// For assigning to later. Takes jobs, but runJobs must not be called before.
    JobManager();

    /// The name is that of the pipe manager whose pipes the jobs use.
    explicit JobManager(const char* managerName);

    /// Waits for the batch that runs. Jobs that were never run are not destroyed.
    ~JobManager() override;

    /// Copies name and queued jobs and shares the start event; locks and threads are never copied.
    /// Assign only before there are jobs: both managers would run and free them.
    JobManager(const JobManager& other);
    JobManager& operator=(const JobManager& other);

    /// Queues a job, which belongs to the manager from now on. Waits while a batch runs, except
    /// from a job of that batch; so not from callbacks of pipes and pipe managers.
    void addJob(Job* job);

    /// Starts a thread with everything queued, after the batch before has ended; returns when it
    /// has the batch in hand, or does nothing when nothing is queued. Ignored on a job's own
    /// manager.
    ///
    ///   waitForCompletion   true: returns only when the whole batch has run.
    void runJobs(bool waitForCompletion);

    /// Waits until the batch that runs, if any, has ended. Ignored on a job's own manager.
    void waitJobsToComplete();

private:
    int run() override;
    bool isOwnThread() const { return batchThread.load() == std::this_thread::get_id(); }

    zu::InplaceString<128> name;

    // Held by the thread for the whole batch. Recursive: a job may add jobs. Guards `jobs`.
    mutable zu::CriticalSection lock;
    zu::Vector<Job*> jobs;

    // Raised when a batch has taken `lock`. Shared with the managers this one was assigned from.
    zu::Event startedEvent;

    zu::CriticalSection runLock; // taken before `lock`; two callers start one batch after another
    std::atomic<uint32> batchesStarted{0};
    std::atomic<std::thread::id> batchThread;
};

/// The jobs below look their pipe up by name on the manager that runs them and make it if absent.
/// They poll every millisecond and wait without limit for what they wait for; deinitialising the
/// pipe's manager ends them. Buffers handed to them must live until they have run: wait for the
/// batch before using what was written there. Texts are copied.

/// Sends a notification, and goes on trying, with a log line a retry, until the pipe takes it.
class DM_API JobSendNotify : public Job
{
public:
    ///   pipe   lives as long as its manager.
    JobSendNotify(CommunicationPipe* pipe, const char* text, unsigned value);
    void run(const char* managerName) override;

private:
    CommunicationPipe* pipe; // not owned
    zu::InplaceString<128> text;
    unsigned value;
    std::shared_ptr<Gate> gate; // of the pipe's manager; null when it is none of the library's
};

/// Sends a request with number 0 and waits for the answer, whose text is dropped.
class DM_API JobSendRequest : public Job
{
public:
    ///   response           receives the answer's data; may be null.
    ///   responseCapacity   its size in bytes. A larger answer is written past it unless
    ///                      setResponseCapacityEnforced(true) was called.
    ///   outResponseSize    receives the answer's data size in bytes; may be null.
    JobSendRequest(const char* pipeName, const char* request, void* response,
                   unsigned responseCapacity, uint32* outResponseSize = nullptr);
    void run(const char* managerName) override;

private:
    zu::InplaceString<128> pipeName;
    zu::InplaceString<128> request;
    void* response; // the caller's
    unsigned responseCapacity;
    uint32* outResponseSize; // the caller's
};

/// Waits for one notification, of any text but "", and takes it.
class DM_API JobWaitNotify : public Job
{
public:
    ///   notifyName   what is awaited, for the reader: it is not compared.
    JobWaitNotify(const char* pipeName, const char* notifyName);
    void run(const char* managerName) override;

private:
    zu::InplaceString<128> pipeName;
    zu::InplaceString<128> notifyName;
};

/// Waits for one request, of any text but "", and takes it; a JobRespond answers it.
class DM_API JobWaitRequest : public Job
{
public:
    ///   requestName   what is awaited, for the reader: it is not compared.
    JobWaitRequest(const char* pipeName, const char* requestName);
    void run(const char* managerName) override;

private:
    zu::InplaceString<128> pipeName;
    zu::InplaceString<128> requestName;
};

/// Answers the request taken last on the pipe.
class DM_API JobRespond : public Job
{
public:
    ///   data       lent until the job has run; null for none.
    ///   dataSize   in bytes; only the low 32 bits count.
    JobRespond(const char* pipeName, const char* response, const void* data, zu::u64 dataSize);
    void run(const char* managerName) override;

private:
    zu::InplaceString<128> pipeName;
    zu::InplaceString<128> response;
    const void* data; // the caller's
    zu::u64 dataSize;
};

/// Waits for one notification, of any text but "", then sends a request that carries the
/// notification's number on, and waits for the answer.
class DM_API JobWaitNotifyAndRequest : public Job
{
public:
    /// As JobWaitNotify and JobSendRequest.
    JobWaitNotifyAndRequest(const char* pipeName, const char* notifyName, const char* request,
                            void* response, unsigned responseCapacity,
                            uint32* outResponseSize = nullptr);
    void run(const char* managerName) override;

private:
    zu::InplaceString<128> pipeName;
    zu::InplaceString<128> notifyName;
    zu::InplaceString<128> request;
    void* response; // the caller's
    unsigned responseCapacity;
    uint32* outResponseSize; // the caller's
};

/// A pipe manager that listens, and a job manager of the same name.
///
/// Threads: any. After the managers were deinitialised getPipe, getID and getName are a fault, as
/// they are for a manager.
class DM_API Server
{
public:
    /// Listens on `port`; 0: any free one, see getPort. Clients may open pipes that do not exist
    /// yet. Whether it could listen tells getConnectionStatus(name).
    Server(const char* name, int port);
    virtual ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Makes the pipe, if it is not there, and logs that it did.
    void registerPipe(const char* pipeName);

    CommunicationPipe* getPipe(const char* pipeName) { return manager->getPipe(pipeName); }
    uint32 getID() { return manager->getID(); }
    const char* getName() { return manager->getName(); }
    int getPort() const { return port; }

    void addJob(Job* job) { jobManager.addJob(job); }
    void runJobs(bool waitForCompletion) { jobManager.runJobs(waitForCompletion); }
    void waitJobsToComplete() { jobManager.waitJobsToComplete(); }

protected:
    /// Without a manager; the derived class's constructor gives it one.
    explicit Server(const char* name);
    void adopt(CommunicationPipeManager* listening);

private:
    CommunicationPipeManager* manager = nullptr; // the registry's
    int port = 0;
    JobManager jobManager;
};

/// A pipe manager that keeps one connection to a server alive, and a job manager of the same name.
///
/// Copies share the pipe manager. Assign only before there are jobs, as for JobManager.
///
/// Threads: as Server.
class DM_API Client
{
public:
    /// Connects nowhere until connect is called.
    explicit Client(const char* name);

    /// A placeholder: assign a client to it before anything else.
    Client();

    /// The address to connect to from the next attempt on. A live connection is kept. Does nothing
    /// on a placeholder.
    void connect(const char* host, int port);

    CommunicationPipe* getPipe(const char* pipeName) { return manager->getPipe(pipeName); }
    uint32 getID() { return manager->getID(); }
    const char* getName() { return manager->getName(); }

    /// Whether the pipe is connected. Makes it, so that it soon will be.
    bool isPipeAcquired(const char* pipeName);

    /// Waits until the pipe is connected, without limit; makes it first. Returns also when the
    /// manager is deinitialised.
    void waitPipeToConnect(const char* pipeName);

    void addJob(Job* job) { jobManager.addJob(job); }
    void runJobs(bool waitForCompletion) { jobManager.runJobs(waitForCompletion); }
    void waitJobsToComplete() { jobManager.waitJobsToComplete(); }

private:
    CommunicationPipeManager* manager = nullptr; // the registry's
    JobManager jobManager;
};

/// What happened to a member of a hub, for displays. Texts are lent for the call.
struct HubEvent
{
    enum Kind : int
    {
        Joined,     ///< connected; its name comes with its first pipe
        PipeOpened, ///< one of its pipes is attached, also after each reconnect
        Left,       ///< disconnected; its number is not given to anybody else
    };
    Kind kind = Joined;
    uint32 member = 0;
    const char* memberName = ""; ///< under which it presents itself
    const char* address = "";    ///< where it connects from, in numbers
    const char* pipeName = "";   ///< of PipeOpened
};

using HubCallback = Callback<const HubEvent&>;

/// A server through which its clients, the members, talk to each other.
///
/// Every client that connects gets a manager of its own in the hub and is redirected there: member
/// n, counted from 0, has the manager "<name>c<n>" on the hub's port + n + 1 (on any free port
/// when that one is taken or the hub's own was given as 0). A pipe that one member opens exists
/// for all.
///
///  - A notification goes to every other member once, numbered with its sender's member number
///    (number 0 arrives as the receiver's own: member 0 cannot be told by it).
///  - A request goes to the member that its number names. The answer's text comes back, and up to
///    kMaxAnswerBytes of its data; data sent with the request stays here. A member that does not
///    exist, has not come within ten seconds of being given its number, or leaves before it has
///    answered counts as having answered "".
///
/// No thread waits for an answer: requests of one pipe of one member go one after the other, all
/// others side by side, and a slow member holds up only those who ask it.
///
/// When not: members reach each other through the hub's machine only, at 127.0.0.1. Two hubs that
/// joined each other would echo notifications for ever: connect them one way. Names of hubs must
/// be unique in a process.
///
/// Threads: any.
/// Ownership: the callbacks of its managers and of their pipes are the hub's: do not replace them.
/// Errors: a client that cannot be given a manager of its own can be heard but not asked, and a
/// message on stderr says why.
/// Limits: a member that left keeps its number, its manager and its port until the managers are
/// deinitialised. The members make kMaxPipes pipes, all together; the next is refused, like one
/// that does not exist. For a member that does not read,
/// CommunicationPipe::kMaxQueuedNotifyBytes are kept, of all its pipes; it misses what is more.
class DM_API BroadcastServer : public Server
{
public:
    /// Each pipe is there once for every member, and takes some 25 KiB each time.
    static constexpr uint32 kMaxPipes = 512;
    /// What is kept of an answer on its way, in bytes; one for each pipe of each member.
    static constexpr uint32 kMaxAnswerBytes = 64 * 1024;

    ///   events   in force before the first member can come; see setEventCallback.
    BroadcastServer(const char* name, int port, HubCallback events = {});

    /// Gives the requests under way an empty answer, and none to those that still waited for their
    /// turn. The managers stay, without a hub. Not from a callback.
    ~BroadcastServer() override;

    /// Joins another server on this machine: what its pipes say goes to the members, and the other
    /// way round. Uses up a member number, which is not the number its requests carry. A request to
    /// it waits while the connection is lost.
    void connect(Server* server);

    /// Sends a notification to every member, numbered with the hub's id, and waits until each has
    /// opened the pipe: without limit, also for one that has left, unless its manager is
    /// deinitialised. Not from a callback.
    void broadcastNotify(const char* pipeName, const char* text);

    /// Waits until other processes have held the zu::NamedMutex "<name>_refcount" and none does
    /// any more, or until stopWaiting. It need not wait to see them again if it saw them before.
    void waitOnProccesses();

    /// Makes waitOnProccesses return, now and later. From another thread or a signal's.
    void stopWaiting();

    /// Called on managers' threads as members come and go. When it returns, the previous one does
    /// not run any more. The callback must not call this, nor destroy the hub.
    void setEventCallback(HubCallback callback);

private:
    std::shared_ptr<Hub> hub; // also held by every manager whose callbacks lead to it
};

} // namespace dm
