#include "tools/dm/fs/CopyMeter.h"

#include "tools/dm/Text.h"

#include <algorithm>
#include <cstdio>

namespace tool {

void CopyMeter::begin(std::uint64_t files, std::uint64_t bytes)
{
    const std::lock_guard lock(mutex);
    hasBegun = true;
    started = Clock::now();
    filesTotal = files;
    bytesTotal = bytes;
}

void CopyMeter::addBytes(std::uint64_t count)
{
    const std::lock_guard lock(mutex);
    bytesOfCurrent += count;
    hasMoved = true;
}

void CopyMeter::endFile(std::uint64_t plannedBytes)
{
    const std::lock_guard lock(mutex);
    ++filesDone;
    bytesOfEnded += plannedBytes;
    bytesOfCurrent = 0;
    hasMoved = true;
}

void CopyMeter::update(const dm::TransferProgress&, Clock::time_point now)
{
    const std::lock_guard lock(mutex);
    if (!hasBegun || !line.isDue(started, hasMoved, now))
        return;
    hasMoved = false;
    const auto bytes = static_cast<double>(std::min(bytesOfEnded + bytesOfCurrent, bytesTotal));
    const auto total = static_cast<double>(bytesTotal);
    const std::chrono::duration<double> elapsed = now - started;
    line.show(std::to_string(filesDone) + " of " + std::to_string(filesTotal) + " files, " +
                  describeSize(bytes) + " of " + describeSize(total) +
                  describeRate(bytes, total, elapsed.count()),
              now);
}

void CopyMeter::clear()
{
    const std::lock_guard lock(mutex);
    line.clear();
}

void CopyMeter::say(const std::string& text)
{
    const std::lock_guard lock(mutex);
    line.clear();
    std::fprintf(stderr, "dm: %s\n", escapeControls(text).c_str());
}

} // namespace tool
