#include "AllocationCounter.h"
#include "WindowFixture.h"
#include "support/Sanitized.h"

#include <atomic>
#include <cmath>
#include <thread>

using namespace support;

namespace {

class Window : public WindowFixture
{
};

TEST_F(Window, FillsTheScreenButForItsMargin)
{
    EXPECT_EQ(window->getWindowPosition(), Vector2(0.0625f, 0.0625f));
    EXPECT_EQ(window->getWindowSize(), Vector2(0.875f, 0.84375f));
    EXPECT_EQ(window->getTextAreaSize(), Vector2(0.871875f, 0.84375f));
    EXPECT_EQ(window->getCommandLinePosition(), Vector2(0.0625f, 0.90625f));
    EXPECT_EQ(window->getCommandLineWidth(), 0.875f);

    const struct
    {
        float lineHeight;
        float margin;
        zu::u32 lines;
    } cases[] = {{0.02f, 0, 49},      {0.02f, 0.01f, 48},
                 {0.02f, 0.02f, 47},  {0.02f, 0.04f, 45},
                 {0.02f, 0.1f, 39},   {0.025f, 0.025f, 37},
                 {0.025f, 0.05f, 35}, {0.05f, 0, 19},
                 {0.1f, 0, 9},        {1.0f / 32, 1.0f / 16, 27},
                 {0, 0, 0},           {-1, 0, 0},
                 {NAN, 0, 0},         {0.7f, 0.4f, 0},
                 {1e-30f, 0, 10000}};
    for (const auto& c : cases) {
        engine.lineHeight = c.lineHeight;
        dm::ScrollingTextWindow made(&engine, c.margin);
        EXPECT_EQ(Access::linesOnScreen(made), c.lines) << c.lineHeight << ", " << c.margin;
        made.setVisibility(true);
        made.print("a\nb\n");
        made.scroll(1);
        made.renderVisibleText();
    }
}

TEST_F(Window, PrintsWhatFitsTheFormatBuffer)
{
    const std::string longest(dm::kMaxConsolePrintLength - 1, 'x');
    window->print("%s%c\n", longest.c_str(), 'x'); // one too long
    EXPECT_EQ(Access::lineCount(*window), 0u);
    window->print("100%% %d", 5);
    window->printWithPrefix(true, "%s\n", "%n");
    EXPECT_EQ(Access::line(*window, 0), ">100% 5%n\n");
    window->print("%s\n", longest.c_str());
    EXPECT_EQ(Access::lineCount(*window), 49u); // 48 rows of 87
    window->printString("");
    window->printString(nullptr);
    window->dumpToFile("dump.txt");
    EXPECT_TRUE(files.contents.empty());
}

TEST_F(Window, ScrollsBetweenItsEnds)
{
    print(100);
    EXPECT_EQ(window->scroll(-3), 0);
    EXPECT_EQ(window->scroll(1000), 73);
    EXPECT_EQ(Access::upmost(*window), 73u);
    EXPECT_EQ(Access::visibleLine(*window, 26), "0\n");
    window->scrollBottom();
    EXPECT_EQ(Access::visibleLine(*window, 0), "99\n");
}

TEST_F(Window, PrintsFromTheDrawingInterfaceItself)
{
    engine.onMeasure = [this] { window->print("measured\n"); };
    engine.onDraw = [this] { window->print("drawn\n"); };
    frame();
    window->scroll(1);
    engine.onMeasure = engine.onDraw = nullptr;
    EXPECT_GT(Access::lineCount(*window), 3u);
}

// Run with a thread sanitizer to be worth anything.
TEST_F(Window, PrintsFromManyThreadsWhileOneDrawsAndSaves)
{
    constexpr int kThreads = 4;
    constexpr int kLines = kSanitized ? 1000 : 10000;
    engine.isRecording = false;
    std::atomic<int> running{kThreads};
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&, thread] {
            for (int line = 0; line < kLines; ++line)
                window->printWithPrefix(line % 2 == 0, "thread %d line %d\n", thread, line);
            --running;
        });
    for (int frames = 0; running > 0; ++frames) {
        window->renderVisibleText();
        window->scroll(frames % 7 - 2);
        if (frames % 16 == 0)
            window->save();
        if (frames % 32 == 0)
            window->setWindowSize({0.5f, 0.5f + static_cast<float>(frames % 3) / 8});
        if (frames % 64 == 0)
            window->clear();
    }
    threads.clear();
    window->clear();
    window->print("last\n");
    window->save();
    restart();
    EXPECT_EQ(Access::line(*window, 0), "last\n");
}

TEST_F(Window, NeedsNoMemoryOnceWarm)
{
    if (kSanitized)
        GTEST_SKIP() << "the sanitizer's heap is not counted";
    engine.isRecording = false;
    window->setText("a command that is being typed");
    const auto run = [this] {
        const auto before = allocationsOfThisThread();
        for (int line = 0; line < 2000; ++line) {
            window->printWithPrefix(line % 2 == 0, "%5d a line = \"of\" 0x12 words; %s\n", line,
                                    "that is wrapped as it is so long that no row could hold it");
            window->scroll(line % 5 - 2);
            window->renderVisibleText();
            window->renderVisibleText();
        }
        return allocationsOfThisThread() - before;
    };
    EXPECT_GT(run(), 0u); // counts
    EXPECT_EQ(run(), 0u);
}

} // namespace
