#pragma once

#include <dm/comm.h>

#include <chrono>
#include <cstdint>
#include <string>

namespace tool {

/// The running transfer on standard error: bytes, speed and time left.
///
/// Automatic: on a terminal only, in one line that is rewritten, once a transfer has lasted a
/// second. Always: for programs that follow along, one line an update from the first byte on.
///
/// Threads: one at a time.
class ProgressMeter
{
public:
    enum class Mode
    {
        Automatic,
        Always,
        Never
    };
    using Clock = std::chrono::steady_clock;

    explicit ProgressMeter(Mode mode);
    ~ProgressMeter() { clear(); }
    ProgressMeter(const ProgressMeter&) = delete;
    ProgressMeter& operator=(const ProgressMeter&) = delete;

    void update(const dm::TransferProgress& progress, Clock::time_point now);

    /// Takes the line off the screen, before something else is written there.
    void clear();

private:
    bool isDue(Clock::time_point now) const;
    void show(const std::string& line);

    Mode shownWhen;
    bool lineShown = false;
    // The transfer being shown: one direction, on one connection.
    bool receiving = false;
    std::uint32_t bytes = 0;
    Clock::time_point started{};
    Clock::time_point lastShown{};
};

/// One line of progress.
///
///     12.6 MB of 268.4 MB received, 104.0 MB/s, 2 s left
std::string describeProgress(std::uint32_t bytes, std::uint32_t total, bool receiving,
                             double seconds);

/// A size for people, in decimal units: 999 bytes, 12.6 MB.
std::string describeSize(double bytes);

} // namespace tool
