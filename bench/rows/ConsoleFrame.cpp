#include "bench/MedianFigure.h"
#include "bench/contenders/Console.h"
#include "bench/rows/Rows.h"

#include <chrono>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

/// The median time of `frame`, each after `prepare`, which does not count.
template <typename Prepare, typename Frame>
double microsecondsPerFrame(const Settings& settings, const Prepare& prepare, const Frame& frame)
{
    return medianFigure(settings, [&] {
        prepare();
        const Clock::time_point start = Clock::now();
        frame();
        return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
    });
}

enum class Before
{
    Nothing,
    NewLine,
    NewSize, ///< has all lines coloured anew
};

double consoleFrame(const Settings& settings, Before before)
{
    MeasuredConsole console;
    const std::string line = consoleLine(5);
    const auto size = console.window.getWindowSize();
    return microsecondsPerFrame(
        settings,
        [&] {
            if (before == Before::NewLine)
                console.window.printStringWithPrefix(true, line.c_str());
            else if (before == Before::NewSize)
                console.window.setWindowSize(size);
        },
        [&] { console.window.renderVisibleText(); });
}

double imGuiFrame(const Settings& settings)
{
    ImGuiConsole console;
    return microsecondsPerFrame(
        settings, [] {}, [&] { console.drawFrame(); });
}

/// What a frame with one new line cannot do without.
double frameAndLine(const Settings& settings)
{
    const double frame = consoleFrame(settings, Before::Nothing);
    const double allColoured = consoleFrame(settings, Before::NewSize);
    return frame + (allColoured - frame) / kConsoleLinesOnScreen;
}

Row frameRow(std::string name, std::string title, Before before)
{
    Row row;
    row.name = std::move(name);
    row.title = std::move(title);
    row.unit = "us";
    row.better = Better::Lower;
    row.contenders = {
        {"dm", [before](const Settings& settings) { return consoleFrame(settings, before); }}};
    row.decimals = 2;
    return row;
}

} // namespace

Row consoleFrameRow()
{
    Row row = frameRow("consoleframe", "the console's frame of 50 lines with nothing new",
                       Before::Nothing);
    row.contenders.push_back({"imgui", imGuiFrame});
    row.thresholds = {{"imgui", 0.1}};
    return row;
}

Row consoleNewLineRow()
{
    Row row =
        frameRow("consoleframe-newline", "the console's frame after one new line", Before::NewLine);
    row.contenders.push_back({"frame-and-line", frameAndLine});
    row.thresholds = {{"frame-and-line", 1.2}};
    return row;
}

} // namespace bench
