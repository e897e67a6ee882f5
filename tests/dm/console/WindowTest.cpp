#include "AllocationCounter.h"
#include "ConsoleFixture.h"
#include "dm/console/WindowLock.h"
#include "support/RandomSeed.h"
#include "support/Sanitized.h"

#include <zul/FileStream.h>

#include <atomic>
#include <cmath>
#include <thread>

using namespace support;

namespace {

using Window = ConsoleFixture;

TEST_F(Window, HasAsManyLinesAsFit)
{
    const float cases[][3] = {{0.02f, 0.04f, 45}, {0.025f, 0.025f, 37}, {0.05f, 0, 19},
                              {0, 0, 0},          {-1, 0, 0},           {NAN, 0, 0},
                              {0.7f, 0.4f, 0},    {1e-30f, 0, 10000}};
    for (const auto& [lineHeight, margin, lines] : cases) {
        shapes.lineHeight = lineHeight;
        dm::ScrollingTextWindow made(&shapes, margin);
        EXPECT_EQ(float(Access::linesOnScreen(made)), lines) << lineHeight << ", " << margin;
    }
}

TEST_F(Window, PrintsWhatFitsTheFormatBuffer)
{
    const std::string longest(dm::kMaxConsolePrintLength - 1, 'x');
    window->print("%s%c\n", longest.c_str(), 'x'); // one too long
    EXPECT_EQ(shown(), Texts());
    window->print("100%% %d", 5);
    window->printWithPrefix(true, "%s\n\n", "%n"); // the last call's prefix counts
    EXPECT_EQ(shown(), Texts({">", ">100% 5%n"}));
    console->print("%s\n", longest.c_str());
    EXPECT_EQ(shown(2), Texts({std::string(5, 'x'), std::string(87, 'x')}));
    window->printString(nullptr);
    window->print("gone");
    window->clear();
    window->print("x\r\n \n");
    EXPECT_EQ(shown(), Texts({" ", "x\r"}));
    window->dumpToFile("dump.txt");
    EXPECT_TRUE(files.contents.empty());
}

// What is drawn, against a list of lines and the rules for the view.
struct NaiveWindow
{
    void print(const std::string& text)
    {
        lines.push_back(text);
        if (lines.size() > maxLines)
            lines.erase(lines.begin());
        if (offset != 0 && offset != upmost())
            offset = std::min(offset + 1, upmost());
    }
    int scroll(int by)
    {
        const int before = offset;
        offset = std::clamp(offset + by, 0, upmost());
        return offset - before;
    }
    int upmost() const { return std::max(0, static_cast<int>(lines.size()) - screen); }
    Texts shown() const
    {
        const auto left = std::min<std::ptrdiff_t>(offset, std::ssize(lines));
        const auto count = std::min<std::ptrdiff_t>(screen, std::ssize(lines) - left);
        return {lines.rbegin() + left, lines.rbegin() + left + count};
    }

    size_t maxLines = 0;
    Texts lines; // oldest first
    int screen = 0;
    int offset = 0;
};

TEST_F(Window, ShowsWhatANaiveOneShows)
{
    std::mt19937 random(randomSeed());
    for (const unsigned limit : {1u, 3u, 12u, 1000u}) {
        {
            zu::File file("./consolecache.bin", zu::File::Write);
            zu::FileStream(file) << 0 << limit << 0 << 0 << 30u << 0;
        }
        restart();
        NaiveWindow naive;
        naive.maxLines = limit;
        for (int step = 0; step < 5000 && !HasFailure(); ++step) {
            const int size = static_cast<int>(random() % 10);
            const bool rarely = random() % 10 == 0;
            switch (step == 0 ? 4 : random() % 6) {
            case 0:
                for (int i = 0; i < 2 * size; ++i) {
                    naive.print("line " + std::to_string(step * 20 + i));
                    window->print("%s\n", naive.lines.back().c_str());
                }
                break;
            case 1:
                EXPECT_EQ(window->scroll(size - 5), naive.scroll(size - 5));
                break;
            case 2:
            case 3: {
                const std::pair<int, int> moves[] = {{keys::kUp, 1},
                                                     {keys::kDown, -1},
                                                     {keys::kPageUp, naive.screen - 1},
                                                     {keys::kPageDown, 1 - naive.screen},
                                                     {keys::kHome, 10'000},
                                                     {keys::kEnd, -10'000}};
                const auto& [key, lines] = moves[rarely ? size / 2 % 2 + 4 : size % 4];
                press(key, "c");
                naive.scroll(lines);
                break;
            }
            case 4:
                if (step == 0 || rarely) {
                    window->setWindowSize({0.5f, static_cast<float>(size) / 32});
                    naive.screen = size;
                } else if (size == 0) {
                    window->clear();
                    naive.lines.clear(); // the view stays scrolled
                } else if (size == 1) {
                    window->scrollBottom();
                    naive.offset = 0;
                }
                break;
            default:
                EXPECT_EQ(shown(), naive.shown()) << "step " << step;
            }
        }
    }
}

// Run with a thread sanitizer to be worth anything.
TEST_F(Window, PrintsFromManyThreadsWhileOneDrawsAndSaves)
{
    constexpr int kThreads = 4;
    constexpr int kLines = kSanitized ? 1000 : 10000;
    shapes.isRecording = false;
    std::atomic<int> running{kThreads};
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&, thread] {
            for (int line = 0; line < kLines; ++line)
                window->printWithPrefix(line % 2 == 0, "thread %d line %d\n", thread, line);
            --running;
        });
    for (int frames = 0; running > 0; ++frames) {
        console->render();
        press(frames % 3 == 0 ? keys::kPageUp : keys::kDown, "c");
        if (frames % 16 == 0)
            window->save();
        if (frames % 32 == 0)
            window->setWindowSize({0.5f, 0.5f + static_cast<float>(frames % 3) / 8});
        if (frames % 64 == 0)
            window->clear();
        if (frames % 64 == 32)
            window->load();
        if (frames % 64 == 48)
            window->scrollBottom();
        window->addToCommandStack("command");
    }
    threads.clear();
    shapes.isRecording = true;
    window->clear();
    window->print("last\n");
    window->save();
    restart();
    EXPECT_EQ(shown(), Texts({"last"}));
}

TEST_F(Window, LetsFramesInBetweenThreadsThatPrintWithoutAPause)
{
    using dm::console::WindowLock;
    constexpr int kFrames = 2000;
    WindowLock lock;
    std::atomic<bool> isOver{false};
    std::atomic<int> prints{0};
    int entries = 0; // under lock
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&] {
            while (!isOver) {
                const WindowLock::PrintGuard printing(lock);
                ++entries;
                ++prints;
            }
        });
    for (int frame = 0; frame < kFrames; ++frame) {
        const WindowLock::DrawGuard drawing(lock);
        ++entries;
    }
    isOver = true;
    threads.clear();
    EXPECT_EQ(entries, kFrames + prints);
}

TEST_F(Window, NeedsNoMemoryOnceWarm)
{
    if (kSanitized)
        GTEST_SKIP() << "the sanitizer's heap is not counted";
    shapes.isRecording = false;
    window->setText("a command that is being typed");
    const auto run = [this] {
        const auto before = allocationsOfThisThread();
        for (int line = 0; line < 2000; ++line) {
            window->printWithPrefix(line % 2 == 0, "%5d a line = \"of\" 0x12 words; %s\n", line,
                                    "that is wrapped as it is so long that no row could hold it");
            window->scroll(line % 5 - 2);
            console->render();
            console->render();
        }
        return allocationsOfThisThread() - before;
    };
    EXPECT_GT(run(), 0u); // counts
    EXPECT_EQ(run(), 0u);
}

} // namespace
