#include "tools/dm/ProgressMeter.h"

#include <array>
#include <chrono>
#include <cstdio>

namespace tool {

namespace {

std::string withOneDecimal(double number, const char* unit)
{
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%.1f %s", number, unit);
    return text.data();
}

} // namespace

void ProgressMeter::update(const dm::TransferProgress& progress, Clock::time_point now)
{
    if (!line.isWanted() || !progress.active)
        return;
    const bool nowReceiving = progress.receiveTotal != 0;
    const std::uint32_t nowBytes = nowReceiving ? progress.receivedBytes : progress.sentBytes;
    const std::uint32_t total = nowReceiving ? progress.receiveTotal : progress.sendTotal;
    // Fewer bytes than before: it began anew on another connection.
    if (started == Clock::time_point() || nowReceiving != receiving || nowBytes < bytes)
        started = now;
    const bool moved = nowBytes != bytes || nowReceiving != receiving;
    receiving = nowReceiving;
    bytes = nowBytes;
    if (total == 0 || bytes == 0 || !line.isDue(started, moved, now))
        return;
    const std::chrono::duration<double> elapsed = now - started;
    line.show(describeProgress(bytes, total, receiving, elapsed.count()), now);
}

std::string describeProgress(std::uint32_t bytes, std::uint32_t total, bool receiving,
                             double seconds)
{
    return describeSize(bytes) + " of " + describeSize(total) +
           (receiving ? " received" : " sent") + describeRate(bytes, total, seconds);
}

std::string describeRate(double bytes, double total, double seconds)
{
    if (seconds <= 0)
        return "";
    const double rate = bytes / seconds;
    std::string text = ", " + withOneDecimal(rate / 1e6, "MB/s");
    if (rate > 0)
        text += ", " + std::to_string(static_cast<long>((total - bytes) / rate + 0.5)) + " s left";
    return text;
}

std::string describeSize(double bytes)
{
    if (bytes < 1e3)
        return std::to_string(static_cast<int>(bytes)) + " bytes";
    if (bytes < 1e6)
        return withOneDecimal(bytes / 1e3, "kB");
    if (bytes < 1e9)
        return withOneDecimal(bytes / 1e6, "MB");
    return withOneDecimal(bytes / 1e9, "GB");
}

} // namespace tool
