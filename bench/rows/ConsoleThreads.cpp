#include "bench/contenders/Console.h"
#include "bench/rows/Rows.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned kThreads = 8;

constexpr std::chrono::milliseconds kFrame{4};

/// Takes the time in the middle of each frame, where the lines are looked at that have come: from
/// the end of the command line to the first of the lines. That is the wait for the lock and, with
/// one line on screen, next to nothing else.
class WaitingEngine : public CountingEngine
{
public:
    void drawText(const Vector2&, const char* text) override
    {
        isWaiting = text[0] == '_';
        if (isWaiting)
            start = Clock::now();
    }
    void setColor(const g::Color&) override
    {
        if (std::exchange(isWaiting, false))
            longest = std::max(longest, Clock::now() - start);
    }

    Clock::duration longest{};

private:
    bool isWaiting = false;
    Clock::time_point start;
};

double longestWait(const Settings& settings)
{
    auto made = std::make_unique<WaitingEngine>();
    WaitingEngine& engine = *made;
    MeasuredConsole console(std::move(made));
    console.window.setWindowSize({1, 0.03f});
    std::atomic<bool> isOver{false};
    std::vector<std::jthread> threads;
    for (unsigned thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&, line = consoleLine(thread)] {
            while (!isOver.load(std::memory_order_relaxed))
                console.window.printString(line.c_str());
        });
    engine.longest = {};
    const auto end = Clock::now() + std::chrono::duration<double>(settings.seconds);
    for (auto next = Clock::now(); next < end; next += kFrame) {
        std::this_thread::sleep_until(next);
        console.window.renderVisibleText();
    }
    isOver = true;
    return std::chrono::duration<double, std::milli>(engine.longest).count();
}

} // namespace

Row consoleThreadsRow()
{
    Row row;
    row.name = "consolethreads";
    row.title = "longest wait of a frame for the lock while 8 threads print";
    row.unit = "ms";
    row.better = Better::Lower;
    row.contenders = {{"dm", longestWait}};
    row.thresholds = {{"", 1}};
    row.decimals = 3;
    return row;
}

} // namespace bench
