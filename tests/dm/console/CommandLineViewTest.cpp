#include "dm/console/CommandLineView.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

constexpr float kUnit = 1.0f / 64;

// Each character, the prompt and the cursor are a unit wide; so is `width` counted.
dm::CommandLineView view(size_t length, size_t cursor, int scroll, float width)
{
    const dm::CommandLineGeometry line{length, cursor, width * kUnit, kUnit, kUnit};
    return dm::viewCommandLine(line, scroll, [](size_t) { return kUnit; });
}

TEST(CommandLineView, KeepsTheCursorInView)
{
    // In this order: each view starts from the scroll of the one before.
    const struct
    {
        size_t cursor;
        int scroll;
        size_t shownBegin;
        size_t shownEnd;
    } steps[] = {
        {20, 7, 7, 20}, // the cursor needs room behind the text
        {19, 7, 7, 20}, {7, 7, 7, 20},
        {6, 6, 6, 20},  {0, 0, 0, 15}, // with the character that crosses the edge
        {14, 0, 0, 15},                // on that character
        {15, 2, 2, 16},
    };
    int scroll = 0;
    for (const auto& step : steps) {
        SCOPED_TRACE(step.cursor);
        const auto seen = view(20, step.cursor, scroll, 16);
        EXPECT_EQ(seen.scroll, step.scroll);
        EXPECT_EQ(seen.shownBegin, step.shownBegin);
        EXPECT_EQ(seen.shownEnd, step.shownEnd);
        scroll = seen.scroll;
    }
    const auto shorter = view(5, 5, 18, 16);
    EXPECT_EQ(shorter.scroll, 5)
        << "nothing stands behind the cursor, and no more than that is shown";
    EXPECT_EQ(shorter.shownEnd, 5u);
}

TEST(CommandLineView, StaysWithinTheTextWhateverTheWidths)
{
    const float infinite = std::numeric_limits<float>::infinity();
    const float undefined = std::numeric_limits<float>::quiet_NaN();
    for (const float lineWidth : {0.0f, 1.0f, 2.0f, 3.0f, -5.0f, 1000.0f, infinite, undefined}) {
        for (const float width : {0.0f, kUnit, -kUnit, 1000.0f, infinite, -infinite, undefined}) {
            for (size_t length = 0; length < 4; ++length) {
                for (size_t cursor = 0; cursor <= length; ++cursor) {
                    for (const int scroll : {-1, 0, 1, 3, std::numeric_limits<int>::max()}) {
                        const auto seen = dm::viewCommandLine(
                            {length, cursor, lineWidth * kUnit, kUnit, kUnit}, scroll,
                            [&](size_t index) { return index < length ? width : throw index; });
                        ASSERT_GE(seen.scroll, 0);
                        ASSERT_LE(static_cast<size_t>(seen.scroll), cursor);
                        ASSERT_EQ(static_cast<size_t>(seen.scroll), seen.shownBegin);
                        ASSERT_LE(seen.shownBegin, seen.shownEnd);
                        ASSERT_LE(seen.shownEnd, length);
                    }
                }
            }
        }
    }
}

} // namespace
