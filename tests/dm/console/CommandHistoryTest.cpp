#include "dm/console/CommandHistory.h"

#include "support/RandomSeed.h"

#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace {

std::string browse(dm::CommandHistory& history, int delta)
{
    const zu::String* command = history.browse(delta);
    return command ? std::string(command->view()) : "none";
}

TEST(CommandHistory, BrowsesRoundAsANaiveListDoesForRandomUse)
{
    std::mt19937 random(support::randomSeed());
    dm::CommandHistory history;
    std::vector<std::string> naive; // newest last
    int index = -1;
    for (int step = 0; step < 20'000; ++step) {
        if (random() % 4 == 0) {
            naive.push_back(std::to_string(random() % 10) + std::string(random() % 300, 'x'));
            history.add(zu::String(naive.back().c_str()));
            if (naive.size() > dm::kMaxConsoleCommands)
                naive.erase(naive.begin());
            index = -1;
            continue;
        }
        constexpr int kDeltas[] = {
            1, 1, 1, -1, -1, 2, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()};
        const int delta = kDeltas[random() % std::size(kDeltas)];
        const int count = static_cast<int>(naive.size());
        if (count > 0) {
            const long long moved = static_cast<long long>(index) + delta;
            index = moved >= count ? 0 : moved < 0 ? count - 1 : static_cast<int>(moved);
        }
        const std::string expected =
            count > 0 ? naive[static_cast<size_t>(count - 1 - index)] : "none";
        ASSERT_EQ(browse(history, delta), expected) << "step " << step;
        ASSERT_EQ(history.getIndex(), index);
    }
}

TEST(CommandHistory, TakesLimitAndContentFromAFileWithoutTrustingThem)
{
    for (const zu::u32 counter : {0u, 3u, 7u, 0xffffffffu}) {
        for (const zu::u32 limit : {0u, 1u, 3u, 5u, 0xffffffffu}) {
            for (const size_t count : {0u, 1u, 3u, 40u}) {
                dm::CommandHistory history;
                zu::Vector<zu::InplaceString<256>> slots;
                slots.resize(count);
                history.accessStore().restore(counter, limit, std::move(slots));
                for (int step = 0; step < 100; ++step) {
                    EXPECT_EQ(history.browse(step % 3 - 1) != nullptr,
                              history.getStore().size() > 0);
                    if (step % 7 == 6)
                        history.add(zu::String("new"));
                }
            }
        }
    }
    // An honest file with a limit of its own.
    dm::CommandHistory history;
    zu::Vector<zu::InplaceString<256>> slots;
    for (const char* command : {"f", "b", "c", "d", "e"})
        slots.emplace_back(command);
    history.accessStore().restore(6, 5, std::move(slots));
    EXPECT_EQ(browse(history, 1), "f");
    EXPECT_EQ(browse(history, -1), "b");
    history.add(zu::String("g"));
    EXPECT_EQ(browse(history, -1), "c");
    EXPECT_EQ(history.getStore().size(), 5u);
}

} // namespace
