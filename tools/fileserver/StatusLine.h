/// The one line in which a file server tells how it is doing, on a terminal.
///
///     2 games, 1203 files/s, 85.3 MB/s read, 0 bytes/s written
#pragma once

#include "tools/dm/LineWriter.h"
#include "tools/fileserver/ServeStatistics.h"

#include <chrono>
#include <string>

namespace fileserver {

/// How much was done between two looks.
std::string describeRates(unsigned games, const ServeTotals& before, const ServeTotals& now,
                          std::chrono::duration<double> between);

/// Rewritten in place. The cursor stays at its start, so that other lines overwrite it.
///
/// Threads: one at a time.
class StatusLine
{
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds kBetweenUpdates{500};

    explicit StatusLine(tool::LineWriter& errorLines);

    /// Whether somebody sees it.
    bool isShown() const { return shown; }

    /// Takes it off the screen.
    void clear();

    void update(unsigned games, const ServeTotals& now, Clock::time_point at);

private:
    tool::LineWriter& errors;
    const bool shown;
    ServeTotals last;
    Clock::time_point lastUpdate{};
};

} // namespace fileserver
