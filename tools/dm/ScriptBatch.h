#pragma once

#include "tools/dm/JobScript.h"

#include <dm/jobs.h>
#include <zul/Memory.h>

#include <atomic>
#include <cstdint>
#include <exception>
#include <vector>

namespace tool {

/// The jobs of a script, what they need, and how far they have come.
///
/// A job whose file cannot be written is the last that runs. The library's jobs do the talking.
///
/// Threads: jobs run on their manager's thread; everything here is called from the main thread.
/// Lifetime: outlives the client that runs the jobs.
class ScriptBatch
{
public:
    /// Reads the files that answers are made of. Throws ToolError when one cannot be read. The
    /// steps must live as long.
    explicit ScriptBatch(const std::vector<ScriptStep>& scriptSteps);
    ScriptBatch(const ScriptBatch&) = delete;
    ScriptBatch& operator=(const ScriptBatch&) = delete;

    /// Queues a job for each step, once. They must be run.
    void addJobsTo(dm::Client& client);

    /// From here on jobs do nothing: those that have not begun, and the one that is about to end
    /// writes no file.
    void stop() { stopping = true; }

    /// Whether all jobs have run or were skipped. zu::Interrupt is notified when they have.
    bool isDone() const { return finished == steps.size(); }

    /// The step that runs, or the last one.
    const ScriptStep& current() const { return steps[running]; }

    /// Of the step that `current` tells; for when isDone.
    void rethrowFailure() const;

private:
    class StepJob;

    void run(std::size_t index, dm::Job& job, const char* managerName);
    void runAndStore(std::size_t index, dm::Job& job, const char* managerName);
    dm::Job* makeJob(std::size_t index, dm::Client& client);

    const std::vector<ScriptStep>& steps;
    std::vector<std::vector<char>> answers; // one a step, of those that respond with data
    zu::ZeroedBuffer received;              // what the job that runs is answered
    std::uint32_t receivedBytes = 0;        // its size; the job manager's thread only
    std::exception_ptr failure;             // written before `finished` says so

    std::atomic<bool> stopping{false};
    std::atomic<std::size_t> running{0};
    std::atomic<std::size_t> finished{0};
};

} // namespace tool
