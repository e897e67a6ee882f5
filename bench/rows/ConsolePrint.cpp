#include "bench/MedianFigure.h"
#include "bench/contenders/Console.h"
#include "bench/rows/Rows.h"

#include <chrono>
#include <stdexcept>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned kLines = 1000;

// Rows that hold a line whole, and half a line.
constexpr size_t kWideRow = 99;
constexpr size_t kNarrowRow = 60;

template <typename Print>
double nanosecondsPerLine(const Settings& settings, const Print& print)
{
    std::vector<std::string> lines;
    for (unsigned line = 0; line < kLines; ++line)
        lines.push_back(consoleLine(line));
    return medianFigure(settings, [&] {
        const Clock::time_point start = Clock::now();
        for (const std::string& line : lines)
            print(line);
        return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / kLines;
    });
}

Row printRow(std::string name, std::string title, size_t rowCharacters)
{
    Row row;
    row.name = std::move(name);
    row.title = std::move(title);
    row.unit = "ns";
    row.better = Better::Lower;
    row.contenders = {{"dm",
                       [rowCharacters](const Settings& settings) {
                           MeasuredConsole console((static_cast<float>(rowCharacters) + 0.5f) *
                                                   0.01f);
                           return nanosecondsPerLine(settings, [&](const std::string& line) {
                               console.window.printString(line.c_str());
                           });
                       }},
                      {"std::string", [rowCharacters](const Settings& settings) {
                           StringConsole console(rowCharacters + 1);
                           const double figure = nanosecondsPerLine(
                               settings, [&](const std::string& line) { console.print(line); });
                           if (console.size() != dm::kMaxConsoleLines)
                               throw std::runtime_error("lines are missing");
                           return figure;
                       }}};
    row.thresholds = {{"std::string", 1}};
    return row;
}

} // namespace

Row consolePrintRow()
{
    return printRow("consoleprint", "one line of 80 characters printed to the console", kWideRow);
}

Row consoleWrapRow()
{
    return printRow("consoleprint-wrap", "the same where it takes two rows", kNarrowRow);
}

} // namespace bench
