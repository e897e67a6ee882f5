/// Forwards the requests of a hub's members. Nothing waits for an answer, no thread either.
///
/// A source is a pipe of the hub that requests come in on. Its requests are forwarded one at a
/// time, because a pipe has a single slot for the request being answered; different sources go side
/// by side, so that members may ask each other while they answer, and a slow one holds up only
/// those who ask it.
///
/// Threads: a request of a source that has none under way is sent on by the thread that notes it,
/// which takes two hand-overs less than by way of another; the later ones, whose turn may come
/// under somebody's lock, by the forwarder's own. One is enough, because forwards hold up nobody.
///
/// Life of the thread: started by start(), woken by `wake`, joined by stop().
///
/// Locks: `lock` is a leaf; nothing is taken, sent or cancelled under it.
#pragma once

#include "dm/common/Gate.h"
#include "dm/common/LockOrder.h"
#include "dm/jobs/JobForwardRequest.h"

#include <zul/Event.h>
#include <zul/Thread.h>

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

namespace dm {

class RequestForwarder : private zu::Thread
{
public:
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
        std::shared_ptr<JobForwardRequest> job;
        ManagerGate target; // null: nobody
    };

    /// Takes the next request of a source, if there still is one. Called without locks.
    using Taker = std::function<Forward(const Source&)>;

    explicit RequestForwarder(Taker requestTaker)
        : taker(std::move(requestTaker))
    {
    }
    ~RequestForwarder() override { stop(); }

    void start() { startThread(); }

    /// Forwards nothing more; who still waits for an answer gets "".
    void stop();

    /// A request has arrived. On the source's manager's thread; never waits; ignored after stop().
    void noteRequest(const Source& source);

    /// The manager has lost a connection, and its pipes are detached: answers for those who asked
    /// over it are dropped, and from a member that is gone none is expected.
    /// On the manager's thread.
    void connectionLost(const ManagerGate& manager, bool isGone);
    /// One of the manager's pipes is attached.
    void memberCame(const ManagerGate& manager);
    /// The source has a new connection: nobody waits for what came over an earlier one.
    void sourceRestarted(const Source& source);

private:
    struct Queue // of one source; exists while requests are noted or one is under way
    {
        Source source;
        zu::u32 noted = 0;
        bool isBusy = false; // waits for its turn, or is being forwarded
        Forward underWay;
    };
    using QueueKey = std::pair<const NetCommunicationPipe*, const Gate*>;

    int run() override;
    bool forwardNext();
    void forward(const QueueKey& key, const Source& source);
    void finish(const QueueKey& key);

    const Taker taker;
    const zu::Event wake = zu::Event::create();

    LeafMutex lock;

    // Under lock.
    std::map<QueueKey, Queue> queues;
    std::deque<QueueKey> ready; // in the order of their requests
    std::set<ManagerGate> gone;
    bool stopping = false;
};

} // namespace dm
