#include "dm/jobs/RequestForwarder.h"

#include "dm/comm/NetCommunicationPipe.h"

#include <chrono>
#include <utility>

namespace dm {

void RequestForwarder::stop()
{
    {
        std::unique_lock guard(lock);
        stopping = true;
        for (const Running& entry : running)
            entry.job.abandonAsking();
        runningEnded.wait_for(guard, std::chrono::milliseconds(kGoodbyeMs),
                              [this] { return running.empty(); });
        for (const Running& entry : running)
            entry.job.abandonAll();
    }
    pool.stop();
}

void RequestForwarder::noteRequest(const Source& source)
{
    Queue* next = nullptr;
    {
        const std::lock_guard guard(lock);
        if (stopping)
            return;
        Queue& queue = queues[{source.pipe, source.manager.get()}];
        queue.source = source;
        ++queue.noted;
        if (std::exchange(queue.isScheduled, true))
            return;
        Asker& asker = askers[source.manager];
        asker.held.push_back(&queue);
        next = nextOf(asker);
    }
    submit(next);
}

/// Under lock. Null when the asker has its share under way.
RequestForwarder::Queue* RequestForwarder::nextOf(Asker& asker)
{
    if (asker.held.empty() || asker.forwards == kMaxForwardsPerAsker)
        return nullptr;
    ++asker.forwards;
    Queue* const next = asker.held.front();
    asker.held.pop_front();
    return next;
}

void RequestForwarder::submit(Queue* queue)
{
    if (queue != nullptr)
        pool.submit([this, queue] { forwardNext(*queue); });
}

void RequestForwarder::forwardNext(Queue& queue)
{
    Source source;
    {
        const std::lock_guard guard(lock);
        --queue.noted;
        source = queue.source;
    }
    if (Forward forward = taker(source); forward.job != nullptr)
        run(source, forward);
    finish(queue);
}

void RequestForwarder::run(const Source& source, Forward& forward)
{
    std::list<Running>::iterator entry;
    {
        // Whoever is lost from here on finds it in the list.
        const std::lock_guard guard(lock);
        entry = running.insert(running.end(), {*forward.job, source, forward.target});
        if (stopping)
            forward.job->abandonAll();
        else if (gone.contains(forward.target))
            forward.job->abandonAsking();
    }
    {
        const Gate::Pass pass(*source.manager);
        if (!pass || !source.pipe->isConnected())
            forward.job->abandonAll();
    }
    forward.job->run("");
    const std::lock_guard guard(lock);
    running.erase(entry);
    runningEnded.notify_all();
}

void RequestForwarder::finish(Queue& queue)
{
    Queue* next = nullptr;
    {
        const std::lock_guard guard(lock);
        const auto asker = askers.find(queue.source.manager);
        --asker->second.forwards;
        if (queue.noted > 0)
            asker->second.held.push_back(&queue); // behind the others of this asker
        else
            queues.erase({queue.source.pipe, queue.source.manager.get()});
        next = nextOf(asker->second);
        if (asker->second.forwards == 0)
            askers.erase(asker);
    }
    submit(next);
}

void RequestForwarder::connectionLost(const ManagerGate& manager, bool isGone)
{
    const std::lock_guard guard(lock);
    if (isGone)
        gone.insert(manager);
    for (const Running& entry : running) {
        if (entry.source.manager == manager && !entry.source.pipe->isConnected())
            entry.job.abandonAll();
        else if (entry.target == manager && isGone)
            entry.job.abandonAsking();
    }
}

void RequestForwarder::connectionMade(const ManagerGate& manager)
{
    const std::lock_guard guard(lock);
    gone.erase(manager);
}

} // namespace dm
