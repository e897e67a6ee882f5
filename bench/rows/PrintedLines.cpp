#include "bench/contenders/Lines.h"
#include "bench/rows/Rows.h"

#include <chrono>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

/// Prints until the time is over, at least 1,000 lines; returns how many.
double printFor(LinePrinter& printer, double seconds)
{
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    uint64_t lines = 0;
    do {
        for (int step = 0; step < 1000; ++step)
            printer.print(lines++);
    } while (Clock::now() < end);
    return static_cast<double>(lines);
}

Contender printing(const LineContender& contender)
{
    return {contender.name, [contender](const Settings& settings) {
                const auto printer = contender.start();
                printFor(*printer, settings.warmUpSeconds);
                printer->finish();
                const Clock::time_point start = Clock::now();
                const double lines = printFor(*printer, settings.seconds);
                printer->finish();
                return lines / std::chrono::duration<double>(Clock::now() - start).count();
            }};
}

} // namespace

Row printedLinesRow()
{
    Row row;
    row.name = "printlines";
    row.title = "lines of 80 characters printed by one thread and received by one tool";
    row.unit = "lines/s";
    row.contenders = {printing(monitorLines()), printing(spdlogLines())};
    row.thresholds = {{"spdlog", 5}};
    return row;
}

} // namespace bench
