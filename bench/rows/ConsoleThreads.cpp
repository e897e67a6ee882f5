#include "bench/contenders/Console.h"
#include "bench/rows/Rows.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned kThreads = 8;

/// A frame at 60 Hz.
constexpr std::chrono::microseconds kFrame{16'667};

/// Milliseconds of the longest frame while threads print without a pause.
double longestFrame(const Settings& settings)
{
    MeasuredConsole console;
    std::atomic<bool> isOver{false};
    std::vector<std::jthread> threads;
    for (unsigned thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&, line = consoleLine(thread)] {
            while (!isOver.load(std::memory_order_relaxed))
                console.window.printString(line.c_str());
        });
    Clock::duration longest{};
    const auto end = Clock::now() + std::chrono::duration<double>(std::max(settings.seconds, 2.0));
    for (auto next = Clock::now(); next < end; next += kFrame) {
        std::this_thread::sleep_until(next);
        const Clock::time_point start = Clock::now();
        console.window.renderVisibleText();
        longest = std::max(longest, Clock::now() - start);
    }
    isOver = true;
    return std::chrono::duration<double, std::milli>(longest).count();
}

} // namespace

Row consoleThreadsRow()
{
    Row row;
    row.name = "consolethreads";
    row.title = "longest frame of the console while 8 threads print";
    row.unit = "ms";
    row.better = Better::Lower;
    row.contenders = {{"dm", longestFrame}};
    row.thresholds = {{"", 1}};
    row.decimals = 2;
    return row;
}

} // namespace bench
