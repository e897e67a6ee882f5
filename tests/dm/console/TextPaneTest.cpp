#include "dm/console/TextPane.h"

#include "dm/console/FormattedLines.h"
#include "dm/console/KnownWords.h"
#include "support/RandomSeed.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using dm::console::FormattedLines;
using dm::console::TextPane;
using zu::u32;

/// A pane, what is kept of it from frame to frame, and what should be there.
class PaneOnScreen
{
public:
    explicit PaneOnScreen(u32 limit)
    {
        TextPane::Store store(limit);
        pane.restore(std::move(store));
        maxLines = limit;
        resize(5);
    }

    void resize(u32 rows)
    {
        screen = rows;
        pane.setArea(1, rows);
        formatted.resize(rows);
    }
    void print(int count)
    {
        std::string text;
        for (int i = 0; i < count; ++i)
            lines.push_back("line" + std::to_string(number++) + "\n"), text += lines.back();
        pane.print("", text);
        lines.erase(lines.begin(), lines.end() - std::min<long>(maxLines, long(lines.size())));
    }
    int scroll(int by) { return pane.scroll(by); }
    void scrollBottom() { pane.scrollBottom(); }
    void clear()
    {
        pane.clear();
        lines.clear();
    }
    int offset() const { return pane.getScrollOffset(); }
    int upmost() const { return std::max(0, int(lines.size()) - int(screen)); }

    /// What stands in a row, "" for nothing; 0 is at the bottom.
    std::string row(u32 r) const
    {
        const size_t k = size_t(offset()) + r;
        return k < lines.size() ? lines[lines.size() - k - 1] : "";
    }
    /// Draws as the window does. Returns how many lines were coloured.
    u32 draw()
    {
        const FormattedLines::Range range = formatted.follow(pane.takeChange());
        for (u32 r = range.begin; r < range.end; ++r) {
            const zu::String* line = pane.visibleLine(r);
            dm::console::colorLine(formatted[r], line ? line->view() : "", {}, known);
        }
        for (u32 r = 0; r < screen && size_t(offset()) + r < lines.size(); ++r) {
            std::string text;
            for (const auto& run : formatted[r])
                text += formatted[r].getText(run);
            EXPECT_EQ(text, row(r)) << "row " << r << " at offset " << offset();
        }
        return range.end - range.begin;
    }

    std::vector<std::string> lines; // oldest first
    TextPane pane;

private:
    FormattedLines formatted;
    const dm::KnownWords known;
    u32 screen = 0;
    u32 maxLines = 0;
    int number = 0;
};

TEST(TextPane, KeepsTextUntilItsLineFeedAndTheNewestLines)
{
    TextPane pane;
    pane.setArea(0.505f, 10);
    EXPECT_EQ(pane.print(">", "abc"), 0u);
    EXPECT_EQ(pane.print("", "def\n\nx\r\n \nrest"), 4u); // the last call's prefix counts
    EXPECT_EQ(pane.print(">", std::string(146, '=') + "\n"), 4u);
    const char* const newest[] = {">=", ">=", ">=", ">rest", " \n", "x\r\n", "\n", "abcdef\n"};
    for (size_t k = 0; k < std::size(newest); ++k)
        EXPECT_EQ(pane.getStore().newest(k)->view().substr(0, strlen(newest[k])), newest[k]);
    for (int i = 0; i < 1001; ++i)
        pane.print("", std::to_string(i) + "\n");
    EXPECT_EQ(pane.getStore().size(), 1000u);
    EXPECT_EQ(*pane.getStore().newest(999), "1\n");
    EXPECT_EQ(pane.getStore().newest(1000), nullptr);
}

TEST(TextPane, StaysOnItsTextWhenScrolledUp)
{
    PaneOnScreen screen(1000);
    screen.print(3);
    EXPECT_EQ(screen.scroll(std::numeric_limits<int>::max()), 0);
    screen.print(20);
    EXPECT_EQ(screen.draw(), 5u);
    EXPECT_EQ(screen.draw(), 0u);
    screen.print(3);
    EXPECT_EQ(screen.draw(), 3u); // what is new, and nothing else
    EXPECT_EQ(screen.scroll(-3), 0);
    EXPECT_EQ(screen.scroll(2), 2);
    EXPECT_EQ(screen.draw(), 2u);
    const std::string bottom = screen.row(0);
    screen.print(4);
    EXPECT_EQ(screen.offset(), 6);
    EXPECT_EQ(screen.row(0), bottom);
    EXPECT_EQ(screen.draw(), 0u);
    EXPECT_EQ(screen.scroll(std::numeric_limits<int>::max()), 19);
    EXPECT_EQ(screen.offset(), screen.upmost());
    EXPECT_EQ(screen.scroll(std::numeric_limits<int>::min()), -25);
    screen.scroll(7);
    screen.clear();
    EXPECT_EQ(screen.offset(), 7);
    screen.print(1);
    EXPECT_EQ(screen.offset(), 0);
    EXPECT_EQ(screen.draw(), 5u);
}

TEST(TextPane, ShowsWhatANaiveOneShows)
{
    std::mt19937 random(support::randomSeed());
    for (u32 limit : {1u, 3u, 12u, 1000u}) {
        PaneOnScreen screen(limit);
        for (int step = 0; step < 5000 && !testing::Test::HasFailure(); ++step) {
            const int before = screen.offset();
            const int size = static_cast<int>(random() % 10);
            switch (random() % 8) {
            case 0:
            case 1: {
                int expected = before;
                for (int i = 0; i < size; ++i) { // of one line each
                    screen.print(1);
                    if (expected != 0 && expected != screen.upmost())
                        expected = std::min(expected + 1, screen.upmost());
                }
                EXPECT_EQ(screen.offset(), expected);
                break;
            }
            case 2:
            case 3: {
                const int moved = screen.scroll(size - 5);
                EXPECT_EQ(screen.offset(), std::clamp(before + size - 5, 0, screen.upmost()));
                EXPECT_EQ(moved, screen.offset() - before);
                break;
            }
            case 4:
                if (random() % 10 == 0)
                    screen.clear();
                break;
            case 5:
                if (random() % 10 == 0)
                    screen.resize(static_cast<u32>(size));
                break;
            case 6:
                if (random() % 10 == 0)
                    screen.scrollBottom();
                break;
            default:
                screen.draw();
            }
        }
    }
}

} // namespace
