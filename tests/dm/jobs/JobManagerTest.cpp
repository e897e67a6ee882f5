/// Batches of jobs: in which order, when, on which thread, and who frees them.
#include <dm/jobs.h>
#include <zul/Event.h>

#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <numeric>

using namespace std::chrono_literals;

namespace {

/// A job that calls a function of the test with the manager's name.
struct CallJob : dm::Job
{
    explicit CallJob(std::function<void(const std::string& managerName)> function)
        : call(std::move(function))
    {
    }
    void run(const char* managerName) override { call(managerName); }

    std::function<void(const std::string&)> call;
};

class JobManager : public testing::Test
{
protected:
    /// Notes its number when it runs.
    dm::Job* note(int number)
    {
        return new CallJob([this, number](const std::string&) { ran.push_back(number); });
    }

    /// Runs until `go` is raised, once it has raised `isRunning`.
    dm::Job* untilGo()
    {
        return new CallJob([this](const std::string&) {
            isRunning.set();
            go.wait();
        });
    }

    /// Lets the batch that waits for it end while `call` waits for the batch.
    template <typename Call>
    void expectToWaitForTheBatch(Call call)
    {
        isRunning.wait();
        auto waiting = std::async(std::launch::async, call);
        EXPECT_EQ(waiting.wait_for(30ms), std::future_status::timeout);
        go.set();
        waiting.get();
    }

    std::vector<int> ran; // written by jobs, read between batches
    const zu::Event isRunning = zu::Event::create();
    const zu::Event go = zu::Event::create();
    dm::JobManager manager{"game"};
};

struct Base
{
    virtual ~Base() = default;
    char bytes[40] = {};
};

struct SecondBaseJob : Base, CallJob
{
    using CallJob::CallJob;
};

struct alignas(256) AlignedJob : CallJob
{
    using CallJob::CallJob;
};

} // namespace

TEST_F(JobManager, RunsInOrderAndFreesEachJobOnceWhereverItsMemoryIsFrom)
{
    const auto token = std::make_shared<int>();
    for (int batch = 0; batch < 2; ++batch) {
        const auto work = [this, token](const std::string& name) {
            EXPECT_EQ(name, "game");
            EXPECT_STREQ(zu::getThreadName(zu::currentThreadId()), "ZMK game job manager");
            ran.push_back(30);
        };
        std::vector<int> expected(34, 30);
        std::iota(expected.begin(), expected.begin() + 30, 0);
        for (int i = 0; i < 30; ++i)
            manager.addJob(note(i));
        manager.addJob(new CallJob(work));
        manager.addJob(new (zu::allocateMemory(sizeof(CallJob))) CallJob(work));
        manager.addJob(new SecondBaseJob(work));
        manager.addJob(new AlignedJob(work));
        manager.runJobs(true);
        EXPECT_EQ(std::exchange(ran, {}), expected);
    }
    EXPECT_EQ(token.use_count(), 1) << "destroyed, all of them";
}

TEST_F(JobManager, JobAddedWhileABatchRunsWaitsForTheNext)
{
    manager.addJob(untilGo());
    manager.runJobs(false);
    expectToWaitForTheBatch([this] { manager.addJob(note(1)); });
    manager.waitJobsToComplete();
    EXPECT_TRUE(ran.empty());
    manager.runJobs(true);
    EXPECT_EQ(ran, std::vector<int>{1});
}

TEST_F(JobManager, SecondRunWaitsForTheFirstAndStartsNothingWithoutJobs)
{
    manager.addJob(untilGo());
    manager.runJobs(false);
    expectToWaitForTheBatch([this] { manager.runJobs(false); });
    manager.waitJobsToComplete();
    manager.runJobs(true);
    dm::JobManager().runJobs(true); // a placeholder
    EXPECT_FALSE(manager.isThreadRunning());
}

TEST_F(JobManager, JobMayUseItsOwnManager)
{
    manager.addJob(new CallJob([this](const std::string&) {
        for (int i = 0; i < 30; ++i) // the list grows while it is being run
            manager.addJob(note(i));
        manager.runJobs(true);
        manager.waitJobsToComplete();
        EXPECT_TRUE(ran.empty()) << "not before this job has ended";
    }));
    manager.addJob(note(-1));
    manager.runJobs(true);
    ASSERT_EQ(ran.size(), 31u) << "in the same batch";
    EXPECT_EQ(ran.front(), -1);
    EXPECT_EQ(ran.back(), 29);
}

TEST_F(JobManager, ManyThreadsMayUseItAndItsCopyAtOnceAndMissNoStart)
{
    constexpr int kRounds = 300;
    std::optional<dm::JobManager> original(std::in_place, "shared");
    dm::JobManager copies[2] = {dm::JobManager(), dm::JobManager("overwritten")};
    copies[0] = *original;
    copies[1] = copies[0];
    original.reset();
    std::atomic<int> count{0};
    std::atomic<int> overlaps{0};
    std::atomic<int> active[2] = {};
    std::vector<std::future<void>> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.push_back(std::async(std::launch::async, [&, thread] {
            dm::JobManager& copy = copies[thread % 2];
            for (int i = 0; i < kRounds; ++i) {
                copy.addJob(new CallJob([&, thread](const std::string& name) {
                    EXPECT_EQ(name, "shared");
                    overlaps += active[thread % 2].fetch_add(1);
                    ++count;
                    --active[thread % 2];
                }));
                copy.runJobs(i % 4 == thread);
            }
            copy.waitJobsToComplete();
            EXPECT_GE(count, kRounds) << "its own, at least";
        }));
    threads.clear();
    EXPECT_EQ(count, 4 * kRounds);
    EXPECT_EQ(overlaps, 0);
}

TEST_F(JobManager, DestructionWaitsForTheBatchAndRunsNothingElse)
{
    auto doomed = std::make_unique<dm::JobManager>("doomed");
    doomed->addJob(untilGo());
    doomed->addJob(note(1));
    doomed->runJobs(false);
    expectToWaitForTheBatch([&] { doomed.reset(); });
    EXPECT_EQ(ran, std::vector<int>{1});

    doomed = std::make_unique<dm::JobManager>("doomed");
    const std::unique_ptr<dm::Job> queued(note(2));
    doomed->addJob(queued.get());
    doomed.reset();
    EXPECT_EQ(ran, std::vector<int>{1});
}
