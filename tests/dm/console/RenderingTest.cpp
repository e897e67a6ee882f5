#include "ConsoleFixture.h"

using namespace support;

namespace {

using Rendering = ConsoleFixture;

TEST_F(Rendering, DrawsInItsOrder)
{
    window->accessAliasesMap()["set"] = "x";
    window->printWithPrefix(true, "set 5\n");
    window->print("b\n");
    window->setText("hi");
    const std::string expected =
        "begin|color 0 0 0 127|rectangle 0 0 1 1|size 0.02|color 255 255 255 255|"
        "text 0.0625 0.90625 >|text 0.078125 0.90625 hi|text 0.109375 0.90625 _|"
        "color 208 208 96 255|text 0.0625 0.875 b|color 208 208 96 255|text 0.078125 0.875 \n|"
        "color 255 255 255 255|text 0.0625 0.84375 >|color 0 255 255 255|text 0.078125 0.84375 set|"
        "color 208 208 96 255|text 0.125 0.84375  |color 160 255 255 255|text 0.140625 0.84375 5|"
        "color 208 208 96 255|text 0.15625 0.84375 \n|"
        "color 80 80 80 255|rectangle 0.934375 0.0625 0.003125 0.84375|"
        "color 215 209 209 255|rectangle 0.934375 0.0625 0.003125 0.84375|";
    const auto drawn = [this] {
        std::string calls;
        for (const std::string& call : frame())
            calls += call + "|";
        return calls;
    };
    EXPECT_EQ(drawn(), expected);
    window->accessAliasesMap().clear(); // lines in view keep their colours
    EXPECT_EQ(drawn(), expected);

    shapes.onCall = [] { FAIL() << "a hidden window has nothing to measure"; };
    console->close();
    EXPECT_TRUE(frame().empty());
}

TEST_F(Rendering, ScrollBarShowsWhereTheViewIs)
{
    const auto handle = [this] { return frame().back(); };
    for (int line = 0; line < 108; ++line) // four screens
        window->print("\n");
    EXPECT_EQ(handle(), "rectangle 0.934375 0.695312 0.003125 0.210938");
    window->scroll(1000);
    EXPECT_EQ(handle(), "rectangle 0.934375 0.0625 0.003125 0.210938");
    window->setWindowSize({0.875f, 0.9375f}); // reaches beyond the oldest line
    EXPECT_EQ(handle(), "rectangle 0.934375 0.0625 0.003125 0.260417");
    window->clear();
    window->setWindowSize({0.5f, 0}); // no line on screen, and none at all
    EXPECT_EQ(handle(), "rectangle 0.559375 0.0625 0.003125 0.025");
}

TEST_F(Rendering, KeepsTheCursorInView)
{
    // Left, Right and Home, and the line then, which goes on from how it was shown before.
    const char* const steps[][2] = {{"", ">hijklmnopqrst_"},
                                    {"L", ">hijklmnopqrst_"},
                                    {"LLLLLLLLLLLL", ">hijklmnopqrst_"},
                                    {"L", ">ghijklmnopqrst_"},
                                    {"H", ">abcdefghijklmno_"},
                                    {"RRRRRRRRRRRRRR", ">abcdefghijklmno_"},
                                    {"R", ">cdefghijklmnop_"}};
    window->setText("abcdefghijklmnopqrst");
    window->setCommandLineWidth(16.0f / 64);
    for (const auto& [pressed, commandLine] : steps) {
        for (const char key : std::string(pressed))
            press(key == 'L' ? keys::kLeft : key == 'R' ? keys::kRight : keys::kHome);
        frame();
        EXPECT_EQ(shapes.rows()[0], commandLine);
    }
    const auto isDrawn = [this](const char* call) {
        return std::count(shapes.calls.begin(), shapes.calls.end(), call);
    };
    EXPECT_TRUE(isDrawn("text 0.28125 0.90625 _")); // before the p
    window->setText("abc");                         // shorter than what was scrolled away
    frame();
    EXPECT_TRUE(isDrawn("text 0.09375 0.90625 _"));
}

} // namespace
