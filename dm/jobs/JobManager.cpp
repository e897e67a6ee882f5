#include "dm/common/Diagnostics.h"
#include "dm/common/LockOrder.h"

#include <dm/jobs.h>

#include <cassert>
#include <utility>

namespace dm {

namespace {

// Managers that share a start event may take each other's signal: so each looks again so often.
constexpr uint32 kLookAgainMs = 1;

using JobGuard = RankedGuard<LockRank::JobRun, zu::CriticalSection>;

/// Not a deleting destructor: that would run the program's operator delete, and the memory may
/// have been taken from our heap without it.
void destroy(Job* job)
{
    void* const memory = dynamic_cast<void*>(job); // Job need not be the first base
    job->~Job();
    zu::deleteMemory(memory);
}

} // namespace

Job::~Job() = default;

JobManager::JobManager() = default;

JobManager::JobManager(const char* managerName)
    : name(managerName)
    , startedEvent(zu::Event::create())
{
}

JobManager::JobManager(const JobManager& other)
    : JobManager()
{
    *this = other;
}

JobManager& JobManager::operator=(const JobManager& other)
{
    if (this == &other)
        return *this;
    zu::Thread::operator=(other);
    zu::Vector<Job*> queued;
    {
        const JobGuard guard(other.lock);
        queued = other.jobs;
    }
    const JobGuard guard(lock);
    assert(queued.empty() && jobs.empty() && "job managers are assigned before they get jobs");
    name = other.name;
    jobs = std::move(queued);
    startedEvent = other.startedEvent;
    return *this;
}

JobManager::~JobManager() { joinThread(); }

void JobManager::addJob(Job* job)
{
    const JobGuard guard(lock);
    jobs.push_back(job);
}

void JobManager::runJobs(bool waitForCompletion)
{
    if (isOwnThread())
        return; // it would wait for itself
    {
        const JobGuard running(runLock);
        {
            const JobGuard guard(lock);
            if (jobs.empty())
                return;
        }
        if (!startedEvent.isValid()) {
            warn("runJobs on a JobManager without a name: assign one that has a name first");
            return;
        }
        joinThread();
        const uint32 before = batchesStarted.load();
        startThread();
        while (batchesStarted.load() == before)
            startedEvent.waitFor(kLookAgainMs);
    }
    if (waitForCompletion)
        joinThread();
}

void JobManager::waitJobsToComplete()
{
    if (!isOwnThread())
        joinThread();
}

int JobManager::run()
{
    const JobGuard guard(lock);
    batchThread.store(std::this_thread::get_id());
    zu::setThreadName(zu::currentThreadId(), zu::str("ZMK %s job manager", name.c_str()).c_str());
    ++batchesStarted;
    startedEvent.set();
    // By index, and asking for the size each time: a job may add jobs.
    for (size_t index = 0; index < jobs.size(); ++index) {
        jobs[index]->run(name.c_str());
        destroy(jobs[index]);
    }
    jobs.clear();
    batchThread.store(std::thread::id());
    return 0;
}

} // namespace dm
