#include "tools/fileserver/StatusLine.h"

#include "tools/dm/ProgressMeter.h"

#include <zul/Terminal.h>

namespace fileserver {

namespace {

std::string perSecond(zu::u64 before, zu::u64 now, double seconds)
{
    return tool::describeSize(static_cast<double>(now - before) / seconds) + "/s";
}

} // namespace

std::string describeRates(unsigned games, const ServeTotals& before, const ServeTotals& now,
                          std::chrono::duration<double> between)
{
    const double seconds = between.count();
    const zu::u64 files = now.filesRead + now.filesWritten - before.filesRead - before.filesWritten;
    return std::to_string(games) + (games == 1 ? " game, " : " games, ") +
           std::to_string(static_cast<zu::u64>(static_cast<double>(files) / seconds + 0.5)) +
           " files/s, " + perSecond(before.bytesRead, now.bytesRead, seconds) + " read, " +
           perSecond(before.bytesWritten, now.bytesWritten, seconds) + " written";
}

StatusLine::StatusLine(tool::LineWriter& errorLines)
    : errors(errorLines)
    , shown(zu::isTerminal(zu::StandardStream::Error))
{
}

void StatusLine::clear()
{
    if (shown)
        errors.write("\x1b[K");
}

void StatusLine::update(unsigned games, const ServeTotals& now, Clock::time_point at)
{
    const Clock::duration between = at - lastUpdate;
    if (!shown || between < kBetweenUpdates / 2)
        return;
    if (lastUpdate != Clock::time_point()) {
        // One column less than there are: a full line would scroll.
        const size_t width = zu::terminalWidth(zu::StandardStream::Error) - 1;
        errors.writeIfIdle(describeRates(games, last, now, between).substr(0, width) + "\x1b[K\r");
    }
    last = now;
    lastUpdate = at;
}

} // namespace fileserver
