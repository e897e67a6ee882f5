#include "bench/MedianFigure.h"
#include "bench/contenders/Console.h"
#include "bench/rows/Rows.h"

#include <chrono>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

double millisecondsPerSave(const Settings& settings)
{
    MeasuredConsole console;
    for (unsigned i = 0; i < dm::kMaxConsoleCommands; ++i)
        console.window.addToCommandStack(kConsoleText);
    const std::string line = consoleLine(0);
    return medianFigure(settings, [&] {
        console.window.printStringWithPrefix(true, line.c_str());
        const Clock::time_point start = Clock::now();
        console.window.save();
        return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    });
}

} // namespace

Row consoleSaveRow()
{
    Row row;
    row.name = "consolesave";
    row.title = "the console's cache file with 1,000 lines of 80 characters saved";
    row.unit = "ms";
    row.better = Better::Lower;
    row.contenders = {{"dm", millisecondsPerSave}};
    row.thresholds = {{"", 1}};
    row.decimals = 3;
    return row;
}

} // namespace bench
