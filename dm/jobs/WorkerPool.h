/// Threads for tasks that block: as many as there are tasks under way, and one idle for the next.
///
/// Submitting never starts a thread and never waits: the worker that takes a task and finds that
/// it was the last idle one starts the next before it begins. Beyond one, a worker that had no task
/// for the idle time ends.
///
/// Life: workers are started by start() and by each other, woken by their events. One that ends by
/// itself leaves its handle to be joined by the next that does, or by stop().
///
/// Locks: `lock` is a leaf. No task runs and no thread is joined under it.
#pragma once

#include "dm/common/LockOrder.h"

#include <zul/Event.h>
#include <zul/Types.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <list>
#include <thread>
#include <vector>

namespace dm {

class WorkerPool
{
public:
    using Task = std::function<void()>;

    explicit WorkerPool(const char* threadName, zu::u32 idleMilliseconds = 2000)
        : name(threadName)
        , idleMs(idleMilliseconds)
    {
    }
    ~WorkerPool() { stop(); }
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    void start() { startWorker(); }

    /// Runs the task soon; ignored after stop(). A task must not throw.
    void submit(Task task);

    /// Waits for the tasks under way and ends all threads. Tasks not begun are dropped.
    void stop();

    size_t threadCount();

private:
    struct Worker
    {
        zu::Event wake = zu::Event::create();
        Task task; // under lock; set by whoever wakes it
        std::thread thread;
    };
    using WorkerPosition = std::list<Worker>::iterator;

    void startWorker();
    void work(WorkerPosition self);
    Task take(WorkerPosition self);
    void leave(WorkerPosition self);

    const char* const name;
    const zu::u32 idleMs;

    LeafMutex lock;
    std::condition_variable_any workerLeft;

    // Under lock.
    std::list<Worker> workers;
    std::vector<Worker*> idle; // the one that was busy last, and is warm, at the back
    zu::u32 starting = 0;      // workers that have not been idle or busy yet
    std::deque<Task> tasks;    // that no worker was idle for
    std::vector<std::thread> left;
    bool stopping = false;
};

} // namespace dm
