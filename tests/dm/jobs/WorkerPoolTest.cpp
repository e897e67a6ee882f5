/// Threads that come with blocked tasks and go with the quiet.
#include "dm/jobs/WorkerPool.h"

#include "support/WaitUntil.h"

#include <atomic>
#include <future>
#include <gtest/gtest.h>

using namespace support;
using namespace std::chrono_literals;

namespace {

class WorkerPool : public testing::Test
{
protected:
    static constexpr zu::u32 kIdleMs = 5;

    ~WorkerPool() override { go.set(); }

    void blockTasks(int count)
    {
        const int before = running;
        for (int i = 0; i < count; ++i)
            pool.submit([this] {
                ++running;
                go.wait();
                --running;
            });
        ASSERT_TRUE(waitUntil([&] { return running == before + count; }));
    }
    bool hasThreads(size_t count)
    {
        return waitUntil([=, this] { return pool.threadCount() == count; });
    }

    const zu::Event go = zu::Event::create(true);
    std::atomic<int> running{0};
    dm::WorkerPool pool{"test pool", kIdleMs};
};

} // namespace

TEST_F(WorkerPool, HasAThreadForEachBlockedTaskAndOneIdle)
{
    pool.start();
    EXPECT_TRUE(hasThreads(1));
    for (int round = 0; round < 3; ++round) {
        go.reset();
        blockTasks(5);
        blockTasks(3);
        EXPECT_TRUE(hasThreads(9));
        go.set();
        EXPECT_TRUE(hasThreads(1)) << "after the idle time";
    }
}

TEST_F(WorkerPool, StopWaitsForWhatRunsAndTakesNothingMore)
{
    pool.start();
    blockTasks(2);
    auto stopped = std::async(std::launch::async, [this] { pool.stop(); });
    EXPECT_EQ(stopped.wait_for(20ms), std::future_status::timeout);
    go.set();
    stopped.get();
    EXPECT_EQ(running, 0);
    EXPECT_EQ(pool.threadCount(), 0u);
    pool.submit([] { FAIL(); });
    pool.stop();
}

TEST_F(WorkerPool, RunsEveryTaskOfManySubmitters)
{
    constexpr int kTasks = 500;
    std::atomic<int> count{0};
    pool.start();
    std::vector<std::future<void>> submitters;
    for (int thread = 0; thread < 4; ++thread)
        submitters.push_back(std::async(std::launch::async, [&] {
            for (int i = 0; i < kTasks; ++i)
                pool.submit([&count] { ++count; });
        }));
    EXPECT_TRUE(waitUntil([&] { return count == 4 * kTasks; }));
    submitters.clear();
    EXPECT_TRUE(hasThreads(1));
}
