#include <zul/Thread.h>

#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <thread>

namespace {

class Worker : public zu::Thread
{
public:
    explicit Worker(std::function<void(Worker&)> work)
        : body(std::move(work))
    {
    }
    ~Worker() override { joinThread(); }

    int run() override
    {
        body(*this);
        return 0;
    }

private:
    std::function<void(Worker&)> body;
};

TEST(Thread, JoinsAndStartsInAnyOrder)
{
    std::atomic<int> runs{0};
    Worker worker([&runs](Worker& self) {
        self.joinThread(); // does not wait for itself
        self.startThread();
        ++runs;
    });
    worker.joinThread();
    for (int i = 0; i < 50; ++i)
        worker.startThread();
    worker.joinThread();
    worker.joinThread();
    EXPECT_EQ(runs, 50);
    EXPECT_FALSE(worker.isThreadRunning());
}

TEST(Thread, LetsManyThreadsJoinAndStartAtOnce)
{
    std::atomic<int> active{0};
    std::atomic<int> overlaps{0};
    Worker worker([&](Worker&) {
        overlaps += active.fetch_add(1);
        active.fetch_sub(1);
    });
    std::vector<std::jthread> others;
    for (int i = 0; i < 4; ++i)
        others.emplace_back([&worker] {
            for (int j = 0; j < 50; ++j) {
                worker.startThread();
                worker.joinThread();
            }
        });
    others.clear();
    EXPECT_EQ(overlaps, 0);
}

TEST(Thread, KeepsTheWholeNameUntilItEnds)
{
    const std::string name = "a name longer than the system would show";
    zu::u32 id = 0;
    std::string seen;
    Worker worker([&](Worker&) {
        id = zu::currentThreadId();
        zu::registerThread(9);
        zu::setThreadName(id, name.c_str());
        seen = zu::getThreadName(id) + std::to_string(zu::getRegisteredThreadId());
    });
    worker.startThread();
    worker.joinThread();
    EXPECT_EQ(seen, name + "9");
    EXPECT_NE(id, zu::currentThreadId());
    EXPECT_STREQ(zu::getThreadName(id), "");
    EXPECT_EQ(zu::getRegisteredThreadId(), 0);
}

} // namespace
