#include "tools/fileserver/WriteTurns.h"

#include "support/WaitUntil.h"

#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

using namespace fileserver;
using namespace std::chrono_literals;
using Turn = WriteTurns::Turn;

namespace {

// Whether one who comes later waits while the first has its turn, as is expected or not.
bool waits(bool isExpected, const char* first, Access firstAccess, const char* second,
           Access secondAccess)
{
    WriteTurns turns;
    std::optional<Turn> turn(std::in_place, turns, WriteTurns::Claims{{{first, firstAccess}}}, 1);
    auto later = std::async(std::launch::async, [&] {
        // What is about something else altogether comes through in any case.
        const Turn other(turns, {{{"elsewhere", Access::Write}}}, 1);
        const Turn its(turns, {{{second, secondAccess}}}, 1);
    });
    const bool hasWaited =
        later.wait_for(isExpected ? 20ms : std::chrono::milliseconds(support::kLongLimit)) ==
        std::future_status::timeout;
    turn.reset();
    later.get();
    return hasWaited;
}

TEST(WriteTurns, WhoComesAfterAWriteWaitsIfThePathsAreRelated)
{
    const Access read = Access::Read, write = Access::Write;
    EXPECT_TRUE(waits(true, "data/a", write, "DATA\\.//a", read));
    EXPECT_TRUE(waits(true, "data/a", write, "data", read));
    EXPECT_TRUE(waits(true, "data/a", write, "data/a/b", write));
    EXPECT_FALSE(waits(false, "data/a", write, "data/ab", write));
    EXPECT_FALSE(waits(false, "data/a/b", write, "data/b", write));
    EXPECT_FALSE(waits(false, "data/a", read, "data/a", write));
    EXPECT_FALSE(waits(false, "data/a", read, "data/a", read));
}

TEST(WriteTurns, AreTakenInOrderAndOneByOne)
{
    WriteTurns turns;
    std::atomic<int> inside{0};
    std::atomic<int> done{0};
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&, thread] {
            const std::string own = "own/" + std::to_string(thread);
            for (int round = 0; round < 2000; ++round) {
                const Turn turn(turns, {{{"data/shared", Access::Write}, {own, Access::Write}}}, 2);
                EXPECT_EQ(++inside, 1);
                --inside;
                ++done;
            }
        });
    threads.clear();
    EXPECT_EQ(done, 8000);
}

} // namespace
