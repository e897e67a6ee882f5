#include "bench/MedianFigure.h"
#include "bench/rows/Rows.h"

#include <dm/jobs.h>

#include <chrono>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned kJobs = 10'000;

class EmptyJob : public dm::Job
{
public:
    void run(const char*) override {}
};

double runBatch(dm::JobManager& manager)
{
    const Clock::time_point start = Clock::now();
    for (unsigned i = 0; i < kJobs; ++i)
        manager.addJob(new EmptyJob);
    manager.runJobs(true);
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / kJobs;
}

double nanosecondsPerJob(const Settings& settings)
{
    dm::JobManager manager("bench");
    return medianFigure(settings, [&manager] { return runBatch(manager); });
}

} // namespace

Row jobsRow()
{
    Row row;
    row.name = "jobs10k";
    row.title = "a batch of 10,000 empty jobs, made, queued, run and freed";
    row.unit = "ns a job";
    row.better = Better::Lower;
    row.contenders = {{"dm", nanosecondsPerJob}};
    row.thresholds = {{"", 200}};
    return row;
}

} // namespace bench
