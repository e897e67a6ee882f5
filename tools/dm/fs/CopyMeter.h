#pragma once

#include "tools/dm/ProgressMeter.h"

#include <cstdint>
#include <mutex>
#include <string>

namespace tool {

/// How far a copy of many files has come, and what is said meanwhile: on standard error, without
/// one running into the other.
///
///     12 of 340 files, 12.6 MB of 268.4 MB, 104.0 MB/s, 2 s left
///
/// Threads: any.
class CopyMeter : public Meter
{
public:
    explicit CopyMeter(ProgressLine::Mode mode)
        : line(mode)
    {
    }

    void begin(std::uint64_t files, std::uint64_t bytes);
    void addBytes(std::uint64_t count);
    /// A file is over, whether it went well or not; of so many bytes.
    void endFile(std::uint64_t plannedBytes);

    void update(const dm::TransferProgress& progress, Clock::time_point now) override;
    void clear() override;

    /// Prints a line, whose control characters are spelled out.
    void say(const std::string& text);

private:
    std::mutex mutex;
    // Under mutex.
    ProgressLine line;
    bool hasBegun = false;
    bool hasMoved = false; // since the line was shown
    Clock::time_point started{};
    std::uint64_t filesTotal = 0;
    std::uint64_t filesDone = 0;
    std::uint64_t bytesTotal = 0;
    std::uint64_t bytesOfEnded = 0;
    std::uint64_t bytesOfCurrent = 0;
};

} // namespace tool
