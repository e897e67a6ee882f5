#include "ConnectionFixture.h"

#include <zul/WaitSet.h>
#include <zul/Yield.h>

#include <atomic>

using net::u32;
using net::WaitSet;
using zu::PollableEvent;
using zu::waitAny;
using zu::WaitHandle;

static constexpr u32 kLongMs = 40000;

TEST(WaitAny, WakesForEventsAndSocketsAlike)
{
    net::Listener listener(0);
    PollableEvent event;
    WaitHandle handles[] = {event.getWaitHandle(), listener.getWaitHandle()};
    std::thread setter([&] { event.set(); });
    EXPECT_EQ(waitAny(handles, 2, kLongMs), 0);
    setter.join();
    net::Socket client;
    client.connect("127.0.0.1", listener.getPort());
    EXPECT_EQ(waitAny(handles, 2, kLongMs), 1);
}

TEST(WaitAny, TakesTheTokenOfTheEventItReturns)
{
    PollableEvent first, second;
    WaitHandle handles[] = {WaitHandle(), first.getWaitHandle(), second.getWaitHandle(),
                            first.getWaitHandle()};
    EXPECT_EQ(waitAny(handles, 4, 0), -1);
    second.set();
    first.set();
    first.set();
    EXPECT_EQ(waitAny(handles, 4, kLongMs), 1);
    EXPECT_EQ(waitAny(handles, 4, kLongMs), 2);
    EXPECT_EQ(waitAny(handles, 4, 5), -1);
}

// A set with a connected pair in it: key 1 the server's socket, key 2 the client's.
class WaitSetTest : public ConnectionFixture
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(connectPair());
        ASSERT_TRUE(set.add(server->getWaitHandle(), zu::Interest::Read, 1));
        ASSERT_TRUE(set.add(client.getWaitHandle(), zu::Interest::Read, 2));
    }

    // The key of the first thing that gets ready; 0 for a time-out or a wake.
    net::u64 waitForKey(u32 timeoutMs)
    {
        WaitSet::Ready ready[8];
        return set.wait(ready, 8, timeoutMs) > 0 ? ready[0].key : 0;
    }

    WaitSet set;
};

TEST_F(WaitSetTest, ReportsWhatIsReadyAsLongAsItIs)
{
    set.wake();
    EXPECT_EQ(waitForKey(kLongMs), 0u); // returned, although nothing is ready
    EXPECT_EQ(waitForKey(1), 0u);
    net::Packet packet(1);
    client.sendPacket(&packet);
    EXPECT_EQ(waitForKey(kLongMs), 1u);
    EXPECT_EQ(waitForKey(0), 1u);
    server->update(true, false);
    EXPECT_EQ(waitForKey(0), 0u);

    WaitSet::Ready ready[2];
    EXPECT_TRUE(set.change(client.getWaitHandle(), zu::Interest::ReadWrite, 5));
    ASSERT_EQ(set.wait(ready, 2, kLongMs), 1u);
    EXPECT_TRUE(ready[0].key == 5 && ready[0].writable && !ready[0].readable);
    set.remove(client.getWaitHandle());
    EXPECT_EQ(waitForKey(0), 0u);
    EXPECT_TRUE(set.change(client.getWaitHandle(), zu::Interest::Write, 6)); // adds it again
    EXPECT_EQ(waitForKey(kLongMs), 6u);
    set.remove(client.getWaitHandle());
    client.close();
    EXPECT_EQ(waitForKey(kLongMs), 1u);
    EXPECT_FALSE(set.add(WaitHandle(), zu::Interest::Read, 7));
}

TEST_F(WaitSetTest, WakesDoNotHideWhatIsReady)
{
    net::Packet packet(1);
    client.sendPacket(&packet);
    for (net::u64 key = 0, waits = 0; key != 1; waits++) {
        ASSERT_LT(waits, 3u);
        set.wake();
        key = waitForKey(kLongMs);
    }
}

TEST_F(WaitSetTest, LosesNoWakeAtAnyMoment)
{
    for (u32 yieldMicroseconds : {0u, zu::kDefaultYieldMicroseconds}) {
        zu::setYieldMicroseconds(yieldMicroseconds);
        std::atomic<int> work{0};
        std::atomic<int> done{0};
        std::thread waker([&] {
            for (int index = 0; index < 10000; index++) {
                work++;
                set.wake();
                while (index % 16 == 0 && done <= index)
                    std::this_thread::yield();
            }
        });
        auto start = std::chrono::steady_clock::now();
        while (done < 10000) {
            waitForKey(kLongMs);
            done += work.exchange(0);
        }
        waker.join();
        // A lost wake would have been waited out.
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(kLongMs));
    }
    zu::setYieldMicroseconds(zu::kDefaultYieldMicroseconds);
}
