#include "WindowFixture.h"

#include <algorithm>

using namespace support;

namespace {

class Rendering : public WindowFixture
{
protected:
    // The rows of the pane from the bottom up, without line feeds.
    std::vector<std::string> rows()
    {
        std::vector<std::string> texts;
        float lastY = -1;
        for (const std::string& call : frame()) {
            float x = 0;
            float y = 0;
            int textAt = 0;
            if (std::sscanf(call.c_str(), "text %g %g %n", &x, &y, &textAt) != 2 || y > 0.9f)
                continue;
            if (y != lastY)
                texts.emplace_back();
            lastY = y;
            texts.back() += call.substr(static_cast<size_t>(textAt));
        }
        return texts;
    }

    // Numbers count down from the newest line in view to `last`.
    void expectRows(int newest, int last)
    {
        std::vector<std::string> expected;
        for (int number = newest; number >= last; --number)
            expected.push_back(std::to_string(number));
        EXPECT_EQ(rows(), expected);
    }
};

TEST_F(Rendering, DrawsInItsOrder)
{
    window->accessAliasesMap()["set"] = "x";
    window->printWithPrefix(true, "set 5\n");
    window->print("b\n");
    window->setText("hi");
    const std::vector<std::string> expected = {
        "begin",
        "color 0 0 0 127",
        "rectangle 0 0 1 1",
        "size 0.02",
        "color 255 255 255 255",
        "text 0.0625 0.90625 >",
        "text 0.078125 0.90625 hi",
        "text 0.109375 0.90625 _",
        "color 208 208 96 255",
        "text 0.0625 0.875 b",
        "color 208 208 96 255",
        "text 0.078125 0.875 \n",
        "color 255 255 255 255",
        "text 0.0625 0.84375 >",
        "color 0 255 255 255",
        "text 0.078125 0.84375 set",
        "color 208 208 96 255",
        "text 0.125 0.84375  ",
        "color 160 255 255 255",
        "text 0.140625 0.84375 5",
        "color 208 208 96 255",
        "text 0.15625 0.84375 \n",
        "color 80 80 80 255",
        "rectangle 0.934375 0.0625 0.003125 0.84375",
        "color 215 209 209 255",
        "rectangle 0.934375 0.0625 0.003125 0.84375",
    };
    EXPECT_EQ(frame(), expected);
    window->accessAliasesMap().clear(); // lines in view keep their colours
    EXPECT_EQ(frame(), expected);

    engine.onMeasure = [] { FAIL() << "a hidden window has nothing to measure"; };
    window->setVisibility(false);
    EXPECT_TRUE(frame().empty());
    engine.onMeasure = nullptr;
}

TEST_F(Rendering, ScrollBarShowsWhereTheViewIs)
{
    const auto handle = [this] { return frame().back(); };
    print(108); // four screens
    EXPECT_EQ(handle(), "rectangle 0.934375 0.695312 0.003125 0.210938");
    window->scroll(1000);
    EXPECT_EQ(handle(), "rectangle 0.934375 0.0625 0.003125 0.210938");
    print(1000);
    window->scrollBottom();
    EXPECT_EQ(handle(), "rectangle 0.934375 0.88125 0.003125 0.025");
    window->clear();
    window->setWindowSize({0.5f, 0}); // no line on screen, and none at all
    EXPECT_EQ(handle(), "rectangle 0.559375 0.0625 0.003125 0.025");
}

TEST_F(Rendering, ShowsTheLinesInViewWhateverHappened)
{
    print(40);
    expectRows(39, 13);
    window->scroll(3);
    expectRows(36, 10);
    print(5); // stays on its text
    expectRows(36, 10);
    window->scrollBottom();
    expectRows(44, 18);

    window->scroll(5);
    window->setWindowSize({0.875f, 0.25f});
    window->scroll(3); // before a frame has seen the new size
    expectRows(36, 29);
    window->scroll(8); // by exactly a screen
    expectRows(28, 21);
    window->scroll(1000);
    window->setWindowSize({0.875f, 0.84375f}); // larger: the view reaches beyond the oldest line
    expectRows(7, 0);
    window->scroll(-1); // back to where the oldest line is on top
    expectRows(26, 0);

    window->clear();
    EXPECT_TRUE(rows().empty());
    print(1); // clear has left the view scrolled up
    expectRows(45, 45);
    print(1);
    expectRows(46, 45);
    print(1000);
    window->scroll(1000);
    print(10); // the text at the top is gone
    expectRows(83, 57);
}

TEST_F(Rendering, ColoursOnlyWhatCameIntoView)
{
    // An alias that came after the last frame shows in the lines that are coloured for the next.
    const auto coloured = [this](auto change) {
        window->accessAliasesMap().clear();
        window->setWindowSize(window->getWindowSize());
        frame();
        window->accessAliasesMap()["a"] = "x";
        change();
        const std::vector<std::string> calls = frame();
        return std::count(calls.begin(), calls.end(), "color 0 255 255 255");
    };
    for (int i = 0; i < 50; ++i)
        window->print("a line\n");
    EXPECT_EQ(coloured([&] { window->print("a\na\na\n"); }), 3);
    EXPECT_EQ(coloured([&] { window->scroll(2); }), 2);
    EXPECT_EQ(coloured([&] { window->scroll(-1); }), 1);
    EXPECT_EQ(coloured([&] { window->print("a\n"); }), 0);
    EXPECT_EQ(coloured([&] { window->scrollBottom(); }), 2);
    EXPECT_EQ(coloured([&] { window->setWindowSize(window->getWindowSize()); }), 27);
}

TEST_F(Rendering, GivesColoursToWhoAsks)
{
    window->accessAliasesMap()["set"] = "x";
    const auto line = Access::color(*window, "Set 5");
    ASSERT_EQ(line.runs.size(), 3u);
    EXPECT_EQ(line.runs[0].text, "Set");
    EXPECT_EQ(line.runs[0].color, g::Color(0, 255, 255));
    EXPECT_EQ(line.runs[2].color, g::Color(160, 255, 255));
    EXPECT_TRUE(Access::color(*window, "").runs.empty());
}

} // namespace
