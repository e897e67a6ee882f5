#include "dm/jobs/RequestForwarder.h"

#include "dm/comm/NetCommunicationPipe.h"

namespace dm {

void RequestForwarder::stop()
{
    std::vector<std::shared_ptr<JobForwardRequest>> left;
    {
        const std::lock_guard guard(lock);
        stopping = true;
        for (const auto& [key, queue] : queues) {
            if (queue.underWay.job != nullptr)
                left.push_back(queue.underWay.job);
        }
    }
    wake.set();
    joinThread();
    for (const auto& job : left)
        job->cancel();
}

void RequestForwarder::noteRequest(const Source& source)
{
    const QueueKey key(source.pipe, source.manager.get());
    {
        const std::lock_guard guard(lock);
        if (stopping)
            return;
        Queue& queue = queues[key];
        queue.source = source;
        ++queue.noted;
        if (std::exchange(queue.isBusy, true))
            return;
        --queue.noted;
    }
    forward(key, source);
}

int RequestForwarder::run()
{
    zu::setThreadName(zu::currentThreadId(), "ZMK hub forwarder");
    for (;;) {
        wake.wait();
        while (forwardNext()) {
        }
        const std::lock_guard guard(lock);
        if (stopping)
            return 0;
    }
}

/// False when nothing is ready.
bool RequestForwarder::forwardNext()
{
    QueueKey key;
    Source source;
    {
        const std::lock_guard guard(lock);
        if (stopping || ready.empty())
            return false;
        key = ready.front();
        ready.pop_front();
        Queue& queue = queues.at(key);
        --queue.noted;
        source = queue.source;
    }
    forward(key, source);
    return true;
}

void RequestForwarder::forward(const QueueKey& key, const Source& source)
{
    Forward found = taker(source);
    if (found.job == nullptr) {
        finish(key);
        return;
    }
    const std::shared_ptr<JobForwardRequest> job = found.job;
    const ManagerGate target = found.target;
    job->setSettled([this, key] { finish(key); });
    {
        const std::lock_guard guard(lock);
        queues.at(key).underWay = std::move(found);
    }
    job->run("");
    // Who leaves from here on cancels the request. Who left before found nothing to cancel.
    bool isPointless = !job->isAskerConnected();
    {
        const std::lock_guard guard(lock);
        isPointless = isPointless || stopping || gone.contains(target);
    }
    if (isPointless)
        job->cancel();
}

void RequestForwarder::finish(const QueueKey& key)
{
    {
        const std::lock_guard guard(lock);
        const auto found = queues.find(key);
        found->second.underWay = {};
        if (found->second.noted == 0) {
            queues.erase(found);
            return;
        }
        ready.push_back(key);
    }
    wake.set();
}

void RequestForwarder::connectionLost(const ManagerGate& manager, bool isGone)
{
    std::vector<std::shared_ptr<JobForwardRequest>> pointless;
    {
        const std::lock_guard guard(lock);
        if (isGone)
            gone.insert(manager);
        for (const auto& [key, queue] : queues) {
            if (queue.underWay.job == nullptr)
                continue;
            const bool asked = queue.source.manager == manager && !queue.source.pipe->isConnected();
            if (asked || (isGone && queue.underWay.target == manager))
                pointless.push_back(queue.underWay.job);
        }
    }
    for (const auto& job : pointless)
        job->cancel();
}

void RequestForwarder::memberCame(const ManagerGate& manager)
{
    const std::lock_guard guard(lock);
    gone.erase(manager);
}

void RequestForwarder::sourceRestarted(const Source& source)
{
    std::shared_ptr<JobForwardRequest> pointless;
    {
        const std::lock_guard guard(lock);
        const auto found = queues.find({source.pipe, source.manager.get()});
        if (found == queues.end())
            return;
        pointless = found->second.underWay.job;
    }
    if (pointless != nullptr)
        pointless->cancel();
}

} // namespace dm
