#include "tools/dm/WatchScreen.h"

#include "tools/dm/Text.h"
#include "tools/dm/WatchText.h"

#include <zul/Terminal.h>

#include <algorithm>
#include <utility>

namespace tool {

using monitor::MonitorEvent;
using Kind = MonitorEvent::Kind;

namespace {

// So much text is not kept until the next refresh.
constexpr std::size_t kMostAboveBytes = 256 * 1024;

// Counted in characters, as long as these are one column wide.
std::size_t columnsOf(const std::string& text)
{
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char byte) { return (byte & '\xC0') != '\x80'; }));
}

} // namespace

std::string drawTable(const monitor::ValueTable& values, zu::u32 height)
{
    constexpr std::size_t kMostNameColumns = 40;
    std::size_t width = 0;
    for (const auto& [place, value] : values.all())
        width = std::max(width, columnsOf(escapeControls(place.name)));
    width = std::min(width, kMostNameColumns);

    std::vector<std::string> lines;
    const int* group = nullptr;
    for (const auto& [place, value] : values.all()) {
        if (group == nullptr || *group != place.group)
            lines.push_back(groupName(place.group));
        group = &place.group;
        const std::string name = escapeControls(place.name);
        const std::size_t columns = columnsOf(name);
        lines.push_back("  " + name + std::string(columns < width ? width - columns : 0, ' ') +
                        "  " + escapeControls(value));
    }
    if (lines.size() > height) {
        lines.resize(height);
        if (height > 0)
            lines.back() = "  ... and more: the window is too low for all " +
                           std::to_string(values.all().size()) + " values";
    }
    std::string table;
    for (const std::string& line : lines)
        table += line + "\n";
    return table;
}

WatchScreen::WatchScreen(WatchView watchView, std::string gameAddress, LineWriter& lineWriter)
    : view(std::move(watchView))
    , writer(lineWriter)
    , address(std::move(gameAddress))
{
}

void WatchScreen::take(monitor::MonitorEvents events)
{
    const std::lock_guard lock(mutex);
    for (const MonitorEvent& event : events)
        takeOne(event);
}

void WatchScreen::takeOne(const MonitorEvent& event)
{
    if (event.kind == Kind::Text &&
        !(view.showsLines && view.filter.passes(event.channel, event.text)))
        return;
    if (event.kind == Kind::LostLines && !view.showsLines)
        return;
    if (event.kind == Kind::Connected) {
        address = event.text;
        values.clear();
        hasChanged = true;
    }
    if (event.kind == Kind::Value && !takeValue(event))
        return;
    using Stream = LineWriter::Stream;
    const bool isText = view.format == Format::Text;
    const Stream stream = isText && isNotice(event) ? Stream::Error : Stream::Output;
    std::string line = !isText           ? watchJson(event)
                       : isNotice(event) ? watchNotice(event, address, !wasConnected)
                                         : watchText(event, view.isColored);
    wasConnected = wasConnected || event.kind == Kind::Connected;
    if (line.empty())
        return;
    if (view.isRedrawn)
        putAboveTable(event, std::move(line), stream);
    else
        print(event, std::move(line), stream);
}

// Returns whether it is to be printed.
bool WatchScreen::takeValue(const MonitorEvent& event)
{
    if (!view.showsValues)
        return false;
    const bool isNews = values.set(event.group, event.name, event.text);
    hasChanged = hasChanged || isNews;
    if (values.hasRefused() && !std::exchange(hasToldRefused, true))
        tellRefusedValues();
    return isNews && !view.isRedrawn;
}

// Where lines are missing because nobody read standard output, that is told in their place.
std::string WatchScreen::gapBefore(const MonitorEvent& next) const
{
    if (droppedLines == 0)
        return "";
    MonitorEvent gap;
    gap.kind = Kind::LostLines;
    gap.time = next.time;
    gap.wallClock = next.wallClock;
    gap.lostLines = droppedLines;
    return view.format == Format::Json ? watchJson(gap) : watchText(gap, view.isColored);
}

void WatchScreen::print(const MonitorEvent& event, std::string line, LineWriter::Stream stream)
{
    if (droppedLines > 0 && writer.write(gapBefore(event)))
        droppedLines = 0;
    if (droppedLines > 0 || !writer.write(std::move(line), stream))
        ++droppedLines;
}

void WatchScreen::putAboveTable(const MonitorEvent& event, std::string line,
                                LineWriter::Stream stream)
{
    if (stream == LineWriter::Stream::Error) {
        moveTableAway();
        writer.write(std::move(line), stream);
        return;
    }
    above += gapBefore(event) + line;
    aboveGap += std::exchange(droppedLines, 0);
    ++aboveLines;
    if (above.size() > kMostAboveBytes)
        redraw(Drawing::Always);
}

// For a notice, which comes at once, so that it is on its own stream.
void WatchScreen::moveTableAway()
{
    draw("", Drawing::Always);
    hasChanged = true;
}

void WatchScreen::tellRefusedValues()
{
    if (view.isRedrawn)
        moveTableAway();
    writer.write("dm: the game has more values than there is room for: not all are shown\n",
                 LineWriter::Stream::Error);
}

void WatchScreen::refresh()
{
    const std::lock_guard lock(mutex);
    redraw(Drawing::IfIdle);
}

void WatchScreen::finish()
{
    const std::lock_guard lock(mutex);
    redraw(Drawing::Always);
}

std::string WatchScreen::eraseTable() const
{
    return drawnLines == 0 ? "" : "\x1b[" + std::to_string(drawnLines) + "A\r\x1b[J";
}

void WatchScreen::redraw(Drawing drawing)
{
    if (!view.isRedrawn || (!hasChanged && above.empty()))
        return;
    // The cursor has the last line.
    const zu::u32 height = zu::terminalHeight(zu::StandardStream::Output) - 1;
    if (draw(drawTable(values, height), drawing))
        hasChanged = false;
}

// All in one piece, so that what is lost when nobody reads is a whole drawing. What is too wide for
// the window is cut by the terminal, which then has the lines that were counted.
//
// Returns whether it is on its way.
bool WatchScreen::draw(const std::string& table, Drawing drawing)
{
    std::string text = eraseTable() + above;
    if (text.empty() && table.empty())
        return true;
    if (!table.empty())
        text += "\x1b[?7l" + table + "\x1b[?7h";
    const bool isTaken =
        drawing == Drawing::IfIdle
            ? writer.writeIfIdle(std::move(text))
            : writer.write(std::move(text), LineWriter::Stream::Output, aboveLines);
    if (!isTaken && drawing == Drawing::IfIdle)
        return false; // later
    if (isTaken)
        drawnLines = static_cast<std::size_t>(std::count(table.begin(), table.end(), '\n'));
    else
        droppedLines += aboveLines + aboveGap;
    above.clear();
    aboveLines = aboveGap = 0;
    return isTaken;
}

} // namespace tool
