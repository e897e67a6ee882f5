#include "bench/contenders/Lines.h"
#include "bench/rows/Rows.h"

#include <dm/monitor.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned kTools = 16;
constexpr unsigned kStoppedTools = 2;

// A busy game: so many lines a frame of a millisecond.
constexpr unsigned kLinesPerFrame = 20;

double nanosecondsWithoutTool(const Settings& settings)
{
    const MonitoredGame game;
    dm::update();
    const Clock::time_point start = Clock::now();
    const auto end = start + std::chrono::duration<double>(settings.seconds);
    double prints = 0;
    Clock::time_point now = start;
    for (; now < end; now = Clock::now(), prints += 1000)
        for (unsigned line = 0; line < 1000; ++line)
            dm::print("line %u of %s", line, kLineText);
    return std::chrono::duration<double, std::nano>(now - start).count() / prints;
}

std::vector<double> printTimes(double seconds)
{
    std::vector<double> times;
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    for (auto frame = Clock::now(); frame < end; frame += std::chrono::milliseconds(1)) {
        std::this_thread::sleep_until(frame);
        dm::update();
        for (unsigned line = 0; line < kLinesPerFrame; ++line) {
            const Clock::time_point start = Clock::now();
            dm::print("%0*u%s", static_cast<int>(kLineNumberDigits), line, kLineText);
            times.push_back(
                std::chrono::duration<double, std::micro>(Clock::now() - start).count());
        }
    }
    return times;
}

double tailMicroseconds(const Settings& settings)
{
    constexpr double kLeastSeconds = 5;
    MonitoredGame game;
    const ServerProcess readers = game.startTools(monitorReaders(), kTools - kStoppedTools);
    const ServerProcess stopped = game.startTools(monitorStoppers(), kStoppedTools);
    game.awaitTools(kTools);
    printTimes(settings.warmUpSeconds);
    std::vector<double> times = printTimes(std::max(settings.seconds, kLeastSeconds));
    const auto rank = times.begin() + static_cast<long>(times.size() * 999 / 1000);
    std::nth_element(times.begin(), rank, times.end());
    return *rank;
}

/// What 16 tools that do not read cost a game of its own process.
double grownMegabytes(const Settings&)
{
    TcpListener finished;
    Setup setup;
    setup.hubPort = finished.port();
    setup.pipes = kTools;
    const ServerProcess game = startServer(monitorGame(), setup);
    const double before = game.memory().resident;
    setup.hubPort = game.port();
    const ServerProcess tools = startServer(monitorStoppers(), setup);
    finished.accept();
    return game.memory().peak - before;
}

} // namespace

Row idlePrintRow()
{
    Row row;
    row.name = "print-idle";
    row.title = "a line printed with no tool connected";
    row.unit = "ns";
    row.better = Better::Lower;
    row.contenders = {{"dm", nanosecondsWithoutTool}};
    row.thresholds = {{"", 25}};
    row.decimals = 1;
    return row;
}

Row printTailRow()
{
    Row row;
    row.name = "print-p999";
    row.title = "99.9th percentile of printing a line to 16 tools, two of them stopped";
    row.unit = "us";
    row.better = Better::Lower;
    row.contenders = {{"dm", tailMicroseconds}};
    row.thresholds = {{"", 20}};
    row.decimals = 1;
    return row;
}

Row printMemoryRow()
{
    Row row;
    row.name = "printmemory";
    row.title = "memory of 10 million lines for 16 tools that do not read";
    row.unit = "MiB";
    row.better = Better::Lower;
    row.contenders = {{"dm", grownMegabytes}};
    // The backlog limit a tool, and a little.
    row.thresholds = {{"", kTools * dm::kDefaultMonitorBacklogBytes / 1048576.0 + 8}};
    row.decimals = 1;
    return row;
}

} // namespace bench
