#include <zul/Event.h>
#include <zul/Mutex.h>
#include <zul/Timer.h>
#include <zul/Yield.h>

#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <thread>

namespace {

using zu::Event;

/// Each case with waiters that yield first, and with waiters that sleep at once.
class EventTest : public ::testing::TestWithParam<zu::u32>
{
protected:
    void SetUp() override { zu::setYieldMicroseconds(GetParam()); }
    void TearDown() override { zu::setYieldMicroseconds(zu::kDefaultYieldMicroseconds); }
};

INSTANTIATE_TEST_SUITE_P(Yielding, EventTest, ::testing::Values(0u, 50u));

TEST_P(EventTest, KeepsOneTokenHoweverOftenItIsSet)
{
    const Event event = Event::create();
    EXPECT_FALSE(event.waitFor(0));
    event.set();
    event.set();
    EXPECT_TRUE(event.waitFor(0));
    const zu::Timer timer;
    EXPECT_FALSE(event.waitFor(30));
    EXPECT_GE(timer.getElapsed(), 0.030);
    EXPECT_TRUE(Event::create(false, true).waitFor(0));
    EXPECT_FALSE(GetParam() == 0 && zu::YieldBudget().yield()) << "off is off";
}

TEST_P(EventTest, StaysUpUntilResetWhenManual)
{
    const Event event = Event::create(true);
    std::vector<std::jthread> waiters;
    for (int i = 0; i < 8; ++i)
        waiters.emplace_back([event] { event.wait(); });
    event.set();
    waiters.clear();
    event.wait();
    event.reset();
    EXPECT_FALSE(event.waitFor(0));
}

TEST_P(EventTest, LetsOneWaiterThroughForEachToken)
{
    const Event token = Event::create();
    const Event taken = Event::create();
    std::atomic<int> passes{0};
    std::atomic<bool> done{false};
    std::vector<std::jthread> waiters;
    for (zu::u32 timeoutMs : {1u, 1000u, 1u, 1000u}) // some give up just as it comes
        waiters.emplace_back([&, timeoutMs] {
            while (!done)
                if (token.waitFor(timeoutMs)) {
                    ++passes;
                    taken.set();
                }
        });
    for (int i = 0; i < 4000; ++i) {
        token.set();
        taken.wait();
    }
    EXPECT_EQ(passes, 4000);
    done = true;
    waiters.clear();
}

TEST_P(EventTest, OutlivesTheWaitersCopy)
{
    for (int i = 0; i < 2000; ++i) {
        Event waiters = Event::create();
        std::thread setter([copy = waiters] { copy.set(); });
        waiters.wait();
        waiters = Event();
        setter.join();
    }
}

TEST(Mutex, IsFreeForOthersOnlyAfterTheLastUnlock)
{
    zu::Mutex mutex;
    const auto isFreeForOthers = [&mutex] {
        const auto tryIt = [&] { return mutex.try_lock() && (mutex.unlock(), true); };
        return std::async(std::launch::async, tryIt).get();
    };
    mutex.lock();
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
    EXPECT_FALSE(isFreeForOthers());
    mutex.unlock();
    EXPECT_TRUE(isFreeForOthers());
}

} // namespace
