#include "bench/contenders/Console.h"
#include "bench/rows/Rows.h"
#include "tests/dm/console/AllocationCounter.h"

namespace bench {
namespace {

/// Blocks taken from the heap by a line printed and the frame after it, or by a frame.
double allocations(const Settings&)
{
    constexpr unsigned kRounds = 5000;
    MeasuredConsole console;
    const auto run = [&console] {
        const auto before = support::allocationsOfThisThread();
        for (unsigned i = 0; i < kRounds; ++i) {
            console.window.print("%04u%s\n", i, kConsoleText);
            console.window.renderVisibleText();
            console.window.renderVisibleText();
        }
        return static_cast<double>(support::allocationsOfThisThread() - before);
    };
    run();
    return run() / kRounds;
}

} // namespace

Row consoleAllocationsRow()
{
    Row row;
    row.name = "consoleallocations";
    row.title = "allocations of one line printed and two frames of the console, once warm";
    row.unit = "blocks";
    row.better = Better::Lower;
    row.contenders = {{"dm", allocations}};
    row.thresholds = {{"", 0}};
    row.decimals = 3;
    return row;
}

} // namespace bench
