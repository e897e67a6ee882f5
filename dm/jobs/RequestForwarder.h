/// Forwards the requests of a hub's members, off the managers' threads.
///
/// A source is a pipe of the hub that requests come in on. Its requests are forwarded one at a
/// time, because a pipe has a single slot for the request being answered; different sources go side
/// by side, so that members may ask each other while they answer, and a slow one holds up only
/// those who ask it. One asking manager has at most kMaxForwardsPerAsker forwards under way, which
/// bounds the threads; its other pipes wait for their turn.
///
/// Locks: `lock` is a leaf; nothing is taken, forwarded or submitted under it.
#pragma once

#include "dm/common/Gate.h"
#include "dm/common/LockOrder.h"
#include "dm/jobs/JobForwardRequest.h"
#include "dm/jobs/WorkerPool.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <utility>

namespace dm {

class RequestForwarder
{
public:
    static constexpr zu::u32 kMaxForwardsPerAsker = 64;

    /// A manager, by what outlives it: so another one at its address is not taken for it.
    using ManagerGate = std::shared_ptr<Gate>;

    /// Where a request came in. The pipe may be used only with a pass of the gate.
    struct Source
    {
        NetCommunicationPipe* pipe = nullptr;
        ManagerGate manager;
    };

    /// What becomes of it; without a job nothing.
    struct Forward
    {
        std::unique_ptr<JobForwardRequest> job;
        ManagerGate target; // null: nobody
    };

    /// Takes the next request of a source, if there still is one. Called on worker threads.
    using Taker = std::function<Forward(const Source&)>;

    explicit RequestForwarder(Taker requestTaker)
        : taker(std::move(requestTaker))
    {
    }
    ~RequestForwarder() { stop(); }

    void start() { pool.start(); }

    /// Ends all waits, for the asked as for the askers, and then the threads. Takes at most
    /// kGoodbyeMs.
    void stop();

    /// A request has arrived. Any thread; returns at once; ignored after stop().
    void noteRequest(const Source& source);

    /// The manager has lost a connection, and its pipes are detached: nobody waits for an answer
    /// over it any more, and with none left (`isGone`) for an answer from there.
    /// On the manager's thread.
    void connectionLost(const ManagerGate& manager, bool isGone);
    void connectionMade(const ManagerGate& manager);

    size_t threadCount() { return pool.threadCount(); }

private:
    static constexpr zu::u32 kGoodbyeMs = 100;

    struct Queue // of one source; exists while requests are noted or under way
    {
        Source source;
        zu::u32 noted = 0;
        bool isScheduled = false; // waits for its turn or is being forwarded
    };

    struct Asker
    {
        zu::u32 forwards = 0;
        std::deque<Queue*> held; // over the limit
    };

    struct Running
    {
        JobForwardRequest& job;
        const Source& source;
        const ManagerGate& target;
    };
    using SourceKey = std::pair<const NetCommunicationPipe*, const Gate*>;

    Queue* nextOf(Asker& asker);
    void submit(Queue* queue);
    void forwardNext(Queue& queue);
    void run(const Source& source, Forward& forward);
    void finish(Queue& queue);

    const Taker taker;

    LeafMutex lock;
    std::condition_variable_any runningEnded;

    // Under lock. What is in a map stays where it is.
    std::map<SourceKey, Queue> queues;
    std::map<ManagerGate, Asker> askers;
    std::set<ManagerGate> gone;
    std::list<Running> running;
    bool stopping = false;

    WorkerPool pool{"ZMK hub forwarder"};
};

} // namespace dm
