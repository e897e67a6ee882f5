#include "dm/jobs/WorkerPool.h"

#include "dm/common/Diagnostics.h"

#include <zul/Thread.h>

#include <system_error>
#include <utility>

namespace dm {

void WorkerPool::submit(Task task)
{
    const std::lock_guard guard(lock);
    if (stopping)
        return;
    if (idle.empty()) {
        tasks.push_back(std::move(task));
        return;
    }
    Worker* const worker = idle.back();
    idle.pop_back();
    worker->task = std::move(task);
    worker->wake.set();
}

void WorkerPool::stop()
{
    std::vector<std::thread> last;
    {
        std::unique_lock guard(lock);
        stopping = true;
        tasks.clear();
        for (Worker* worker : idle)
            worker->wake.set();
        workerLeft.wait(guard, [this] { return workers.empty(); });
        last = std::move(left);
    }
    for (std::thread& thread : last)
        thread.join();
}

size_t WorkerPool::threadCount()
{
    const std::lock_guard guard(lock);
    return workers.size();
}

void WorkerPool::startWorker()
{
    const std::lock_guard guard(lock);
    if (stopping)
        return;
    const WorkerPosition self = workers.emplace(workers.end());
    ++starting;
    try {
        self->thread = std::thread([this, self] { work(self); });
    } catch (const std::system_error&) {
        // Those there are will get to it.
        --starting;
        workers.erase(self);
        warn("%s: the system gives no further thread", name);
    }
}

void WorkerPool::work(WorkerPosition self)
{
    zu::setThreadName(zu::currentThreadId(), name);
    {
        const std::lock_guard guard(lock);
        --starting;
    }
    while (Task task = take(self))
        task();
    leave(self);
}

/// The next task; none when the worker is to end.
WorkerPool::Task WorkerPool::take(WorkerPosition self)
{
    Task task;
    {
        const std::lock_guard guard(lock);
        if (!tasks.empty()) {
            task = std::move(tasks.front());
            tasks.pop_front();
        } else if (stopping) {
            return nullptr;
        } else {
            idle.push_back(&*self);
        }
    }
    while (!task) {
        self->wake.waitFor(idleMs);
        const std::lock_guard guard(lock);
        if (self->task)
            task = std::exchange(self->task, nullptr);
        else if (stopping || idle.size() > 1) {
            std::erase(idle, &*self);
            return nullptr;
        }
    }
    bool isLast = false;
    {
        const std::lock_guard guard(lock);
        isLast = idle.empty() && starting == 0;
    }
    if (isLast)
        startWorker();
    return task;
}

void WorkerPool::leave(WorkerPosition self)
{
    std::vector<std::thread> before;
    {
        const std::lock_guard guard(lock);
        before = std::exchange(left, {});
        left.push_back(std::move(self->thread));
        workers.erase(self);
        workerLeft.notify_all();
    }
    for (std::thread& thread : before)
        thread.join();
}

} // namespace dm
