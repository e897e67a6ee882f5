#pragma once

#include "tools/dm/Arguments.h"
#include "tools/dm/LineWriter.h"
#include "tools/monitor/LineFilter.h"
#include "tools/monitor/MonitorEvent.h"
#include "tools/monitor/ValueTable.h"

#include <mutex>
#include <string>

namespace tool {

/// What `dm watch` shows on its standard streams.
struct WatchView
{
    Format format = Format::Text;
    bool showsLines = true;   ///< text
    bool showsValues = false; ///< in-place values
    bool isRedrawn = false;   ///< values are a table that stays below the text: a terminal's
    bool isColored = false;
    monitor::LineFilter filter; ///< of text
};

/// The values as lines of a table, group by group, at most `height` lines. Without I/O.
std::string drawTable(const monitor::ValueTable& values, zu::u32 height);

/// Prints events; a table of values is drawn again at the next refresh.
///
/// Threads: any; refresh is called about ten times a second. Overload: what standard output does
/// not take is counted, and told where it would have stood.
class WatchScreen : public monitor::MonitorOutput
{
public:
    /// The writer must outlive it.
    WatchScreen(WatchView view, std::string address, LineWriter& writer);

    void take(monitor::MonitorEvents events) override;

    /// Brings a table up to date, unless the terminal is still busy with an earlier one.
    void refresh();

    /// For the last time, however busy the terminal is.
    void finish();

private:
    enum class Drawing
    {
        IfIdle,
        Always
    };

    void takeOne(const monitor::MonitorEvent& event);
    bool takeValue(const monitor::MonitorEvent& event);
    void print(const monitor::MonitorEvent& event, std::string line, LineWriter::Stream stream);
    std::string gapBefore(const monitor::MonitorEvent& next) const;
    void putAboveTable(const monitor::MonitorEvent& event, std::string line,
                       LineWriter::Stream stream);
    void moveTableAway();
    void tellRefusedValues();
    std::string eraseTable() const;
    void redraw(Drawing drawing);
    bool draw(const std::string& table, Drawing drawing);

    const WatchView view;
    LineWriter& writer;

    std::mutex mutex; // of all below; a LineWriter's is taken within
    std::string address;
    bool wasConnected = false;
    monitor::ValueTable values;
    bool hasToldRefused = false;
    unsigned long droppedLines = 0; // by the writer, not yet told
    std::string above;              // lines that go above the table with its next drawing
    unsigned long aboveLines = 0;   // in it
    unsigned long aboveGap = 0;     // dropped ones that it tells of
    bool hasChanged = false;        // the table, since it was drawn
    std::size_t drawnLines = 0;     // of the table, on the screen
};

} // namespace tool
