#pragma once

#include "tools/dm/ProgressLine.h"

#include <dm/comm.h>

#include <cstdint>
#include <string>

namespace tool {

/// What shows how far a session's work has come. Threads: the session's.
class Meter
{
public:
    using Clock = ProgressLine::Clock;

    virtual ~Meter() = default;

    /// Called again and again.
    virtual void update(const dm::TransferProgress& progress, Clock::time_point now) = 0;

    /// Takes what is shown off the screen, before something else is written there.
    virtual void clear() = 0;
};

/// The running transfer: bytes, speed and time left.
class ProgressMeter : public Meter
{
public:
    using Mode = ProgressLine::Mode;

    explicit ProgressMeter(Mode mode)
        : line(mode)
    {
    }

    void update(const dm::TransferProgress& progress, Clock::time_point now) override;
    void clear() override { line.clear(); }

private:
    ProgressLine line;
    // The transfer being shown: one direction, on one connection.
    bool receiving = false;
    std::uint32_t bytes = 0;
    Clock::time_point started{};
};

/// One line of progress.
///
///     12.6 MB of 268.4 MB received, 104.0 MB/s, 2 s left
std::string describeProgress(std::uint32_t bytes, std::uint32_t total, bool receiving,
                             double seconds);

/// How fast, and how long it will take: ", 104.0 MB/s, 2 s left"; "" before any time has passed.
std::string describeRate(double bytes, double total, double seconds);

/// A size for people, in decimal units: 999 bytes, 12.6 MB.
std::string describeSize(double bytes);

} // namespace tool
