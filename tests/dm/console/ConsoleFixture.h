/// A console that is open, over shapes that write down what they draw and files in memory.
#pragma once

#include "dm/console/KeyCodes.h"
#include "support/MemoryFiles.h"
#include "support/RecordingShapes.h"

#include <dm/console.h>

#include <gtest/gtest.h>

namespace dm {

/// What tests look at that programs do not.
struct ScrollingTextWindowTestAccess
{
    static u32 linesOnScreen(ScrollingTextWindow& w) { return w.getLinesOnScreen(); }
    static ScrollingTextWindow::FormattedLine color(ScrollingTextWindow& w, const zu::String& line)
    {
        ScrollingTextWindow::FormattedLine out;
        w.syntaxColorLine(out, line);
        return out;
    }
};

} // namespace dm

namespace support {

namespace keys = dm::keys;
using Access = dm::ScrollingTextWindowTestAccess;
using Texts = std::vector<std::string>;

/// Margin 1/16: 27 lines of 86 or 87 characters, and exact numbers.
class ConsoleFixture : public testing::Test
{
protected:
    ConsoleFixture() { restart(); }

    void restart()
    {
        console.reset();
        console = std::make_unique<dm::Console>(&shapes, 1.0f / 16);
        window = console->getScrollingTextWindow();
        press(keys::kConsole);
    }

    void press(int key, const std::string& with = "", char character = 0)
    {
        const auto holds = [&](char modifier) { return with.find(modifier) != with.npos; };
        console->deliverKeystroke(key, character, holds('a'), holds('c'), holds('s'));
    }
    void type(const std::string& text)
    {
        for (const char character : text)
            press('A', "", character);
    }
    void enter(const std::string& text)
    {
        type(text);
        press(keys::kEnter, "", '\r');
    }

    std::string line() const { return std::string(window->getText().view()); }

    Texts frame()
    {
        shapes.calls.clear();
        console->render();
        return shapes.calls;
    }
    /// The lines in view from the bottom up.
    Texts shown(size_t most = 1000)
    {
        frame();
        Texts rows = shapes.rows();
        rows.erase(rows.begin()); // the command line
        rows.resize(std::min(rows.size(), most));
        return rows;
    }

    MemoryFiles files;
    RecordingShapes shapes;
    std::unique_ptr<dm::Console> console;
    dm::ScrollingTextWindow* window = nullptr;
};

} // namespace support
