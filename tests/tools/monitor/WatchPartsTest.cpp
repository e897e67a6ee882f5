#include "tools/dm/WatchScreen.h"
#include "tools/monitor/LineFilter.h"
#include "tools/monitor/ValueTable.h"

#include <gtest/gtest.h>
#include <stdexcept>

TEST(LineFilter, PassesWantedChannelsWithAnyOfThePatternsAndNoneExcluded)
{
    monitor::LineFilter filter;
    EXPECT_TRUE(filter.passes(-7, "anything"));
    filter.addChannel(2);
    filter.addChannel(3);
    EXPECT_FALSE(filter.passes(0, "error: disk"));
    filter.addPattern("^error");
    filter.addPattern("warn(ing)?:");
    EXPECT_TRUE(filter.passes(2, "error: disk"));
    EXPECT_TRUE(filter.passes(3, "a warning: disk"));
    EXPECT_FALSE(filter.passes(3, "an error"));
    filter.addExcluded("disk$");
    EXPECT_FALSE(filter.passes(2, "error: disk"));
    EXPECT_THROW(filter.addPattern("("), std::invalid_argument);
}

TEST(LineFilter, NoLineExhaustsTheStackOrKeepsTheMatchingBusy)
{
    monitor::LineFilter filter;
    for (const char* pattern : {"^(a|b)*c", "(a+)+$", "(.*)*z"})
        filter.addPattern(pattern);
    EXPECT_FALSE(filter.passes(0, std::string(1024 * 1024, 'a').insert(254, "!")));
    EXPECT_THROW(filter.addPattern("(a+)\\1"), std::invalid_argument);
}

TEST(ValueTable, TellsChangesAndIsDrawnGroupByGroup)
{
    monitor::ValueTable values;
    EXPECT_TRUE(values.set(9, "x", "1"));
    EXPECT_TRUE(values.set(1, "frame ms", "16.6"));
    EXPECT_FALSE(values.set(1, "frame ms", "16.6"));
    EXPECT_TRUE(values.set(1, "frame ms", "17\x1b[2J"));
    EXPECT_TRUE(values.set(1, "gr\xC3\xBC\xC3\x9F", "2"));
    EXPECT_EQ(tool::drawTable(values, 10), "Engine Statistics\n"
                                           "  frame ms  17\\x1b[2J\n"
                                           "  gr\xC3\xBC\xC3\x9F      2\n"
                                           "Unknown In Place Data 9\n"
                                           "  x         1\n");
    EXPECT_EQ(tool::drawTable(values, 2),
              "Engine Statistics\n"
              "  ... and more: the window is too low for all 3 values\n");
    EXPECT_EQ(tool::drawTable(values, 0), "");
    EXPECT_FALSE(values.hasRefused());
    for (int i = 0; i < 20000; ++i)
        values.set(0, std::to_string(i), "");
    EXPECT_EQ(values.all().size(), monitor::ValueTable::kMaxValues);
    EXPECT_TRUE(values.hasRefused());
    values.clear();
    const std::string text(monitor::ValueTable::kMaxBytes / 2, 'x');
    EXPECT_TRUE(values.set(0, "a", text));
    EXPECT_FALSE(values.set(0, "b", text)) << "the names have no room";
    EXPECT_TRUE(values.set(0, "a", ""));
    EXPECT_TRUE(values.set(0, "b", text));
}
